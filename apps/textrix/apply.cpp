// SPDX-License-Identifier: MIT
#include "apply.h"

#include <chrono>
#include <cstdio>
#include <optional>
#include <string>
#include <thread>

#include "arguments.h"
#include "errors.h"
#include "filter.h"
#include "services/catalogue.h"
#include "services/textrix.h"
#include "services/user_actions.h"
#include "stream.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

struct Options {
  SelectionArguments selection;
  std::optional<std::string_view> wav;
  bool print = false;
};

// Parses [FILE] [--type T] [--wav FILE] [--print] in any order; returns the usage error.
std::optional<CommandError> parseOptions(std::span<const std::string_view> arguments,
                                         Options& options) {
  for (ArgumentReader reader(arguments); reader.next();) {
    const std::string_view name = reader.name();
    std::optional<CommandError> error;
    if (takeSelectionArgument(reader, options.selection, error)) {
      if (error) return error;
    } else if (name == "--wav") {
      if (!(options.wav = reader.value()))
        return CommandError{ErrorKind::usage, "--wav needs a file"};
    } else if (name == "--print" && !reader.hasInlineValue()) {
      options.print = true;
    } else {
      return unknownOption(name);
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
    const std::string panel = encodeUtf8(title) + "\n" + encodeUtf8(message);
    std::fwrite(panel.data(), 1, panel.size(), stdout);
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
    return report({ErrorKind::usage, "unknown service " + std::string(service)});
  }
  Options options;
  if (std::optional<CommandError> error = parseOptions(arguments, options)) return report(*error);
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

  std::string bytes;
  if (std::optional<CommandError> error = input.readAll(bytes)) return report(*error);
  ServicePasteboard pasteboard("textrix");
  if (std::optional<CommandError> error = putSelection(std::move(bytes), type, pasteboard)) {
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
