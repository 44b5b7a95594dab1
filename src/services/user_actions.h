// SPDX-License-Identifier: MIT
// The user's own actions: executable filters, in any language, offered beside the built-in
// services. An action is a file in an actions directory; the selection goes to its standard input
// and its standard output is the result.
//
// The directories, searched in order: $XDG_CONFIG_HOME/textrix/actions (~/.config/textrix/actions),
// then DIR/textrix/actions for each DIR of $XDG_DATA_DIRS (/usr/local/share:/usr/share). An
// action's name is its file name without the extension: lower-case letters, digits and '-', not
// beginning with '-'. The first directory that holds a name wins; a name that a built-in service or
// one of the command's own words (list, call, ...) has is skipped. An action is described
//
//   - by a header comment in its first lines, whatever the comment leader (#, //, --, ;):
//       # Title: Encode as Base64
//       # Description: Encodes the selection's UTF-8 bytes as Base64.
//       # Accepts: plain            plain, rtf, or both ("plain; rtf")
//       # Returns: plain            plain or rtf
//       # Message: Error: Couldn't encode as base64.
//   - or by NAME.action beside it, in the desktop-entry style, which also lets an existing program
//     be an action without a wrapper:
//       [Textrix Action]
//       Title=Pretty-Print JSON
//       Exec=jq .
//       Accepts=plain
//     Exec names the program (absolute, relative to the file's directory when it has a '/', else
//     looked up on PATH) and its arguments; without Exec the action runs the executable of the same
//     name beside the file.
//
//   for (const textrix::UserAction& action : textrix::userActions()) offer(action.title);
//   if (std::optional<textrix::UserAction> action = textrix::findUserAction("base64-encode")) {
//     std::string error;
//     textrix::performUserAction(provider, *action, pasteboard, error);
//   }
//
// The directories are read anew on every call, so that an action added or removed counts at once.
#pragma once

#include <chrono>
#include <cstddef>
#include <filesystem>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/pasteboard.h"

namespace textrix {

class Textrix;

// How long an action may run when $TEXTRIX_ACTION_TIMEOUT (seconds, may have a fraction) does not
// say otherwise.
inline constexpr std::chrono::seconds kDefaultActionTimeLimit{30};

struct UserAction {
  std::string name;         // "base64-encode"
  std::string title;        // "Encode as Base64"; by default the name with its words capitalized
  std::string description;  // one line; empty when not given
  bool acceptsPlain = true;
  bool acceptsRtf = false;     // rich selections (RTF, RTFD) come as RTF
  bool returnsRtf = false;     // else it returns plain text
  std::string message;         // reported when it fails without a line on its standard error
  std::filesystem::path file;  // the file that describes it: the executable or NAME.action
  // The program and its arguments, the program as written: a path, or a bare name for PATH.
  std::vector<std::string> command;

  // The pasteboard types it takes and gives, as ListServices tells them.
  std::vector<std::string> sendTypes() const;
  std::vector<std::string> returnTypes() const;
};

// The actions directories of an environment: config home, home and data directories as the
// variables $XDG_CONFIG_HOME, $HOME and $XDG_DATA_DIRS give them (null when unset). Relative
// directories are skipped, as the base-directory rules say; no home and no config home is no user
// directory.
std::vector<std::filesystem::path> actionDirectories(const char* configHome, const char* home,
                                                     const char* dataDirs);
// The actions directories of this process's environment.
std::vector<std::filesystem::path> actionDirectories();

// The actions in the directories, by name. Files that are no action (a bad name, not executable,
// a description that names an unknown type) are skipped; directories that cannot be read are
// empty. Never throws for what it finds on the disk.
std::vector<UserAction> discoverUserActions(std::span<const std::filesystem::path> directories);
// The actions of this process's directories.
std::vector<UserAction> userActions();
// The action with this name, or whose file has this path (its handler on the bus), or none.
std::optional<UserAction> findUserAction(std::string_view nameOrFile);

// How long an action may run: $TEXTRIX_ACTION_TIMEOUT seconds when that is a positive number,
// else kDefaultActionTimeLimit.
std::chrono::milliseconds actionTimeLimit();

// Runs the action on the pasteboard's selection and writes its result back, as a service does. The
// selection goes to its standard input as UTF-8, or as RTF when the action takes RTF and the
// selection is rich; the environment tells it TEXTRIX_TYPE (plain or rtf), TEXTRIX_ACTION (its
// name) and TEXTRIX_APPLICATION (the requesting application, or empty). When nothing it takes is
// selected, or it fails (an exit status other than 0, a signal, the time limit, more than
// kMaxSelectionBytes (runtime/pasteboard.h) either way, output that is not UTF-8 or not RTF), the
// pasteboard is left as it was and error holds the one message: the last non-empty line of its
// standard error, else the action's message. The reason goes to the provider's log.
void performUserAction(Textrix& provider, const UserAction& action, ServicePasteboard& pasteboard,
                       std::string& error);

}  // namespace textrix
