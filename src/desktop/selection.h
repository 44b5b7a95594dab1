// SPDX-License-Identifier: MIT
// The desktop's selection that textrix pick reads and the clipboard it leaves the result on: X11
// over the selection's own protocol, or Wayland through the compositor's data-control protocol,
// falling back to wl-paste and wl-copy where the compositor lacks it.
//
//   std::string problem;
//   auto selection = textrix::desktopSelection(textrix::Desktop::current(), false, problem);
//   if (selection && !selection->types().empty()) ... selection->read("UTF8_STRING") ...
#pragma once

#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/desktop.h"
#include "desktop/x11_selection.h"

namespace textrix {

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

// The selection of this desktop: Wayland through wl-clipboard when both are there, else X11. Null
// with the problem set, naming what to install, when there is neither.
std::unique_ptr<DesktopSelection> desktopSelection(const Desktop& desktop, bool clipboard,
                                                   std::string& problem);

}  // namespace textrix
