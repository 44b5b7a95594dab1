#include "services/trim.h"

#include <gtest/gtest.h>

#include <string>

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

struct SideRow {
  std::u16string_view text;
  bool feeds;
  std::u16string_view left;
  std::u16string_view right;
};

TEST(Trimming, TrimsBlanksOrWhiteCharactersAtOneSide) {
  const SideRow rows[] = {
      {u" \na \n", false, u"\na \n", u" \na \n"},
      {u" \na \n", true, u"a \n", u" \na"},
      {u"\t \u3000", false, u"", u""},
      {u"\uFEFF\u0003x\uFFFC", true, u"x\uFFFC", u"\uFEFF\u0003x"},
      {u"x", true, u"x", u"x"},
      {u"", true, u"", u""},
  };
  for (const SideRow& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(stringByTrimmingSpacesOfLeftSideAndFeeds(row.text, row.feeds), row.left);
    EXPECT_EQ(stringByTrimmingSpacesOfRightSideAndFeeds(row.text, row.feeds), row.right);
  }
}

TEST(Trimming, TrimsWhiteCharactersAtBothEnds) {
  std::u16string text = u"\0 \n\uFEFFa b\u00A0\uFFFC\r"s;
  EXPECT_EQ(stringByTrimmingWhiteSpaces(text), u"a b");
  trimWhiteSpaces(text);
  EXPECT_EQ(text, u"a b");
  text = u" \n\t";
  trimWhiteSpaces(text);
  EXPECT_EQ(text, u"");
}

TEST(Trimming, TrimsFeedsAtTheEndOnly) {
  const std::pair<std::u16string_view, std::u16string_view> rows[] = {
      {u"a\n\n", u"a"},
      {u"\n\na", u"\n\na"},
      {u"a \r\n\uFFFC\u2029", u"a "},
      {u"\n", u""},
  };
  for (const auto& [text, expected] : rows) {
    EXPECT_EQ(stringByTrimmingFeeds(text), expected);
    std::u16string trimmed(text);
    trimFeeds(trimmed);
    EXPECT_EQ(trimmed, expected);
  }
}

AttributeDictionary attachment() {
  AttributeDictionary attributes;
  attributes.setObject(Attachment{"image.png", {}}, kAttachmentAttributeName);
  return attributes;
}

AttributeDictionary red() {
  AttributeDictionary attributes;
  attributes.setObject(Color{1, 0, 0, 1}, kForegroundColorAttributeName);
  return attributes;
}

TEST(AttributedTrimming, RemovesAttachmentsAtTheEndsAndKeepsTheRunsBetween) {
  AttributedText text(u"\uFFFC", attachment());
  text.appendString(u" a", red());
  text.appendString(u"b \n");
  text.appendString(u"\uFFFC", attachment());
  text.trimWhiteSpaces();
  AttributedText expected(u"ab", red());
  EXPECT_EQ(text, expected);

  AttributedText feeds(u"a\n", red());
  feeds.appendString(u"\uFFFC", attachment());
  feeds.appendString(u"\r\n", red());
  feeds.trimFeeds();
  EXPECT_EQ(feeds, AttributedText(u"a", red()));

  AttributedText blank(u" \uFFFC\n", attachment());
  blank.trimWhiteSpaces();
  EXPECT_TRUE(blank.empty());
}

}  // namespace
}  // namespace textrix
