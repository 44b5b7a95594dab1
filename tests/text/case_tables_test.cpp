// SPDX-License-Identifier: MIT
#include "text/case_tables.h"

#include <gtest/gtest.h>
#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/uniset.h>
#include <unicode/utf16.h>

#include <cstdint>
#include <cstdio>
#include <string>
#include <string_view>

#include "support/icu_case.h"

namespace textrix {
namespace {

using testing_icu::icuLower;
using testing_icu::icuUpper;

std::string codePointName(char32_t c) {
  char name[12];
  std::snprintf(name, sizeof name, "U+%04X", static_cast<unsigned>(c));
  return name;
}

std::u16string codePointString(char32_t c) {
  return testing_icu::toStd(icu::UnicodeString(static_cast<UChar32>(c)));
}

std::u16string mapped(std::u16string_view text, CaseMapping mapping) {
  std::u16string out;
  appendCaseMapped(out, text, mapping);
  return out;
}

TEST(CodePointTable, HoldsWhatRangesSetInTheBmpAndInTheBlocksOfTheOtherPlanes) {
  CodePointTable<std::uint8_t> table(7);
  table.setRange(u'a', u'z', 1);
  table.setRange(0xFFF0, 0x10010, 2);   // across the end of the BMP
  table.setRange(0x20000, 0x203FF, 3);  // one whole block
  table.setRange(0x20400, 0x20BFF, 3);  // two more, the same value
  table.setRange(0x20800, 0x20800, 4);  // one code point of a shared block
  table.updateRange(0x10000, 0x10FFFF, [](std::uint8_t v) { return std::uint8_t(v + 10); });
  const std::pair<char32_t, std::uint8_t> rows[] = {
      {u'`', 7},     {u'a', 1},     {u'z', 1},     {u'{', 7},      {0xFFEF, 7},
      {0xFFF0, 2},   {0xFFFF, 2},   {0x10000, 12}, {0x10010, 12},  {0x10011, 17},
      {0x1FFFF, 17}, {0x20000, 13}, {0x203FF, 13}, {0x207FF, 13},  {0x20800, 14},
      {0x20801, 13}, {0x20BFF, 13}, {0x20C00, 17}, {0x10FFFF, 17},
  };
  for (const auto& [c, value] : rows) {
    SCOPED_TRACE(codePointName(c));
    EXPECT_EQ(table[c], value);
  }
  EXPECT_EQ(table.bmp(u'q'), 1);
}

TEST(CaseOutput, GrowsForMappingsLongerThanTheirInputAndRewinds) {
  std::u16string text = u"<";
  {
    CaseOutput out(text, 3);
    out.put(u'a');
    out.put(u"SSS", 1);  // two units more than its input
    const std::size_t mark = out.size();
    out.put(u"xy", 1);
    out.rewind(mark);
    out.put(u'b');
    out.overwrite(1, u'A');
  }
  EXPECT_EQ(text, u"<ASSSb");
}

struct MappingRow {
  std::u16string_view text;
  std::u16string_view upper;
  std::u16string_view lower;
};

TEST(FullCaseMapping, MapsExpansionsPairsAndFinalSigmaAsIcu) {
  const MappingRow rows[] = {
      {u"", u"", u""},
      {u"Hello, World 42", u"HELLO, WORLD 42", u"hello, world 42"},
      {u"stra\u00DFe \u1E9E", u"STRASSE \u1E9E", u"stra\u00DFe \u00DF"},
      {u"\u0149 \u01F0 \u0390 \uFB03", u"\u02BCN J\u030C \u0399\u0308\u0301 FFI",
       u"\u0149 \u01F0 \u0390 \uFB03"},
      {u"\u0130 \u0131 \u01C5", u"\u0130 I \u01C4", u"i\u0307 \u0131 \u01C6"},
      {u"\u0587 \u1FB3 \u13A0 \uAB70", u"\u0535\u0552 \u0391\u0399 \u13A0 \u13A0",
       u"\u0587 \u1FB3 \uAB70 \uAB70"},
      {u"\U00010400\U00010428 \U0001F642", u"\U00010400\U00010400 \U0001F642",
       u"\U00010428\U00010428 \U0001F642"},
      // Lone surrogates map to themselves.
      {u"a\xD800"
       u"b\xDC00",
       u"A\xD800"
       u"B\xDC00",
       u"a\xD800"
       u"b\xDC00"},
      // Capital sigma ends a word when a cased letter comes before it and none after it,
      // case-ignorable characters such as the apostrophe and combining marks passed over.
      {u"\u039F\u03A3 \u03A3\u039F \u03A3", u"\u039F\u03A3 \u03A3\u039F \u03A3",
       u"\u03BF\u03C2 \u03C3\u03BF \u03C3"},
      {u"\u0391\u03A3'\u0391 \u0391'\u03A3' \u0391\u0301\u03A3\u0301.",
       u"\u0391\u03A3'\u0391 \u0391'\u03A3' \u0391\u0301\u03A3\u0301.",
       u"\u03B1\u03C3'\u03B1 \u03B1'\u03C2' \u03B1\u0301\u03C2\u0301."},
      {u"\U00010400\u03A3 \u03A3\U00010400", u"\U00010400\u03A3 \u03A3\U00010400",
       u"\U00010428\u03C2 \u03C3\U00010428"},
  };
  for (const MappingRow& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(mapped(row.text, CaseMapping::upper), row.upper);
    EXPECT_EQ(mapped(row.text, CaseMapping::lower), row.lower);
    EXPECT_EQ(icuUpper(row.text), row.upper);
    EXPECT_EQ(icuLower(row.text), row.lower);
  }
}

TEST(FullCaseMapping, TellsWhetherARangeKeptItsLengthAndWhatACodePointKeeps) {
  struct Row {
    std::u16string_view text;
    bool lengthKeptInLower;
    bool keptInTitle;  // the first code point
  };
  const Row rows[] = {
      {u"abc", true, false},        {u"ABC", true, true},         {u"\u0130x", false, true},
      {u"\u00DFx", true, false},    {u"\U0001F642x", true, true}, {u"\U00010428x", true, false},
      {u"\U00010400x", true, true}, {u"\xD800x", true, true},     {u"\u03A3\u03A3", true, true},
      {u"1", true, true},
  };
  const CaseTable& lower = caseTable(CaseMapping::lower);
  const CaseTable& title = caseTable(CaseMapping::title);
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    std::u16string out;
    CaseOutput output(out, row.text.size());
    EXPECT_EQ(lower.mapRange(output, row.text, 0, row.text.size()), row.lengthKeptInLower);
    EXPECT_EQ(title.keeps(row.text, 0), row.keptInTitle);
  }
}

// Each code point on a line of its own, mapped as one text by the tables and by ICU.
TEST(ExhaustiveFullCaseTables, UpperAndLowerCaseOfEveryCodePointAsIcu) {
  std::u16string lines;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) lines += codePointString(c) + u'\n';
  for (const CaseMapping mapping : {CaseMapping::upper, CaseMapping::lower}) {
    const std::u16string expected =
        mapping == CaseMapping::upper ? icuUpper(lines) : icuLower(lines);
    const std::u16string actual = mapped(lines, mapping);
    if (actual == expected) continue;
    for (std::size_t a = 0, e = 0; a < actual.size() && e < expected.size();) {
      const std::size_t aEnd = actual.find(u'\n', a), eEnd = expected.find(u'\n', e);
      ASSERT_EQ(actual.substr(a, aEnd - a), expected.substr(e, eEnd - e))
          << "mapping " << static_cast<int>(mapping) << " line at " << a;
      a = aEnd + 1;
      e = eEnd + 1;
    }
    FAIL() << "mapping " << static_cast<int>(mapping);
  }
}

// Title case of one code point, as ICU gives it when asked for that very code point.
TEST(ExhaustiveFullCaseTables, TitleCaseOfEveryCodePointAsIcu) {
  UErrorCode status = U_ZERO_ERROR;
  UCaseMap* titles = ucasemap_open("", U_TITLECASE_NO_BREAK_ADJUSTMENT, &status);
  ASSERT_TRUE(U_SUCCESS(status));
  const CaseTable& title = caseTable(CaseMapping::title);
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    const std::u16string source = codePointString(c);
    UChar expected[8];
    const int32_t length = ucasemap_toTitle(titles, expected, 8, source.data(),
                                            static_cast<int32_t>(source.size()), &status);
    std::u16string actual;
    {
      CaseOutput out(actual, source.size());
      title.mapCodePoint(out, source, 0);
    }
    ASSERT_EQ(actual, std::u16string_view(expected, static_cast<std::size_t>(length)))
        << codePointName(c);
  }
  ucasemap_close(titles);
}

// Every code point before, after and between a cased letter and a capital sigma.
TEST(ExhaustiveFullCaseTables, FinalSigmaAfterAndBeforeEveryCodePointAsIcu) {
  constexpr std::u16string_view kContexts[] = {u"X\u03A3", u"AX\u03A3", u"A\u03A3X", u"A\u03A3XB"};
  std::u16string lines;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c == u'\n') continue;
    for (const std::u16string_view context : kContexts) {
      for (const char16_t unit : context) {
        lines += unit == u'X' ? codePointString(c) : std::u16string(1, unit);
      }
      lines += u'\n';
    }
  }
  EXPECT_TRUE(mapped(lines, CaseMapping::lower) == icuLower(lines));
}

}  // namespace
}  // namespace textrix
