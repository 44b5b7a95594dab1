// SPDX-License-Identifier: MIT
#include "desktop/selection.h"

#include <algorithm>

#include "desktop/wayland_clipboard.h"
#include "runtime/localization.h"

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

// Wayland: the selections through the compositor's data-control protocol where it offers it,
// else through wl-paste and wl-copy, which offer one type per call.
class WaylandDesktopSelection final : public DesktopSelection {
 public:
  // reader reads the selection when set, else paste does; the clipboard is written through the
  // protocol when the compositor offers it (dataControl), else through copy.
  WaylandDesktopSelection(std::string display, std::unique_ptr<WaylandClipboard> reader,
                          bool dataControl, std::optional<std::string> paste,
                          std::optional<std::string> copy, bool primary)
      : display_(std::move(display)),
        reader_(std::move(reader)),
        dataControl_(dataControl),
        paste_(std::move(paste)),
        copy_(std::move(copy)),
        primary_(primary) {}

  std::vector<std::string> types() override {
    if (reader_) return reader_->selectionTypes(selection());
    const ProgramOutput listed = runProgramForOutput(*paste_, withPrimary({"--list-types"}), {});
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
    if (reader_) return reader_->readSelection(selection(), type);
    ProgramOutput pasted = runProgramForOutput(
        *paste_, withPrimary({"--no-newline", "--type", std::string(type)}), {});
    if (pasted.status != 0) return std::nullopt;
    return std::move(pasted.output);
  }
  std::string activeApplication() override { return {}; }
  std::string writeClipboard(std::vector<SelectionContent> contents) override {
    if (dataControl_) {
      std::string problem = serveWaylandClipboardInBackground(display_, contents).problem;
      // Should the compositor refuse after all, wl-copy still offers the richest type.
      if (problem.empty() || !copy_) return problem;
    }
    const SelectionContent& first = contents.front();
    return runProgram(*copy_, {"--type", first.target}, first.bytes) == 0
               ? std::string()
               : localized("wl-copy failed");
  }

 private:
  WaylandSelection selection() const {
    return primary_ ? WaylandSelection::primary : WaylandSelection::clipboard;
  }
  std::vector<std::string> withPrimary(std::vector<std::string> arguments) const {
    if (primary_) arguments.insert(arguments.begin(), "--primary");
    return arguments;
  }

  std::string display_;
  std::unique_ptr<WaylandClipboard> reader_;
  bool dataControl_;
  std::optional<std::string> paste_, copy_;
  bool primary_;
};

// The Wayland selection: null, with the problem naming the wl-clipboard programs it lacks, when
// neither the compositor nor a program reads the selection or writes the clipboard.
std::unique_ptr<DesktopSelection> waylandSelection(const Desktop& desktop, bool clipboard,
                                                   std::string& problem) {
  std::string unsupported;
  std::unique_ptr<WaylandClipboard> reader =
      WaylandClipboard::open(desktop.waylandDisplay, unsupported);
  const bool dataControl = reader != nullptr;
  if (reader && !clipboard && !reader->hasPrimarySelection()) {
    reader.reset();
    unsupported =
        localized("the Wayland compositor's data-control protocol has no primary selection");
  }
  std::optional<std::string> paste = desktop.findProgram("wl-paste");
  std::optional<std::string> copy = desktop.findProgram("wl-copy");
  if ((reader || paste) && (dataControl || copy)) {
    return std::make_unique<WaylandDesktopSelection>(desktop.waylandDisplay, std::move(reader),
                                                     dataControl, std::move(paste), std::move(copy),
                                                     !clipboard);
  }
  std::string programs = reader || paste ? "" : "wl-paste";
  if (!dataControl && !copy) programs += programs.empty() ? "wl-copy" : localized(" and wl-copy");
  problem = localizedFormat("pick needs {0} on Wayland (install wl-clipboard): {1}",
                            {programs, unsupported});
  return nullptr;
}

}  // namespace

std::unique_ptr<DesktopSelection> desktopSelection(const Desktop& desktop, bool clipboard,
                                                   std::string& problem) {
  if (!desktop.waylandDisplay.empty()) {
    if (auto selection = waylandSelection(desktop, clipboard, problem)) return selection;
    if (desktop.xDisplay.empty()) return nullptr;
    problem.clear();
  }
  if (desktop.xDisplay.empty()) {
    problem = localized("pick needs a desktop session: neither DISPLAY nor WAYLAND_DISPLAY is set");
    return nullptr;
  }
  std::unique_ptr<X11Connection> connection = X11Connection::open(desktop.xDisplay, problem);
  if (!connection) return nullptr;
  return std::make_unique<X11DesktopSelection>(desktop.xDisplay, std::move(connection),
                                               clipboard ? "CLIPBOARD" : "PRIMARY");
}

}  // namespace textrix
