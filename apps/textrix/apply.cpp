#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "commands.h"
#include "host/catalogue.h"
#include "selection.h"
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
  for (std::size_t i = 0; i < arguments.size(); ++i) {
    std::string_view argument = arguments[i];
    std::optional<std::string_view> inlineValue;
    if (argument.starts_with("--") && argument.find('=') != std::string_view::npos) {
      inlineValue = argument.substr(argument.find('=') + 1);
      argument = argument.substr(0, argument.find('='));
    }
    auto value = [&]() -> std::optional<std::string_view> {
      if (inlineValue) return inlineValue;
      if (i + 1 < arguments.size()) return arguments[++i];
      return std::nullopt;
    };
    if (argument == "--type") {
      auto name = value();
      if (!name || !(options.type = pasteboardTypeNamed(*name))) {
        return "--type needs plain, rtf or rtfd";
      }
    } else if (argument == "--wav") {
      if (!(options.wav = value())) return "--wav needs a file";
    } else if (argument == "--print" && !inlineValue) {
      options.print = true;
    } else if (argument.starts_with("-") && argument != "-") {
      return "unknown option " + std::string(argument);
    } else if (!options.file) {
      options.file = argument;
    } else {
      return "more than one file given";
    }
  }
  return {};
}

// The command stands in for the desktop: it prints an alert panel (title, then message) where the
// provider would show a dialog.
ServiceEnvironment commandEnvironment() {
  ServiceEnvironment environment;
  environment.runAlertPanel = [](std::u16string_view title, std::u16string_view message) {
    const std::string panel = encodeUtf8(title) + "\n" + encodeUtf8(message);
    std::fwrite(panel.data(), 1, panel.size(), stdout);
  };
  return environment;
}

}  // namespace

int applyService(std::string_view service, std::span<const std::string_view> arguments) {
  const ServiceEntry* entry = findService(service);
  if (!entry) return usageError("unknown service " + std::string(service));
  Options options;
  if (std::string problem = parseOptions(arguments, options); !problem.empty()) {
    return usageError(problem);
  }
  if (!entry->handler) {
    std::fprintf(stderr, "textrix: the service %s is not available yet\n",
                 std::string(entry->name).c_str());
    return kUsageError;
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
  Textrix provider(commandEnvironment());
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
  return kSuccess;
}

}  // namespace textrix::command
