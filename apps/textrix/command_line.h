// SPDX-License-Identifier: MIT
// The command lines of the subcommands, parsed by CLI11: operands and options in any order, each
// option as "--name VALUE" or "--name=VALUE", "--" ending the options and "-" alone an operand
// (standard input). Parse problems become the command's usage errors, with a suggestion for a
// misspelt option; --help prints the subcommand's help.
//
//   std::unique_ptr<CLI::App> app = subcommandParser("list", "Lists the services.");
//   bool longForm = false;
//   app->add_flag("--long", longForm, "also the summary of each");
//   if (std::optional<int> status = parseCommandLine(*app, arguments, "list takes no operands"))
//     return *status;
#pragma once

#include <CLI/CLI.hpp>
#include <cstdint>
#include <functional>
#include <memory>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "errors.h"

namespace textrix::command {

// The FILE operand and the --type option of the subcommands that read a selection.
struct SelectionArguments {
  std::optional<std::string> file;
  std::optional<std::string_view> type;  // the pasteboard type named by --type
};

// The width that helps are wrapped to, in characters: what a terminal shows unwrapped.
inline constexpr std::int32_t kHelpWidth = 79;

// text with every line longer than width wrapped at the language's line-break opportunities, each
// part keeping the line's indentation; shorter lines stay as they are laid out.
std::string wrappedText(std::string_view text, std::int32_t width = kHelpWidth);

// A row of a two-column help: "  name", then from column on the description, wrapped within
// kHelpWidth and indented to column on its further lines.
std::string helpRow(std::string_view name, std::string_view description, std::int32_t column);

// A parser for "textrix NAME" that takes -h and --help, with the description its help opens with.
std::unique_ptr<CLI::App> subcommandParser(std::string_view name, std::string_view description);

// Adds the FILE operand and --type to app, parsed into selection.
void addSelectionArguments(CLI::App& app, SelectionArguments& selection);

// Adds an option that takes a value, and the message for when the value is missing: "--wav needs
// a file name".
CLI::Option* addValueOption(CLI::App& app, const std::string& name, const std::string& valueName,
                            const std::string& description, const std::string& needs,
                            std::function<void(const std::string&)> take);

// Parses arguments into app's options. Returns none when the caller goes on; else the exit status
// after the help was printed or the usage error reported. An operand that app has no room for is
// told with extraOperand ("more than one file given").
std::optional<int> parseCommandLine(CLI::App& app, std::span<const std::string_view> arguments,
                                    std::string_view extraOperand);

// The usage error for an option that the subcommand does not know, with the nearest of app's
// options when one is near enough: "unknown option --prnt; did you mean --print?".
CommandError unknownOption(const CLI::App& app, std::string_view name);

// The usage error for a name that is no service, subcommand or action, with the nearest such name:
// "unknown service uper; did you mean upper?".
CommandError unknownService(std::string_view name);

}  // namespace textrix::command
