// SPDX-License-Identifier: MIT
// Asking the user to choose one of a list of items in a chooser program: fuzzel, wofi, rofi, dmenu
// or zenity, whichever this desktop has first, or a command of the user's. An item is shown by its
// title and, where the chooser has room, its one-line summary; the choice stands for its name.
//
//   const std::vector<ChoiceItem> items = {{"upper", "Upper Case", "Changes every letter..."}};
//   const ChoiceItem* chosen = nullptr;
//   if (auto error = chooseItem(desktop, std::nullopt, items, chosen)) return report(*error);
//   if (chosen) apply(chosen->name);   // null: the user cancelled
#pragma once

#include <optional>
#include <span>
#include <string>

#include "desktop/desktop.h"
#include "errors.h"

namespace textrix::command {

struct ChoiceItem {
  std::string name;     // what the choice stands for: a service's name
  std::string title;    // what the chooser shows
  std::string summary;  // one sentence beside the title; may be empty
};

// Asks the user for one of items, in the order given: in command through /bin/sh when given (one
// item a line, "title — summary", on its standard input), else in the first chooser that this
// desktop has. Sets chosen to the item the answer names (its whole line, its title or its name),
// or to null when the choice was cancelled; returns the error when no chooser can run (no desktop)
// or the answer names no item (bad input).
std::optional<CommandError> chooseItem(const Desktop& desktop,
                                       const std::optional<std::string>& command,
                                       std::span<const ChoiceItem> items,
                                       const ChoiceItem*& chosen);

}  // namespace textrix::command
