// SPDX-License-Identifier: MIT
// The statistics service: counts the characters, white space, words and lines of the selection and
// shows them in an alert; the selection stays as it was.
//
// A code unit of the white class of text/charsets.h (blanks, feeds, NUL, U+0003, U+FFFC, U+FEFF,
// U+00A0 and the other Unicode white space) is a space, every other unit a character, so a
// character outside the Basic Multilingual Plane counts twice; a word is a maximal run of
// characters, punctuation included; lines are those of text/lines.h.
//
//   textrix::TextStatistics counts = textrix::statisticsOfString(u"Hello world");
//   textrix::statisticsMessage(counts);   //
//   "Characters:10\nSpaces:1\nTotal:11\n\nWords:2\nLines:1\n"
#pragma once

#include <cstddef>
#include <string>
#include <string_view>

namespace textrix {

// The counts of one text, in UTF-16 code units where they count units.
struct TextStatistics {
  std::size_t characters = 0;  // units outside the white class
  std::size_t spaces = 0;      // units in the white class
  std::size_t words = 0;       // maximal runs of units outside the white class
  std::size_t lines = 0;       // lines, the last one counted with or without its terminator

  // Every unit of the text: characters and spaces.
  std::size_t total() const { return characters + spaces; }
  bool operator==(const TextStatistics&) const = default;
};

// The counts of text; all zero for the empty text.
TextStatistics statisticsOfString(std::u16string_view text);

// The alert's message: the localized labels "Characters:", "Spaces:" and "Total:" each directly
// followed by its count and a line end, an empty line, then "Words:" and "Lines:" the same way.
std::u16string statisticsMessage(const TextStatistics& statistics);
// The alert's title: the localized "Statistics".
std::u16string statisticsTitle();

}  // namespace textrix
