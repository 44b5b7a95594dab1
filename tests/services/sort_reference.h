// SPDX-License-Identifier: MIT
// The slow, obviously correct reference for sorting lines case-insensitively, shared by the unit
// tests and the differential fuzz target: every code point folded by ICU on its own, the foldings
// compared by code units, a stable sort one comparison at a time, then the i-th sorted line
// without its line end followed by the line end of the i-th line of the text.
#pragma once

#include <unicode/uchar.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "text/lines.h"

namespace textrix::testing_sort {

// The simple case folding of text, code point by code point; a surrogate without its partner
// stays as it is.
inline std::u16string icuFolding(std::u16string_view text) {
  std::u16string folded;
  for (std::size_t i = 0; i < text.size();) {
    UChar32 c = 0;
    U16_NEXT(text.data(), i, text.size(), c);
    const UChar32 folding = u_foldCase(c, U_FOLD_CASE_DEFAULT);
    if (U_IS_BMP(folding)) {
      folded += static_cast<char16_t>(folding);
    } else {
      folded += U16_LEAD(folding);
      folded += U16_TRAIL(folding);
    }
  }
  return folded;
}

inline std::u16string sortedLinesByIcuFolding(std::u16string_view text, bool descending) {
  const std::vector<std::u16string_view> original = lines(text);
  std::vector<std::u16string> foldings;
  for (std::u16string_view line : original) foldings.push_back(icuFolding(line));
  std::vector<std::size_t> order;
  for (std::size_t i = 0; i < original.size(); ++i) order.push_back(i);
  std::stable_sort(order.begin(), order.end(), [&](std::size_t a, std::size_t b) {
    return descending ? foldings[b] < foldings[a] : foldings[a] < foldings[b];
  });
  std::u16string result;
  for (std::size_t i = 0; i < order.size(); ++i) {
    const std::u16string_view line = original[order[i]];
    result.append(line.substr(0, line.size() - feedOfLine(line).size()));
    result.append(feedOfLine(original[i]));
  }
  return result;
}

}  // namespace textrix::testing_sort
