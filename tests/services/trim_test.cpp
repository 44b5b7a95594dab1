// SPDX-License-Identifier: MIT
#include "services/trim.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>

#include "support/texts.h"
#include "text/attributed_text.h"

namespace textrix {
namespace {

using namespace std::literals;

struct LinesRow {
  std::u16string_view text;
  std::u16string_view both;
  std::u16string_view left;
  std::u16string_view right;
};

TEST(TrimService, TrimsEveryLineAndKeepsItsTerminator) {
  const LinesRow rows[] = {
      {u"  a  \n\t b \r\n", u"a\nb\r\n", u"a  \nb \r\n", u"  a\n\t b\r\n"},
      {u"   ", u"", u"", u""},
      {u"  \r\n \n", u"\r\n\n", u"\r\n\n", u"\r\n\n"},
      {u"\u00A0a", u"a", u"a", u"\u00A0a"},
      {u"a \u2028b\t", u"a\u2028b", u"a \u2028b\t", u"a\u2028b"},
      // Plain U+FFFC ends a line: it is kept once, as the terminator.
      {u" a \uFFFC b", u"a\uFFFCb", u"a \uFFFCb", u" a\uFFFC b"},
      {u"\0a\0"sv, u"a", u"a\0"sv, u"\0a"sv},
      {u"", u"", u"", u""},
  };
  for (const LinesRow& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(stringByTrimmingLines(row.text, true, true), row.both);
    EXPECT_EQ(stringByTrimmingLines(row.text, true, false), row.left);
    EXPECT_EQ(stringByTrimmingLines(row.text, false, true), row.right);
  }
}

TEST(TrimService, TrimsTheLinesOfALongTextAsEachAlone) {
  const std::u16string text = testing_texts::manyShortLines();
  for (const auto& [left, right] : {std::pair{true, false}, {false, true}, {true, true}}) {
    EXPECT_EQ(stringByTrimmingLines(text, left, right),
              testing_texts::eachLineAlone(text, [left, right](std::u16string_view line) {
                return stringByTrimmingLines(line, left, right);
              }));
  }
}

TEST(Trimming, TrimsWhiteCharactersAtBothEndsAndFeedsAtTheEnd) {
  struct Row {
    std::u16string_view text;
    std::u16string_view white;
    std::u16string_view feeds;
  };
  const Row rows[] = {
      {u"\0 \n\uFEFFa b\u00A0\uFFFC\r"sv, u"a b", u"\0 \n\uFEFFa b\u00A0"sv},
      {u"a\n\n", u"a", u"a"},
      {u"\n\na", u"a", u"\n\na"},
      {u" \n\t", u"", u" \n\t"},
      {u"a \r\n\uFFFC\u2029", u"a", u"a "},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(stringByTrimmingWhiteSpaces(row.text), row.white);
    EXPECT_EQ(stringByTrimmingFeeds(row.text), row.feeds);
    std::u16string white(row.text), feeds(row.text);
    trimWhiteSpaces(white);
    trimFeeds(feeds);
    EXPECT_EQ(white, row.white);
    EXPECT_EQ(feeds, row.feeds);
  }
  // One side at a time: blanks only, or white characters (feeds among them).
  EXPECT_EQ(stringByTrimmingSpacesOfLeftSideAndFeeds(u" \na\n ", false), u"\na\n ");
  EXPECT_EQ(stringByTrimmingSpacesOfRightSideAndFeeds(u" \na\n ", false), u" \na\n");
  EXPECT_EQ(stringByTrimmingSpacesOfLeftSideAndFeeds(u" \na\n ", true), u"a\n ");
  EXPECT_EQ(stringByTrimmingSpacesOfRightSideAndFeeds(u" \na\n ", true), u" \na");
}

TEST(AttributedTrimming, RemovesAttachmentsAtTheEndsAndKeepsTheRunsBetween) {
  AttributeDictionary attachment, red;
  attachment.setObject(Attachment{"image.png", {}}, kAttachmentAttributeName);
  red.setObject(Color{1, 0, 0, 1}, kForegroundColorAttributeName);
  AttributedText text(u"\uFFFC", attachment);
  text.appendString(u" a", red);
  text.appendString(u"b \n", {});
  text.appendString(u"\uFFFC", attachment);
  AttributedText trimmed = text;
  trimWhiteSpaces(trimmed);
  AttributedText expected(u"a", red);
  expected.appendString(u"b", {});
  EXPECT_EQ(trimmed, expected);

  trimFeeds(text);
  EXPECT_EQ(text.string(), u"\uFFFC ab ");
  EXPECT_EQ(text.attributesAtIndex(0), attachment);
}

}  // namespace
}  // namespace textrix
