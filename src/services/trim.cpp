// SPDX-License-Identifier: MIT
#include "services/trim.h"

#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>

#include "text/attributed_text.h"
#include "text/charsets.h"
#include "text/lines.h"

namespace textrix {
namespace {

const CharacterSetRep& trimmedClass(bool feeds) {
  return feeds ? *whiteCharacterSetRep() : *spaceCharacterSetRep();
}

template <class IsTrimmed>
std::u16string_view withoutLeading(std::u16string_view text, IsTrimmed isTrimmed) {
  const auto kept = std::find_if_not(text.begin(), text.end(), isTrimmed);
  return text.substr(static_cast<std::size_t>(kept - text.begin()));
}

template <class IsTrimmed>
std::u16string_view withoutTrailing(std::u16string_view text, IsTrimmed isTrimmed) {
  const auto kept = std::find_if_not(text.rbegin(), text.rend(), isTrimmed);
  return text.substr(0, static_cast<std::size_t>(text.rend() - kept));
}

// Where view, a view into text, starts and how long it is.
Range rangeOf(std::u16string_view view, std::u16string_view text) {
  return Range{static_cast<std::size_t>(view.data() - text.data()), view.size()};
}

// Deletes what lies outside kept, the end first so that kept's start stays valid.
void keepOnly(AttributedText& text, Range kept) {
  text.deleteCharactersInRange(Range{kept.end(), text.length() - kept.end()});
  text.deleteCharactersInRange(Range{0, kept.location});
}

// The length of the blank at text[at], 0 when no blank is there.
std::size_t blankLength(std::u16string_view text, std::size_t at, const CharacterSetRep& blanks) {
  return blanks.contains(text[at]) ? 1 : 0;
}

// In UTF-8 a blank outside ASCII is a character of the Basic Multilingual Plane, as in UTF-16.
std::size_t blankLength(std::string_view validUtf8, std::size_t at, const CharacterSetRep& blanks) {
  const auto lead = static_cast<std::uint8_t>(validUtf8[at]);
  if (lead < 0x80) return blanks.contains(lead) ? 1 : 0;
  std::size_t next = at;
  UChar32 c;
  U8_NEXT_UNSAFE(validUtf8.data(), next, c);
  return c <= 0xFFFF && blanks.contains(static_cast<char16_t>(c)) ? next - at : 0;
}

// text without the blanks that begin each of its lines: copied in long pieces, broken only where a
// line begins with a blank. A terminator is no blank, so the blanks after it begin the next line.
template <class Char>
std::basic_string<Char> withoutBlanksStartingLines(std::basic_string_view<Char> text) {
  const CharacterSetRep& blanks = *spaceCharacterSetRep();
  std::basic_string<Char> result;
  result.reserve(text.size());
  std::size_t copied = 0;
  const auto dropBlanksFrom = [&](std::size_t lineStart) {
    std::size_t kept = lineStart;
    while (kept < text.size()) {
      const std::size_t length = blankLength(text, kept, blanks);
      if (length == 0) break;
      kept += length;
    }
    if (kept == lineStart) return;
    result.append(text.substr(copied, lineStart - copied));
    copied = kept;
  };
  dropBlanksFrom(0);
  forEachTerminator(text, [&](std::size_t at, std::size_t length) { dropBlanksFrom(at + length); });
  result.append(text.substr(copied));
  return result;
}

}  // namespace

std::u16string_view stringByTrimmingSpacesOfLeftSideAndFeeds(std::u16string_view text, bool feeds) {
  const CharacterSetRep& trimmed = trimmedClass(feeds);
  return withoutLeading(text, [&trimmed](char16_t c) { return trimmed.contains(c); });
}

std::u16string_view stringByTrimmingSpacesOfRightSideAndFeeds(std::u16string_view text,
                                                              bool feeds) {
  const CharacterSetRep& trimmed = trimmedClass(feeds);
  return withoutTrailing(text, [&trimmed](char16_t c) { return trimmed.contains(c); });
}

// The white class rather than Unicode white space alone: it holds every feed, so a trimmed line
// never keeps a terminator (U+0003, U+FEFF, U+FFFC) that the trim service then appends again.
std::u16string_view stringByTrimmingWhiteSpaces(std::u16string_view text) {
  return stringByTrimmingSpacesOfRightSideAndFeeds(
      stringByTrimmingSpacesOfLeftSideAndFeeds(text, true), true);
}

std::u16string_view stringByTrimmingFeeds(std::u16string_view text) {
  return withoutTrailing(text, [](char16_t c) { return isFeedCharacter(c, FeedSet::plain); });
}

void trimWhiteSpaces(std::u16string& text) {
  const Range kept = rangeOf(stringByTrimmingWhiteSpaces(text), text);
  text.erase(kept.end());
  text.erase(0, kept.location);
}

void trimFeeds(std::u16string& text) {
  text.resize(stringByTrimmingFeeds(text).size());
}

void trimWhiteSpaces(AttributedText& text) {
  keepOnly(text, rangeOf(stringByTrimmingWhiteSpaces(text.string()), text.string()));
}

void trimFeeds(AttributedText& text) {
  keepOnly(text, Range{0, stringByTrimmingFeeds(text.string()).size()});
}

std::string stringByTrimmingLineStarts(std::string_view validUtf8) {
  return withoutBlanksStartingLines(validUtf8);
}

std::u16string stringByTrimmingLines(std::u16string_view text, bool left, bool right) {
  if (left && !right) return withoutBlanksStartingLines(text);
  std::u16string result;
  result.reserve(text.size());
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start);
    const std::u16string_view line = text.substr(start, end - start);
    if (left && right) {
      result.append(stringByTrimmingWhiteSpaces(line)).append(feedOfLine(line));
    } else if (right) {
      result.append(stringByTrimmingSpacesOfRightSideAndFeeds(line, true)).append(feedOfLine(line));
    } else {
      result.append(line);
    }
  }
  return result;
}

}  // namespace textrix
