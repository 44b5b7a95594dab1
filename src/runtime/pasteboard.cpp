// SPDX-License-Identifier: MIT
#include "runtime/pasteboard.h"

#include <algorithm>
#include <utility>

namespace textrix {

bool ServicePasteboard::containsType(std::string_view type) const {
  return std::find(types_.begin(), types_.end(), type) != types_.end();
}

std::optional<std::string_view> ServicePasteboard::availableTypeFromArray(
    std::initializer_list<std::string_view> preferred) const {
  for (std::string_view type : preferred) {
    if (containsType(type)) return type;
  }
  return std::nullopt;
}

std::optional<std::string_view> ServicePasteboard::dataForType(std::string_view type) const {
  const Content* content = contentForType(type);
  if (const auto* bytes = content ? std::get_if<std::string>(content) : nullptr) return *bytes;
  return std::nullopt;
}

std::optional<std::u16string_view> ServicePasteboard::stringForType(std::string_view type) const {
  const Content* content = contentForType(type);
  if (const auto* string = content ? std::get_if<std::u16string>(content) : nullptr) return *string;
  return std::nullopt;
}

std::optional<std::u16string> ServicePasteboard::takeString(std::string_view type) {
  Content* content = contentForType(type);
  auto* string = content ? std::get_if<std::u16string>(content) : nullptr;
  if (!string) return std::nullopt;
  return std::exchange(*string, std::u16string());
}

void ServicePasteboard::declareTypes(std::vector<std::string> types) {
  types_ = std::move(types);
  contents_.clear();
  ++changeCount_;
}

void ServicePasteboard::setData(std::string bytes, std::string_view type) {
  store(std::move(bytes), type);
}

void ServicePasteboard::setString(std::u16string string, std::string_view type) {
  store(std::move(string), type);
}

ServicePasteboard& ServicePasteboard::generalPasteboard() {
  static ServicePasteboard general{std::string(kGeneralPboard)};
  return general;
}

namespace {

auto hasType(std::string_view type) {
  return [type](const auto& entry) { return entry.type == type; };
}

}  // namespace

const ServicePasteboard::Content* ServicePasteboard::contentForType(std::string_view type) const {
  auto entry = std::find_if(contents_.begin(), contents_.end(), hasType(type));
  return entry == contents_.end() ? nullptr : &entry->content;
}

ServicePasteboard::Content* ServicePasteboard::contentForType(std::string_view type) {
  return const_cast<Content*>(std::as_const(*this).contentForType(type));
}

void ServicePasteboard::store(Content content, std::string_view type) {
  auto entry = std::find_if(contents_.begin(), contents_.end(), hasType(type));
  if (entry != contents_.end()) {
    entry->content = std::move(content);
  } else {
    contents_.push_back({std::string(type), std::move(content)});
  }
}

}  // namespace textrix
