#include "chooser.h"

#include <string_view>
#include <vector>

namespace textrix::command {
namespace {

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

}  // namespace

// Asks the user for a service by its menu title: in command through /bin/sh when given, else in the
// first chooser that this desktop has. Sets service to the chosen one, or to null when the choice
// was cancelled; returns the error when no chooser can run (no desktop) or its answer is not a
// service (bad input).
std::optional<CommandError> chooseService(const Desktop& desktop,
                                          const std::optional<std::string>& command,
                                          const ServiceEntry*& service) {
  service = nullptr;
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
      return CommandError{
          ErrorKind::noDesktop,
          "pick needs a chooser: install fuzzel, wofi, rofi, dmenu or zenity, or give --chooser"};
    }
  }
  std::string titles;
  for (const ServiceEntry& entry : serviceCatalogue())
    titles += std::string(entry.menuTitle) + "\n";
  const ProgramOutput chosen = runProgramForOutput(program, arguments, titles);
  if (chosen.status < 0) {
    return CommandError{ErrorKind::noDesktop, "cannot run the chooser " + program};
  }
  std::string_view answer = chosen.output;
  while (!answer.empty() && (answer.back() == '\n' || answer.back() == '\r')) {
    answer.remove_suffix(1);
  }
  if (chosen.status != 0 || answer.empty()) return std::nullopt;
  for (const ServiceEntry& entry : serviceCatalogue()) {
    if (entry.menuTitle == answer || entry.name == answer) {
      service = &entry;
      return std::nullopt;
    }
  }
  return CommandError{ErrorKind::input, "no service is called " + std::string(answer)};
}

}  // namespace textrix::command
