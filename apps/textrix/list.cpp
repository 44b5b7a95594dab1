// SPDX-License-Identifier: MIT
#include "list.h"

#include <string>

#include "commands.h"
#include "errors.h"
#include "services/catalogue.h"
#include "services/user_actions.h"

namespace textrix::command {

int listServices(std::span<const std::string_view> arguments) {
  if (!arguments.empty()) return report({ErrorKind::usage, "list takes no arguments"});
  for (const ServiceEntry& entry : serviceCatalogue()) {
    writeText(stdout, std::string(entry.name) + "\t" + std::string(entry.menuTitle) + "\n");
  }
  for (const UserAction& action : userActions()) {
    writeText(stdout, action.name + "\t" + action.title + "\n");
  }
  return kSuccess;
}

}  // namespace textrix::command
