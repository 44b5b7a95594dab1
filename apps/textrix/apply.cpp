// SPDX-License-Identifier: MIT
#include "apply.h"

#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "command_line.h"
#include "errors.h"
#include "filter.h"
#include "runtime/localization.h"
#include "services/catalogue.h"
#include "services/textrix.h"
#include "services/user_actions.h"
#include "stream.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

struct Options {
  SelectionArguments selection;
  std::optional<std::string> wav;
  bool print = false;
};

// The lines of the help that tell the types a service or action takes and gives.
std::string typesFooter(std::string_view sendTypes, std::string_view returnTypes) {
  return localizedFormat("Takes: {0}", {sendTypes}) + "\n" +
         localizedFormat("Gives: {0}", {returnTypes}) + "\n";
}

// The help after the options: an example, the types taken and given, and the message.
std::string serviceFooter(const ServiceEntry& entry) {
  const auto typesOf = [](std::span<const std::string_view> types) {
    std::string list;
    for (std::string_view type : types) list += (list.empty() ? "" : ", ") + std::string(type);
    return list.empty() ? localized("none") : list;
  };
  return localized("Example:") + "\n  " + std::string(entry.example) + "\n\n" +
         typesFooter(typesOf(entry.sendTypes), typesOf(entry.returnTypes)) +
         localizedFormat(
             "Message when it cannot be done: {0}",
             {entry.errorMessage.empty() ? localized("none") : std::string(entry.errorMessage)}) +
         "\n";
}

// The help after the options of a user action: where it lives and what it takes and gives.
std::string actionFooter(const UserAction& action) {
  const auto typesOf = [](const std::vector<std::string>& types) {
    std::string list;
    for (const std::string& type : types) list += (list.empty() ? "" : ", ") + type;
    return list;
  };
  return localizedFormat("Your action, from {0}", {action.file.string()}) + "\n" +
         typesFooter(typesOf(action.sendTypes()), typesOf(action.returnTypes()));
}

// The parser of a service's command line, its help made of the entry's or the action's texts.
std::unique_ptr<CLI::App> serviceParser(std::string_view name, const ServiceEntry* entry,
                                        const std::optional<UserAction>& action, Options& options) {
  std::string description =
      entry ? localized(entry->menuTitle) + ": " + localized(entry->help)
            : action->title + (action->description.empty() ? "" : ": " + action->description);
  std::unique_ptr<CLI::App> app = subcommandParser(name, description);
  addSelectionArguments(*app, options.selection);
  if (entry && entry->speaks) {
    addValueOption(*app, "--wav", "FILE",
                   localized("write the speech to this WAV file instead of the sound device"),
                   localized("--wav needs a file name"),
                   [&options](const std::string& file) { options.wav = file; });
    app->add_flag("--print", options.print,
                  localized("print the text that would be spoken instead"))
        ->disable_flag_override();
  }
  app->footer(entry ? serviceFooter(*entry) : actionFooter(*action));
  return app;
}

// Why a file cannot be written, or none when it can: the file's own permission when it is there,
// else its directory's. Nothing is created.
std::optional<std::string> unwritableFileProblem(const std::string& file) {
  struct stat status;
  if (stat(file.c_str(), &status) == 0) {
    if (S_ISDIR(status.st_mode)) return std::string(std::strerror(EISDIR));
    if (access(file.c_str(), W_OK) == 0) return std::nullopt;
    return std::string(std::strerror(errno));
  }
  const std::filesystem::path directory = std::filesystem::path(file).parent_path();
  const std::string where = directory.empty() ? "." : directory.string();
  if (access(where.c_str(), W_OK | X_OK) == 0) return std::nullopt;
  return std::string(std::strerror(errno));
}

// Why the speech options cannot be used as given, or none: a WAV file that cannot be written is
// told before any speech is made.
std::optional<CommandError> speechOptionsProblem(const Options& options) {
  if (!options.wav) return std::nullopt;
  if (options.print) {
    return CommandError{ErrorKind::usage, localized("--wav and --print exclude each other")};
  }
  if (options.wav->empty() || options.wav->starts_with("-")) {
    return CommandError{
        ErrorKind::usage,
        localizedFormat("--wav needs a file name, not {0}",
                        {options.wav->empty() ? localized("nothing") : *options.wav})};
  }
  if (const std::optional<std::string> problem = unwritableFileProblem(*options.wav)) {
    return CommandError{ErrorKind::input,
                        localizedFormat("cannot write {0}: {1}", {*options.wav, *problem})};
  }
  return std::nullopt;
}

// The usage error for --wav or --print given to a service that does not speak, else none.
std::optional<CommandError> misplacedSpeechOption(std::span<const std::string_view> arguments) {
  for (std::string_view argument : arguments) {
    if (argument == "--") break;
    const std::string_view name = argument.substr(0, argument.find('='));
    if (name == "--wav" || name == "--print") {
      return CommandError{ErrorKind::usage,
                          localizedFormat("{0} is only for speak-native and speak-german", {name})};
    }
  }
  return std::nullopt;
}

// The command stands in for the desktop: it prints an alert panel (title, then message) where the
// provider would show a dialog, and sends speech where --wav and --print say.
ServiceEnvironment commandEnvironment(const Options& options) {
  ServiceEnvironment environment;
  if (options.print) {
    environment.speechOutput.kind = SpeechOutput::Kind::printedText;
    environment.speechOutput.printText = [](std::u16string_view spokenText) {
      const std::string text = encodeUtf8(spokenText);
      std::fwrite(text.data(), 1, text.size(), stdout);
    };
  } else if (options.wav) {
    environment.speechOutput.kind = SpeechOutput::Kind::wavFile;
    environment.speechOutput.wavPath = std::string(*options.wav);
  }
  environment.runAlertPanel = [](std::u16string_view title, std::u16string_view message) {
    writePanel(encodeUtf8(title), encodeUtf8(message));
  };
  return environment;
}

// Speech goes on in the background; the command returns when it has ended.
void waitForSpeechToEnd() {
  while (Textrix::isSpeaking()) std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

}  // namespace

int applyService(std::string_view service, std::span<const std::string_view> arguments) {
  const ServiceEntry* entry = findService(service);
  std::optional<UserAction> action;
  if (!entry && !(action = findUserAction(service))) {
    return report(unknownService(service));
  }
  Options options;
  std::unique_ptr<CLI::App> app = serviceParser(service, entry, action, options);
  if (!(entry && entry->speaks)) {
    if (std::optional<CommandError> error = misplacedSpeechOption(arguments)) return report(*error);
  }
  if (std::optional<int> status =
          parseCommandLine(*app, arguments, localized("more than one file given"))) {
    return *status;
  }
  if (std::optional<CommandError> error = speechOptionsProblem(options)) return report(*error);
  SelectionInput input;
  if (std::optional<CommandError> error = input.open(options.selection.file)) return report(*error);
  const std::string_view type = options.selection.type.value_or(detectType(input.firstBytes()));
  Textrix::tabs();
  Textrix provider(commandEnvironment(options));
  if (entry && entry->linesIndependent && type == kStringPboardType) {
    if (std::optional<CommandError> error = streamSelection(provider, *entry, input)) {
      return report(*error);
    }
    return kSuccess;
  }

  ServicePasteboard pasteboard("textrix");
  if (std::optional<CommandError> error = readSelection(input, type, pasteboard)) {
    return report(*error);
  }
  const int changeCount = pasteboard.changeCount();
  std::string message;
  if (entry) {
    performService(provider, *entry, pasteboard, "", message);
  } else {
    performUserAction(provider, *action, pasteboard, message);
  }
  if (!message.empty()) return report({ErrorKind::serviceMessage, message});
  if (pasteboard.changeCount() != changeCount) {
    if (std::optional<CommandError> error = writeResult(pasteboard)) return report(*error);
  }
  std::fflush(stdout);
  waitForSpeechToEnd();
  return kSuccess;
}

}  // namespace textrix::command
