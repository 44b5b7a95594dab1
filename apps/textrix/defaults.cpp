#include "defaults.h"

#include <cstdio>
#include <string>

#include "errors.h"
#include "runtime/defaults.h"

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
    if (!UserDefaults::isValidKey(operands[0])) {
      return report({ErrorKind::usage, "a key cannot hold '=' or a line break"});
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
