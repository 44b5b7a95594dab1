// SPDX-License-Identifier: MIT
#include "text/search.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <string_view>

namespace textrix {
namespace {

using namespace std::literals;

struct SearchRow {
  std::u16string_view text;
  char16_t c;
  std::size_t start;
  bool caseInsensitive;
  std::size_t expected;
};

// A unit with case stands for its upper-case form: without the flag 'a' matches 'A' and never 'a'.
// The services are built on that rule, so these rows must keep failing any "fix" of it.
TEST(CharacterSearch, FindsByTheTargetRule) {
  const SearchRow rows[] = {
      {u"Aa", u'a', 0, false, 0},          {u"aa", u'a', 0, false, kNotFound},
      {u"xa", u'a', 0, true, 1},           {u"xA", u'A', 0, false, 1},
      {u"xa", u'A', 0, false, kNotFound},  {u"x\u00DF", u'\u00DF', 0, true, 1},
      {u"A1a1", u'1', 1, true, 1},         {u"AxA", u'a', 1, false, 2},
      {u"abc", u'c', 3, false, kNotFound}, {u"", u'a', 0, true, kNotFound},
      {u"\u017F", u's', 0, true, 0},       {u"\uFFFF", u'\uFFFF', 0, true, 0},
  };
  for (const SearchRow& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(findCharacter(row.text, row.c, row.start, row.caseInsensitive), row.expected);
    EXPECT_EQ(containsCharacter(row.text, row.c, row.start, row.caseInsensitive),
              row.expected != kNotFound);
  }
  std::u16string longText(200, u'-');
  longText[100] = u'a';
  longText[150] = u'A';
  EXPECT_EQ(findCharacter(longText, u'a', 3, false), 150u);
  EXPECT_EQ(findCharacter(longText, u'a', 3, true), 100u);
  EXPECT_EQ(findCharacter(longText, u'a', 151, true), kNotFound);
  EXPECT_EQ(findCharacter(u"aA", u'a'), 1u);
  EXPECT_EQ(findCharacter(u"aA", u'a', true), 0u);
  EXPECT_FALSE(containsCharacter(u"abc", u'a'));
  EXPECT_TRUE(containsCharacter(u"abc", u'a', true));
}

TEST(CharacterSearch, CountsByTheTargetRule) {
  const SearchRow rows[] = {
      {u"bBb", u'b', 0, false, 1}, {u"bBb", u'b', 0, true, 3}, {u"bBb", u'B', 2, true, 1},
      {u"bBb", u'b', 3, true, 0},  {u"", u'b', 0, true, 0},    {u"1a1", u'1', 0, true, 2},
  };
  for (const SearchRow& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(countCharacter(row.text, row.c, row.start, row.caseInsensitive), row.expected);
  }
  std::u16string longText;
  for (int i = 0; i < 70; ++i) longText += u"bB-";
  EXPECT_EQ(countCharacter(longText, u'b', 1, true), 139u);
  EXPECT_EQ(countCharacter(longText, u'b', 1, false), 70u);
  EXPECT_EQ(countCharacter(u"aAa", u'a'), 1u);
  EXPECT_EQ(countCharacter(u"aAa", u'a', true), 3u);
}

// The start only bounds the backward scan from below; 'x' has case, so only the flag lets it match
// a lower-case 'x'.
TEST(CharacterSearch, FindsLastFromTheEndDownToStart) {
  const std::ptrdiff_t kBefore = -5;
  const struct {
    std::u16string_view text;
    char16_t c;
    std::ptrdiff_t start;
    bool caseInsensitive;
    std::size_t expected;
  } rows[] = {
      {u"x-x", u'x', 1, true, 2},
      {u"x-x", u'x', 1, false, kNotFound},
      {u"x--", u'x', kBefore, true, 0},
      {u"x--", u'x', 1, true, kNotFound},
      {u"x-x", u'x', 3, true, kNotFound},
      {u"-.-", u'-', 2, false, 2},
      {u"AaA-a", u'a', 0, false, 2},
      {u"AaA-a", u'a', 0, true, 4},
      {u"", u'x', kBefore, false, kNotFound},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(findLastCharacter(row.text, row.c, row.start, row.caseInsensitive), row.expected);
  }
  EXPECT_EQ(findLastCharacter(u"Aa", u'a'), 0u);
  EXPECT_EQ(findLastCharacter(u"Aa", u'a', true), 1u);
}

// Sets of more than a few units take the bitmap path; both paths must give the same answers.
TEST(CharacterSearch, FindsOneOfASetComparedAsGiven) {
  const std::u16string_view kLongSet = u"0123456789<>"sv;
  const struct {
    std::u16string_view text, set;
    std::size_t start;
    bool caseInsensitive;
    std::size_t expected;
  } rows[] = {
      {u"a>b<", u"<>", 0, false, 1},     {u"a>b<", kLongSet, 0, false, 1},
      {u"a>b<", u"<>", 2, false, 3},     {u"a>b<", u"", 0, false, kNotFound},
      {u"", u"<>", 0, false, kNotFound}, {u"a>b<", u"<>", 4, false, kNotFound},
      {u"A", u"a", 0, false, kNotFound}, {u"xA", u"a", 0, true, 1},
      {u"xa", u"BA", 0, true, 1},        {u"xa", u"9876543210A", 0, true, 1},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(findOneOf(row.text, row.set, row.start, row.caseInsensitive), row.expected);
  }
  EXPECT_EQ(findOneOf(u"aA", u"A"), 1u);
  EXPECT_EQ(findOneOf(u"aA", u"A", true), 0u);
}

TEST(ExhaustiveUnitSet, ScanAndBitmapAgreeWithTheUnitsOverTheWholeRange) {
  const std::u16string shortSet = {u'<', u'>', 0xFFFF};
  const std::u16string longSet = {0, u'a', u'b', u'c', u'd', u'e', u'f', u'g', 0xD800, 0xFFFF};
  const struct {
    std::u16string_view units;
    std::size_t textLength;
  } sets[] = {{shortSet, 10}, {shortSet, 1 << 20}, {longSet, 10}};
  for (const auto& [units, textLength] : sets) {
    const detail::UnitSet set(units, textLength);
    for (char32_t c = 0; c <= 0xFFFF; ++c) {
      SCOPED_TRACE(static_cast<unsigned>(c));
      ASSERT_EQ(set.contains(static_cast<char16_t>(c)), units.find(c) != std::u16string_view::npos);
    }
  }
}

struct RemovalRow {
  const char* name;
  std::function<void(std::u16string&)> remove;
  std::function<std::u16string(std::u16string_view)> copyRemoving;
  std::u16string_view text, expected;
};

TEST(CharacterRemoval, RemovesEveryNamedUnitAndKeepsTheRestInOrder) {
  const std::u16string_view kLongSet = u"<>[]{}()\u00AB\u00BB"sv;
  const std::u16string_view kAllFeeds = u"\f\n\r\u2028\u2029\u0003\uFFFC\uFEFF"sv;
  const RemovalRow rows[] = {
      {"characters", [](auto& s) { removeCharacters(s, u'>'); },
       [](auto s) { return stringByRemovingCharacters(s, u'>'); }, u"> > a >>", u"  a "},
      {"characters exactly", [](auto& s) { removeCharacters(s, u'a'); },
       [](auto s) { return stringByRemovingCharacters(s, u'a'); }, u"aAa", u"A"},
      {"set", [](auto& s) { removeCharactersOfString(s, u"<>"); },
       [](auto s) { return stringByRemovingCharactersOfString(s, u"<>"); }, u"<<x>>", u"x"},
      {"empty set", [](auto& s) { removeCharactersOfString(s, u""); },
       [](auto s) { return stringByRemovingCharactersOfString(s, u""); }, u"<x>", u"<x>"},
      {"long set", [&](auto& s) { removeCharactersOfString(s, kLongSet); },
       [&](auto s) { return stringByRemovingCharactersOfString(s, kLongSet); },
       u"\u00AB[x]\u00BB(y)", u"xy"},
      {"tabs", removeTabs, stringByRemovingTabs, u"\ta\t\tb \t", u"ab "},
      {"feeds", removeFeeds, stringByRemovingFeeds, u"a\r\nb\uFFFCc", u"abc"},
      {"all feeds", removeFeeds, stringByRemovingFeeds, kAllFeeds, u""},
      {"not feeds", removeFeeds, stringByRemovingFeeds, u"\u000B\u0085\t", u"\u000B\u0085\t"},
      {"spaces", removeSpaces, stringByRemovingSpaces, u"\0a\u00A0b\tc\n"sv, u"abc\n"},
      {"white", removeWhiteCharacters, stringByRemovingWhiteCharacters,
       u"\0a\u0003b\uFFFC\uFEFFc\u2029\u00A0"sv, u"abc"},
      {"empty text", removeWhiteCharacters, stringByRemovingWhiteCharacters, u"", u""},
  };
  for (const RemovalRow& row : rows) {
    SCOPED_TRACE(row.name);
    std::u16string text(row.text);
    row.remove(text);
    EXPECT_EQ(text, row.expected);
    EXPECT_EQ(row.copyRemoving(row.text), row.expected);
  }
}

TEST(CharacterRemoval, RemovesOneUnitAtAnIndex) {
  std::u16string text = u"ab\U0001F600";
  removeCharacterAtIndex(text, 2);
  EXPECT_EQ(text, (std::u16string{u'a', u'b', 0xDE00}));
  removeCharacterAtIndex(text, 0);
  EXPECT_EQ(text, (std::u16string{u'b', 0xDE00}));
}

}  // namespace
}  // namespace textrix
