// SPDX-License-Identifier: MIT
// The command line of a subcommand: operands and options in any order, each option given as
// "--name VALUE", "--name=VALUE" or, for a flag, "--name". "-" alone is an operand (standard
// input).
//
//   for (ArgumentReader reader(arguments); reader.next();) {
//     if (!reader.isOption()) file = reader.name();
//     else if (reader.name() == "--wav") wav = reader.value();
//   }
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>

#include "errors.h"

namespace textrix::command {

class ArgumentReader {
 public:
  explicit ArgumentReader(std::span<const std::string_view> arguments) : arguments_(arguments) {}

  // Moves to the next argument; false when there is none.
  bool next();
  bool isOption() const;
  // The option's name without "=VALUE", or the operand.
  std::string_view name() const { return name_; }
  bool hasInlineValue() const { return inlineValue_.has_value(); }
  // The option's value: the text after "=", else the next argument (which is then consumed); none
  // at the end of the line.
  std::optional<std::string_view> value();

 private:
  std::span<const std::string_view> arguments_;
  std::size_t next_ = 0;
  std::string_view name_;
  std::optional<std::string_view> inlineValue_;
};

// The FILE operand and the --type option of the subcommands that read a selection.
struct SelectionArguments {
  std::optional<std::string_view> file;
  std::optional<std::string_view> type;  // the pasteboard type named by --type
};

// Takes the reader's argument into selection when it is the FILE operand or --type: true when
// taken, with the usage error in error for a second file or a --type that names no pasteboard type.
bool takeSelectionArgument(ArgumentReader& reader, SelectionArguments& selection,
                           std::optional<CommandError>& error);

// The usage error for an option that the subcommand does not know.
CommandError unknownOption(std::string_view name);

}  // namespace textrix::command
