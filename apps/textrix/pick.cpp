// textrix pick [SERVICE] [--clipboard] [--chooser COMMAND]: applies a service to the selected text
// of any application and leaves the result on the clipboard, for a desktop key binding.
//
//   textrix pick                        choose a service in fuzzel, wofi, rofi, dmenu or zenity
//   textrix pick upper --clipboard      the clipboard's text rather than what is selected now
//
// The selection is read in its richest form (RTF, else UTF-8 text) from PRIMARY or CLIPBOARD and
// sent to the provider on the session bus. The result goes to CLIPBOARD only: on X11 this process
// leaves behind an owner that offers a rich result as RTF and as plain text; on Wayland wl-copy
// offers one type. A service's message becomes a desktop notification and changes nothing.
#include <sdbus-c++/sdbus-c++.h>

#include <algorithm>
#include <cstdio>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "commands.h"
#include "desktop/desktop.h"
#include "desktop/x11_selection.h"
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

// Parses [SERVICE] [--clipboard] [--chooser COMMAND] in any order; a problem is returned as text.
std::string parsePickOptions(std::span<const std::string_view> arguments, PickOptions& options) {
  for (ArgumentReader reader(arguments); reader.next();) {
    const std::string_view name = reader.name();
    if (!reader.isOption()) {
      if (options.service) return "pick takes one service";
      if (!findService(name)) return "unknown service " + std::string(name);
      options.service = std::string(name);
    } else if (name == "--clipboard" && !reader.hasInlineValue()) {
      options.clipboard = true;
    } else if (name == "--chooser") {
      const std::optional<std::string_view> command = reader.value();
      if (!command || command->empty()) return "--chooser needs a command";
      options.chooser = std::string(*command);
    } else {
      return unknownOption(name);
    }
  }
  return {};
}

// Shows the message as a desktop notification: through org.freedesktop.Notifications on the
// session bus, else through notify-send, else not at all.
void notifyUser(const Desktop& desktop, const std::string& message) {
  try {
    std::unique_ptr<sdbus::IConnection> connection = sdbus::createSessionBusConnection();
    std::unique_ptr<sdbus::IProxy> proxy = sdbus::createProxy(
        *connection, "org.freedesktop.Notifications", "/org/freedesktop/Notifications");
    std::uint32_t id = 0;
    proxy->callMethod("Notify")
        .onInterface("org.freedesktop.Notifications")
        .withTimeout(std::chrono::seconds(5))
        .withArguments(std::string("Textrix"), std::uint32_t{0}, std::string(),
                       std::string("Textrix"), message, std::vector<std::string>(),
                       std::map<std::string, sdbus::Variant>(), std::int32_t{-1})
        .storeResultsTo(id);
    return;
  } catch (const sdbus::Error&) {
  }
  if (auto notifySend = desktop.findProgram("notify-send")) {
    runProgram(*notifySend, {"Textrix", message}, {});
  }
}

// Tells the user on standard error and as a notification, since a key binding has no terminal.
void tellUser(const Desktop& desktop, const std::string& message) {
  std::fprintf(stderr, "%s\n", message.c_str());
  notifyUser(desktop, message);
}

// A problem of the desktop: a missing display or program, told with what to install.
int noDesktop(const Desktop& desktop, const std::string& problem) {
  tellUser(desktop, "textrix: " + problem);
  return kNoDesktop;
}

// Where the selection comes from and the clipboard goes to.
class DesktopSelection {
 public:
  virtual ~DesktopSelection() = default;
  // The types that the selection's owner offers; empty when nothing is selected.
  virtual std::vector<std::string> types() = 0;
  // The selection's bytes as the type; none when the owner refuses.
  virtual std::optional<std::string> read(std::string_view type) = 0;
  // The name of the application whose window is active, or empty when it cannot be known.
  virtual std::string activeApplication() = 0;
  // Puts the contents (RTF first when rich) on the clipboard; the problem, or empty.
  virtual std::string writeClipboard(std::vector<SelectionContent> contents) = 0;
};

// X11, over the selection's own protocol.
class X11DesktopSelection final : public DesktopSelection {
 public:
  X11DesktopSelection(std::string display, std::unique_ptr<X11Connection> connection,
                      std::string selection)
      : display_(std::move(display)),
        connection_(std::move(connection)),
        selection_(std::move(selection)) {}

  std::vector<std::string> types() override { return connection_->selectionTargets(selection_); }
  std::optional<std::string> read(std::string_view type) override {
    return connection_->readSelection(selection_, type);
  }
  std::string activeApplication() override { return connection_->activeWindowClass(); }
  std::string writeClipboard(std::vector<SelectionContent> contents) override {
    connection_.reset();
    return serveSelectionInBackground(display_, "CLIPBOARD", std::move(contents));
  }

 private:
  std::string display_;
  std::unique_ptr<X11Connection> connection_;
  std::string selection_;
};

// Wayland, through wl-paste and wl-copy, which offer one type per call.
class WaylandDesktopSelection final : public DesktopSelection {
 public:
  WaylandDesktopSelection(std::string paste, std::string copy, bool primary)
      : paste_(std::move(paste)), copy_(std::move(copy)), primary_(primary) {}

  std::vector<std::string> types() override {
    const ProgramOutput listed = runProgramForOutput(paste_, withPrimary({"--list-types"}), {});
    std::vector<std::string> types;
    if (listed.status != 0) return types;
    std::string_view rest = listed.output;
    while (!rest.empty()) {
      const std::size_t end = std::min(rest.find('\n'), rest.size());
      if (end > 0) types.emplace_back(rest.substr(0, end));
      rest.remove_prefix(std::min(end + 1, rest.size()));
    }
    return types;
  }
  std::optional<std::string> read(std::string_view type) override {
    ProgramOutput pasted =
        runProgramForOutput(paste_, withPrimary({"--no-newline", "--type", std::string(type)}), {});
    if (pasted.status != 0) return std::nullopt;
    return std::move(pasted.output);
  }
  std::string activeApplication() override { return {}; }
  std::string writeClipboard(std::vector<SelectionContent> contents) override {
    const SelectionContent& first = contents.front();
    return runProgram(copy_, {"--type", first.target}, first.bytes) == 0 ? std::string()
                                                                         : "wl-copy failed";
  }

 private:
  std::vector<std::string> withPrimary(std::vector<std::string> arguments) const {
    if (primary_) arguments.insert(arguments.begin(), "--primary");
    return arguments;
  }

  std::string paste_, copy_;
  bool primary_;
};

// The selection of this desktop: Wayland through wl-clipboard when both are there, else X11. Null
// with the problem set, naming what to install, when there is neither.
std::unique_ptr<DesktopSelection> desktopSelection(const Desktop& desktop, bool clipboard,
                                                   std::string& problem) {
  if (!desktop.waylandDisplay.empty()) {
    auto paste = desktop.findProgram("wl-paste"), copy = desktop.findProgram("wl-copy");
    if (paste && copy) return std::make_unique<WaylandDesktopSelection>(*paste, *copy, !clipboard);
    if (desktop.xDisplay.empty()) {
      problem = "pick needs wl-paste and wl-copy on Wayland: install wl-clipboard";
      return nullptr;
    }
  }
  if (desktop.xDisplay.empty()) {
    problem = "pick needs a desktop session: neither DISPLAY nor WAYLAND_DISPLAY is set";
    return nullptr;
  }
  std::unique_ptr<X11Connection> connection = X11Connection::open(desktop.xDisplay, problem);
  if (!connection) return nullptr;
  return std::make_unique<X11DesktopSelection>(desktop.xDisplay, std::move(connection),
                                               clipboard ? "CLIPBOARD" : "PRIMARY");
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
    if (bytes && decodeUtf8(*bytes).ok()) {
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

// The programs that can offer the menu titles for a choice: each reads lines on standard input and
// prints the chosen one. fuzzel and wofi need Wayland, dmenu needs X.
struct Chooser {
  std::string_view program;
  std::vector<std::string> arguments;
  bool needsWayland, needsX;
};

const std::vector<Chooser>& choosers() {
  static const std::vector<Chooser> kChoosers = {
      {"fuzzel", {"--dmenu", "--prompt", "Textrix: "}, true, false},
      {"wofi", {"--dmenu", "--prompt", "Textrix"}, true, false},
      {"rofi", {"-dmenu", "-i", "-p", "Textrix"}, false, false},
      {"dmenu", {"-i", "-p", "Textrix"}, false, true},
      {"zenity",
       {"--list", "--title=Textrix", "--text=Apply to the selection", "--column=Service",
        "--hide-header", "--height=600"},
       false,
       false},
  };
  return kChoosers;
}

// The service the user chooses by its menu title; none when the choice was cancelled. A chooser
// that cannot run, or an answer that is not a service, is a problem.
std::optional<const ServiceEntry*> chooseService(const Desktop& desktop,
                                                 const std::optional<std::string>& command,
                                                 std::string& problem) {
  std::string program;
  std::vector<std::string> arguments;
  if (command) {
    program = "/bin/sh";
    arguments = {"-c", *command};
  } else {
    for (const Chooser& chooser : choosers()) {
      if (chooser.needsWayland && desktop.waylandDisplay.empty()) continue;
      if (chooser.needsX && desktop.xDisplay.empty()) continue;
      if (auto found = desktop.findProgram(chooser.program)) {
        program = *found;
        arguments = chooser.arguments;
        break;
      }
    }
    if (program.empty()) {
      problem =
          "pick needs a chooser: install fuzzel, wofi, rofi, dmenu or zenity, or give --chooser";
      return nullptr;
    }
  }
  std::string titles;
  for (const ServiceEntry& entry : serviceCatalogue())
    titles += std::string(entry.menuTitle) + "\n";
  const ProgramOutput chosen = runProgramForOutput(program, arguments, titles);
  if (chosen.status < 0) {
    problem = "cannot run the chooser " + program;
    return nullptr;
  }
  std::string_view answer = chosen.output;
  while (!answer.empty() && (answer.back() == '\n' || answer.back() == '\r')) {
    answer.remove_suffix(1);
  }
  if (chosen.status != 0 || answer.empty()) return std::nullopt;
  for (const ServiceEntry& entry : serviceCatalogue()) {
    if (entry.menuTitle == answer || entry.name == answer) return &entry;
  }
  problem = "no service is called " + std::string(answer);
  return nullptr;
}

}  // namespace

int pick(std::span<const std::string_view> arguments) {
  PickOptions options;
  if (std::string problem = parsePickOptions(arguments, options); !problem.empty()) {
    return usageError(problem);
  }
  const Desktop desktop = Desktop::current();
  std::string problem;
  std::unique_ptr<DesktopSelection> selection =
      desktopSelection(desktop, options.clipboard, problem);
  if (!selection) return noDesktop(desktop, problem);

  const ServiceEntry* entry = options.service ? findService(*options.service) : nullptr;
  if (!entry) {
    std::optional<const ServiceEntry*> chosen = chooseService(desktop, options.chooser, problem);
    if (!chosen) return kSuccess;  // cancelled: nothing changes
    if (!*chosen) {
      if (problem.starts_with("no service")) {
        tellUser(desktop, "textrix: " + problem);
        return kUsageError;
      }
      return noDesktop(desktop, problem);
    }
    entry = *chosen;
  }

  const BusPasteboard request = requestFromSelection(*selection);
  const auto [failure, answer, error] =
      performOnProvider(entry->name, request, selection->activeApplication());
  if (failure) {
    std::fprintf(stderr, "textrix: %s\n", failure->description().c_str());
    notifyUser(desktop, "textrix: the provider cannot be reached");
    return failure->refused() ? kUsageError : kUnreachable;
  }
  if (!error.empty()) {
    tellUser(desktop, error);
    return kServiceFailed;
  }
  // A service that writes nothing (speech, statistics) leaves the clipboard as it was.
  if (answer.empty()) return kSuccess;
  if (std::string failed = selection->writeClipboard(clipboardContents(answer)); !failed.empty()) {
    return noDesktop(desktop, "cannot set the clipboard: " + failed);
  }
  return kSuccess;
}

}  // namespace textrix::command
