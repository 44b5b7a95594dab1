// SPDX-License-Identifier: MIT
#include "text/search.h"

#include <algorithm>
#include <cstdint>
#include <iterator>

#include "text/lines.h"

namespace textrix {

namespace {

CharacterSetRep setOf(std::u16string_view units) {
  CharacterSetRep set;
  for (char16_t unit : units) set.add(unit);
  return set;
}

// The rule shared by the character searches and counts: a unit with case stands for its upper-case
// form, so without the flag a search for 'a' matches 'A' only. Services rely on that, so it stays.
// Calls scan with the test a position must pass.
template <typename Scan>
auto withCharacterMatch(char16_t c, bool caseInsensitive, Scan scan) {
  const CharsTable& upper = upperCharsTable();
  const bool hasCase = upper[c] != lowerCharsTable()[c];
  const char16_t target = hasCase ? upper[c] : c;
  if (hasCase && caseInsensitive) {
    return scan([&upper, target](char16_t unit) { return upper[unit] == target; });
  }
  return scan([target](char16_t unit) { return unit == target; });
}

// Scanning in blocks of a fixed length lets the compiler turn an exact comparison into vector
// compares; a block's count fits the narrow counter.
constexpr std::size_t kBlock = 64;

template <typename Match>
std::uint16_t blockMatchCount(const char16_t* block, Match matches) {
  std::uint16_t count = 0;
  for (std::size_t j = 0; j < kBlock; ++j) count += matches(block[j]);
  return count;
}

// Skips whole blocks without a match, then finds the match unit by unit.
template <typename Match>
std::size_t firstMatch(std::u16string_view text, std::size_t start, Match matches) {
  if (start >= text.size()) return kNotFound;
  std::size_t i = start;
  while (text.size() - i >= kBlock && blockMatchCount(text.data() + i, matches) == 0) i += kBlock;
  const auto found = std::find_if(text.begin() + i, text.end(), matches);
  return found == text.end() ? kNotFound : static_cast<std::size_t>(found - text.begin());
}

template <typename Match>
std::size_t lastMatch(std::u16string_view text, std::size_t lowest, Match matches) {
  const auto window = text.substr(lowest);
  const auto found = std::find_if(window.rbegin(), window.rend(), matches);
  return found == window.rend() ? kNotFound
                                : lowest + static_cast<std::size_t>(window.rend() - found) - 1;
}

template <typename Match>
std::size_t matchCount(std::u16string_view text, std::size_t start, Match matches) {
  if (start >= text.size()) return 0;
  std::size_t count = 0;
  std::size_t i = start;
  for (; text.size() - i >= kBlock; i += kBlock) count += blockMatchCount(text.data() + i, matches);
  for (; i < text.size(); ++i) count += matches(text[i]);
  return count;
}

std::u16string upperCaseUnits(std::u16string_view units) {
  const CharsTable& upper = upperCharsTable();
  std::u16string mapped(units.size(), u'\0');
  std::transform(units.begin(), units.end(), mapped.begin(),
                 [&upper](char16_t c) { return upper[c]; });
  return mapped;
}

template <typename Match>
std::u16string copyWithout(std::u16string_view text, Match removed) {
  std::u16string kept;
  kept.reserve(text.size());
  std::remove_copy_if(text.begin(), text.end(), std::back_inserter(kept), removed);
  return kept;
}

// U+FFFC ends a line in plain text, and goes with the feeds also when the units come from
// attributed text, where it is an attachment.
bool isPlainFeed(char16_t unit) {
  return isFeedCharacter(unit, FeedSet::plain);
}

auto memberOf(const CharacterSetRep& set) {
  return [&set](char16_t unit) { return set.contains(unit); };
}

}  // namespace

std::size_t findCharacter(std::u16string_view text, char16_t c) {
  return findCharacter(text, c, 0, false);
}

std::size_t findCharacter(std::u16string_view text, char16_t c, bool caseInsensitive) {
  return findCharacter(text, c, 0, caseInsensitive);
}

std::size_t findCharacter(std::u16string_view text, char16_t c, std::size_t start,
                          bool caseInsensitive) {
  return withCharacterMatch(c, caseInsensitive,
                            [&](auto matches) { return firstMatch(text, start, matches); });
}

bool containsCharacter(std::u16string_view text, char16_t c) {
  return findCharacter(text, c) != kNotFound;
}

bool containsCharacter(std::u16string_view text, char16_t c, bool caseInsensitive) {
  return findCharacter(text, c, caseInsensitive) != kNotFound;
}

bool containsCharacter(std::u16string_view text, char16_t c, std::size_t start,
                       bool caseInsensitive) {
  return findCharacter(text, c, start, caseInsensitive) != kNotFound;
}

std::size_t countCharacter(std::u16string_view text, char16_t c) {
  return countCharacter(text, c, 0, false);
}

std::size_t countCharacter(std::u16string_view text, char16_t c, bool caseInsensitive) {
  return countCharacter(text, c, 0, caseInsensitive);
}

std::size_t countCharacter(std::u16string_view text, char16_t c, std::size_t start,
                           bool caseInsensitive) {
  return withCharacterMatch(c, caseInsensitive,
                            [&](auto matches) { return matchCount(text, start, matches); });
}

std::size_t findOneOf(std::u16string_view text, std::u16string_view set) {
  return findOneOf(text, set, 0, false);
}

std::size_t findOneOf(std::u16string_view text, std::u16string_view set, bool caseInsensitive) {
  return findOneOf(text, set, 0, caseInsensitive);
}

// Unlike the character searches, the set is compared as given: without the flag "a" finds 'a'.
std::size_t findOneOf(std::u16string_view text, std::u16string_view set, std::size_t start,
                      bool caseInsensitive) {
  if (set.empty()) return kNotFound;
  if (!caseInsensitive) {
    const detail::UnitSet units(set, text.size());
    return firstMatch(text, start, [&units](char16_t unit) { return units.contains(unit); });
  }
  const CharsTable& upper = upperCharsTable();
  const std::u16string upperSet = upperCaseUnits(set);
  const detail::UnitSet units(upperSet, text.size());
  return firstMatch(text, start,
                    [&units, &upper](char16_t unit) { return units.contains(upper[unit]); });
}

std::size_t findLastCharacter(std::u16string_view text, char16_t c) {
  return findLastCharacter(text, c, 0, false);
}

std::size_t findLastCharacter(std::u16string_view text, char16_t c, bool caseInsensitive) {
  return findLastCharacter(text, c, 0, caseInsensitive);
}

// The start bounds the scan from below; the scan itself runs down from the end of the text.
std::size_t findLastCharacter(std::u16string_view text, char16_t c, std::ptrdiff_t start,
                              bool caseInsensitive) {
  const std::size_t lowest = start < 0 ? 0 : static_cast<std::size_t>(start);
  if (lowest >= text.size()) return kNotFound;
  return withCharacterMatch(c, caseInsensitive,
                            [&](auto matches) { return lastMatch(text, lowest, matches); });
}

void removeCharacters(std::u16string& text, char16_t c) {
  std::erase(text, c);
}

void removeCharactersOfString(std::u16string& text, std::u16string_view set) {
  const detail::UnitSet units(set, text.size());
  std::erase_if(text, [&units](char16_t unit) { return units.contains(unit); });
}

void removeTabs(std::u16string& text) {
  std::erase(text, u'\t');
}

void removeFeeds(std::u16string& text) {
  std::erase_if(text, isPlainFeed);
}

void removeSpaces(std::u16string& text) {
  std::erase_if(text, memberOf(*spaceCharacterSetRep()));
}

void removeWhiteCharacters(std::u16string& text) {
  std::erase_if(text, memberOf(*whiteCharacterSetRep()));
}

void removeCharacterAtIndex(std::u16string& text, std::size_t index) {
  text.erase(index, 1);
}

std::u16string stringByRemovingCharacters(std::u16string_view text, char16_t c) {
  return copyWithout(text, [c](char16_t unit) { return unit == c; });
}

std::u16string stringByRemovingCharactersOfString(std::u16string_view text,
                                                  std::u16string_view set) {
  const detail::UnitSet units(set, text.size());
  return copyWithout(text, [&units](char16_t unit) { return units.contains(unit); });
}

std::u16string stringByRemovingTabs(std::u16string_view text) {
  return stringByRemovingCharacters(text, u'\t');
}

std::u16string stringByRemovingFeeds(std::u16string_view text) {
  return copyWithout(text, isPlainFeed);
}

std::u16string stringByRemovingSpaces(std::u16string_view text) {
  return copyWithout(text, memberOf(*spaceCharacterSetRep()));
}

std::u16string stringByRemovingWhiteCharacters(std::u16string_view text) {
  return copyWithout(text, memberOf(*whiteCharacterSetRep()));
}

namespace detail {

std::unique_ptr<CharacterSetRep> UnitSet::bitmapOf(std::u16string_view units) {
  return std::make_unique<CharacterSetRep>(setOf(units));
}

}  // namespace detail

}  // namespace textrix
