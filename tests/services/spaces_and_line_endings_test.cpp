// SPDX-License-Identifier: MIT
#include "services/spaces_and_line_endings.h"

#include <gtest/gtest.h>

#include "support/texts.h"
#include "text/attributed_text.h"
#include "text/charsets.h"
#include "text/lines.h"

namespace textrix {
namespace {

using testing_texts::colored;

void removeMultipleWhiteCharacters(std::u16string& text) {
  removeMultipleSpacesAndFeeds(text, true);
}

TEST(PlainCollapse, MakesEveryRunOneSpaceOrOneLineFeed) {
  struct Case {
    void (*collapse)(std::u16string&);
    std::u16string text;
    std::u16string expected;
  };
  const Case cases[] = {
      {removeMultipleSpaces, u"a  b\t\tc", u"a b c"},
      {removeMultipleSpaces, u"  a  ", u" a "},
      {removeMultipleSpaces, u"a\n\nb", u"a\n\nb"},
      {removeMultipleSpaces, std::u16string(u"a\tb\u00A0c\0d", 7), u"a b c d"},  // lone blanks too
      {removeMultipleWhiteCharacters, u"a \r\n\tb\uFFFCc\uFEFF\u0003", u"a b c "},
      {removeMultipleFeeds, u"a\r\n\r\nb\rc", u"a\nb\nc"},
      {removeMultipleFeeds, u"\n\na\n", u"\na\n"},
      {removeMultipleFeeds, u"a\n \nb", u"a\n \nb"},  // a line of blanks is not empty
      {removeMultipleFeeds, u"a\u2028\u2029\u000Cb\uFFFC", u"a\nb\n"},
  };
  for (const Case& test : cases) {
    std::u16string text = test.text;
    test.collapse(text);
    EXPECT_EQ(text, test.expected);
  }
}

TEST(AttributedCollapse, StopsOneUnitShortForEveryRunReplaced) {
  struct Case {
    void (*collapse)(AttributedText&);
    std::u16string text;
    std::u16string expected;
  };
  const Case cases[] = {
      {removeMultipleSpaces, u"a  b  c  d", u"a b c  d"},
      {removeMultipleFeeds, u"a\n\nb\n\n\nc\n\nd", u"a\nb\nc\n\nd"},
      // Single blanks count as runs replaced, even a space that stays as it is.
      {removeMultipleSpaces, u"a\tb\tc\td", u"a b c\td"},
      {removeMultipleSpaces, u"a b c\td", u"a b c\td"},
      // A run that reaches into the units never looked at is shortened.
      {removeMultipleSpaces, u"a  b    ", u"a b  "},
      // An attachment stays inside its line.
      {removeMultipleFeeds, u"a\uFFFC\uFFFCb\n\n", u"a\uFFFC\uFFFCb\n"},
  };
  for (const Case& test : cases) {
    AttributedText text(test.text);
    test.collapse(text);
    EXPECT_EQ(text.string(), test.expected);
  }
}

TEST(AttributedCollapse, ReplacementTakesTheAttributesOfTheRunsFirstCharacter) {
  AttributedText text(u"x", colored(0));
  text.appendString(u"\t\t", colored(1));
  text.appendString(u"  y", colored(0.5));
  removeMultipleSpaces(text);
  EXPECT_EQ(text.string(), u"x y");
  EXPECT_EQ(text.attributesAtIndex(1), colored(1));
  EXPECT_EQ(text.attributesAtIndex(2), colored(0.5));
}

TEST(ReplaceLineEndings, EachTerminatorBecomesOneSubstitute) {
  struct Case {
    std::u16string_view text;
    std::u16string_view substitute;
    std::u16string expected;
  };
  const Case cases[] = {
      {u"a\r\nb\rc", u"\n", u"a\nb\nc"},
      {u"a\nb\r\nc\nd\n", u"\n", u"a\nb\nc\nd\n"},
      {u"a\nb", u"\r\n", u"a\r\nb"},
      {u"a\n\rb", u"\r\n", u"a\r\n\r\nb"},  // LF CR is two terminators
      {u"a\n\nb", u" ", u"a  b"},
      {u"a\n", u" ", u"a "},
      {u"a\n", u"\r", u"a\r"},
      {u"a\uFFFCb\u2028c\u000C\u0003", u"\n", u"a\nb\nc\n\n"},
      {u"", u"\r\n", u""},
  };
  for (const Case& test : cases) {
    EXPECT_EQ(replaceLineEndings(test.text, test.substitute), test.expected);
  }
}

TEST(ReplaceLineEndings, ReplacesTheTerminatorsOfALongTextAsOfEachLineAlone) {
  const std::u16string text = testing_texts::manyShortLines();
  for (const std::u16string_view substitute : {u" ", u"\n", u"\r\n"}) {
    EXPECT_EQ(replaceLineEndings(text, substitute),
              testing_texts::eachLineAlone(text, [substitute](std::u16string_view line) {
                return replaceLineEndings(line, substitute);
              }));
  }
}

}  // namespace
}  // namespace textrix
