// SPDX-License-Identifier: MIT
#include "defaults.h"

#include <cstdio>
#include <string>
#include <vector>

#include "errors.h"
#include "runtime/defaults.h"
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
  if (!value) return report({ErrorKind::missingSetting, "no setting " + std::string(keys.front())});
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
    return CommandError{ErrorKind::input, std::string(key) + " takes " +
                                              std::string(setting->values) + ", not \"" +
                                              std::string(value) + "\""};
  }
  const std::vector<std::string_view> keys = settingKeys();
  std::string message = "no setting is called " + std::string(key);
  const std::optional<std::string_view> meant = closestName(key, keys);
  message += meant ? "; did you mean " + std::string(*meant) + "?" : std::string(".");
  message += " The settings are";
  for (std::size_t i = 0; i < keys.size(); ++i) {
    message += (i == 0 ? " " : i + 1 == keys.size() ? " and " : ", ") + std::string(keys[i]);
  }
  return CommandError{ErrorKind::input, message + "."};
}

int save(UserDefaults& store) {
  std::string problem = store.synchronize();
  if (problem.empty()) return kSuccess;
  return report({ErrorKind::input, std::move(problem)});
}

}  // namespace

int defaults(std::span<const std::string_view> arguments) {
  if (arguments.empty()) return report({ErrorKind::usage, "defaults needs read, write or delete"});
  UserDefaults& store = UserDefaults::standardUserDefaults();
  const std::string_view action = arguments.front();
  const auto operands = arguments.subspan(1);
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
