// SPDX-License-Identifier: MIT
// Finding, counting and removing single UTF-16 code units in plain text.
//
// Searches return an index in code units, or kNotFound. A search or count for a unit that has
// case (its upper and lower table entries differ) looks for the unit's upper-case form: with
// caseInsensitive clear only that exact form matches, so a search for 'a' finds 'A' and skips 'a'.
// The services' character sets rely on that rule (they hold no letters, or only upper-case
// ones), so it stays.
//
//   textrix::findCharacter(u"Aa", u'a');        // 0
//   textrix::countCharacter(u"bBb", u'b', true); // 3
//   std::u16string s = u"> > a >>";
//   textrix::removeCharacters(s, u'>');         // "  a "
//
// Removals edit a std::u16string in place in one pass. AttributedText has the same removals as
// members, which keep its attribute runs.
#pragma once

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>

#include "text/charsets.h"

namespace textrix {

// The index every search returns when it finds nothing.
inline constexpr std::size_t kNotFound = 0x7FFFFFFF;

// First index at or after start where c matches by the rule above; kNotFound when there is none,
// when text is empty or when start >= text.size().
std::size_t findCharacter(std::u16string_view text, char16_t c);
std::size_t findCharacter(std::u16string_view text, char16_t c, bool caseInsensitive);
std::size_t findCharacter(std::u16string_view text, char16_t c, std::size_t start,
                          bool caseInsensitive);

// True when findCharacter with the same arguments finds an index.
bool containsCharacter(std::u16string_view text, char16_t c);
bool containsCharacter(std::u16string_view text, char16_t c, bool caseInsensitive);
bool containsCharacter(std::u16string_view text, char16_t c, std::size_t start,
                       bool caseInsensitive);

// Number of indices at or after start where c matches by the rule above; 0 on empty text or when
// start >= text.size().
std::size_t countCharacter(std::u16string_view text, char16_t c);
std::size_t countCharacter(std::u16string_view text, char16_t c, bool caseInsensitive);
std::size_t countCharacter(std::u16string_view text, char16_t c, std::size_t start,
                           bool caseInsensitive);

// First index at or after start whose unit is one of the units of set (compared through the upper
// table when caseInsensitive); kNotFound when none, or when text or set is empty.
std::size_t findOneOf(std::u16string_view text, std::u16string_view set);
std::size_t findOneOf(std::u16string_view text, std::u16string_view set, bool caseInsensitive);
std::size_t findOneOf(std::u16string_view text, std::u16string_view set, std::size_t start,
                      bool caseInsensitive);

// Highest index where c matches by the rule above, scanning from the end down to max(start, 0)
// (down to 0 in the shorter forms); kNotFound when none, on empty text, or when start >= size.
std::size_t findLastCharacter(std::u16string_view text, char16_t c);
std::size_t findLastCharacter(std::u16string_view text, char16_t c, bool caseInsensitive);
std::size_t findLastCharacter(std::u16string_view text, char16_t c, std::ptrdiff_t start,
                              bool caseInsensitive);

// Removals, in place. Each removes every unit it names and keeps the others in order.
// Every unit equal to c (exact, no case folding).
void removeCharacters(std::u16string& text, char16_t c);
// Every unit equal to some unit of set; an empty set removes nothing.
void removeCharactersOfString(std::u16string& text, std::u16string_view set);
// Every U+0009.
void removeTabs(std::u16string& text);
// Every plain feed character (U+FFFC included).
void removeFeeds(std::u16string& text);
// Every member of the space class.
void removeSpaces(std::u16string& text);
// Every member of the white class.
void removeWhiteCharacters(std::u16string& text);
// The one unit at index (index < text.size()).
void removeCharacterAtIndex(std::u16string& text, std::size_t index);

// Copying forms: a copy of text with the removal applied.
std::u16string stringByRemovingCharacters(std::u16string_view text, char16_t c);
std::u16string stringByRemovingCharactersOfString(std::u16string_view text,
                                                  std::u16string_view set);
std::u16string stringByRemovingTabs(std::u16string_view text);
std::u16string stringByRemovingFeeds(std::u16string_view text);
std::u16string stringByRemovingSpaces(std::u16string_view text);
std::u16string stringByRemovingWhiteCharacters(std::u16string_view text);

namespace detail {
// Membership in a set of code units given as a string, for a scan over a text of textLength
// units. A bitmap answers in one load, but filling its 8 KiB costs about as much as scanning a
// short text: short texts and small sets scan the units instead.
class UnitSet {
 public:
  UnitSet(std::u16string_view units, std::size_t textLength)
      : units_(units),
        bitmap_(units.size() > kScannedUnits || textLength > kScannedTextLength ? bitmapOf(units)
                                                                                : nullptr) {}
  bool contains(char16_t c) const {
    return bitmap_ ? bitmap_->contains(c) : units_.find(c) != std::u16string_view::npos;
  }

 private:
  static constexpr std::size_t kScannedUnits = 8;
  static constexpr std::size_t kScannedTextLength = 4096;
  static std::unique_ptr<CharacterSetRep> bitmapOf(std::u16string_view units);

  std::u16string_view units_;
  std::unique_ptr<CharacterSetRep> bitmap_;
};
}  // namespace detail

}  // namespace textrix
