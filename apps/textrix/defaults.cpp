// SPDX-License-Identifier: MIT
#include "defaults.h"

#include <cstdio>
#include <string>
#include <vector>

#include "command_line.h"
#include "errors.h"
#include "runtime/defaults.h"
#include "runtime/localization.h"
#include "services/settings.h"
#include "util/suggestions.h"

namespace textrix::command {
namespace {

void printSetting(std::string_view key, std::string_view value) {
  std::printf("%.*s=%.*s\n", static_cast<int>(key.size()), key.data(),
              static_cast<int>(value.size()), value.data());
}

int read(UserDefaults& store, std::span<const std::string_view> keys) {
  if (keys.empty()) {
    for (const auto& [key, value] : store.dictionaryRepresentation()) printSetting(key, value);
    return kSuccess;
  }
  std::optional<std::string> value = store.objectForKey(keys.front());
  if (!value) {
    return report({ErrorKind::missingSetting, localizedFormat("no setting {0}", {keys.front()})});
  }
  std::printf("%s\n", value->c_str());
  return kSuccess;
}

// The settings' keys in the help's order, for a suggestion and for the list that an unknown key
// is told with.
std::vector<std::string_view> settingKeys() {
  std::vector<std::string_view> keys;
  for (const Setting& setting : knownSettings()) keys.push_back(setting.key);
  return keys;
}

// Why key cannot take value, or none when it can.
std::optional<CommandError> settingProblem(std::string_view key, std::string_view value) {
  if (const Setting* setting = findSetting(key)) {
    if (setting->accepts(value)) return std::nullopt;
    return CommandError{
        ErrorKind::input,
        localizedFormat("{0} takes {1}, not \"{2}\"", {key, localized(setting->values), value})};
  }
  const std::vector<std::string_view> keys = settingKeys();
  std::string message = localizedFormat("no setting is called {0}", {key});
  const std::optional<std::string_view> meant = closestName(key, keys);
  message += meant ? localizedFormat("; did you mean {0}?", {*meant}) : std::string(".");
  std::string list;
  for (std::size_t i = 0; i < keys.size(); ++i) {
    list += (i == 0 ? "" : i + 1 == keys.size() ? localized(" and ") : ", ") + std::string(keys[i]);
  }
  return CommandError{ErrorKind::input,
                      message + " " + localizedFormat("The settings are {0}.", {list})};
}

int save(UserDefaults& store) {
  std::string problem = store.synchronize();
  if (problem.empty()) return kSuccess;
  return report({ErrorKind::input, std::move(problem)});
}

}  // namespace

std::string settingsHelp() {
  std::string text;
  for (const Setting& setting : knownSettings()) {
    text +=
        "  " + std::string(setting.key) + "\n      " +
        localizedFormat("{0}; takes {1}", {localized(setting.summary), localized(setting.values)}) +
        "\n";
  }
  return text;
}

int defaults(std::span<const std::string_view> arguments) {
  std::vector<std::string> words;
  std::unique_ptr<CLI::App> app = subcommandParser(
      "defaults",
      localized("Prints, stores or removes the settings.\n"
                "  read [KEY]        print one setting, or all of them as KEY=VALUE lines (exit 1 "
                "for a\n"
                "                    missing key)\n"
                "  write KEY VALUE   store a setting\n"
                "  delete KEY        remove a setting\n"));
  app->add_option("ACTION", words, localized("read, write or delete, and its KEY and VALUE"))
      ->type_name("");
  app->footer(localized("Settings:") + "\n" + settingsHelp() +
              localized("The settings file is $TEXTRIX_DEFAULTS when set, else "
                        "$XDG_CONFIG_HOME/textrix/defaults.") +
              "\n");
  if (std::optional<int> status = parseCommandLine(*app, arguments, "")) return *status;
  if (words.empty()) {
    return report({ErrorKind::usage, localized("defaults needs read, write or delete")});
  }
  UserDefaults& store = UserDefaults::standardUserDefaults();
  const std::vector<std::string_view> views(words.begin(), words.end());
  const std::string_view action = views.front();
  const auto operands = std::span(views).subspan(1);
  if (action == "read" && operands.size() <= 1) return read(store, operands);
  if (action == "write" && operands.size() == 2) {
    if (std::optional<CommandError> problem = settingProblem(operands[0], operands[1])) {
      return report(*problem);
    }
    store.setString(operands[1], operands[0]);
    return save(store);
  }
  if (action == "delete" && operands.size() == 1) {
    store.removeObjectForKey(operands[0]);
    return save(store);
  }
  return report({ErrorKind::usage, "defaults read [KEY] | write KEY VALUE | delete KEY"});
}

}  // namespace textrix::command
