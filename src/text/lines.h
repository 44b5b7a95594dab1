// SPDX-License-Identifier: MIT
// What a line is, once for the whole system, and the operations that cut text into lines.
//
// A line ends just after its terminator: one feed character, or CR LF taken together. A line keeps
// its terminator, the last line may have none, and text that ends with a terminator has no empty
// line after it, so the lines of a text concatenated give the text back exactly.
//
//   for (std::u16string_view line : textrix::lines(u"a\r\nb")) ...   // "a\r\n", "b"
//
// Plain text and attributed text differ in one feed: U+FFFC, which in attributed text stands for
// an attachment and stays inside its line. AttributedText has its own forms of these operations.
#pragma once

#include <cstddef>
#include <span>
#include <string_view>
#include <vector>

namespace textrix {

// Which characters end a line.
enum class FeedSet {
  plain,       // U+000A, U+000D, U+000C, U+2028, U+2029, U+0003, U+FFFC, U+FEFF
  attributed,  // the same without U+FFFC
};

// True when c ends a line in text of the given kind.
bool isFeedCharacter(char16_t c, FeedSet feeds = FeedSet::plain);

// The index just past the terminator of the line that starts at start (start < text.size()), or
// text.size() when that line has no terminator.
std::size_t lineEnd(std::u16string_view text, std::size_t start, FeedSet feeds = FeedSet::plain);

// The lines of text, each with its terminator; no lines for empty text. The views point into text.
std::vector<std::u16string_view> lines(std::u16string_view text);

// The number of lines that lines(text) returns, without building them.
std::size_t numberOfLines(std::u16string_view text);

// True when text is non-empty and its last code unit is a feed character.
bool hasFeedOfLine(std::u16string_view text, FeedSet feeds = FeedSet::plain);

// The longest run of feed characters at the end of text (the whole text when it is all feeds;
// empty when it does not end in a feed). A view into text.
std::u16string_view feedOfLine(std::u16string_view text, FeedSet feeds = FeedSet::plain);

// The indexes, in order, of the plain feed characters and of the units unit at or after from
// (<= text.size()), as many as fit in positions, which holds at least 16; returns how many it wrote
// there. It may stop short of a full positions, and returns 0 only when there are no more.
//
//   std::size_t found[textrix::kFoundAtOnce];
//   for (std::size_t from = 0, count;
//        (count = findFeedsOrUnit(text, from, u'\t', found)) > 0; from = found[count - 1] + 1) ...
std::size_t findFeedsOrUnit(std::u16string_view text, std::size_t from, char16_t unit,
                            std::span<std::size_t> positions);

// Room for the positions of one search, enough that a search finds many.
inline constexpr std::size_t kFoundAtOnce = 256;

// The same search in valid UTF-8, for the services that work on it without decoding: the indexes
// of the bytes where a plain feed may begin, among them every feed's first byte. A byte that
// begins a longer character only perhaps a feed (U+2028, U+FEFF, ...) is among them too;
// terminatorLength tells. positions holds at least 32.
std::size_t findUtf8FeedCandidates(std::string_view validUtf8, std::size_t from,
                                   std::span<std::size_t> positions);

// The length of the terminator at a candidate found by one of the searches above: 2 for CR LF, the
// feed's length in code units or bytes else, and 0 where a UTF-8 candidate is no feed.
inline std::size_t terminatorLength(std::u16string_view text, std::size_t at) {
  return text[at] == u'\r' && at + 1 < text.size() && text[at + 1] == u'\n' ? 2 : 1;
}
std::size_t terminatorLength(std::string_view validUtf8, std::size_t at);

namespace detail {

inline std::size_t findFeedCandidates(std::u16string_view text, std::size_t from,
                                      std::span<std::size_t> positions) {
  return findFeedsOrUnit(text, from, u'\n', positions);
}

inline std::size_t findFeedCandidates(std::string_view validUtf8, std::size_t from,
                                      std::span<std::size_t> positions) {
  return findUtf8FeedCandidates(validUtf8, from, positions);
}

template <class Char, class Visit>
void forEachTerminatorOf(std::basic_string_view<Char> text, Visit visit) {
  std::size_t found[kFoundAtOnce];
  std::size_t lineStart = 0;  // an LF at lineStart - 1 belonged to the CR before it
  for (std::size_t from = 0, count; (count = findFeedCandidates(text, from, found)) > 0;
       from = found[count - 1] + 1) {
    for (const std::size_t at : std::span(found, count)) {
      if (at < lineStart) continue;
      const std::size_t length = terminatorLength(text, at);
      if (length == 0) continue;
      visit(at, length);
      lineStart = at + length;
    }
  }
}

}  // namespace detail

// Calls visit(at, length) for the terminator of every line of plain text, in order: at its index,
// length 2 for CR LF, else 1. The feeds are found many at a time, far faster than line by line.
template <class Visit>
void forEachTerminator(std::u16string_view text, Visit visit) {
  detail::forEachTerminatorOf(text, visit);
}

// The same over valid UTF-8, with indexes and lengths in bytes.
template <class Visit>
void forEachTerminator(std::string_view validUtf8, Visit visit) {
  detail::forEachTerminatorOf(validUtf8, visit);
}

// The text before the first feed character: all of it when it holds none, empty when it begins
// with one. A view into text.
std::u16string_view firstLine(std::u16string_view text, FeedSet feeds = FeedSet::plain);

}  // namespace textrix
