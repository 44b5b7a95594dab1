// SPDX-License-Identifier: MIT
#include "text/mutable_string.h"

#include <gtest/gtest.h>

namespace textrix {
namespace {

using namespace std::literals;

TEST(FormatString, ReplacesPlaceholdersInOrder) {
  const struct {
    std::u16string_view format;
    std::u16string expected;
  } cases[] = {
      {u" %@", u" one"},
      {u"%@ (%@):\n%@\n%@", u"one (two):\nthree\n"},  // arguments run out
      {u"100%% %d %", u"100% %d %"},
  };
  for (const auto& test : cases) {
    EXPECT_EQ(formatString(test.format, {u"one", u"two", u"three"}), test.expected);
  }
}

TEST(MutableString, TrimsGivenCharacterAtTheNamedEnds) {
  const struct {
    void (*trim)(std::u16string&, char16_t);
    std::u16string text;
    std::u16string expected;
  } cases[] = {
      {trimCharacter, u"--a-b--", u"a-b"},
      {trimPrefixCharacter, u"--a-b--", u"a-b--"},
      {trimSuffixCharacter, u"--a-b--", u"--a-b"},
      {trimCharacter, u"----", u""},
      {trimCharacter, u"", u""},
  };
  for (const auto& test : cases) {
    std::u16string text = test.text;
    test.trim(text, u'-');
    EXPECT_EQ(text, test.expected);
  }
}

TEST(MutableString, ReplacesStringsLeftToRightWithoutOverlap) {
  const struct {
    std::u16string text;
    std::u16string_view target;
    std::u16string_view replacement;
    bool caseSensitive;
    std::u16string expected;
  } cases[] = {
      {u"aaa", u"aa", u"X", true, u"Xa"},
      {u"Hello HELLO hello", u"hello", u"bye", false, u"bye bye bye"},
      {u"Hello HELLO hello", u"hello", u"bye", true, u"Hello HELLO bye"},
      {u"\u00E4\u00C4", u"\u00C4", u"A", false, u"AA"},  // through the upper table
      {u"abc", u"", u"X", true, u"abc"},
      {u"ab", u"abc", u"X", true, u"ab"},
  };
  for (const auto& test : cases) {
    std::u16string text = test.text;
    replaceString(text, test.target, test.replacement, test.caseSensitive);
    EXPECT_EQ(text, test.expected);
  }
  std::u16string text = u"a-b-c";
  deleteString(text, u"-");
  EXPECT_EQ(text, u"abc");
}

TEST(MutableString, ReplacesCharactersWithOrWithoutCase) {
  std::u16string text = u"aAbB";
  replaceCharacter(text, u'a', u'x');
  EXPECT_EQ(text, u"xAbB");
  replaceCharacter(text, u'b', u'y', false);
  EXPECT_EQ(text, u"xAyy");
}

TEST(MutableString, AppendsTrimmedOfWhiteCharacters) {
  std::u16string text = u">";
  appendTrimmedString(text, u"\u0000\t\uFFFC a b\u00A0\r\n"sv);
  EXPECT_EQ(text, u">a b");
  appendTrimmedString(text, u" \n ");
  EXPECT_EQ(text, u">a b");
  appendSubstring(text, u"0123", Range{2, 10});
  appendSubstring(text, u"0123", Range{9, 1});
  EXPECT_EQ(text, u">a b23");
  insertCharacter(text, u'!', 0);
  EXPECT_EQ(text, u"!>a b23");
}

TEST(MutableString, NormalizesOnlyWhatIsNotNormalized) {
  const struct {
    NormalizationForm form;
    std::u16string text;
    std::u16string expected;
  } cases[] = {
      {NormalizationForm::nfc, u"Cafe\u0301 ok", u"Caf\u00E9 ok"},
      {NormalizationForm::nfc, u"a\u0323\u0302x", u"\u1EADx"},  // reordered marks compose
      {NormalizationForm::nfc, u"\u1100\u1161", u"\uAC00"},     // Hangul jamo
      {NormalizationForm::nfd, u"\u00E9!", u"e\u0301!"},
      {NormalizationForm::nfkc, u"\uFB01", u"fi"},
      {NormalizationForm::nfc, u"plain \U0001F600", u"plain \U0001F600"},
      {NormalizationForm::nfc, u"e\u0301", u"\u00E9"},  // segment at the very end
  };
  for (const auto& test : cases) {
    std::u16string text = test.text;
    normalizeString(text, test.form);
    EXPECT_EQ(text, test.expected);
  }
}

TEST(StringRewriter, AppliesEditsInOnePass) {
  StringRewriter out(u"0123456789");
  out.replace(0, 0, u"<");
  out.replace(2, 3, u"");
  out.replace(9, 1, u"NINE");
  EXPECT_TRUE(out.edited());
  EXPECT_EQ(out.finish(), u"<015678NINE");
  EXPECT_EQ(StringRewriter(u"same").finish(), u"same");
}

}  // namespace
}  // namespace textrix
