// SPDX-License-Identifier: MIT
#include "services/shift_and_tabs.h"

#include <gtest/gtest.h>

#include <string>

#include "support/texts.h"

namespace textrix {
namespace {

using testing_texts::redThenBlue;

using namespace std::literals;

TEST(Shift, RemovesOneIndentationStepOrPutsATabInFrontOfEveryLine) {
  struct Row {
    std::u16string_view text;
    std::u16string_view left;  // at width 4
    std::u16string_view right;
  };
  const Row rows[] = {
      {u"    x\n", u"x\n", u"\t    x\n"},
      {u"      x", u"  x", u"\t      x"},
      {u"\t\tx", u"\tx", u"\t\t\tx"},
      {u" \tx", u"x", u"\t \tx"},                    // blanks, then the tab that reaches the stop
      {u"  \u00A0\0x"sv, u"x", u"\t  \u00A0\0x"sv},  // every blank counts one column
      {u"x\n  ", u"x\n", u"\tx\n\t  "},              // a blank last line is left out
      {u"     ", u" ", u"\t     "},
      {u"a\nb", u"a\nb", u"\ta\n\tb"},
      {u"  a\r\n\n", u"a\r\n\n", u"\t  a\r\n\t\n"},  // no tab after the last terminator
      {u"", u"", u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(stringByShiftingLinesLeft(row.text, 4), row.left);
    EXPECT_EQ(stringByShiftingLinesRight(row.text), row.right);
  }
  EXPECT_EQ(stringByShiftingLinesLeft(u"   x", 2), u" x");
  EXPECT_EQ(stringByShiftingLinesLeft(u"  x", 0), u"  x");
}

TEST(TabConversion, DetabsToTheNextStopAndEntabsBlanksThatReachAStop) {
  struct Row {
    std::u16string_view text;
    std::u16string_view detabbed;  // at width 4
    std::u16string_view entabbed;
  };
  const Row rows[] = {
      {u"a\tb", u"a   b", u"a\tb"},
      {u"\t", u"    ", u"\t"},
      {u"    x", u"    x", u"\tx"},
      {u"a  b", u"a  b", u"a  b"},
      {u"abcd\t    e", u"abcd        e", u"abcd\t\te"},
      {u"abc d", u"abc d", u"abc\td"},                // one space that ends on a stop
      {u"a\u00A0\0 b"sv, u"a\u00A0\0 b"sv, u"a\tb"},  // every blank is absorbed
      {u"  \tx", u"    x", u"\tx"},
      {u"ab\n\tc  d", u"ab\n    c  d", u"ab\n\tc  d"},  // columns start again after a feed
      {u"a\uFFFC\tb   c", u"a\uFFFC    b   c", u"a\uFFFC\tb\tc"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    std::u16string detabbed(row.text), entabbed(row.text);
    decodeTabs(detabbed, 4);
    encodeTabs(entabbed, 4);
    EXPECT_EQ(detabbed, row.detabbed);
    EXPECT_EQ(entabbed, row.entabbed);
  }
  std::u16string text = u"a\tb";
  decodeTabs(text, 0);
  EXPECT_EQ(text, u"a\tb");
}

TEST(TabConversion, DetabsALongTextAsEachLineAlone) {
  const std::u16string text = testing_texts::manyShortLines();
  const auto detabbed = [](std::u16string_view line) {
    std::u16string copy(line);
    decodeTabs(copy, 4);
    return copy;
  };
  EXPECT_EQ(detabbed(text), testing_texts::eachLineAlone(text, detabbed));
  EXPECT_EQ(stringByConvertingTabs(text, 4, false), detabbed(text));
}

TEST(AttributedTabs, PutInTabsAndSpacesTakeTheAttributesOfWhatTheyReplace) {
  AttributedText text = redThenBlue(u"ab", u"\tc");
  decodeTabs(text, 4);
  EXPECT_EQ(text, redThenBlue(u"ab", u"  c"));
  text = redThenBlue(u"a ", u"  b");
  encodeTabs(text, 4);
  EXPECT_EQ(text, redThenBlue(u"a\t", u"b"));
}

// The columns start again at every line, so converting the lines one by one gives the same as
// converting the whole text, for both kinds of text.
TEST(TabService, ConvertsEveryLineOfTheSelection) {
  const std::u16string chars = u"ab\tc   d\r\n  \t x\u2028y\uFFFCz\t\n";
  for (bool encode : {false, true}) {
    SCOPED_TRACE(encode);
    std::u16string whole = chars;
    encode ? encodeTabs(whole, 4) : decodeTabs(whole, 4);
    EXPECT_EQ(stringByConvertingTabs(chars, 4, encode), whole);

    const AttributedText text = redThenBlue(chars.substr(0, 9), chars.substr(9));
    AttributedText wholeText = text;
    encode ? encodeTabs(wholeText, 4) : decodeTabs(wholeText, 4);
    AttributedLinesAndEmptyText attributed = getEmptyMutableStringAndLines(text);
    EXPECT_EQ(attributed.lines.size(), 3u);  // U+FFFC stays inside its line
    convertTabsOfLines(attributed, 4, encode);
    EXPECT_EQ(attributed.result, wholeText);
  }
}

}  // namespace
}  // namespace textrix
