// SPDX-License-Identifier: MIT
#include "command_line.h"

#include <algorithm>
#include <vector>

#include "commands.h"
#include "filter.h"
#include "services/catalogue.h"
#include "services/user_actions.h"
#include "util/suggestions.h"

namespace textrix::command {
namespace {

// The messages for options whose value is missing, by option name; CLI11 tells it as an
// ArgumentMismatch that starts with the option's name.
using NeedsMessages = std::vector<std::pair<std::string, std::string>>;

NeedsMessages& needsMessagesOf(const CLI::App& app) {
  static std::vector<std::pair<const CLI::App*, NeedsMessages>> all;
  for (auto& [owner, messages] : all) {
    if (owner == &app) return messages;
  }
  return all.emplace_back(&app, NeedsMessages{}).second;
}

// The usage error for a CLI11 parse error: the option's own message where it has one.
CommandError parseProblem(const CLI::App& app, const CLI::ParseError& error) {
  const std::string what = error.what();
  for (const auto& [name, needs] : needsMessagesOf(app)) {
    if (what.starts_with(name + ":")) return {ErrorKind::usage, needs};
  }
  return {ErrorKind::usage, what};
}

// The first argument that app left over, as the usage error it is: an option it does not know,
// or an operand it has no room for. Arguments after "--" are operands whatever they look like.
std::optional<CommandError> leftOverProblem(const CLI::App& app, std::string_view extraOperand) {
  bool operandsOnly = false;
  for (const std::string& argument : app.remaining()) {
    if (argument == "--" && !operandsOnly) {
      operandsOnly = true;
    } else if (!operandsOnly && argument.size() > 1 && argument.starts_with("-")) {
      return unknownOption(app, argument.substr(0, argument.find('=')));
    } else {
      return CommandError{ErrorKind::usage, std::string(extraOperand)};
    }
  }
  return std::nullopt;
}

}  // namespace

std::unique_ptr<CLI::App> subcommandParser(std::string_view name, std::string_view description) {
  auto app = std::make_unique<CLI::App>(std::string(description), "textrix " + std::string(name));
  app->allow_extras();
  app->set_help_flag("-h,--help", "print this help and exit");
  return app;
}

void addSelectionArguments(CLI::App& app, SelectionArguments& selection) {
  app.add_option("FILE", selection.file,
                 "the file to read the selection from; standard input when none or -")
      ->type_name("");
  addValueOption(app, "--type", "plain|rtf|rtfd",
                 "read the selection as this type instead of detecting it",
                 "--type needs plain, rtf or rtfd", [&selection](const std::string& name) {
                   selection.type = pasteboardTypeNamed(name);
                   if (!selection.type) throw CLI::ValidationError("--type", "not a type");
                 });
}

CLI::Option* addValueOption(CLI::App& app, const std::string& name, const std::string& valueName,
                            const std::string& description, const std::string& needs,
                            std::function<void(const std::string&)> take) {
  needsMessagesOf(app).emplace_back(name, needs);
  return app.add_option_function<std::string>(name, std::move(take), description)
      ->type_name(valueName);
}

std::optional<int> parseCommandLine(CLI::App& app, std::span<const std::string_view> arguments,
                                    std::string_view extraOperand) {
  std::vector<std::string> reversed(arguments.rbegin(), arguments.rend());
  try {
    app.parse(reversed);
  } catch (const CLI::CallForHelp&) {
    writeText(stdout, app.help());
    return kSuccess;
  } catch (const CLI::ParseError& error) {
    return report(parseProblem(app, error));
  }
  if (std::optional<CommandError> problem = leftOverProblem(app, extraOperand)) {
    return report(*problem);
  }
  return std::nullopt;
}

CommandError unknownOption(const CLI::App& app, std::string_view name) {
  std::vector<std::string> names;
  for (const CLI::Option* option : app.get_options()) {
    for (const std::string& longName : option->get_lnames()) names.push_back("--" + longName);
  }
  const std::vector<std::string_view> views(names.begin(), names.end());
  std::string message = "unknown option " + std::string(name);
  if (const std::optional<std::string_view> meant = closestName(name, views)) {
    message += "; did you mean " + std::string(*meant) + "?";
  }
  return {ErrorKind::usage, message};
}

CommandError unknownService(std::string_view name) {
  std::vector<std::string> names = {"list", "defaults", "serve", "call", "pick", "help"};
  for (const ServiceEntry& entry : serviceCatalogue()) names.emplace_back(entry.name);
  for (UserAction& action : userActions()) names.push_back(std::move(action.name));
  const std::vector<std::string_view> views(names.begin(), names.end());
  std::string message = "unknown service " + std::string(name);
  if (const std::optional<std::string_view> meant = closestName(name, views)) {
    message += "; did you mean " + std::string(*meant) + "?";
  }
  return {ErrorKind::usage, message};
}

}  // namespace textrix::command
