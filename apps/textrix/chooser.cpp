// SPDX-License-Identifier: MIT
#include "chooser.h"
#include "runtime/localization.h"

#include <string_view>
#include <vector>

namespace textrix::command {
namespace {

// Between an item's title and its summary on the line that a line-based chooser shows.
constexpr std::string_view kSeparator = " \u2014 ";

// How a chooser takes the items on its standard input: one line each, or the cells of a table
// with a title column and a summary column, one cell a line (zenity --list).
enum class Layout { lines, columns };

// A program that offers the items for a choice and prints the chosen line, or with the columns
// layout the chosen row's title. fuzzel and wofi need Wayland, dmenu needs X.
struct Chooser {
  std::string program;
  std::vector<std::string> arguments;
  bool needsWayland = false, needsX = false;
  Layout layout = Layout::lines;
};

const std::vector<Chooser>& choosers() {
  // fuzzel's width (in characters) and zenity's (in pixels) leave room for a title and its
  // summary side by side; dmenu lists the items down the screen rather than across it.
  static const std::vector<Chooser> kChoosers = {
      {"fuzzel", {"--dmenu", "--prompt", "Textrix: ", "--width", "100"}, true, false},
      {"wofi", {"--dmenu", "--prompt", "Textrix"}, true, false},
      {"rofi", {"-dmenu", "-i", "-p", "Textrix"}, false, false},
      {"dmenu", {"-i", "-l", "20", "-p", "Textrix"}, false, true},
      {"zenity",
       {"--list", "--title=Textrix", "--text=" + localized("Apply to the selection"),
        "--column=" + localized("Service"), "--column=" + localized("Description"),
        "--print-column=1", "--hide-header", "--width=720", "--height=600"},
       false,
       false,
       Layout::columns},
  };
  return kChoosers;
}

// The first chooser that this desktop has, with its program's path; none when there is none.
std::optional<Chooser> desktopChooser(const Desktop& desktop) {
  for (const Chooser& chooser : choosers()) {
    if (chooser.needsWayland && desktop.waylandDisplay.empty()) continue;
    if (chooser.needsX && desktop.xDisplay.empty()) continue;
    if (std::optional<std::string> found = desktop.findProgram(chooser.program)) {
      Chooser located = chooser;
      located.program = std::move(*found);
      return located;
    }
  }
  return std::nullopt;
}

// text with its line breaks made spaces: a break would split an item in two on the chooser's
// input.
std::string oneLine(std::string_view text) {
  std::string line(text);
  for (char& c : line) {
    if (c == '\n' || c == '\r') c = ' ';
  }
  return line;
}

std::string lineOf(const ChoiceItem& item) {
  std::string line = oneLine(item.title);
  if (!item.summary.empty()) line.append(kSeparator).append(oneLine(item.summary));
  return line;
}

std::string chooserInput(std::span<const ChoiceItem> items, Layout layout) {
  std::string input;
  for (const ChoiceItem& item : items) {
    input +=
        layout == Layout::lines ? lineOf(item) : oneLine(item.title) + "\n" + oneLine(item.summary);
    input += '\n';
  }
  return input;
}

// The item that the chooser's answer names: by the whole line it was shown as, by its title (what
// zenity prints, and what a chooser prints when the user types it) or by its name; failing those,
// by the title before the separator, for a chooser that changed the summary's part of the line.
const ChoiceItem* itemAnswered(std::span<const ChoiceItem> items, std::string_view answer) {
  for (const ChoiceItem& item : items) {
    if (answer == lineOf(item) || answer == oneLine(item.title) || answer == item.name) {
      return &item;
    }
  }
  const std::string_view title = answer.substr(0, answer.find(kSeparator));
  for (const ChoiceItem& item : items) {
    if (title == oneLine(item.title)) return &item;
  }
  return nullptr;
}

}  // namespace

std::optional<CommandError> chooseItem(const Desktop& desktop,
                                       const std::optional<std::string>& command,
                                       std::span<const ChoiceItem> items,
                                       const ChoiceItem*& chosen) {
  chosen = nullptr;
  const std::optional<Chooser> chooser =
      command ? Chooser{"/bin/sh", {"-c", *command}} : desktopChooser(desktop);
  if (!chooser) {
    return CommandError{ErrorKind::noDesktop,
                        localized("pick needs a chooser: install fuzzel, wofi, rofi, dmenu or "
                                  "zenity, or give --chooser")};
  }
  const ProgramOutput output = runProgramForOutput(chooser->program, chooser->arguments,
                                                   chooserInput(items, chooser->layout));
  if (output.status < 0) {
    return CommandError{ErrorKind::noDesktop,
                        localizedFormat("cannot run the chooser {0}", {chooser->program})};
  }
  std::string_view answer = output.output;
  while (!answer.empty() && (answer.back() == '\n' || answer.back() == '\r')) {
    answer.remove_suffix(1);
  }
  if (output.status != 0 || answer.empty()) return std::nullopt;
  chosen = itemAnswered(items, answer);
  if (!chosen) {
    return CommandError{ErrorKind::input, localizedFormat("no service is called {0}", {answer})};
  }
  return std::nullopt;
}

}  // namespace textrix::command
