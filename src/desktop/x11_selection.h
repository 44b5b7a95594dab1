// SPDX-License-Identifier: MIT
// The X11 selections, over libxcb: reading what the owner of PRIMARY or CLIPBOARD offers, learning
// the class of the active window, and owning a selection with several targets from a background
// process until another client takes it. Every wait on another client has a deadline, so that an
// owner that never answers cannot hang the caller. libxcb is loaded when a display is first
// connected to; where it cannot be loaded, no connection opens and the problem says what to
// install. The background process is started by ownInBackground, which the Wayland clipboard
// shares.
//
//   std::string problem;
//   std::unique_ptr<textrix::X11Connection> x = textrix::X11Connection::open(":0", problem);
//   std::vector<std::string> targets = x->selectionTargets("PRIMARY");
//   std::optional<std::string> text = x->readSelection("PRIMARY", "UTF8_STRING");
//   problem = textrix::serveSelectionInBackground(":0", "CLIPBOARD",
//                                                 {{"text/rtf", rtf}, {"UTF8_STRING", plain}});
#pragma once

#include <sys/types.h>

#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace textrix {

// How long a reader waits for the owner of a selection to answer one conversion.
inline constexpr std::chrono::seconds kSelectionTimeout{5};

// One target that an owner offers and its bytes.
struct SelectionContent {
  std::string target;  // an atom name: "text/rtf", "UTF8_STRING"
  std::string bytes;
};

namespace detail {
struct X11State;
}

// A client connection to an X server.
class X11Connection final {
 public:
  // Connects to the display (as $DISPLAY names it); null with the problem set when it cannot, or
  // when libxcb cannot be loaded.
  static std::unique_ptr<X11Connection> open(const std::string& display, std::string& problem);
  ~X11Connection();
  X11Connection(const X11Connection&) = delete;
  X11Connection& operator=(const X11Connection&) = delete;

  // The targets that the owner of the selection ("PRIMARY", "CLIPBOARD") offers, by name, in its
  // order; empty when the selection has no owner or the owner does not answer in time.
  std::vector<std::string> selectionTargets(std::string_view selection);
  // The bytes of the selection converted to the target, received whole (also in INCR steps); none
  // when there is no owner, the owner refuses, or it does not answer in time.
  std::optional<std::string> readSelection(std::string_view selection, std::string_view target);
  // The class (the second string of WM_CLASS) of the window that _NET_ACTIVE_WINDOW names on the
  // root window; empty when there is none, as without a window manager.
  std::string activeWindowClass();

 private:
  explicit X11Connection(std::unique_ptr<detail::X11State> state);
  std::unique_ptr<detail::X11State> state_;
};

// A process started in the background to own a selection.
struct BackgroundOwner {
  pid_t process = -1;   // the owner's process id, once it owns the selection
  std::string problem;  // why it does not own the selection; empty when it does
};

// Runs own in a background process that has left the caller's session, standard streams and other
// descriptors, and returns once own has called its argument, owned, to say that it owns the
// selection, or has returned without doing so. own returns the problem when it could not take the
// selection, or empty once it has served it until it lost it.
BackgroundOwner ownInBackground(
    const std::function<std::string(const std::function<void()>& owned)>& own);

// Makes a background process the owner of the selection, offering TARGETS, TIMESTAMP and each
// content under its target, and returns once it owns it: empty, or the problem (nothing owned
// then). The process has its own connection, leaves the caller's session and standard streams, and
// ends when another client takes the selection or the display goes away.
std::string serveSelectionInBackground(const std::string& display, std::string_view selection,
                                       std::vector<SelectionContent> contents);

}  // namespace textrix
