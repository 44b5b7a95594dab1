// SPDX-License-Identifier: MIT
#include "services/case.h"

#include <gtest/gtest.h>

#include <random>
#include <string>

#include "support/icu_case.h"
#include "support/texts.h"
#include "text/attributed_text.h"
#include "text/encodings.h"

namespace textrix {
namespace {

using testing_icu::icuLower;
using testing_icu::icuTitle;
using testing_icu::icuUpper;
using testing_texts::redThenBlue;

using namespace std::literals;

struct MappingRow {
  std::u16string_view text;
  std::u16string_view upper;
  std::u16string_view lower;
  std::u16string_view capitalized;
};

TEST(CaseMapping, MapsWholeTextsByTheFullMappingOfNoLocale) {
  const MappingRow rows[] = {
      {u"", u"", u"", u""},
      {u"hello wORLD", u"HELLO WORLD", u"hello world", u"Hello World"},
      {u"stra\u00DFe", u"STRASSE", u"stra\u00DFe", u"Stra\u00DFe"},
      // Final sigma is a context of the whole word; dotted I lower-cases without Turkish rules.
      {u"\u039F\u03A3\u039F\u03A3", u"\u039F\u03A3\u039F\u03A3", u"\u03BF\u03C3\u03BF\u03C2",
       u"\u039F\u03C3\u03BF\u03C2"},
      {u"\u0130i", u"\u0130I", u"i\u0307i", u"\u0130i"},
      {u"\u01C6emal", u"\u01C4EMAL", u"\u01C6emal", u"\u01C5emal"},
      {u"don't stop", u"DON'T STOP", u"don't stop", u"Don't Stop"},
      // The capital goes to the first letter, number or symbol of a word: a period or an
      // apostrophe between letters and a comma between digits join, a colon does not.
      {u"e.g. a:b 3RD _aB $aB 1,5x", u"E.G. A:B 3RD _AB $AB 1,5X", u"e.g. a:b 3rd _ab $ab 1,5x",
       u"E.g. A:B 3rd _Ab $Ab 1,5x"},
      {u"\u00DFa \uFB01x \u0149a \u1FB3\u03A3 \u03C3\u03A3'",
       u"SSA FIX \u02BCNA \u0391\u0399\u03A3 \u03A3\u03A3'",
       u"\u00DFa \uFB01x \u0149a \u1FB3\u03C2 \u03C3\u03C2'",
       u"Ssa Fix \u02BCNa \u1FBC\u03C2 \u03A3\u03C2'"},
      // Lines with a combining mark, a Hebrew letter or an '@' among simple ones.
      {u"ab\ncd e\u0301f\n\u05D0b x@y\nGH", u"AB\nCD E\u0301F\n\u05D0B X@Y\nGH",
       u"ab\ncd e\u0301f\n\u05D0b x@y\ngh", u"Ab\nCd E\u0301f\n\u05D0b X@y\nGh"},
      {u"\U0001F642x \u65E5\u672Cab \U00010428\U00010400",
       u"\U0001F642X \u65E5\u672CAB \U00010400\U00010400",
       u"\U0001F642x \u65E5\u672Cab \U00010428\U00010428",
       u"\U0001F642X \u65E5\u672CAb \U00010400\U00010428"},
  };
  for (const MappingRow& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    std::u16string upper(row.text), lower(row.text), capitalized(row.text);
    uppercase(upper);
    lowercase(lower);
    capitalize(capitalized);
    EXPECT_EQ(upper, row.upper);
    EXPECT_EQ(lower, row.lower);
    EXPECT_EQ(capitalized, row.capitalized);
    EXPECT_EQ(icuTitle(row.text), row.capitalized);
  }
}

// Long texts are mapped piece by piece; the result must be that of one mapping of the whole.
TEST(CaseMapping, LongTextsMapAsOneWhole) {
  std::u16string text;
  while (text.size() < 100'000) text += u"ASCII only, Here and There.\n";
  while (text.size() < 300'000)
    text += u"stra\u00DFe \u03BF\u03C3\u03BF\u03C3 \u0149ew. don't\nab\u03A3\n";
  while (text.size() < 400'000) text += u"simple lines\nand a mark: e\u0301\nand x@y\n";
  text.append(100'000, u'\u00DF');  // a line longer than a piece, which grows as it is mapped
  text += u"\n\u05D0 then simple ones\nlast";

  std::u16string upper = text, lower = text, capitalized = text;
  uppercase(upper);
  lowercase(lower);
  capitalize(capitalized);
  EXPECT_TRUE(upper == icuUpper(text));
  EXPECT_TRUE(lower == icuLower(text));
  EXPECT_TRUE(capitalized == icuTitle(text));
}

// Random texts of many lines, most of them simple, some with marks, scripts with rules of their
// own or characters that join more than their class.
TEST(CaseMapping, RandomTextsMapAsIcu) {
  constexpr std::u16string_view kPieces[] = {
      u"a",      u"Z",          u"\u00E9",     u"\u00DF",     u"\u0149", u"\u01C5", u"\u0130",
      u"\u03A3", u"\u03C2",     u"\u0390",     u"\u1FB3",     u"\u0587", u"\u13A0", u"\u1C90",
      u"\u24B6", u"\u02BC",     u"\U00010400", u"\U0001F642", u"\u65E5", u"0",      u"'",
      u".",      u":",          u",",          u"_",          u"$",      u" ",      u"\t",
      u"\r",     u"\n",         u"\n",         u"\u0301",     u"\u0345", u"@",      u"\u30AB",
      u"\u05D0", u"\U0001F1E9", u"\xD800"};
  std::mt19937 random(7);
  for (int round = 0; round < 200; ++round) {
    std::u16string text;
    const std::size_t pieces = round % 4 == 0 ? std::size(kPieces) : std::size(kPieces) - 8;
    while (text.size() < 3000) text += kPieces[random() % pieces];
    SCOPED_TRACE(testing::Message() << "round " << round);
    std::u16string upper = text, lower = text, capitalized = text;
    uppercase(upper);
    lowercase(lower);
    capitalize(capitalized);
    ASSERT_TRUE(upper == icuUpper(text));
    ASSERT_TRUE(lower == icuLower(text));
    ASSERT_TRUE(capitalized == icuTitle(text));
  }
}

using AttributedMapping = void (*)(AttributedText&);
const AttributedMapping kUpper = [](AttributedText& text) { uppercase(text); };
const AttributedMapping kLower = [](AttributedText& text) { lowercase(text); };
const AttributedMapping kCapitalize = [](AttributedText& text) { capitalize(text); };

struct WalkRow {
  const char* name;
  AttributedMapping mapping;
  std::u16string_view red, blue;              // the text: a red run, then a blue one
  std::u16string_view mappedRed, mappedBlue;  // the result
};

class AttributedCaseWalk : public testing::TestWithParam<WalkRow> {};

// The attributes stay on their characters and every run is mapped as a text of its own. The walk
// takes the length and the run ends as they were before a mapping changed the length: after a run
// that grew, the units it added are mapped again and as many units at the end stay as they were.
TEST_P(AttributedCaseWalk, MapsRunByRunAtThePositionsBeforeTheChange) {
  AttributedText text = redThenBlue(GetParam().red, GetParam().blue);
  GetParam().mapping(text);
  EXPECT_EQ(text, redThenBlue(GetParam().mappedRed, GetParam().mappedBlue))
      << encodeUtf8(text.string());
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AttributedCaseWalk,
    testing::Values(
        WalkRow{"UpperLeavesTheLastUnitsUnexamined", kUpper, u"stra\u00DFe ", u"red", u"STRASSE ",
                u"REd"},
        WalkRow{"CapitalizeMapsTheAddedUnitsAgain", kCapitalize, u"\u00DFa", u"bc", u"SsA", u"Bc"},
        WalkRow{"UpperShortensTheNextRunsPiece", kUpper, u"a\u00DF", u"b c", u"ASS", u"B c"},
        WalkRow{"LowerThatGrowsLeavesTheNextRunAsItWas", kLower, u"\u0130X", u"Y", u"i\u0307x",
                u"Y"},
        WalkRow{"CapitalizeGivesEachRunACapital", kCapitalize, u"hEL", u"LO wORLD", u"Hel",
                u"Lo World"},
        WalkRow{"APairCutAtTheWalksEndStaysWhole", kUpper, u"\u00DF", u"\U00010428", u"SS",
                u"\U00010428"},
        WalkRow{"APairInsideARunMapsAsOneCharacter", kLower, u"\U00010400", u"A", u"\U00010428",
                u"a"},
        WalkRow{"EqualLengthsMapEveryUnit", kUpper, u"abc", u"def", u"ABC", u"DEF"}),
    [](const testing::TestParamInfo<WalkRow>& info) { return std::string(info.param.name); });

// The walk as the service describes it, editing the text in place with ICU for every piece: slow
// and obviously right.
void referenceWalk(AttributedText& text, std::u16string (*map)(std::u16string_view)) {
  const std::size_t n = text.length();
  for (std::size_t i = 0; i < n && i < text.length();) {
    Range run;
    const AttributeDictionary attributes = text.attributesAtIndex(i, &run, Range{i, n - i});
    const std::size_t end = std::min(run.end(), n);
    const std::u16string piece = text.string().substr(i, end - i);
    text.replaceCharactersInRange(Range{i, end - i}, map(piece));
    i = end;
  }
}

TEST(AttributedCaseWalk, AgreesWithTheReferenceOnRandomRuns) {
  const std::u16string_view pieces[] = {
      u"a", u"B",          u"\u00DF",     u"\u0130", u"\u0149", u"\uFB00", u"\u03A3",
      u" ", u"\U00010400", u"\U00010428", u"\xD801", u"\xDC00", u"x."};
  const struct {
    AttributedMapping mapping;
    std::u16string (*reference)(std::u16string_view);
  } mappings[] = {{kUpper, icuUpper}, {kLower, icuLower}, {kCapitalize, icuTitle}};
  std::mt19937 random(11);
  for (int round = 0; round < 300; ++round) {
    AttributedText text;
    const int runs = 1 + static_cast<int>(random() % 5);
    for (int run = 0; run < runs; ++run) {
      std::u16string characters;
      for (int k = 1 + static_cast<int>(random() % 4); k > 0; --k) {
        characters += pieces[random() % std::size(pieces)];
      }
      text.appendString(characters, testing_texts::colored(static_cast<double>(random() % 3)));
    }
    for (const auto& [mapping, reference] : mappings) {
      AttributedText mapped = text;
      AttributedText expected = text;
      mapping(mapped);
      referenceWalk(expected, reference);
      ASSERT_EQ(mapped, expected) << encodeUtf8(text.string());
    }
  }
}

// The walk over the lower-cased text exactly as the service describes it, editing the text in
// place with ICU for every capital: slow and obviously right.
std::u16string referenceSentences(std::u16string_view text) {
  std::u16string s = icuLower(text);
  const std::size_t n = s.size();
  bool capitalizeNext = true;
  bool insideQuote = false;
  for (std::size_t i = 0; i < n; ++i) {
    const char16_t c = s[i];
    if (c == u'.' || c == u':' || c == u';') {
      capitalizeNext = true;
    } else if (c == u'"') {
      insideQuote = !insideQuote;
      if (insideQuote) capitalizeNext = true;
    } else if (capitalizeNext) {
      const std::u16string capital = icuUpper(s.substr(i, 1));
      if (capital != s.substr(i, 1)) {
        s.replace(i, 1, capital);
        capitalizeNext = false;
      }
    }
  }
  return s;
}

TEST(SentenceCapitalization, CapitalizesAfterPeriodsColonsSemicolonsAndOpeningQuotes) {
  const std::pair<std::u16string_view, std::u16string_view> rows[] = {
      {u"hello world. this is it", u"Hello world. This is it"},
      {u"what? yes", u"What? yes"},
      {u"wow! yes", u"Wow! yes"},
      {u"note: see here; and then", u"Note: See here; And then"},
      {u"he said \"yes\" and left", u"He said \"Yes\" and left"},
      {u"3 apples", u"3 Apples"},
      {u"HELLO World", u"Hello world"},
      {u"", u""},
      {u"... \u00E9t\u00E9", u"... \u00C9t\u00E9"},
  };
  for (const auto& [text, expected] : rows) {
    SCOPED_TRACE(std::string(text.begin(), text.end()));
    EXPECT_EQ(stringByCapitalizingSentences(text), expected);
  }
}

// The length is taken before any capital: a capital that grows leaves the last units unexamined.
TEST(SentenceCapitalization, LeavesTheUnitsPushedPastTheLengthUnexamined) {
  EXPECT_EQ(stringByCapitalizingSentences(u"\u00DF. x"), u"SS. x");
  EXPECT_EQ(stringByCapitalizingSentences(u"\u0149. x. y"), u"\u02BCN. X. y");
}

// Every unit where a sentence starts, followed by capitals that grow and push units past the end.
TEST(ExhaustiveSentenceCapitalization, AgreesWithTheReferenceOnEveryCodeUnit) {
  for (std::uint32_t c = 0; c <= 0xFFFF; ++c) {
    const std::u16string text = u". "s + static_cast<char16_t>(c) + u"\u0149 \"\u00DF. b";
    ASSERT_EQ(stringByCapitalizingSentences(text), referenceSentences(text)) << "unit " << c;
  }
}

}  // namespace
}  // namespace textrix
