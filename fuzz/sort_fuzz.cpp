// SPDX-License-Identifier: MIT
// Sorts the lines of a text made from the bytes with the case-insensitive comparators and compares
// the result with the reference of tests/services/sort_reference.h: every code point folded by ICU
// on its own and a stable sort one comparison at a time, then the i-th sorted line without its
// line end and the i-th line end of the input, so that mixed endings stay where they were.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <iterator>
#include <string>
#include <string_view>

#include "services/sort.h"
#include "services/sort_reference.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Case pairs, letters that fold to other letters (long s, Kelvin sign, final sigma, Cherokee),
  // pairs that fold as one code point (Deseret), an emoji, surrogates without their partners, NUL,
  // a long piece that many lines then share, and line ends.
  constexpr char16_t kLead[] = {0xD801};
  constexpr char16_t kTrail[] = {0xDC28};
  const std::u16string_view pieces[] = {u"a",
                                        u"A",
                                        u"b",
                                        u"\u00DF",
                                        u"\u017F",
                                        u"\u212A",
                                        u"\u03A3",
                                        u"\u03C2",
                                        u"\u13A0",
                                        u"\uAB70",
                                        u"\U00010400",
                                        u"\U00010428",
                                        u"\U0001F600",
                                        std::u16string_view(kLead, 1),
                                        std::u16string_view(kTrail, 1),
                                        std::u16string_view(u"\0", 1),
                                        u" ",
                                        u"the same beginning of many lines, ",
                                        u"\n",
                                        u"\r\n",
                                        u"\r",
                                        u"\u2028"};
  std::u16string text;
  for (std::size_t i = 0; i < size; ++i) text += pieces[data[i] % std::size(pieces)];
  for (const bool descending : {false, true}) {
    const textrix::StringComparator compare =
        descending ? textrix::sortCaseInsensitiveDescending : textrix::sortCaseInsensitiveAscending;
    if (textrix::sortLines(text, compare) !=
        textrix::testing_sort::sortedLinesByIcuFolding(text, descending)) {
      std::abort();
    }
  }
  return 0;
}
