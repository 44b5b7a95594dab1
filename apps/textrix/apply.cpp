#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>
#include <thread>

#include "arguments.h"
#include "commands.h"
#include "selection.h"
#include "services/catalogue.h"
#include "services/textrix.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

struct Options {
  std::optional<std::string_view> file;
  std::optional<std::string_view> type;  // the pasteboard type named by --type
  std::optional<std::string_view> wav;
  bool print = false;
};

// Parses [FILE] [--type T] [--wav FILE] [--print] in any order; a problem is returned as text.
std::string parseOptions(std::span<const std::string_view> arguments, Options& options) {
  for (ArgumentReader reader(arguments); reader.next();) {
    const std::string_view name = reader.name();
    if (!reader.isOption()) {
      if (options.file) return "more than one file given";
      options.file = name;
    } else if (name == "--type") {
      if (std::string problem = readPasteboardType(reader, options.type); !problem.empty()) {
        return problem;
      }
    } else if (name == "--wav") {
      if (!(options.wav = reader.value())) return "--wav needs a file";
    } else if (name == "--print" && !reader.hasInlineValue()) {
      options.print = true;
    } else {
      return unknownOption(name);
    }
  }
  return {};
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
  if (!entry) return usageError("unknown service " + std::string(service));
  Options options;
  if (std::string problem = parseOptions(arguments, options); !problem.empty()) {
    return usageError(problem);
  }
  std::optional<std::string> bytes = readInput(options.file);
  if (!bytes) {
    std::fprintf(stderr, "textrix: cannot read %s: %s\n",
                 options.file ? std::string(*options.file).c_str() : "standard input",
                 std::strerror(errno));
    return kUsageError;
  }

  Textrix::tabs();
  ServicePasteboard pasteboard("textrix");
  const std::string_view type = options.type.value_or(detectType(*bytes));
  if (std::string problem = putSelection(std::move(*bytes), type, pasteboard); !problem.empty()) {
    std::fprintf(stderr, "textrix: %s\n", problem.c_str());
    return kUsageError;
  }
  const int changeCount = pasteboard.changeCount();
  Textrix provider(commandEnvironment(options));
  std::string error;
  performService(provider, *entry, pasteboard, "", error);
  if (!error.empty()) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return kServiceFailed;
  }
  if (pasteboard.changeCount() != changeCount && !writeResult(pasteboard)) {
    std::fprintf(stderr, "textrix: cannot write standard output: %s\n", std::strerror(errno));
    return kUsageError;
  }
  std::fflush(stdout);
  waitForSpeechToEnd();
  return kSuccess;
}

}  // namespace textrix::command
