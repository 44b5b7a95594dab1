// SPDX-License-Identifier: MIT
#include "pick.h"

#include <unistd.h>

#include <algorithm>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "chooser.h"
#include "command_line.h"
#include "commands.h"
#include "desktop/selection.h"
#include "errors.h"
#include "provider/client.h"
#include "rich/rtf.h"
#include "rich/rtfd.h"
#include "runtime/localization.h"
#include "runtime/recent_services.h"
#include "services/catalogue.h"
#include "services/user_actions.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

// The types under which an owner may offer RTF, and those of UTF-8 text, in order of preference.
constexpr std::string_view kRtfTargets[] = {"text/rtf", "text/richtext", "application/rtf"};
constexpr std::string_view kTextTargets[] = {"text/plain;charset=utf-8", "UTF8_STRING"};

struct PickOptions {
  std::optional<std::string> service;
  bool clipboard = false;
  bool repeat = false;
  std::optional<std::string> chooser;
};

// Parses [SERVICE | --repeat] [--clipboard] [--chooser COMMAND] in any order; returns the exit
// status when pick ends here: after its help, or a usage error.
std::optional<int> parsePickOptions(std::span<const std::string_view> arguments,
                                    PickOptions& options) {
  std::unique_ptr<CLI::App> app = subcommandParser(
      "pick",
      localized(
          "Applies a service to the selected text of any application (PRIMARY, else with "
          "--clipboard the clipboard's text) through the provider on the session bus, and leaves "
          "the result on the clipboard, for a desktop key binding. Without SERVICE it asks for one "
          "in a chooser, the services used last first. A service's message becomes a desktop "
          "notification."));
  app->add_option("SERVICE", options.service, localized("the service or action to apply"))
      ->type_name("");
  app->add_flag("--repeat", options.repeat, localized("apply the service that pick applied last"))
      ->disable_flag_override();
  app->add_flag("--clipboard", options.clipboard,
                localized("use the clipboard's text, not the selection"))
      ->disable_flag_override();
  addValueOption(*app, "--chooser", "COMMAND",
                 localized("ask in this command (run by /bin/sh, one item a line on its standard "
                           "input) instead of fuzzel, wofi, rofi, dmenu or zenity"),
                 localized("--chooser needs a command"), [&options](const std::string& command) {
                   if (command.empty()) throw CLI::ValidationError("--chooser", "empty");
                   options.chooser = command;
                 });
  if (std::optional<int> status =
          parseCommandLine(*app, arguments, localized("pick takes one service"))) {
    return status;
  }
  if (options.service && !findService(*options.service) && !findUserAction(*options.service)) {
    return report(unknownService(*options.service));
  }
  if (options.repeat && options.service) {
    return report({ErrorKind::usage, localized("pick --repeat takes no service")});
  }
  return std::nullopt;
}

// Reports the error on standard error and as a notification, since a key binding has no terminal;
// returns its exit status.
int tellUser(const Desktop& desktop, const CommandError& error) {
  const int status = report(error);
  notify(desktop, errorLine(error));
  return status;
}

// items with those that recent names first, most recent at the top, and then the others in the
// order they came.
std::vector<ChoiceItem> recentFirst(std::vector<ChoiceItem> items,
                                    std::span<const std::string> recent) {
  const auto recency = [recent](const ChoiceItem& item) {
    return std::find(recent.begin(), recent.end(), item.name) - recent.begin();
  };
  std::stable_sort(items.begin(), items.end(), [&](const ChoiceItem& a, const ChoiceItem& b) {
    return recency(a) < recency(b);
  });
  return items;
}

// What pick offers to choose from: the services in the order of the menu, those applied lately
// first. A name in the history that names none of them is passed over.
std::vector<ChoiceItem> pickChoices(const RecentServices& recent) {
  std::vector<ChoiceItem> items;
  for (const ServiceEntry& entry : serviceCatalogue()) {
    items.push_back(
        {std::string(entry.name), localized(entry.menuTitle), localized(entry.summary)});
  }
  for (UserAction& action : userActions()) {
    items.push_back(
        {std::move(action.name), std::move(action.title), std::move(action.description)});
  }
  return recentFirst(std::move(items), recent.names());
}

// The name of the choice that pick applied last, or none when the history names no choice.
std::optional<std::string> lastApplied(const RecentServices& recent) {
  const std::vector<ChoiceItem> items = pickChoices(recent);
  const std::vector<std::string>& names = recent.names();
  if (items.empty() || std::find(names.begin(), names.end(), items.front().name) == names.end()) {
    return std::nullopt;
  }
  return items.front().name;
}

// The service that the command line names, repeats or leaves to the chooser: in name, left empty
// when the choice was cancelled. Returns the error when there is nothing to repeat or no choice.
std::optional<CommandError> serviceToApply(const PickOptions& options, const Desktop& desktop,
                                           const RecentServices& recent, std::string& name) {
  if (options.service) {
    name = *options.service;
  } else if (options.repeat) {
    std::optional<std::string> last = lastApplied(recent);
    if (!last) {
      return CommandError{ErrorKind::missingSetting,
                          localized("nothing to repeat: pick has applied no service yet")};
    }
    name = std::move(*last);
  } else {
    const std::vector<ChoiceItem> items = pickChoices(recent);
    const ChoiceItem* chosen = nullptr;
    if (std::optional<CommandError> error = chooseItem(desktop, options.chooser, items, chosen)) {
      return error;
    }
    if (chosen) name = chosen->name;
  }
  return std::nullopt;
}

// Puts the service first in the history. A history that cannot be kept is told on standard error
// only: it never stops pick.
void remember(RecentServices& recent, std::string_view service) {
  recent.recordUse(service);
  if (std::string problem = recent.save(); !problem.empty()) {
    writeText(stderr,
              errorLine({ErrorKind::input,
                         localizedFormat("the recent services are not kept: {0}", {problem})}) +
                  "\n");
  }
}

bool offers(const std::vector<std::string>& types, std::string_view type) {
  return std::find(types.begin(), types.end(), type) != types.end();
}

// The types an owner offers, without the X11 targets that every owner answers and that hold no
// selection.
std::string listed(const std::vector<std::string>& types) {
  constexpr std::string_view kProtocolTargets[] = {"TARGETS", "TIMESTAMP", "MULTIPLE",
                                                   "SAVE_TARGETS"};
  std::string list;
  for (const std::string& type : types) {
    if (std::find(std::begin(kProtocolTargets), std::end(kProtocolTargets), type) !=
        std::end(kProtocolTargets)) {
      continue;
    }
    list += (list.empty() ? "" : ", ") + type;
  }
  return list;
}

// The request's pasteboard: RTF when it is offered and reads, then UTF-8 text when it is offered
// and valid, so that the provider falls back to the text when the RTF does not parse. A service
// that reads no selection (the date and time) is applied whatever is selected; for the others,
// returns what the user is told instead of a request the service could only refuse: that nothing
// is selected, that the RTF cannot be read (and where), that nothing offered is text, or that the
// selection is too large to send.
std::optional<CommandError> requestFromSelection(DesktopSelection& selection, bool readsSelection,
                                                 BusPasteboard& request) {
  const std::vector<std::string> types = selection.types();
  const auto add = [&](std::string_view type, const std::string& bytes) {
    request.emplace_back(std::string(type), std::vector<std::uint8_t>(bytes.begin(), bytes.end()));
  };
  std::optional<RichTextError> rtfError;
  std::optional<std::size_t> invalidTextAt;
  bool empty = true;
  for (std::string_view type : kRtfTargets) {
    if (!offers(types, type)) continue;
    std::optional<std::string> bytes = selection.read(type);
    if (!bytes || !bytes->starts_with("{\\rtf")) continue;
    const RichTextReading reading = readRtf(*bytes);
    if (!reading.ok()) {
      rtfError = reading.error;
      continue;
    }
    empty = empty && reading.text.length() == 0;
    add("text/rtf", *bytes);
    break;
  }
  for (std::string_view type : kTextTargets) {
    if (!offers(types, type)) continue;
    std::optional<std::string> bytes = selection.read(type);
    if (!bytes) continue;
    if (const std::size_t invalid = firstInvalidUtf8Offset(*bytes);
        invalid != Utf8Decoding::kValid) {
      invalidTextAt = invalid;
      continue;
    }
    empty = empty && bytes->empty();
    add("text/plain;charset=utf-8", *bytes);
    break;
  }
  if (!readsSelection) return std::nullopt;
  if (types.empty() || (!request.empty() && empty)) {
    return CommandError{ErrorKind::serviceMessage, localized("Nothing is selected")};
  }
  if (request.empty() && rtfError) {
    return CommandError{
        ErrorKind::input,
        localizedFormat("the selected RTF cannot be read: {0} at byte {1}",
                        {localized(rtfError->message()), std::to_string(rtfError->offset)})};
  }
  if (request.empty() && invalidTextAt) {
    return CommandError{ErrorKind::input,
                        localizedFormat("the selected text is not UTF-8: invalid UTF-8 at byte {0}",
                                        {std::to_string(*invalidTextAt)})};
  }
  if (request.empty()) {
    return CommandError{ErrorKind::input,
                        localizedFormat("the selection offers no text, only {0}", {listed(types)})};
  }
  if (contentBytes(request) > kMaxSelectionBytes) {
    return CommandError{ErrorKind::input, selectionTooLarge().message};
  }
  return std::nullopt;
}

// Shows what a service reports (statistics) as an information notification, and on standard output
// too when pick runs in a terminal, where the user reads it as it stays.
void showPanel(const Desktop& desktop, const ProviderPanel& panel) {
  notifyInformation(desktop, panel.title, panel.message);
  if (isatty(STDOUT_FILENO)) writeText(stdout, panel.title + "\n" + panel.message);
}

}  // namespace

int pick(std::span<const std::string_view> arguments) {
  PickOptions options;
  if (std::optional<int> status = parsePickOptions(arguments, options)) return *status;
  const Desktop desktop = Desktop::current();
  std::string problem;
  std::unique_ptr<DesktopSelection> selection =
      desktopSelection(desktop, options.clipboard, problem);
  if (!selection) return tellUser(desktop, {ErrorKind::noDesktop, problem});

  RecentServices recent(RecentServices::standardPath());
  std::string name;
  if (std::optional<CommandError> error = serviceToApply(options, desktop, recent, name)) {
    return tellUser(desktop, *error);
  }
  if (name.empty()) return kSuccess;  // cancelled: nothing changes
  // A built-in service named by its handler is applied and remembered by its command name.
  const ServiceEntry* entry = findService(name);
  const std::string service = entry ? std::string(entry->name) : name;

  BusPasteboard request;
  const bool readsSelection = !entry || entry->readMode != ReadMode::none;
  if (std::optional<CommandError> problem =
          requestFromSelection(*selection, readsSelection, request)) {
    return tellUser(desktop, *problem);
  }
  const auto [failure, answer, message, panel] =
      performOnProvider(service, request, selection->activeApplication());
  if (failure) {
    const int status = report(providerFailure(*failure));
    notify(desktop,
           errorLine({ErrorKind::unreachable, localized("the provider cannot be reached")}));
    return status;
  }
  // The provider applied the service, even where it then reported its message.
  remember(recent, service);
  if (panel) showPanel(desktop, *panel);
  if (!message.empty()) return tellUser(desktop, {ErrorKind::serviceMessage, message});
  // A service that writes nothing (speech, statistics) leaves the clipboard as it was.
  if (answer.empty()) return kSuccess;
  const std::vector<std::uint8_t>& content = answer.front().get<1>();
  if (std::string failed = selection->writeClipboard(
          clipboardContents(answer.front().get<0>(), std::string(content.begin(), content.end())));
      !failed.empty()) {
    return tellUser(desktop, {ErrorKind::noDesktop,
                              localizedFormat("cannot set the clipboard: {0}", {failed})});
  }
  return kSuccess;
}

}  // namespace textrix::command
