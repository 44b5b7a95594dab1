// SPDX-License-Identifier: MIT
#include "arguments.h"

#include "filter.h"

namespace textrix::command {

bool ArgumentReader::next() {
  if (next_ == arguments_.size()) return false;
  name_ = arguments_[next_++];
  inlineValue_.reset();
  if (const std::size_t equals = name_.find('='); isOption() && equals != std::string_view::npos) {
    inlineValue_ = name_.substr(equals + 1);
    name_ = name_.substr(0, equals);
  }
  return true;
}

bool ArgumentReader::isOption() const {
  return name_.starts_with("-") && name_ != "-";
}

std::optional<std::string_view> ArgumentReader::value() {
  if (inlineValue_) return inlineValue_;
  if (next_ < arguments_.size()) return arguments_[next_++];
  return std::nullopt;
}

bool takeSelectionArgument(ArgumentReader& reader, SelectionArguments& selection,
                           std::optional<CommandError>& error) {
  if (!reader.isOption()) {
    if (selection.file) error = CommandError{ErrorKind::usage, "more than one file given"};
    selection.file = reader.name();
    return true;
  }
  if (reader.name() != "--type") return false;
  const std::optional<std::string_view> name = reader.value();
  if (!name || !(selection.type = pasteboardTypeNamed(*name))) {
    error = CommandError{ErrorKind::usage, "--type needs plain, rtf or rtfd"};
  }
  return true;
}

CommandError unknownOption(std::string_view name) {
  return {ErrorKind::usage, "unknown option " + std::string(name)};
}

}  // namespace textrix::command
