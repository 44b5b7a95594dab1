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

// The text before the first feed character: all of it when it holds none, empty when it begins
// with one. A view into text.
std::u16string_view firstLine(std::u16string_view text, FeedSet feeds = FeedSet::plain);

}  // namespace textrix
