// SPDX-License-Identifier: MIT
#include "text/attributes.h"

#include <algorithm>
#include <bit>
#include <functional>
#include <mutex>
#include <type_traits>
#include <unordered_map>

namespace textrix {
namespace {

using Entry = AttributeDictionary::Entry;

std::vector<Entry>::const_iterator lowerBound(const std::vector<Entry>& entries,
                                              std::string_view name) {
  return std::lower_bound(
      entries.begin(), entries.end(), name,
      [](const Entry& entry, std::string_view key) { return entry.name < key; });
}

// Hashes values so that equal values hash equally; mixes each part into one running value.
class Hasher {
 public:
  std::size_t value() const { return value_; }

  template <class T>
  void add(const T& part) {
    if constexpr (std::is_floating_point_v<T>) {
      // 0.0 and -0.0 are equal, so they must hash the same.
      addBits(part == 0 ? 0 : std::bit_cast<std::uint64_t>(static_cast<double>(part)));
    } else if constexpr (std::is_enum_v<T>) {
      addBits(static_cast<std::uint64_t>(part));
    } else if constexpr (std::is_integral_v<T>) {
      addBits(static_cast<std::uint64_t>(part));
    } else {
      addBits(std::hash<T>{}(part));
    }
  }
  template <class T>
  void add(const std::optional<T>& part) {
    add(part.has_value());
    if (part) add(*part);
  }
  template <class T>
  void add(const std::shared_ptr<T>& part) {
    addBits(std::hash<const void*>{}(part.get()));
  }

 private:
  void addBits(std::uint64_t bits) { value_ = (value_ ^ bits) * 0x100000001B3ull + (value_ >> 29); }

  std::size_t value_ = 0xCBF29CE484222325ull;
};

void addValue(Hasher& hash, const Font& font) {
  hash.add(font.family);
  hash.add(font.pointSize);
  hash.add(font.bold);
  hash.add(font.italic);
}

void addValue(Hasher& hash, const Color& color) {
  for (double component : {color.red, color.green, color.blue, color.alpha}) hash.add(component);
}

void addValue(Hasher& hash, const Link& link) {
  hash.add(link.url);
}

void addValue(Hasher& hash, const Attachment& attachment) {
  hash.add(attachment.fileName);
  hash.add(attachment.contents);
  hash.add(attachment.directory);
  hash.add(attachment.format);
  // The sizes are left out: attachments that differ in them alone are rare and compare unequal.
}

void addValue(Hasher& hash, const ParagraphStyle& style) {
  hash.add(style.alignment);
  for (double length :
       {style.firstLineHeadIndent, style.headIndent, style.tailIndent, style.lineSpacing,
        style.paragraphSpacing, style.paragraphSpacingBefore, style.lineHeightMultiple,
        style.minimumLineHeight, style.maximumLineHeight}) {
    hash.add(length);
  }
  for (const TabStop& tab : style.tabStops) {
    hash.add(tab.location);
    hash.add(tab.alignment);
    hash.add(tab.leader);
  }
  hash.add(style.baseWritingDirection);
  hash.add(style.headerLevel);
  hash.add(style.keepWithNext);
  hash.add(style.keepTogether);
}

void addValue(Hasher& hash, const Markup& markup) {
  hash.add(markup.code);
  hash.add(markup.position);
}

template <class T>
void addValue(Hasher& hash, const T& value) {
  hash.add(value);
}

std::size_t hashOf(const std::vector<Entry>& entries) {
  Hasher hash;
  for (const Entry& entry : entries) {
    hash.add(entry.name);
    hash.add(entry.value.index());
    std::visit([&](const auto& value) { addValue(hash, value); }, entry.value);
  }
  return hash.value();
}

}  // namespace

// The interned entry lists by the hash of their contents. The pool holds them weakly, so a list
// lives only as long as dictionaries hold it; the lists that died are swept out whenever the pool
// has doubled since the last sweep, which keeps it within twice the lists alive at little cost per
// dictionary.
class AttributeDictionary::Pool {
 public:
  static Pool& shared() {
    static Pool* const pool = new Pool;  // never destroyed: dictionaries may outlive static objects
    return *pool;
  }

  std::shared_ptr<Entries> intern(const std::shared_ptr<Entries>& entries) {
    const std::size_t hash = hashOf(entries->list);
    const std::lock_guard<std::mutex> lock(mutex_);
    for (auto [it, end] = lists_.equal_range(hash); it != end; ++it) {
      std::shared_ptr<Entries> known = it->second.lock();
      if (known && known->list == entries->list) return known;
    }
    if (lists_.size() >= 2 * sweptSize_ + 1024) sweep();
    lists_.emplace(hash, entries);
    entries->interned = true;
    return entries;
  }

 private:
  void sweep() {
    std::erase_if(lists_, [](const auto& item) { return item.second.expired(); });
    sweptSize_ = lists_.size();
  }

  std::mutex mutex_;
  std::unordered_multimap<std::size_t, std::weak_ptr<Entries>> lists_;
  std::size_t sweptSize_ = 0;
};

const AttributeValue* AttributeDictionary::find(std::string_view name) const {
  if (!entries_) return nullptr;
  auto it = lowerBound(entries_->list, name);
  return it != entries_->list.end() && it->name == name ? &it->value : nullptr;
}

std::vector<Entry>& AttributeDictionary::ownEntries() {
  if (!entries_) {
    entries_ = std::make_shared<Entries>();
  } else if (entries_.use_count() > 1 || entries_->interned) {
    auto copy = std::make_shared<Entries>();
    copy->list = entries_->list;
    entries_ = std::move(copy);
  }
  return entries_->list;
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
  if (entries_->interned && other.entries_->interned) return false;
  return std::equal(begin(), end(), other.begin());
}

AttributeDictionary AttributeDictionary::interned() const {
  if (!entries_ || entries_->interned) return *this;
  AttributeDictionary result;
  result.entries_ = Pool::shared().intern(entries_);
  return result;
}

}  // namespace textrix
