#include <cerrno>
#include <cstdio>
#include <cstring>
#include <optional>
#include <string>

#include "commands.h"
#include "host/catalogue.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

struct Options {
  std::optional<std::string_view> file;
  std::optional<std::string_view> type;  // the pasteboard type named by --type
  std::optional<std::string_view> wav;
  bool print = false;
};

std::optional<std::string_view> pasteboardTypeNamed(std::string_view name) {
  if (name == "plain") return kStringPboardType;
  if (name == "rtf") return kRTFPboardType;
  if (name == "rtfd") return kRTFDPboardType;
  return std::nullopt;
}

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

// All bytes of the file, or of standard input for none or "-"; none when they cannot be read.
std::optional<std::string> readInput(std::optional<std::string_view> file) {
  const bool standardInput = !file || *file == "-";
  std::FILE* stream = standardInput ? stdin : std::fopen(std::string(*file).c_str(), "rb");
  if (!stream) return std::nullopt;
  std::string bytes;
  char buffer[1 << 16];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, stream)) > 0) bytes.append(buffer, got);
  const bool failed = std::ferror(stream);
  if (!standardInput) std::fclose(stream);
  if (failed) return std::nullopt;
  return bytes;
}

std::string_view detectType(std::string_view bytes) {
  if (bytes.starts_with(std::string_view("rtfd\0\0\0\0", 8))) return kRTFDPboardType;
  if (bytes.starts_with("{\\rtf")) return kRTFPboardType;
  return kStringPboardType;
}

// Puts the selection on the pasteboard as its one type; a problem with the bytes is returned.
std::string putSelection(std::string bytes, std::string_view type, ServicePasteboard& pasteboard) {
  pasteboard.declareTypes({std::string(type)});
  if (type != kStringPboardType) {
    pasteboard.setData(std::move(bytes), type);
    return {};
  }
  Utf8Decoding decoded = decodeUtf8(bytes);
  if (!decoded.ok()) return "invalid UTF-8 at byte " + std::to_string(decoded.errorOffset);
  pasteboard.setString(std::move(decoded.text), type);
  return {};
}

void writeResult(const ServicePasteboard& pasteboard) {
  if (pasteboard.types().empty()) return;
  const std::string& type = pasteboard.types().front();
  std::string bytes;
  if (auto string = pasteboard.stringForType(type)) {
    bytes = encodeUtf8(*string);
  } else if (auto data = pasteboard.dataForType(type)) {
    bytes = *data;
  }
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
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
  if (pasteboard.changeCount() != changeCount) writeResult(pasteboard);
  return kSuccess;
}

}  // namespace textrix::command
