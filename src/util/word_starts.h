// SPDX-License-Identifier: MIT
// Where capitalizing words puts its capitals, found without ICU's word-break iterator: the word
// boundaries of the iterator of no locale, and in each piece between two boundaries the first
// letter, number or symbol, which title case capitalizes, for text made of simple characters.
//
// Simple are the characters whose part in word boundaries comes from their class alone: letters
// outside the scripts that ICU segments by dictionary, numbers, the punctuation that joins letters
// or numbers (an apostrophe or a period between letters, a comma between digits), the connectors
// such as '_' that join all of them, and characters that join nothing, such as spaces, most
// punctuation and symbols, and emoji. Han and Hiragana, which ICU cuts by dictionary, count as a
// word per character: nothing in them has case, so they change no capital that matters. Not
// simple are combining marks and format characters, which cling to the character before them,
// the scripts with rules of their own (Hebrew, Katakana, Hangul, Thai and the like, regional
// indicators), and characters that the iterator joins otherwise than their class says ('@' joins
// letters). A line feed is a boundary whatever is around it, so a text can be walked line by line,
// and a line that holds something that is not simple left to ICU.
//
//   std::vector<std::size_t> capitals;
//   textrix::LineWalk walk = textrix::findCapitals(u"don't stop\nnow", 0, capitals);
//   // capitals {0, 6}, 'd' and 's'; walk.stop 11, just past the line feed; walk.simple
//
// Positions are UTF-16 code units; a surrogate pair is one code point, a lone surrogate is not
// simple.
#pragma once

#include <cstddef>
#include <string_view>
#include <vector>

namespace textrix {

// How far a walk over a line got: to the end of the line, just past its line feed or at the end of
// the text, or to the first code point that is not simple.
struct LineWalk {
  std::size_t stop;
  bool simple;
  bool operator==(const LineWalk&) const = default;
};

// Appends to capitals, in order, where the capitals of the line of text that starts at begin go:
// the first letter, number or symbol after each word boundary. Stops at the first code point that
// is not simple.
LineWalk findCapitals(std::u16string_view text, std::size_t begin,
                      std::vector<std::size_t>& capitals);

}  // namespace textrix
