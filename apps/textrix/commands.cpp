// SPDX-License-Identifier: MIT
#include "commands.h"

#include <algorithm>
#include <string>
#include <vector>

#include "apply.h"
#include "call.h"
#include "defaults.h"
#include "errors.h"
#include "list.h"
#include "pick.h"
#include "serve.h"
#include "services/catalogue.h"
#include "services/user_actions.h"

namespace textrix::command {
namespace {

constexpr std::string_view kDescription =
    "\n"
    "Applies a text service to FILE (or standard input) and writes the result to standard\n"
    "output. Plain text is UTF-8; input that begins with {\\rtf is RTF, input that begins with "
    "the\n"
    "flat RTFD signature is RTFD; --type overrides the detection. The result has the type the\n"
    "service wrote: plain text, RTF or flat RTFD.\n"
    "\n"
    "Exit status: 0 done, 1 the service reported its message, 2 bad usage or input,\n"
    "3 the session bus or the provider cannot be reached (textrix call, textrix serve, textrix\n"
    "pick), 4 no display or a missing helper program (textrix pick).\n"
    "textrix pick applies a service to the selected text of any application and leaves the\n"
    "result on the clipboard; without SERVICE it asks for one in a chooser, the services used\n"
    "last first; --repeat applies the one it applied last again.\n"
    "Settings live in $TEXTRIX_DEFAULTS, else $XDG_CONFIG_HOME/textrix/defaults.\n"
    "Your own actions, executable filters that textrix list shows after the services, live in\n"
    "$XDG_CONFIG_HOME/textrix/actions (else ~/.config/textrix/actions) and in textrix/actions\n"
    "of each directory of $XDG_DATA_DIRS (else /usr/local/share:/usr/share). An action may run\n"
    "for $TEXTRIX_ACTION_TIMEOUT seconds, else 30.\n";

void writeNameAndTitle(std::FILE* stream, std::string_view name, std::string_view title) {
  std::string line = "  " + std::string(name);
  line.resize(std::max<std::size_t>(line.size() + 1, 26), ' ');
  line += title;
  writeText(stream, line + "\n");
}

void writeServiceList(std::FILE* stream) {
  writeText(stream, "\nServices:\n");
  for (const ServiceEntry& entry : serviceCatalogue()) {
    writeNameAndTitle(stream, entry.name, entry.menuTitle);
  }
  const std::vector<UserAction> actions = userActions();
  if (actions.empty()) return;
  writeText(stream, "\nActions:\n");
  for (const UserAction& action : actions) writeNameAndTitle(stream, action.name, action.title);
}

int help() {
  writeText(stdout, kUsage);
  writeText(stdout, kDescription);
  writeServiceList(stdout);
  return kSuccess;
}

int version() {
  writeText(stdout, "textrix " TEXTRIX_VERSION "\n");
  return kSuccess;
}

}  // namespace

void writeText(std::FILE* stream, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stream);
}

int run(std::span<const std::string_view> arguments) {
  if (arguments.empty()) return report({ErrorKind::usage, "no service given"});
  const std::string_view first = arguments.front();
  const auto rest = arguments.subspan(1);
  if (first == "--help" || first == "-h" || first == "help") return help();
  if (first == "--version") return version();
  if (first == "list") return listServices(rest);
  if (first == "defaults") return defaults(rest);
  if (first == "serve") return serve(rest);
  if (first == "call") return callService(rest);
  if (first == "pick") return pick(rest);
  return applyService(first, rest);
}

}  // namespace textrix::command
