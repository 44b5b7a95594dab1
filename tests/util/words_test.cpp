// SPDX-License-Identifier: MIT
#include "util/words.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <string>
#include <string_view>
#include <vector>

#include <unicode/uchar.h>

namespace textrix {
namespace {

using namespace std::literals;
using Views = std::vector<std::u16string_view>;

constexpr std::uint32_t kRun = RangeRecord::kSeparatorRunMark;

std::string unitName(char32_t c) {
  char name[8];
  std::snprintf(name, sizeof name, "U+%04X", static_cast<unsigned>(c));
  return name;
}

CharacterSetRep setOf(std::u16string_view units) {
  CharacterSetRep rep;
  for (char16_t c : units) rep.add(c);
  return rep;
}

// The reference asks ICU for each unit's category. The listed units outside the categories are
// the modifier circumflex, the superscript digits and two fractions.
TEST(ExhaustiveWordSeparators, AreCategoriesPlusListedUnitsOverTheWholeRange) {
  constexpr std::uint32_t kCategories =
      U_GC_Z_MASK | U_GC_P_MASK | U_GC_S_MASK | U_GC_CC_MASK | U_GC_CF_MASK | U_GC_CN_MASK;
  constexpr std::u16string_view kListedOutsideCategories = u"\u02C6\u00B9\u00B2\u00B3\u00BC\u00BD";
  const CharacterSetRep& words = *defaultWordSeparators();
  for (char32_t c = 0; c <= 0xFFFF; ++c) {
    SCOPED_TRACE(unitName(c));
    const bool expected = (c != 0xFFFF && (U_GET_GC_MASK(c) & kCategories)) ||
                          (c >= 0xF400 && c <= 0xF8FE) ||
                          kListedOutsideCategories.find(c) != std::u16string_view::npos;
    ASSERT_EQ(words.contains(static_cast<char16_t>(c)), expected);
  }
}

TEST(WordSeparators, LineAndComponentSetsHoldExactlyTheirUnits) {
  const struct {
    const CharacterSetRep* rep;
    std::u16string_view units;
  } rows[] = {
      {defaultLineSeparators(), u"\r\n\f\u2029\u2028\u0003\uFFFC"},
      {defaultComponentSeparators(), u".,:;!?\n\r\f\uFFFC\uFEFF\u2029\u2028\u0003"},
  };
  for (const auto& row : rows) {
    EXPECT_EQ(row.rep->bytes, setOf(row.units).bytes);
  }
}

// A "," or "." between two ASCII digits inside the text is word material; anywhere else it
// separates. No other unit and no other digits take part.
TEST(WordScan, KeepsNumbersWholeByTheDigitRule) {
  const struct {
    std::u16string_view text;
    Views words;
  } rows[] = {
      {u"pi is 3.14", {u"pi", u"is", u"3.14"}},
      {u"3.14.", {u"3.14"}},
      {u"1,000 and 2.5.7", {u"1,000", u"and", u"2.5.7"}},
      {u"1,a", {u"1", u"a"}},
      {u"a.5", {u"a", u"5"}},
      {u".5 5,", {u"5", u"5"}},
      {u"1;2", {u"1", u"2"}},
      {u"\u0661.\u0662", {u"\u0661", u"\u0662"}},  // Arabic-Indic digits are not ASCII
      {u"a, b", {u"a", u"b"}},                     // two separators make no empty word
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(wordsUsingDefaultSeparation(row.text), row.words);
    EXPECT_EQ(numberOfWordsUsingSeparators(row.text, nullptr, 1), row.words.size());
  }
}

// With separators kept, each run is one item whose length carries the top-bit mark.
TEST(WordScan, RecordsWordsAndMarkedSeparatorRuns) {
  const struct {
    std::u16string_view text;
    bool withSeparators;
    std::uint32_t minLen;
    std::vector<RangeRecord> records;
  } rows[] = {
      {u"a, b", true, 1, {{0, 1}, {1, 2 | kRun}, {3, 1}}},
      {u"a, b", false, 1, {{0, 1}, {3, 1}}},
      {u" a", true, 1, {{0, 1 | kRun}, {1, 1}}},
      {u"3.", true, 1, {{0, 1}, {1, 1 | kRun}}},  // the last unit is never between digits
      {u"a bc def", false, 3, {{5, 3}}},
      {u"a bc def", false, 0, {{0, 1}, {2, 2}, {5, 3}}},
      {u"a bc def", true, 3, {{1, 1 | kRun}, {4, 1 | kRun}, {5, 3}}},
      {u"", true, 1, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    std::vector<RangeRecord> records;
    EXPECT_EQ(wordsOfCharacters(row.text, nullptr, row.withSeparators, row.minLen, &records),
              row.records.size());
    EXPECT_EQ(records, row.records);
  }
  const RangeRecord run{1, 2 | kRun};
  EXPECT_TRUE(run.isSeparatorRun());
  EXPECT_EQ(run.unitCount(), 2u);
}

// A component keeps its closing run of separators; a run at the very start is one of its own.
TEST(ComponentScan, EndsBehindEachRunOfSeparators) {
  const struct {
    std::u16string_view text;
    const CharacterSetRep* separators;
    Views components;
  } rows[] = {
      {u"Hello. How are you?", nullptr, {u"Hello.", u" How are you?"}},
      {u"..a", nullptr, {u"..", u"a"}},
      {u"Wait... what?! ok", nullptr, {u"Wait...", u" what?!", u" ok"}},
      {u"pi is 3.14. Yes", nullptr, {u"pi is 3.14.", u" Yes"}},
      {u"\n\none\r\n\r\ntwo\n", defaultLineSeparators(), {u"\n\n", u"one\r\n\r\n", u"two\n"}},
      {u"", nullptr, {}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(componentsUsingSeparators(row.text, row.separators), row.components);
    EXPECT_EQ(numberOfComponentsUsingSeparators(row.text, row.separators), row.components.size());
  }
  std::vector<RangeRecord> records;
  EXPECT_EQ(componentsOfCharacters(u"..a", nullptr, &records), 2u);
  EXPECT_EQ(records, (std::vector<RangeRecord>{{0, 2}, {2, 1}}));
  // Without separators the runs and the empty pieces go.
  EXPECT_EQ(componentsUsingSeparators(u"..a. b!?", nullptr, false), (Views{u"a", u" b"}));
  EXPECT_EQ(componentsUsingDefaultSeparation(u"a. b"), (Views{u"a.", u" b"}));
}

TEST(SeparationCounts, CutRangesAtTheEnd) {
  const std::u16string_view text = u"one two. three";
  const struct {
    Range range;
    std::uint32_t words, components;
  } rows[] = {
      {{0, 14}, 3, 2}, {{4, 100}, 2, 2}, {{9, 5}, 1, 1},
      {{14, 1}, 0, 0}, {{20, 5}, 0, 0},  {{0, 0}, 0, 0},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(numberOfWordsInRange(text, row.range, nullptr, 1), row.words);
    EXPECT_EQ(numberOfComponentsInRange(text, row.range, nullptr), row.components);
  }
  EXPECT_EQ(numberOfWordsUsingSeparators(u"", nullptr, 1), 0u);
  EXPECT_EQ(numberOfComponentsOfCharacters(u"", nullptr), 0u);
}

// Consecutive line ends close one paragraph; line ends at the start are a paragraph too.
TEST(SeparationCounts, CountsParagraphsAndWords) {
  const struct {
    std::u16string_view text;
    Range range;
    std::uint32_t minLen;
    ParagraphAndWordCounts counts;
  } rows[] = {
      {u"First one.\n\nSecond one.", {0, 100}, 1, {2, 4}},
      {u"\n\nFirst\nSecond", {0, 100}, 1, {3, 2}},
      {u"a bc def\nghij", {0, 100}, 3, {2, 2}},
      {u"a bc def\nghij", {2, 6}, 1, {1, 2}},
      {u"", {0, 100}, 1, {0, 0}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(numberOfParagraphs(row.text, row.range, row.minLen), row.counts);
  }
}

// The hyphen result tells a compound such as well-known from two words: every separator met must
// be "-" (with runs kept, only each run's first unit is looked at) and there must be two words.
TEST(WordList, ReportsHyphenatedCompounds) {
  const struct {
    std::u16string_view text;
    bool withSeparators;
    Views items;
    bool hyphenated;
  } rows[] = {
      {u"well-known", false, {u"well", u"known"}, true},
      {u"well known", false, {u"well", u"known"}, false},
      {u"up-to-date", false, {u"up", u"to", u"date"}, true},
      {u"-known", false, {u"known"}, false},
      {u"word", false, {u"word"}, false},
      {u"well- known", false, {u"well", u"known"}, false},
      {u"well- known", true, {u"well", u"- ", u"known"}, true},
      {u"well -known", true, {u"well", u" -", u"known"}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    bool hyphenated = !row.hyphenated;
    EXPECT_EQ(wordsUsingSeparators(row.text, nullptr, row.withSeparators, 1, false, &hyphenated),
              row.items);
    EXPECT_EQ(hyphenated, row.hyphenated);
  }
  // An empty text gives no list at all.
  bool hyphenated = true;
  EXPECT_EQ(wordsUsingSeparators(u"", nullptr, true, 1, true, &hyphenated), std::nullopt);
  EXPECT_FALSE(hyphenated);
  EXPECT_EQ(wordsUsingDefaultSeparation(u""), std::nullopt);
  EXPECT_EQ(wordsUsingDefaultSeparation(u" "), Views{});
}

// A "[" counts only when it is word material, and then takes everything up to the next "]".
TEST(WordList, WildcardKeepsBracketClassesWhole) {
  const CharacterSetRep spaces = setOf(u" ");
  const struct {
    std::u16string_view text;
    const CharacterSetRep* separators;
    Views words;
  } rows[] = {
      {u"a[b c]d e", &spaces, {u"a[b c]d", u"e"}},
      {u"[x y] [z", &spaces, {u"[x y]", u"[z"}},
      {u"a[b c", &spaces, {u"a[b c"}},
      {u"a[b c]", nullptr, {u"a", u"b", u"c"}},  // "[" separates here
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(wordsUsingSeparators(row.text, row.separators, false, 1, true, nullptr), row.words);
  }
  EXPECT_EQ(wordsUsingSeparators(u"a[b c]d", &spaces), (Views{u"a[b", u"c]d"}));
}

TEST(SeparationParsers, CallTheHandlerPerPieceInOrder) {
  const std::u16string_view text = u"Hi there. 3.14 ok";
  for (bool isMutable : {false, true}) {
    SCOPED_TRACE(isMutable ? "mutable" : "in place");
    Views words;
    const auto collect = [&](std::u16string_view units, Range word) {
      EXPECT_EQ(units.data() == text.data(), !isMutable);
      words.push_back(text.substr(word.location, word.length));
    };
    EXPECT_EQ(parseWordsWithHandler(text, collect, isMutable, nullptr, 2), 4u);
    EXPECT_EQ(words, (Views{u"Hi", u"there", u"3.14", u"ok"}));
    words.clear();
    EXPECT_EQ(parseComponentsWithHandler(text, collect, isMutable, nullptr), 2u);
    EXPECT_EQ(words, (Views{u"Hi there.", u" 3.14 ok"}));
  }
  const auto never = [](std::u16string_view, Range) { FAIL(); };
  EXPECT_EQ(parseWordsWithHandler(u"abc", {}, false, nullptr, 1), 0u);
  EXPECT_EQ(parseComponentsWithHandler(u"", never, false, nullptr), 0u);
  EXPECT_EQ(parseWordsWithHandler(u"ab", never, false, nullptr, 3), 0u);
}

// With a copy the handler may rewrite the string being parsed.
TEST(SeparationParsers, MutableParseSurvivesTheHandlerEditingTheSource) {
  std::u16string source = u"one two three four";
  std::vector<std::u16string> words;
  const std::size_t calls = parseWordsWithHandler(
      source,
      [&](std::u16string_view units, Range word) {
        words.emplace_back(units.substr(word.location, word.length));
        source.assign(1000, u'x');
      },
      true, nullptr, 1);
  EXPECT_EQ(calls, 4u);
  EXPECT_EQ(words, (std::vector<std::u16string>{u"one", u"two", u"three", u"four"}));
}

// After n words, or at a word boundary within n characters. The unit at a character cut is never
// looked at, so a word ending exactly there goes with the cut word.
TEST(Ellipsizing, CutsAfterNWordsOrWithinNCharacters) {
  using Cut = std::u16string (*)(std::u16string_view, std::size_t);
  const Cut words = stringByEllipsizingAfterNWords,
            characters = stringByEllipsizingAfterNCharacters;
  const struct {
    Cut cut;
    std::u16string_view text;
    std::size_t n;
    std::u16string_view result;
  } rows[] = {
      {words, u"one two three", 2, u"one two..."},
      {words, u"one two three", 3, u"one two three"},
      {words, u"one, two; three", 1, u"one..."},
      {words, u"pi is 3.14, really", 3, u"pi is 3.14..."},
      {words, u"one two", 0, u"one two"},
      {words, u"a b c", 5, u"a b c"},
      {characters, u"one two three", 9, u"one two..."},
      {characters, u"one two three", 7, u"one..."},
      {characters, u"one two three", 8, u"one two..."},
      {characters, u"one, two", 6, u"one..."},
      {characters, u"helloworld", 5, u"helloworld"},
      {characters, u"  hello", 4, u"  hello"},
      {characters, u"one two", 7, u"one two"},
      {characters, u"one two", 0, u"one two"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(row.cut(row.text, row.n), row.result);
  }
}

}  // namespace
}  // namespace textrix
