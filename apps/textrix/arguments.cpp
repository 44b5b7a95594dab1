#include "arguments.h"

#include "selection.h"

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

std::string readPasteboardType(ArgumentReader& reader, std::optional<std::string_view>& type) {
  const std::optional<std::string_view> name = reader.value();
  if (!name || !(type = pasteboardTypeNamed(*name))) return "--type needs plain, rtf or rtfd";
  return {};
}

std::string unknownOption(std::string_view name) {
  return "unknown option " + std::string(name);
}

}  // namespace textrix::command
