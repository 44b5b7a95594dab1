#include "desktop/selection.h"

#include <algorithm>

namespace textrix {
namespace {

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

}  // namespace

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

}  // namespace textrix
