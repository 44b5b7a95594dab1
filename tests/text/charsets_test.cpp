// SPDX-License-Identifier: MIT
#include "text/charsets.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <set>
#include <string>
#include <string_view>

#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>

namespace textrix {
namespace {

using namespace std::literals;

std::string unitName(char32_t c) {
  char name[8];
  std::snprintf(name, sizeof name, "U+%04X", static_cast<unsigned>(c));
  return name;
}

struct ClassCase {
  const char* name;
  CharacterSetRep rep;
  std::uint32_t categories;
  std::u16string_view otherMembers;
};

// The reference asks ICU for each unit's category, one unit at a time.
TEST(ExhaustiveCharacterClasses, MatchIcuCategoriesOverTheWholeRange) {
  constexpr std::u16string_view kNewlineControls = u"\u000A\u000B\u000C\u000D\u0085";
  constexpr std::u16string_view kWhiteExtras =
      u"\u0009\u000A\u000B\u000C\u000D\u0085\u0000\u0003\u2028\u2029\uFFFC\uFEFF\u00A0"sv;
  const ClassCase cases[] = {
      {"whitespace", bitmap(PlatformCharacterSet::whitespace), U_GC_ZS_MASK, u"\u0009"},
      {"whitespaceAndNewline", bitmap(PlatformCharacterSet::whitespaceAndNewline), U_GC_Z_MASK,
       kNewlineControls},
      {"space", *spaceCharacterSetRep(), U_GC_ZS_MASK, u"\u0009\u0000"sv},
      {"white", *whiteCharacterSetRep(), U_GC_Z_MASK, kWhiteExtras},
      {"alpha", *alphaCharacterSetRep(), U_GC_L_MASK | U_GC_M_MASK, {}},
      {"alphaNum", *alphaNumCharacterSetRep(), U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK, {}},
      {"digit", *digitCharacterSetRep(), U_GC_ND_MASK, {}},
      {"lower", *lowerCharacterSetRep(), U_GC_LL_MASK, {}},
      {"upper", *upperCharacterSetRep(), U_GC_LU_MASK | U_GC_LT_MASK, {}},
      {"punctuation", bitmap(PlatformCharacterSet::punctuation), U_GC_P_MASK, {}},
      {"symbol", bitmap(PlatformCharacterSet::symbol), U_GC_S_MASK, {}},
      {"control", bitmap(PlatformCharacterSet::control), U_GC_CC_MASK | U_GC_CF_MASK, {}},
      {"illegal", bitmap(PlatformCharacterSet::illegal), U_GC_CN_MASK, {}},
      {"empty", *emptyCharacterSetRep(), 0, {}},
  };
  for (const ClassCase& row : cases) {
    SCOPED_TRACE(row.name);
    for (char32_t c = 0; c <= 0xFFFF; ++c) {
      SCOPED_TRACE(unitName(c));
      const bool inCategory = (U_GET_GC_MASK(c) & row.categories) != 0;
      const bool expected = inCategory || row.otherMembers.find(c) != std::u16string_view::npos;
      ASSERT_EQ(row.rep.contains(static_cast<char16_t>(c)), expected);
    }
  }
}

TEST(CharacterClasses, AlphaRangeIsTheLowestAndHighestLetter) {
  std::u16string letters;
  for (char32_t c = 0; c <= 0xFFFF; ++c) {
    if (U_GET_GC_MASK(c) & (U_GC_L_MASK | U_GC_M_MASK)) letters += static_cast<char16_t>(c);
  }
  EXPECT_EQ(firstAlphaCharacter(), u'A');
  EXPECT_EQ(firstAlphaCharacter(), letters.front());
  EXPECT_EQ(lastAlphaCharacter(), letters.back());
}

// The reference maps through ICU's string API in the root locale and keeps one-unit results.
TEST(ExhaustiveCaseTables, MapLettersToTheirOneUnitFullCaseOverTheWholeRange) {
  const CharsTable upper = initUpperCharsTable();
  const CharsTable lower = initLowerCharsTable();
  for (char32_t c = 0; c < 0xFFFF; ++c) {
    SCOPED_TRACE(unitName(c));
    const std::uint32_t category = U_GET_GC_MASK(c);
    icu::UnicodeString upperCase(static_cast<UChar32>(c));
    icu::UnicodeString lowerCase(static_cast<UChar32>(c));
    upperCase.toUpper(icu::Locale::getRoot());
    lowerCase.toLower(icu::Locale::getRoot());
    const bool upperApplies = (category & U_GC_LL_MASK) && upperCase.length() == 1;
    const bool lowerApplies = (category & (U_GC_LU_MASK | U_GC_LT_MASK)) && lowerCase.length() == 1;
    ASSERT_EQ(upper[c], upperApplies ? upperCase.charAt(0) : c);
    ASSERT_EQ(lower[c], lowerApplies ? lowerCase.charAt(0) : c);
  }
  EXPECT_EQ(upper[0xFFFF], 0xFFFF);
  EXPECT_EQ(lower[0xFFFF], 0xFFFF);
  // toUpper and toLower look up the shared tables, which must be these.
  EXPECT_TRUE(upperCharsTable() == upper);
  EXPECT_TRUE(lowerCharsTable() == lower);
}

TEST(AccentFolding, UnitsOutsideTheListStayAsTheyAre) {
  std::set<char16_t> sources;
  for (const detail::FoldingPair& pair : detail::kFoldingPairs) sources.insert(pair.source);
  const CharsTable umlauts = initUmlautsCharsTable();
  for (char32_t c = 0; c <= 0xFFFF; ++c) {
    SCOPED_TRACE(unitName(c));
    if (!sources.contains(static_cast<char16_t>(c))) {
      ASSERT_EQ(umlauts[c], c);
    }
  }
}

// The list's gaps and single-letter ligature folds are part of the services' output.
TEST(AccentFolding, KeepsTheListsAsymmetries) {
  const std::pair<char16_t, char16_t> rows[] = {
      {u'\u00C6', u'A'},      {u'\u00E6', u'a'},      {u'\u00DF', u's'}, {u'\u00D0', u'D'},
      {u'\u0110', u'\u0110'}, {u'\u0111', u'd'},      {u'\u01D0', u'i'}, {u'\u01CF', u'\u01CF'},
      {u'\u01D4', u'u'},      {u'\u01D3', u'\u01D3'}, {u'\u01DC', u'u'}, {u'\u01DB', u'\u01DB'},
      {u'\u00FF', u'y'},      {u'\u0178', u'\u0178'}, {u'\u01CE', u'a'}, {u'\u01CD', u'A'},
      {u'\u01D2', u'o'},      {u'\u01D1', u'O'},      {u'\u1E3E', u'M'}, {u'\u03A3', u'\u03A3'},
  };
  for (const auto& [c, folded] : rows) {
    SCOPED_TRACE(unitName(c));
    EXPECT_EQ(umlautsToAscii(c), folded);
  }
}

// Accents are folded before the case is mapped, which shows where the two orders differ.
TEST(AccentFolding, FoldsBeforeMappingCase) {
  EXPECT_EQ(umlautsToLowerAscii(u'\u00C4'), u'a');
  EXPECT_EQ(umlautsToUpperAscii(u'\u00FF'), u'Y');
  EXPECT_EQ(umlautsToUpperAscii(u'\u00DF'), u'S');
  EXPECT_EQ(umlautsToLowerAscii(u'\u0178'), u'\u00FF');
  EXPECT_EQ(umlautsToUpperAscii(u'\u03C3'), u'\u03A3');
  EXPECT_EQ(upperUmlautsCharsTable()[0xFFFF], 0xFFFF);
}

TEST(AsciiReduction, FoldsThenBlanksWhatIsNotAscii) {
  struct Row {
    char16_t c, ascii, upper, lower;
  };
  const Row rows[] = {
      {u'\u00DF', u's', u'S', u's'}, {u'\u03A3', u' ', u' ', u' '}, {u'\u00E9', u'e', u'E', u'e'},
      {u'\u00C4', u'A', u'A', u'a'}, {u'\u007F', 0x7F, 0x7F, 0x7F}, {u'\u0080', u' ', u' ', u' '},
      {u'@', u'@', u'@', u'@'},      {u'[', u'[', u'[', u'['},      {u'\u00E6', u'a', u'A', u'a'},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(unitName(row.c));
    EXPECT_EQ(toAscii(row.c), row.ascii);
    EXPECT_EQ(toUpperAscii(row.c), row.upper);
    EXPECT_EQ(toLowerAscii(row.c), row.lower);
  }
}

}  // namespace
}  // namespace textrix
