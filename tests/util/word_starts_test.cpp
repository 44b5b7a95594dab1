// SPDX-License-Identifier: MIT
#include "util/word_starts.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>
#include <unicode/utf16.h>

#include <cstdio>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/icu_case.h"

namespace textrix {
namespace {

using testing_icu::icuCapitals;
using Positions = std::vector<std::size_t>;

struct Walk {
  Positions capitals;
  LineWalk walk;
};

Walk walkOf(std::u16string_view text, std::size_t begin = 0) {
  Walk result;
  result.walk = findCapitals(text, begin, result.capitals);
  return result;
}

struct Row {
  std::u16string_view text;
  Positions capitals;
  LineWalk walk;
  std::size_t begin = 0;
};

// The capitals outside runs of Han and Hiragana: ICU cuts those by dictionary, the walk makes
// each ideograph a word, and as nothing in them has case, the capitals in them change nothing.
Positions capitalsThatMatter(std::u16string_view text, const Positions& capitals) {
  Positions matter;
  for (const std::size_t at : capitals) {
    UChar32 c;
    std::size_t next = at;
    U16_NEXT(text.data(), next, text.size(), c);
    UErrorCode status = U_ZERO_ERROR;
    const UScriptCode script = uscript_getScript(c, &status);
    if (script != USCRIPT_HAN && script != USCRIPT_HIRAGANA) matter.push_back(at);
  }
  return matter;
}

// The capitals of the line that a walk went over, as ICU finds them in the whole text.
Positions icuCapitalsOfLine(std::u16string_view text, const LineWalk& walk) {
  Positions capitals = icuCapitals(text);
  std::erase_if(capitals, [&](std::size_t at) { return at >= walk.stop; });
  return capitalsThatMatter(text, capitals);
}

TEST(WordStarts, FindsTheFirstLetterNumberOrSymbolOfEachWord) {
  const Row rows[] = {
      {u"", {}, {0, true}},
      {u"don't stop", {0, 6}, {10, true}},
      {u"one\ntwo", {0}, {4, true}},  // the walk ends after the line feed
      // A period or an apostrophe between letters joins them, a colon does not.
      {u"e.g. a.1 a:b", {0, 5, 7, 9, 11}, {12, true}},
      {u"o'clock \u2019tis", {0, 9}, {12, true}},
      // Digits and letters join, and so do the connectors; a comma joins digits only.
      {u"3rd _abc 1,000 a,b", {0, 5, 9, 15, 17}, {18, true}},
      {u"1.2 3'4x 5:6 7__8", {0, 4, 9, 11, 13}, {17, true}},
      // A symbol is a word of its own and takes the capital; punctuation takes none.
      {u"$abc -x (y)", {0, 1, 6, 9}, {11, true}},
      {u"\u00AAbc \u02BCa", {0, 5}, {6, true}},
      {u"\U0001F642x \u65E5\u672Cab", {0, 2, 4, 5, 6}, {8, true}},
      {u"\u03A3\u03C9\u03BA\u03C1\u03AC\u03C4\u03B7\u03C2 \u0531\u0532 \u13A0\u13A1",
       {0, 9, 12},
       {14, true}},
      {u"\U00010400\U00010428 x", {0, 5}, {6, true}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const Walk walk = walkOf(row.text);
    EXPECT_EQ(walk.capitals, row.capitals);
    EXPECT_EQ(walk.walk, row.walk);
    EXPECT_EQ(capitalsThatMatter(row.text, walk.capitals), icuCapitalsOfLine(row.text, walk.walk));
  }
}

// Marks and format characters cling to what is before them, some scripts have rules of their own
// and some characters join more than their property says: the walk stops there.
TEST(WordStarts, StopsAtWhatIsNotSimple) {
  const Row rows[] = {
      {u"ab e\u0301", {0, 3}, {4, false}}, {u"a\u00ADb", {0}, {1, false}},
      {u"x \u30AB", {0}, {2, false}},      {u"\u05D0", {}, {0, false}},
      {u"\u0E01", {}, {0, false}},         {u"\uAC00", {}, {0, false}},
      {u"a@b", {0}, {1, false}},           {u"\U0001F1E9\U0001F1EA", {}, {0, false}},
      {u"a\xD800", {0}, {1, false}},       {u"\xDC00", {}, {0, false}},
      {u"a\nb\u0301", {2}, {3, false}, 2},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const Walk walk = walkOf(row.text, row.begin);
    EXPECT_EQ(walk.capitals, row.capitals);
    EXPECT_EQ(walk.walk, row.walk);
  }
}

std::string utf8(std::u16string_view text) {
  std::string bytes;
  testing_icu::toIcu(text).toUTF8String(bytes);
  return bytes;
}

// Every code point beside letters, digits, connectors, punctuation, sigma, symbols and ideographs:
// wherever the walk finds it simple, its capitals are ICU's.
TEST(ExhaustiveWordStarts, EveryCodePointInTheCompanyOfEveryClassAsIcu) {
  constexpr std::u16string_view kTemplates[] = {
      u"X", u"aXb", u"1X2", u"_X_", u"a.X", u"X.a", u"1,X", u"XX", u"a X", u"\u65E5X\U0001F642"};
  std::size_t simple = 0;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    const std::u16string units = testing_icu::toStd(icu::UnicodeString(static_cast<UChar32>(c)));
    for (const std::u16string_view pattern : kTemplates) {
      std::u16string line;
      for (const char16_t unit : pattern) line += unit == u'X' ? units : std::u16string(1, unit);
      const Walk walk = walkOf(line);
      if (!walk.walk.simple) continue;
      ++simple;
      ASSERT_EQ(capitalsThatMatter(line, walk.capitals), icuCapitalsOfLine(line, walk.walk))
          << utf8(line);
    }
  }
  // Most code points are simple (letters of the cased scripts, Han, emoji, unassigned ones).
  EXPECT_GT(simple, 9u * 1'000'000u);
}

// Random lines over letters of the cased scripts, digits, the joining punctuation, connectors,
// symbols, spaces, ideographs and emoji, with now and then something that is not simple.
TEST(WordStarts, AMillionRandomLinesAsIcu) {
  constexpr std::u16string_view kAlphabet[] = {
      u"a",      u"Z",      u"\u00E9", u"\u00DF", u"\u0149", u"\u01C5", u"\u0130",     u"\u0131",
      u"\u03A3", u"\u03C2", u"\u0390", u"\u1FB3", u"\u0587", u"\u13A0", u"\uAB70",     u"\u10D0",
      u"\u1C90", u"\u2160", u"\u24B6", u"\u00AA", u"\u02BC", u"\u02B0", u"\U00010400", u"0",
      u"\u0663", u"\uFF11", u"'",      u"\u2019", u".",      u":",      u",",          u";",
      u"\u00B7", u"\u2024", u"\uFE52", u"\uFF0E", u"\u037E", u"_",      u"\u203F",     u"-",
      u"$",      u"\u00A9", u"\"",     u"(",      u"!",      u" ",      u"\t",         u"\u00A0",
      u"\u3000", u"\r",     u"\u0085", u"\u2028", u"\u65E5", u"\u3042", u"\U0001F642", u"\u0301",
      u"@",      u"\u30AB", u"\u05D0", u"\uAC00"};
  constexpr std::size_t kSimpleLetters = std::size(kAlphabet) - 5;
  std::mt19937 random(20240611);
  std::size_t simple = 0;
  for (int line = 0; line < 1'000'000; ++line) {
    const std::size_t letters = line % 8 == 0 ? std::size(kAlphabet) : kSimpleLetters;
    std::u16string text;
    for (std::size_t n = 1 + random() % 12; n > 0; --n) text += kAlphabet[random() % letters];
    const Walk walk = walkOf(text);
    if (!walk.walk.simple) continue;
    ++simple;
    ASSERT_EQ(capitalsThatMatter(text, walk.capitals), icuCapitalsOfLine(text, walk.walk))
        << utf8(text);
  }
  EXPECT_GT(simple, 800'000u);
}

}  // namespace
}  // namespace textrix
