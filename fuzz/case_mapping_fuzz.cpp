// SPDX-License-Identifier: MIT
// Maps a text made from the bytes to upper case, lower case and capitalized words, by the tables
// and the word-start scanner where they apply and by ICU elsewhere, and compares each result with
// ICU's mapping of the whole text.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "services/case.h"
#include "support/icu_case.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Letters of the cased scripts with their expansions, title-case digraphs, final sigma and
  // dotted I; digits, the punctuation that joins letters or digits, connectors, symbols, spaces
  // and line ends; ideographs and emoji; and what the scanner leaves to ICU: marks, Hebrew,
  // Katakana, '@', regional indicators and a lone surrogate.
  constexpr std::u16string_view kPieces[] = {
      u"a",          u"Z",          u"\u00E9", u"\u00DF", u"\u1E9E", u"\u0149", u"\u01C4",
      u"\u01C5",     u"\u01C6",     u"\u0130", u"\u0131", u"\u03A3", u"\u03C3", u"\u03C2",
      u"\u0390",     u"\u1FB3",     u"\u1FBC", u"\u0587", u"\uFB13", u"\uFB01", u"\u13A0",
      u"\uAB70",     u"\u10D0",     u"\u1C90", u"\u2160", u"\u24B6", u"\u00AA", u"\u02BC",
      u"\U00010400", u"\U00010428", u"0",      u"\u0663", u"'",      u"\u2019", u".",
      u":",          u",",          u";",      u"\u00B7", u"_",      u"-",      u"$",
      u"\"",         u" ",          u"\t",     u"\r",     u"\n",     u"\u2028", u"\u65E5",
      u"\u3042",     u"\U0001F642", u"\u0301", u"\u0345", u"\u00AD", u"\u30AB", u"\u05D0",
      u"@",          u"\U0001F1E9", u"\xD800"};
  std::u16string text;
  for (std::size_t i = 0; i < size; ++i) text += kPieces[data[i] % std::size(kPieces)];
  std::u16string upper = text, lower = text, capitalized = text;
  textrix::uppercase(upper);
  textrix::lowercase(lower);
  textrix::capitalize(capitalized);
  if (upper != textrix::testing_icu::icuUpper(text) ||
      lower != textrix::testing_icu::icuLower(text) ||
      capitalized != textrix::testing_icu::icuTitle(text)) {
    std::abort();
  }
  return 0;
}
