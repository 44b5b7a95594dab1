// SPDX-License-Identifier: MIT
#include "commands.h"

#include <algorithm>
#include <string>
#include <vector>

#include <CLI/CLI.hpp>

#include "apply.h"
#include "call.h"
#include "command_line.h"
#include "defaults.h"
#include "errors.h"
#include "list.h"
#include "pick.h"
#include "runtime/localization.h"
#include "serve.h"
#include "services/catalogue.h"
#include "services/user_actions.h"

namespace textrix::command {
namespace {

constexpr const char* kDescription =
    N_("Applies a text service to FILE (or standard input) and writes the result to\n"
       "standard output. Plain text is UTF-8; input that begins with {\\rtf is RTF,\n"
       "input that begins with the flat RTFD signature is RTFD; --type overrides the\n"
       "detection. The result has the type the service wrote: plain text, RTF or flat\n"
       "RTFD. 'textrix SERVICE --help' (or 'textrix help SERVICE') tells what a service\n"
       "does, with an example.\n"
       "\n"
       "Commands:\n"
       "  SERVICE [FILE]        apply the service to FILE, or to standard input when\n"
       "                        none or -\n"
       "  list [--long]         one line per service and action: name, tab, title (and\n"
       "                        summary)\n"
       "  defaults read [KEY]   print one setting, or all of them as KEY=VALUE lines\n"
       "  defaults write KEY VALUE\n"
       "                        store a setting\n"
       "  defaults delete KEY   remove a setting\n"
       "  serve                 run the provider on the session bus\n"
       "  call SERVICE [FILE]   send the request to the provider over the session bus\n"
       "                        (which starts it when needed) and print the result as\n"
       "                        SERVICE does\n"
       "  pick [SERVICE]        apply a service to the selected text of any\n"
       "                        application and leave the result on the clipboard;\n"
       "                        without SERVICE it asks for one in a chooser, the\n"
       "                        services used last first\n"
       "  help [COMMAND]        this help, or the help of a service or command\n"
       "\n"
       "Options:\n"
       "  -h, --help            print the help (after a service or command: its own)\n"
       "                        and exit\n"
       "  -V, --version         print the version and exit\n"
       "  --type plain|rtf|rtfd read the selection as this type instead of detecting it\n"
       "  --wav FILE            speak-native, speak-german: write the speech to this\n"
       "                        WAV file instead of the sound device\n"
       "  --print               speak-native, speak-german: print the text that would\n"
       "                        be spoken instead of speaking it\n"
       "  --slice SECONDS       serve: serve in slices of this many seconds (default\n"
       "                        30; also $TEXTRIX_SLICE_SECONDS); the provider ends\n"
       "                        after a slice in which nothing was asked and nothing is\n"
       "                        being spoken\n"
       "  --application NAME    call: the name of the application the request is made\n"
       "                        for\n"
       "  --repeat              pick: apply the service that pick applied last, without\n"
       "                        a chooser\n"
       "  --clipboard           pick: use the clipboard's text rather than what is\n"
       "                        selected now\n"
       "  --chooser COMMAND     pick: ask in this command (run by /bin/sh; the items\n"
       "                        come on its standard input, one a line) instead of\n"
       "                        fuzzel, wofi, rofi, dmenu or zenity\n"
       "  --                    end the options: what follows is an operand, even if it\n"
       "                        starts with -\n"
       "\n"
       "Exit status: 0 done, 1 the service reported its message (or a setting is\n"
       "missing), 2 bad usage or input, 3 the session bus or the provider cannot be\n"
       "reached (textrix call, textrix serve, textrix pick), 4 no display or a missing\n"
       "helper program (textrix pick).\n"
       "\n"
       "Settings live in $TEXTRIX_DEFAULTS, else $XDG_CONFIG_HOME/textrix/defaults.\n"
       "Your own actions, executable filters that textrix list shows after the\n"
       "services, live in $XDG_CONFIG_HOME/textrix/actions (else\n"
       "~/.config/textrix/actions) and in textrix/actions of each directory of\n"
       "$XDG_DATA_DIRS (else /usr/local/share:/usr/share). An action may run for\n"
       "$TEXTRIX_ACTION_TIMEOUT seconds, else 30.\n");

void writeNameAndTitle(std::FILE* stream, std::string_view name, std::string_view title) {
  writeText(stream, helpRow(name, title, 26));
}

void writeServiceList(std::FILE* stream) {
  writeText(stream, "\n" + localized("Services:") + "\n");
  for (const ServiceEntry& entry : serviceCatalogue()) {
    writeNameAndTitle(stream, entry.name, localized(entry.summary));
  }
  const std::vector<UserAction> actions = userActions();
  if (actions.empty()) return;
  writeText(stream, "\n" + localized("Actions:") + "\n");
  for (const UserAction& action : actions) {
    writeNameAndTitle(stream, action.name,
                      action.description.empty() ? action.title : action.description);
  }
}

int help() {
  writeText(stdout, localized(kUsage));
  writeText(stdout, "\n" + localized(kDescription));
  writeText(stdout, "\n" + localized("Settings (textrix defaults):") + "\n");
  writeText(stdout, wrappedText(settingsHelp()));
  writeServiceList(stdout);
  return kSuccess;
}

int version() {
  writeText(stdout, "textrix " TEXTRIX_VERSION "\n");
  return kSuccess;
}

// The subcommand named first, given the arguments after its name.
int dispatch(std::string_view name, std::span<const std::string_view> rest) {
  if (name == "list") return listServices(rest);
  if (name == "defaults") return defaults(rest);
  if (name == "serve") return serve(rest);
  if (name == "call") return callService(rest);
  if (name == "pick") return pick(rest);
  return applyService(name, rest);
}

// textrix help [COMMAND]: the whole help, or that of the service or subcommand named.
int helpOn(std::span<const std::string_view> arguments) {
  if (arguments.empty()) return help();
  if (arguments.size() > 1) return report({ErrorKind::usage, localized("help takes one command")});
  const std::string_view helpFlag[] = {"--help"};
  return dispatch(arguments.front(), helpFlag);
}

}  // namespace

void writeText(std::FILE* stream, std::string_view text) {
  std::fwrite(text.data(), 1, text.size(), stream);
}

int run(std::span<const std::string_view> arguments) {
  if (arguments.empty()) return report({ErrorKind::usage, localized("no service given")});
  // Only what comes before the first operand is the command's own; the rest is the subcommand's.
  CLI::App app("Text services for any application", "textrix");
  app.prefix_command();
  app.set_help_flag("-h,--help");
  bool showVersion = false;
  app.add_flag("-V,--version", showVersion);
  std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
  try {
    app.parse(reversed);
  } catch (const CLI::CallForHelp&) {
    return help();
  } catch (const CLI::ParseError& error) {
    return report({ErrorKind::usage, error.what()});
  }
  if (showVersion) return version();
  const std::size_t first = arguments.size() - app.remaining_size();
  if (first == arguments.size()) return report({ErrorKind::usage, localized("no service given")});
  const std::string_view name = arguments[first];
  if (name.starts_with("-") && name != "-") return report(unknownOption(app, name));
  if (name == "help") return helpOn(arguments.subspan(first + 1));
  return dispatch(name, arguments.subspan(first + 1));
}

}  // namespace textrix::command
