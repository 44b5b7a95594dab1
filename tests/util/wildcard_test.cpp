// SPDX-License-Identifier: MIT
#include "util/wildcard.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include "util/words.h"

namespace textrix {
namespace {

using namespace std::literals;
using Views = std::vector<std::u16string_view>;

// The corners where the set-of-positions matcher once disagreed with the recursive description of
// matching (fuzz/wildcard_fuzz.cpp compares the two on any input).
TEST(WildcardMatching, AgreesWithTheRecursiveDescriptionWhereItOnceDidNot) {
  const struct {
    std::u16string_view string;
    std::u16string_view pattern;
    bool plain;
    bool unix;
  } rows[] = {
      {u"", u"**", true, true},      {u"a", u"*a*", true, true},    {u"ab", u"*[", false, false},
      {u"a", u"[", false, false},    {u"a]", u"[a]]", false, true}, {u"-", u"[a-]", false, false},
      {u"c", u"[a-]c", false, true}, {u"|", u"[|]", false, false},  {u"b", u"[^", false, true},
      {u"aab", u"*a?", true, true},  {u"^", u"[^^]", false, false}, {u"ab", u"[a", false, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.pattern.begin(), row.pattern.end()));
    EXPECT_EQ(stringMatchesWildcard(row.string, row.pattern), row.plain);
    EXPECT_EQ(stringMatchesUnixWildcard(row.string, row.pattern), row.unix);
  }
}

struct MatchRow {
  std::u16string_view string;
  std::u16string_view pattern;
  bool matches;
};

TEST(WildcardMatching, PlainDialect) {
  const MatchRow rows[] = {
      {u"abc", u"a*", true},    {u"abc", u"a?c", true},     {u"abc", u"??", false},
      {u"ab", u"a?c", false},   {u"abc", u"*", true},       {u"abc", u"**", true},
      {u"abc", u"abc*", true},  {u"abc", u"abc*?", false},  {u"abc", u"", false},
      {u"[a]", u"[a]", true},   {u"a", u"[a]", false},      {u"a*c", u"a?c", true},
      {u"x\\y", u"x\\?", true}, {u"aXbXc", u"*X*X*", true}, {u"aXb", u"*X*X*", false},
  };
  for (const MatchRow& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(isLikeWildcard(row.string, row.pattern), row.matches);
  }
}

// The class rules are the system's own, odd corners included; these rows must fail any "fix".
TEST(WildcardMatching, UnixDialectClassCorners) {
  const MatchRow rows[] = {
      {u"b", u"[abc]", true},
      {u"d", u"[a-c]", false},
      {u"d", u"[^a-c]", true},
      {u"b", u"[^a-c]", false},
      {u"b1", u"[a-c][0-9]", true},
      {u"b", u"*[abc]*", true},
      // "|" only separates members, but it may bound a range (U+007B lies between a and |).
      {u"|", u"[a|b]", false},
      {u"b", u"[a|b]", true},
      {u"{", u"[a-|]", true},
      // "]" closes the class even as its first member.
      {u"x", u"[^]", true},
      {u"]", u"[]", false},
      // A class left open is accepted when the string ends with it.
      {u"a", u"[a", true},
      {u"b", u"[a", false},
      {u"x", u"[^", true},
      {u"xy", u"[^", false},
      {u"a", u"[", false},
      // A "-" right after "[" or "[^" ranges from that unit: U+005B to a, U+005E to a.
      {u"_", u"[-a]", true},
      {u"-", u"[-a]", false},
      {u"]", u"[^-a]", true},
      // Bounds in the wrong order match nothing; a "-" at the end of the pattern is skipped.
      {u"b", u"[c-a]", false},
      {u"-", u"[a-", false},
      {u"a", u"[a-", true},
      // "!" and "\" are ordinary units.
      {u"!", u"[!a]", true},
      {u"a", u"[!a]", true},
      {u"\\", u"[\\]", true},
      // After a matching member the pattern goes on behind the next "]", which for a range may
      // be its own upper bound.
      {u",x]", u"[+-]x]", true},
      {u"x", u"[+-]x]", true},
  };
  for (const MatchRow& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(isLikeUnixWildcard(row.string, row.pattern), row.matches);
  }
}

// An empty string matches nothing in the string operations, though the matcher lets "*" take it.
TEST(WildcardMatching, StringOperationsRefuseEmptyInputs) {
  for (const auto& isLike : {isLikeWildcard, isCaseInsensitiveLikeWildcard, isLikeUnixWildcard,
                             isCaseInsensitiveLikeUnixWildcard}) {
    EXPECT_FALSE(isLike(u"", u"*"));
    EXPECT_FALSE(isLike(u"abc", u""));
    EXPECT_TRUE(isLike(u"abc", u"*"));
  }
  EXPECT_TRUE(stringMatchesWildcard(u"", u"*"));
  EXPECT_TRUE(stringMatchesUnixWildcard(u"", u""));
}

// Both sides go through the upper table: one-unit upper cases only, class bounds included.
TEST(WildcardMatching, CaseInsensitiveFormsCompareInUpperCase) {
  const struct {
    std::u16string_view string;
    std::u16string_view pattern;
    bool plain, withClasses;
  } rows[] = {
      {u"ABC", u"a*", true, true},
      {u"abc", u"A?C", true, true},
      {u"B", u"[a-c]", false, true},
      {u"b", u"[A-C]", false, true},
      {u"A", u"[^a]", false, false},
      {u"\u017F", u"s", true, true},  // long s upper-cases to S
      {u"\u00E4x", u"\u00C4?", true, true},
      {u"SS", u"\u00DF", false, false},  // U+00DF has no one-unit upper case
      {u"\u00DF", u"\u00DF", true, true},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(isCaseInsensitiveLikeWildcard(row.string, row.pattern), row.plain);
    EXPECT_EQ(isCaseInsensitiveLikeUnixWildcard(row.string, row.pattern), row.withClasses);
  }
  EXPECT_FALSE(isLikeWildcard(u"ABC", u"a*"));
  EXPECT_FALSE(stringMatchesWildcardUsingUnicharTable(u"abc", u"a*", upperCharsTable()));
  EXPECT_TRUE(stringMatchesWildcardUsingUnicharTable(u"abc", u"A*", upperCharsTable()));
}

// Trying each split of each "*" in turn would take billions of steps here.
TEST(WildcardMatching, LongStringsAndPatternsWithStarsAnswer) {
  const std::u16string string(200, u'a');
  const std::u16string prefix = u"*a*a*a*a*a*";
  const std::u16string matching = prefix + std::u16string(189, u'a');
  const std::u16string failing = prefix + std::u16string(188, u'a') + u"b";
  EXPECT_TRUE(isLikeWildcard(string, matching));
  EXPECT_FALSE(isLikeWildcard(string, failing));
  EXPECT_TRUE(isLikeUnixWildcard(string, u"*[a-c]*" + matching));
  // Past the short buffer: a 300-unit pattern, and the same answers as for short inputs.
  const std::u16string upperString(400, u'A');
  EXPECT_TRUE(isCaseInsensitiveLikeUnixWildcard(upperString, prefix + std::u16string(289, u'a')));
  EXPECT_FALSE(isCaseInsensitiveLikeUnixWildcard(upperString, prefix + std::u16string(289, u'b')));
  EXPECT_EQ(isCaseInsensitiveLikeWildcard(u"Aa", u"*a*a*"), true);
  EXPECT_EQ(isCaseInsensitiveLikeWildcard(u"Ab", u"*a*a*"), false);
}

TEST(WildcardSeparation, SeparatorsAreTheWordSeparatorsWithoutPatternUnits) {
  CharacterSetRep expected = *defaultWordSeparators();
  for (char16_t c : u"*?[]"sv) {
    EXPECT_TRUE(expected.contains(c));
    expected.remove(c);
  }
  EXPECT_EQ(defaultWildcardSeparators()->bytes, expected.bytes);
}

TEST(WildcardSeparation, KeepsPatternsWhole) {
  const struct {
    std::u16string_view text;
    Views words;
    bool hyphenated;
  } rows[] = {
      {u"ls a?c [a b]*", {u"ls", u"a?c", u"[a b]*"}, false},
      {u"*.txt", {u"*", u"txt"}, false},
      {u"x[a-z, 0]y-z", {u"x[a-z, 0]y", u"z"}, true},
      {u"[open ended", {u"[open ended"}, false},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    bool hyphenated = !row.hyphenated;
    EXPECT_EQ(wordsUsingWildcardSeparation(row.text, &hyphenated), row.words);
    EXPECT_EQ(hyphenated, row.hyphenated);
  }
  EXPECT_EQ(wordsUsingWildcardSeparation(u"", nullptr), std::nullopt);
}

}  // namespace
}  // namespace textrix
