#include "text/attributes.h"

#include <algorithm>

namespace textrix {
namespace {

using Entry = AttributeDictionary::Entry;

std::vector<Entry>::const_iterator lowerBound(const std::vector<Entry>& entries,
                                              std::string_view name) {
  return std::lower_bound(
      entries.begin(), entries.end(), name,
      [](const Entry& entry, std::string_view key) { return entry.name < key; });
}

}  // namespace

const AttributeValue* AttributeDictionary::find(std::string_view name) const {
  if (!entries_) return nullptr;
  auto it = lowerBound(*entries_, name);
  return it != entries_->end() && it->name == name ? &it->value : nullptr;
}

std::vector<Entry>& AttributeDictionary::ownEntries() {
  if (!entries_) {
    entries_ = std::make_shared<std::vector<Entry>>();
  } else if (entries_.use_count() > 1) {
    entries_ = std::make_shared<std::vector<Entry>>(*entries_);
  }
  return *entries_;
}

void AttributeDictionary::setObject(AttributeValue value, std::string_view name) {
  std::vector<Entry>& entries = ownEntries();
  auto it = entries.begin() + (lowerBound(entries, name) - entries.begin());
  if (it != entries.end() && it->name == name) {
    it->value = std::move(value);
  } else {
    entries.insert(it, Entry{std::string(name), std::move(value)});
  }
}

void AttributeDictionary::removeObject(std::string_view name) {
  if (!find(name)) return;
  std::vector<Entry>& entries = ownEntries();
  entries.erase(entries.begin() + (lowerBound(entries, name) - entries.begin()));
  if (entries.empty()) entries_.reset();
}

void AttributeDictionary::setOrRemoveObject(std::optional<AttributeValue> value,
                                            std::string_view name) {
  if (value) {
    setObject(std::move(*value), name);
  } else {
    removeObject(name);
  }
}

void AttributeDictionary::addEntriesFromDictionary(const AttributeDictionary& other) {
  if (other.entries_ == entries_) return;
  if (empty()) {
    entries_ = other.entries_;
    return;
  }
  for (const Entry& entry : other) setObject(entry.value, entry.name);
}

bool AttributeDictionary::operator==(const AttributeDictionary& other) const {
  if (entries_ == other.entries_) return true;
  if (size() != other.size()) return false;
  return std::equal(begin(), end(), other.begin());
}

}  // namespace textrix
