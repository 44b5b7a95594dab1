// SPDX-License-Identifier: MIT
#include "services/quotes.h"

#include <gtest/gtest.h>

#include <string>

#include "rich/rtf.h"
#include "services/messages.h"
#include "services/textrix.h"
#include "support/language.h"
#include "support/texts.h"

namespace textrix {
namespace {

using testing_texts::alternating;

TEST(SmartQuotes, AlternatesAtTheIndicesOfTheUneditedText) {
  struct Row {
    SmartQuotes quotes;
    std::u16string_view text;
    std::u16string_view expected;
  };
  const Row rows[] = {
      {{}, u"say \"hi\" it's", u"say \u201Ehi\u201D it\u2019s"},
      {{}, u"\"\"\"", u"\u201E\u201D\u201E"},  // an odd count leaves the last one opening
      {{}, u"\"a\n\n\"b 'c'", u"\u201Ea\n\n\u201Db \u2019c\u2019"},
      // A longer opening mark pushes the "a" to where the closing one is put.
      {{u"<<", u">>", u"'"}, u"\"a\"", u"<<>>\""},
      {{u"<<", u">>", u"'"}, u"\"\"x", u"<>>\"x"},  // lands inside the mark before
      // Empty marks pull later units in; a replacement beyond the end is left out.
      {{u"", u"", u"'"}, u"\"a\"b\"c", u"a\"\"c"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    std::u16string text(row.text);
    convertToSmartQuotes(text, row.quotes);
    EXPECT_EQ(text, row.expected);
    AttributedText rich = alternating({row.text});
    convertToSmartQuotes(rich, row.quotes);
    EXPECT_EQ(rich, alternating({row.expected}));
  }
}

TEST(StraightQuotes, ReplacesTheTwoFixedSetsOnly) {
  std::u16string text = u"\u00ABa\u00BB \u2018b\u2019 \u00B4c` \u201Cd\u201D \u201Ee";
  convertToStraightQuotes(text);
  EXPECT_EQ(text, u"\"a\" 'b' 'c' \"d\" \"e");
  const std::u16string untouched = u"\u2039\u203A\u201A\u201B\u201F'\"aA";
  text = untouched;
  convertToStraightQuotes(text);
  EXPECT_EQ(text, untouched);
}

using LocalizedQuotes = LanguageTest;

TEST_F(LocalizedQuotes, ComeFromTheCatalogOfTheLanguageOrAreTheKeys) {
  struct Row {
    const char* language;
    std::u16string_view opening;
    std::u16string_view closing;
  };
  const Row rows[] = {
      {"en", u"\u201C", u"\u201D"},
      {"de", u"\u201E", u"\u201C"},
      {"fr", u"\u00AB", u"\u00BB"},
      {"la", u"\u201E", u"\u201D"},  // no catalog
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.language);
    selectLanguage(row.language);
    if (IsSkipped()) return;
    const SmartQuotes quotes = localizedSmartQuotes();
    EXPECT_EQ(quotes.opening, row.opening);
    EXPECT_EQ(quotes.closing, row.closing);
    EXPECT_EQ(quotes.apostrophe, u"\u2019");
  }
}

}  // namespace
}  // namespace textrix
