#include "services/reformat.h"

#include <gtest/gtest.h>

#include <string>

#include "host/messages.h"
#include "host/textrix.h"
#include "rich/rtf.h"

namespace textrix {
namespace {

AttributeDictionary sized(double points) {
  AttributeDictionary attributes;
  attributes.setObject(Font{"Helvetica", points}, kFontAttributeName);
  return attributes;
}

AttributeDictionary spaced(double after, double before) {
  ParagraphStyle style;
  style.paragraphSpacing = after;
  style.paragraphSpacingBefore = before;
  style.headIndent = 7;
  AttributeDictionary attributes = sized(12);
  attributes.setObject(style, kParagraphStyleAttributeName);
  return attributes;
}

AttributedText reformatted(const AttributedText& text) {
  return reformattedAttributedStringByRemovingCharactersOfString(text, kReformatRemovedCharacters);
}

TEST(PlainReformat, JoinsLinesIntoParagraphsSeparatedByTheBlankLinesTerminator) {
  struct Row {
    std::u16string_view text;
    std::u16string_view expected;
  };
  const Row rows[] = {
      {u"> Hello\n> world.\n>\n> Bye\n", u"Hello world.\n\nBye"},
      {u"a\n\n\nb", u"a\n\nb"},                // a row of blank lines is one
      {u"\n \n\ta\nb", u"a b"},                // blank lines before the first paragraph go
      {u"a   b\t\tc \u00A0 d\n", u"a b c d"},  // runs of blanks become one space
      {u"a\r\nb\r\n\r\nc\r\n", u"a b\r\n\r\nc"},
      {u"a\n\u2029b", u"a\u2029\u2029b"},  // the blank line's own terminator, twice
      {u"a\n\n", u"a\n"},                  // a blank last line leaves one terminator
      {u"a\n  ", u"a"},                    // a blank last line without one leaves nothing
      {u"<<x>> y", u"x y"},
      {u"", u""},
      {u" \n\n", u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(reformattedStringByRemovingCharactersOfString(row.text, kReformatRemovedCharacters),
              row.expected);
  }
  EXPECT_EQ(reformattedStringByRemovingCharactersOfString(u"> a\n> b", u""), u"> a > b");
}

TEST(TrimForReformatting, CollapsesBlanksAndLooksOnlyAtTheWorkingLength) {
  struct Row {
    std::u16string_view line;
    std::u16string_view trimmed;
    bool hasContent;
  };
  const Row rows[] = {
      // The working length falls short by one unit per run collapsed: the x is never looked at.
      {u"  x", u"x", false},
      {u"  x\n", u"x\n", true},
      {u"a\tb\n", u"a b\n", true},
      {u" a  b", u"a b", true},
      {u"x  ", u"x ", true},
      // Runs at the end of a text with many runs are not reached.
      {u"a  b  c  d", u"a b c  d", true},
      {u"   ", u" ", false},
      {u" \n", u"\n", false},
      {u"\n", u"\n", false},
      {u"\uFFFC\n", u"\uFFFC\n", true},  // an attachment is content
      {u"", u"", false},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    AttributedText line(row.line);
    EXPECT_EQ(trimForReformatting(line), row.hasContent);
    EXPECT_EQ(line.string(), row.trimmed);
  }
}

TEST(AttributedReformat, JoinsLinesBySizeOfTheirFonts) {
  struct Row {
    double first;
    double second;
    std::u16string_view expected;
  };
  const Row rows[] = {
      {12, 12, u"a b"},    {12, 18, u"a\n\nb"},  // a heading gets a blank line before it
      {12, 14, u"a\n\nb"}, {12, 13.5, u"a\nb"},  // larger by less than 2 points
      {18, 12, u"a\nb"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << row.first << " then " << row.second);
    AttributedText text(u"a\n", sized(row.first));
    text.appendString(u"b\n", sized(row.second));
    EXPECT_EQ(reformatted(text).string(), row.expected);
  }
}

TEST(AttributedReformat, EndsParagraphsAtBlankLongAndSpacedLines) {
  const std::u16string longLine(121, u'x');
  const std::u16string shortLine(119, u'x');
  struct Row {
    std::u16string text;
    std::u16string expected;
  };
  const Row rows[] = {
      {u"a\n\n\n b\n", u"a\n\nb"},
      {longLine + u"\nb", longLine + u"\n\nb"},
      // 120 units with the terminator: not long.
      {shortLine + u"\nb", shortLine + u" b"},
      // A long line ending in a line separator is a wrapped line.
      {longLine + u"\u2028b", longLine + u" b"},
      // The trailing space counts: 120 units, a space and the terminator.
      {shortLine + u"x \nb", shortLine + u"x\n\nb"},
      // An unterminated last line that starts with blanks counts as blank.
      {u"a\n  b", u"a"},
      {u"> a\n<b>\n", u"a b"},
      {u"", u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(reformatted(AttributedText(row.text, sized(12))).string(), row.expected);
  }
}

TEST(AttributedReformat, EndsParagraphAfterSpacingAndClearsEveryLinesSpacing) {
  AttributedText text(u"a\n", spaced(6, 3));
  text.appendString(u"b\n", spaced(1, 0));  // 1 point is no paragraph end
  text.appendString(u"c", sized(12));
  const AttributedText result = reformatted(text);
  EXPECT_EQ(result.string(), u"a\n\nb c");
  ParagraphStyle flat;
  flat.headIndent = 7;
  for (std::size_t i : {0, 3}) {
    SCOPED_TRACE(i);
    const ParagraphStyle* style =
        result.attributesAtIndex(i).get<ParagraphStyle>(kParagraphStyleAttributeName);
    ASSERT_NE(style, nullptr);
    EXPECT_EQ(*style, flat);
  }
  EXPECT_EQ(result.attributesAtIndex(5).find(kParagraphStyleAttributeName), nullptr);
}

TEST(AttributedReformat, TakesTheFirstCharactersStyleForTheLineAndKeepsFonts) {
  AttributedText text(u"a", sized(12));
  text.appendString(u"b\n", spaced(0, 4));  // a style after the first character is dropped
  text.appendString(u"c", sized(18));
  const AttributedText result = reformatted(text);
  AttributedText expected(u"ab", sized(12));
  expected.appendString(u"\n\n", sized(12));  // separators take the attributes before them
  expected.appendString(u"c", sized(18));
  EXPECT_EQ(result, expected);
}

TEST(ReformatService, ReformatsPlainAndRichText) {
  Textrix provider;
  ServicePasteboard plain("request");
  plain.declareTypes({std::string(kStringPboardType)});
  plain.setString(u"> one\n> two\n\n> three", kStringPboardType);
  std::string error;
  provider.doReformatService(plain, "", error);
  EXPECT_EQ(error, "");
  EXPECT_EQ(plain.stringForType(kStringPboardType), u"one two\n\nthree");

  ServicePasteboard rich("request");
  rich.declareTypes({std::string(kRTFPboardType)});
  rich.setData(
      "{\\rtf1\\ansi{\\fonttbl{\\f0 Helvetica;}}\\f0\\fs24 > one\\par > {\\b two}\\par\\par "
      "\\fs36 Big\\par}",
      kRTFPboardType);
  provider.doReformatService(rich, "", error);
  EXPECT_EQ(error, "");
  ASSERT_EQ(rich.types(), std::vector<std::string>{std::string(kRTFPboardType)});
  const RichTextReading reading = readRtf(*rich.dataForType(kRTFPboardType));
  EXPECT_EQ(reading.text.string(), u"one two\n\nBig");
  EXPECT_TRUE(reading.text.attributesAtIndex(4).get<Font>(kFontAttributeName)->bold);

  ServicePasteboard empty("request");
  provider.doReformatService(empty, "", error);
  EXPECT_EQ(error, kReformatMessage);
  EXPECT_TRUE(empty.types().empty());
}

}  // namespace
}  // namespace textrix
