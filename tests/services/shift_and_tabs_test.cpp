#include "services/shift_and_tabs.h"

#include <gtest/gtest.h>

#include <string>

namespace textrix {
namespace {

using namespace std::literals;

struct Row {
  std::u16string_view text;
  std::u16string_view expected;
};

void expectRows(std::initializer_list<Row> rows, std::u16string (*transform)(std::u16string)) {
  for (const Row& row : rows) {
    SCOPED_TRACE(std::string(row.text.begin(), row.text.end()));
    EXPECT_EQ(transform(std::u16string(row.text)), row.expected);
  }
}

TEST(ShiftLeft, RemovesOneIndentationStepFromEveryLine) {
  expectRows(
      {
          {u"    x\n", u"x\n"},
          {u"      x", u"  x"},
          {u"\t\tx", u"\tx"},
          {u" \tx", u"x"},           // blanks, then the tab that reaches the first stop
          {u"  \u00A0\0x"sv, u"x"},  // any blank of the space class counts one column
          {u"x\n  ", u"x\n"},        // the unterminated blank last line is left out
          {u"     ", u" "},
          {u"    ", u""},
          {u"  a\n\tb\r\nc", u"a\nb\r\nc"},
          {u"", u""},
      },
      [](std::u16string text) { return stringByShiftingLinesLeft(text, 4); });
  EXPECT_EQ(stringByShiftingLinesLeft(u"   x", 2), u" x");
  EXPECT_EQ(stringByShiftingLinesLeft(u"  x", 0), u"  x");
}

TEST(ShiftRight, PutsATabInFrontOfEveryLine) {
  expectRows({{u"a\nb", u"\ta\n\tb"}, {u"a\n", u"\ta\n"}, {u"", u""}, {u"a\r\n\n", u"\ta\r\n\t\n"}},
             [](std::u16string text) { return stringByShiftingLinesRight(text); });
}

TEST(Detab, TurnsTabsIntoSpacesUpToTheNextStop) {
  expectRows(
      {
          {u"a\tb", u"a   b"},
          {u"ab\n\tc", u"ab\n    c"},
          {u"\t", u"    "},
          {u"abcd\te", u"abcd    e"},
          {u"a\uFFFC\tb", u"a\uFFFC    b"},  // U+FFFC ends a line for the columns
      },
      [](std::u16string text) {
        decodeTabs(text, 4);
        return text;
      });
  std::u16string text = u"a\tb";
  decodeTabs(text, 0);
  EXPECT_EQ(text, u"a\tb");
}

TEST(Entab, TurnsBlanksThatReachAStopIntoOneTab) {
  expectRows(
      {
          {u"    x", u"\tx"},
          {u"a   b", u"a\tb"},
          {u"a  b", u"a  b"},
          {u"abcd    e", u"abcd\te"},
          {u"abc d", u"abc\td"},        // one space on a stop is a tab
          {u"a\u00A0\0 b"sv, u"a\tb"},  // every blank of the space class is absorbed
          {u"ab\t", u"ab\t"},           // a tab on a stop stays
          {u"  \tx", u"\tx"},           // blanks before a tab go with it
          {u"ab\n  c", u"ab\n  c"},     // the columns start again after a feed
          {u"ab\r\n    c", u"ab\r\n\tc"},
      },
      [](std::u16string text) {
        encodeTabs(text, 4);
        return text;
      });
}

AttributeDictionary colored(double red) {
  AttributeDictionary attributes;
  attributes.setObject(Color{red, 0, 0, 1}, kForegroundColorAttributeName);
  return attributes;
}

const AttributeDictionary kRed = colored(1.0);
const AttributeDictionary kBlue = colored(0.5);

AttributedText runs(
    std::initializer_list<std::pair<std::u16string_view, AttributeDictionary>> all) {
  AttributedText text;
  for (const auto& [chars, attributes] : all) text.appendString(chars, attributes);
  return text;
}

TEST(AttributedTabs, PutInTabsAndSpacesTakeTheAttributesOfWhatTheyReplace) {
  AttributedText text = runs({{u"ab", kRed}, {u"\t", kBlue}, {u"c", kRed}});
  text.decodeTabs(4);
  EXPECT_EQ(text, runs({{u"ab", kRed}, {u"  ", kBlue}, {u"c", kRed}}));

  text = runs({{u"a ", kRed}, {u"  ", kBlue}, {u"b", kRed}});
  text.encodeTabs(4);
  EXPECT_EQ(text, runs({{u"a\t", kRed}, {u"b", kRed}}));
}

// The columns start again at every line, so converting the lines one by one gives the same as
// converting the whole text, for both kinds of text.
TEST(TabService, ConvertsEveryLineOfTheSelection) {
  const std::u16string chars = u"ab\tc   d\r\n  \t x\u2028y\uFFFCz\t\n";
  for (bool encode : {false, true}) {
    SCOPED_TRACE(encode);
    std::u16string whole = chars;
    encode ? encodeTabs(whole, 4) : decodeTabs(whole, 4);
    PlainLinesAndEmptyString plain = getEmptyMutableStringAndLines(chars);
    EXPECT_EQ(plain.lines.size(), 4u);
    EXPECT_TRUE(plain.result.empty());
    convertTabsOfLines(plain, 4, encode);
    EXPECT_EQ(plain.result, whole);

    const AttributedText text = runs({{chars.substr(0, 9), kRed}, {chars.substr(9), kBlue}});
    AttributedText wholeText = text;
    encode ? wholeText.encodeTabs(4) : wholeText.decodeTabs(4);
    AttributedLinesAndEmptyText attributed = getEmptyMutableStringAndLines(text);
    EXPECT_EQ(attributed.lines.size(), 3u);  // U+FFFC stays inside its line
    EXPECT_TRUE(attributed.result.empty());
    convertTabsOfLines(attributed, 4, encode);
    EXPECT_EQ(attributed.result, wholeText);
  }
}

}  // namespace
}  // namespace textrix
