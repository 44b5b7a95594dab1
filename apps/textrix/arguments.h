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

// Reads the value of --type into type; a problem is returned as text, else empty.
std::string readPasteboardType(ArgumentReader& reader, std::optional<std::string_view>& type);

// The problem text for an option the subcommand does not know.
std::string unknownOption(std::string_view name);

}  // namespace textrix::command
