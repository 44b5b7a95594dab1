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

// The matcher as the system describes it, step by step: a "*" tries each split of the rest of the
// string in turn, by recursion. Exponential in the number of stars, so only for short inputs.
bool referenceMatch(const char16_t* s, const char16_t* sEnd, const char16_t* p,
                    const char16_t* pEnd, bool classes, const CharsTable* table) {
  const auto map = [table](char16_t c) { return table ? (*table)[c] : c; };
  if (p == pEnd) return s == sEnd;
  while (true) {
    if (*p == u'*') {
      const char16_t* rest = p + 1;
      if (s == sEnd) return std::all_of(rest, pEnd, [](char16_t c) { return c == u'*'; });
      if (rest == pEnd) return true;
      for (; s < sEnd; ++s) {
        if (referenceMatch(s, sEnd, rest, pEnd, classes, table)) return true;
      }
      return false;
    }
    if (s == sEnd) return false;
    if (*p == u'?') {
      ++s;
      ++p;
    } else if (classes && *p == u'[') {
      if (p + 1 == pEnd) return false;
      const char16_t unit = map(*s++);
      const char16_t* q = p + 1;
      const bool negated = *q == u'^';
      if (negated) ++q;
      if (q == pEnd) return s == sEnd;
      bool matched = false;
      for (; q < pEnd && *q != u']'; ++q) {
        if (*q == u'-') {
          if (q + 1 == pEnd) continue;
          matched = q[-1] <= unit && unit <= q[1];
          ++q;  // to the upper bound: found, or stepped over by the loop
          if (matched) break;
        } else if (*q != u'|' && *q == unit) {
          matched = true;
          break;
        }
      }
      if (matched == negated) return false;
      if (matched) q = std::find(q, pEnd, u']');
      if (q == pEnd) return s == sEnd;
      p = q + 1;
    } else {
      if (map(*s) != *p) return false;
      ++s;
      ++p;
    }
    if (p == pEnd) return s == sEnd;
  }
}

bool referenceMatch(std::u16string_view string, std::u16string_view pattern, bool classes,
                    const CharsTable* table = nullptr) {
  return referenceMatch(string.data(), string.data() + string.size(), pattern.data(),
                        pattern.data() + pattern.size(), classes, table);
}

std::u16string randomUnits(std::uint32_t& seed, std::u16string_view alphabet,
                           std::size_t maxLength) {
  const auto next = [&seed] { return (seed = seed * 1664525u + 1013904223u) >> 16; };
  std::u16string units(next() % (maxLength + 1), u' ');
  for (char16_t& unit : units) unit = alphabet[next() % alphabet.size()];
  return units;
}

// The set-of-positions matcher must answer exactly as the recursive description, class corners
// included: the alphabets are the pattern syntax and the units its rules single out.
TEST(WildcardMatching, AgreesWithTheRecursiveReference) {
  constexpr std::u16string_view kPatternUnits = u"ab*?[]^-|";
  constexpr std::u16string_view kStringUnits = u"ab]-^|[_*";
  const CharsTable& upper = upperCharsTable();
  std::uint32_t seed = 2024;
  for (int i = 0; i < 40000; ++i) {
    const std::u16string pattern = randomUnits(seed, kPatternUnits, 8);
    const std::u16string string = randomUnits(seed, kStringUnits, 6);
    SCOPED_TRACE(testing::Message()
                 << "string \"" << std::string(string.begin(), string.end()) << "\" pattern \""
                 << std::string(pattern.begin(), pattern.end()) << "\"");
    ASSERT_EQ(stringMatchesWildcard(string, pattern), referenceMatch(string, pattern, false));
    ASSERT_EQ(stringMatchesUnixWildcard(string, pattern), referenceMatch(string, pattern, true));
    std::u16string upperPattern = pattern;
    for (char16_t& unit : upperPattern) unit = upper[unit];
    ASSERT_EQ(stringMatchesUnixWildcardUsingUnicharTable(string, upperPattern, upper),
              referenceMatch(string, upperPattern, true, &upper));
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
  ASSERT_EQ(matching.size(), 200u);
  ASSERT_EQ(failing.size(), 200u);
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
