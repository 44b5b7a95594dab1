#include "pick.h"

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "chooser.h"
#include "desktop/selection.h"
#include "errors.h"
#include "provider/client.h"
#include "rich/rtf.h"
#include "rich/rtfd.h"
#include "services/catalogue.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

// The types under which an owner may offer RTF, and those of UTF-8 text, in order of preference.
constexpr std::string_view kRtfTargets[] = {"text/rtf", "text/richtext", "application/rtf"};
constexpr std::string_view kTextTargets[] = {"text/plain;charset=utf-8", "UTF8_STRING"};

struct PickOptions {
  std::optional<std::string> service;
  bool clipboard = false;
  std::optional<std::string> chooser;
};

// Parses [SERVICE] [--clipboard] [--chooser COMMAND] in any order; returns the usage error.
std::optional<CommandError> parsePickOptions(std::span<const std::string_view> arguments,
                                             PickOptions& options) {
  for (ArgumentReader reader(arguments); reader.next();) {
    const std::string_view name = reader.name();
    if (!reader.isOption()) {
      if (options.service) return CommandError{ErrorKind::usage, "pick takes one service"};
      if (!findService(name)) {
        return CommandError{ErrorKind::usage, "unknown service " + std::string(name)};
      }
      options.service = std::string(name);
    } else if (name == "--clipboard" && !reader.hasInlineValue()) {
      options.clipboard = true;
    } else if (name == "--chooser") {
      const std::optional<std::string_view> command = reader.value();
      if (!command || command->empty()) {
        return CommandError{ErrorKind::usage, "--chooser needs a command"};
      }
      options.chooser = std::string(*command);
    } else {
      return unknownOption(name);
    }
  }
  return std::nullopt;
}

// Reports the error on standard error and as a notification, since a key binding has no terminal;
// returns its exit status.
int tellUser(const Desktop& desktop, const CommandError& error) {
  const int status = report(error);
  notify(desktop, errorLine(error));
  return status;
}

bool offers(const std::vector<std::string>& types, std::string_view type) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

// The request's pasteboard: RTF when it is offered and its bytes are RTF, then UTF-8 text when it
// is offered and valid, so that the provider falls back to the text when the RTF does not parse.
// Empty when nothing usable is selected.
BusPasteboard requestFromSelection(DesktopSelection& selection) {
  const std::vector<std::string> types = selection.types();
  BusPasteboard request;
  const auto add = [&](std::string_view type, const std::string& bytes) {
    request.emplace_back(std::string(type), std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
  };
  for (std::string_view type : kRtfTargets) {
    if (!offers(types, type)) continue;
    std::optional<std::string> bytes = selection.read(type);
    if (bytes && bytes->starts_with("{\\rtf")) {
      add("text/rtf", *bytes);
      break;
    }
  }
  for (std::string_view type : kTextTargets) {
    if (!offers(types, type)) continue;
    std::optional<std::string> bytes = selection.read(type);
    if (bytes && firstInvalidUtf8Offset(*bytes) == Utf8Decoding::kValid) {
      add("text/plain;charset=utf-8", *bytes);
      break;
    }
  }
  return request;
}

// What the clipboard offers for the service's result: a rich result as itself and as its
// characters, plain text under both names of UTF-8 text.
std::vector<SelectionContent> clipboardContents(const BusPasteboard& answer) {
  const std::string type = answer.front().get<0>();
  const std::vector<std::uint8_t>& content = answer.front().get<1>();
  std::string bytes(content.begin(), content.end());
  std::vector<SelectionContent> contents;
  std::optional<std::string> plain;
  if (type == kRTFPboardType || type == kRTFDPboardType) {
    const RichTextReading reading = type == kRTFPboardType ? readRtf(bytes) : readRtfd(bytes);
    if (reading.ok()) plain = encodeUtf8(reading.text.string());
    contents.push_back(
        {type == kRTFPboardType ? "text/rtf" : "application/x-rtfd", std::move(bytes)});
  } else {
    plain = std::move(bytes);
  }
  if (plain) {
    contents.push_back({"UTF8_STRING", *plain});
    contents.push_back({"text/plain;charset=utf-8", std::move(*plain)});
  }
  return contents;
}

}  // namespace

int pick(std::span<const std::string_view> arguments) {
  PickOptions options;
  if (std::optional<CommandError> error = parsePickOptions(arguments, options)) {
    return report(*error);
  }
  const Desktop desktop = Desktop::current();
  std::string problem;
  std::unique_ptr<DesktopSelection> selection =
      desktopSelection(desktop, options.clipboard, problem);
  if (!selection) return tellUser(desktop, {ErrorKind::noDesktop, problem});

  const ServiceEntry* entry = options.service ? findService(*options.service) : nullptr;
  if (!entry) {
    if (std::optional<CommandError> error = chooseService(desktop, options.chooser, entry)) {
      return tellUser(desktop, *error);
    }
    if (!entry) return kSuccess;  // cancelled: nothing changes
  }

  const BusPasteboard request = requestFromSelection(*selection);
  const auto [failure, answer, message] =
      performOnProvider(entry->name, request, selection->activeApplication());
  if (failure) {
    const int status = report(providerFailure(*failure));
    notify(desktop, "textrix: the provider cannot be reached");
    return status;
  }
  if (!message.empty()) return tellUser(desktop, {ErrorKind::serviceMessage, message});
  // A service that writes nothing (speech, statistics) leaves the clipboard as it was.
  if (answer.empty()) return kSuccess;
  if (std::string failed = selection->writeClipboard(clipboardContents(answer)); !failed.empty()) {
    return tellUser(desktop, {ErrorKind::noDesktop, "cannot set the clipboard: " + failed});
  }
  return kSuccess;
}

}  // namespace textrix::command
