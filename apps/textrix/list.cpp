// SPDX-License-Identifier: MIT
#include "list.h"

#include <string>

#include "command_line.h"
#include "commands.h"
#include "errors.h"
#include "runtime/localization.h"
#include "services/catalogue.h"
#include "services/user_actions.h"

namespace textrix::command {

int listServices(std::span<const std::string_view> arguments) {
  bool longForm = false;
  std::unique_ptr<CLI::App> app = subcommandParser(
      "list", localized("Lists the services and then your actions: name, a tab and title, one a "
                        "line."));
  app->add_flag("--long", longForm, localized("add a tab and what each one does"))
      ->disable_flag_override();
  if (std::optional<int> status =
          parseCommandLine(*app, arguments, localized("list takes no arguments"))) {
    return *status;
  }
  const auto line = [longForm](std::string_view name, std::string_view title,
                               std::string_view summary) {
    std::string text = std::string(name) + "\t" + std::string(title);
    if (longForm) text += "\t" + std::string(summary);
    writeText(stdout, text + "\n");
  };
  for (const ServiceEntry& entry : serviceCatalogue())
    line(entry.name, localized(entry.menuTitle), localized(entry.summary));
  for (const UserAction& action : userActions())
    line(action.name, action.title, action.description);
  return kSuccess;
}

}  // namespace textrix::command
