// SPDX-License-Identifier: MIT
// The Wayland selections through the compositor's data-control protocol
// (zwlr_data_control_manager_v1, which wlroots compositors such as sway offer): reading what the
// owner of the clipboard or of the primary selection offers, and owning the clipboard with every
// type of a result in one offer, from a background process, until another client takes it.
// libwayland-client is loaded when a display is first connected to; where it cannot be loaded, or
// the compositor lacks the protocol, nothing connects and the problem says why, so that the caller
// can fall back to wl-clipboard.
//
//   std::string problem;
//   auto wayland = textrix::WaylandClipboard::open("wayland-1", problem);
//   std::vector<std::string> types = wayland->selectionTypes(textrix::WaylandSelection::primary);
//   std::optional<std::string> text = wayland->readSelection(textrix::WaylandSelection::primary,
//                                                            "text/plain;charset=utf-8");
//   problem = textrix::serveWaylandClipboardInBackground(
//                 "wayland-1", {{"text/rtf", rtf}, {"text/plain;charset=utf-8", plain}})
//                 .problem;
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/x11_selection.h"

namespace textrix {

enum class WaylandSelection { clipboard, primary };

namespace detail {
struct WaylandState;
}

// A client connection to a Wayland compositor with the data-control device of its first seat.
class WaylandClipboard final {
 public:
  // Connects to the display (as $WAYLAND_DISPLAY names it: a socket name in $XDG_RUNTIME_DIR, or a
  // path); null with the problem set when libwayland-client cannot be loaded, no compositor
  // answers, or the compositor offers no data-control device.
  static std::unique_ptr<WaylandClipboard> open(const std::string& display, std::string& problem);
  ~WaylandClipboard();
  WaylandClipboard(const WaylandClipboard&) = delete;
  WaylandClipboard& operator=(const WaylandClipboard&) = delete;

  // Whether the compositor tells this client the primary selection (data-control version 2).
  bool hasPrimarySelection() const;
  // The MIME types that the selection's owner offers now, in its order; empty when there is none.
  std::vector<std::string> selectionTypes(WaylandSelection selection);
  // The selection's bytes as the type, received whole; none when there is no owner, it does not
  // offer the type, or it sends nothing for kSelectionTimeout.
  std::optional<std::string> readSelection(WaylandSelection selection, std::string_view type);

 private:
  explicit WaylandClipboard(std::unique_ptr<detail::WaylandState> state);
  std::unique_ptr<detail::WaylandState> state_;
};

// Makes a background process (ownInBackground) the owner of the clipboard, offering each content
// under its type and, for UTF-8 text, under the other names that readers ask text by (text/plain,
// UTF8_STRING, TEXT, and STRING when the text is ASCII). Returns once it owns the clipboard, or
// the problem. The process serves each paste without blocking on a reader that stops reading (a
// paste whose reader takes nothing for kSelectionTimeout is dropped) and ends when another client
// takes the clipboard or the compositor goes away.
BackgroundOwner serveWaylandClipboardInBackground(const std::string& display,
                                                  std::vector<SelectionContent> contents);

}  // namespace textrix
