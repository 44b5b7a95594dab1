// SPDX-License-Identifier: MIT
#include "services/reformat.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

#include "rich/rtf.h"
#include "services/spaces_and_line_endings.h"
#include "services/trim.h"
#include "text/lines.h"
#include "text/search.h"

namespace textrix {
namespace {

// A font of size points and, when spacing is given, a paragraph style with that paragraph
// spacing, 3 points before and an indent.
AttributeDictionary styled(double size, std::optional<double> spacing = std::nullopt) {
  AttributeDictionary attributes;
  attributes.setObject(Font{"Helvetica", size}, kFontAttributeName);
  if (spacing) {
    attributes.setObject(
        ParagraphStyle{.headIndent = 7, .paragraphSpacing = *spacing, .paragraphSpacingBefore = 3},
        kParagraphStyleAttributeName);
  }
  return attributes;
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
      {u" \n\n", u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(reformattedStringByRemovingCharactersOfString(row.text, kReformatRemovedCharacters),
              row.expected);
  }
}

// The plain reformatting step by step, as the header describes it: every line without the units
// of characters and trimmed of white units, the lines with content joined by one space, a blank
// line after a paragraph written as its terminator twice (once at the end of the text), and then
// every run of blanks made one space.
std::u16string reformattedStepByStep(std::u16string_view text, std::u16string_view characters) {
  std::u16string result;
  bool joined = false;
  for (const std::u16string_view line : lines(text)) {
    std::u16string kept(line);
    removeCharactersOfString(kept, characters);
    const std::u16string_view content = stringByTrimmingWhiteSpaces(kept);
    if (!content.empty()) {
      if (joined) result += u' ';
      result.append(content);
      joined = true;
    } else if (joined && !feedOfLine(line).empty()) {
      result.append(feedOfLine(line));
      if (line.data() + line.size() != text.data() + text.size()) result.append(feedOfLine(line));
      joined = false;
    }
  }
  removeMultipleSpaces(result);
  return result;
}

// Lines of quote markers, words and blanks of every kind (tabs, U+00A0, U+3000, NUL), white units
// that are no blanks (U+000B, U+0085) and every kind of line end, blank lines among them.
std::u16string quotedLines(unsigned seed) {
  constexpr std::u16string_view kPieces[] = {
      u"> ", u">>", u"<",  u"a",      u"word",   u"\u00E9", u"\U0001F600", u"\uFFFC",
      u" ",  u"  ", u"\t", u"\u00A0", u"\u3000", u"\v",     u"\u0085",     u" \t "};
  constexpr std::u16string_view kEnds[] = {u"\n",     u"\n",     u"\r\n", u"\r",
                                           u"\u2028", u"\u2029", u"\f",   u"\uFEFF"};
  std::mt19937 random(seed);
  std::u16string text;
  for (std::size_t line = 0; line < 200; ++line) {
    for (std::size_t n = random() % 8; n > 0; --n) text += kPieces[random() % std::size(kPieces)];
    if (random() % 5 == 0) text += u'\0';
    text += kEnds[random() % std::size(kEnds)];
  }
  // The last line may or may not have a terminator, and may be blank.
  for (std::size_t n = random() % 3; n > 0; --n) text += kPieces[random() % std::size(kPieces)];
  return text;
}

TEST(PlainReformat, GivesTheTextOfRemovingTrimmingJoiningAndCollapsingStepByStep) {
  // The quote markers; none; blanks, which then never separate; a line end; a letter.
  const std::u16string_view removed[] = {
      kReformatRemovedCharacters, u"", u" ", u"<> \t\u00A0", u"\n", u"a"};
  for (const std::u16string_view characters : removed) {
    for (unsigned seed = 1; seed <= 20; ++seed) {
      SCOPED_TRACE(testing::Message() << "seed " << seed << " removing "
                                      << testing::PrintToString(std::u16string(characters)));
      const std::u16string text = quotedLines(seed);
      EXPECT_EQ(reformattedStringByRemovingCharactersOfString(text, characters),
                reformattedStepByStep(text, characters));
    }
  }
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
      {u"a  b  c  d", u"a b c  d", true},  // the last run is not reached
      {u"   ", u" ", false},
      {u" \n", u"\n", false},
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

TEST(AttributedReformat, EndsParagraphsAtBlankLongSpacedAndLargerLines) {
  const std::u16string longLine(121, u'x');
  const std::u16string shortLine(119, u'x');
  // Pieces of text, each in a font of a size (12 points unless given) and with a paragraph
  // spacing when given.
  const auto piece = [](std::u16string_view text, double size = 12,
                        std::optional<double> spacing = std::nullopt) {
    return AttributedText(text, styled(size, spacing));
  };
  const auto joined = [](std::initializer_list<AttributedText> pieces) {
    AttributedText text;
    for (const AttributedText& p : pieces) text.appendString(p);
    return text;
  };
  struct Row {
    AttributedText text;
    std::u16string expected;
  };
  const Row rows[] = {
      {joined({piece(u"a\n"), piece(u"b\n")}), u"a b"},
      {joined({piece(u"a\n"), piece(u"b\n", 18)}), u"a\n\nb"},  // a heading: a blank line before
      {joined({piece(u"a\n"), piece(u"b\n", 13.5)}), u"a\nb"},  // larger by less than 2 points
      {joined({piece(u"a\n", 18), piece(u"b\n")}), u"a\nb"},
      {piece(u"a\n\n\n b\n"), u"a\n\nb"},
      {piece(longLine + u"\nb"), longLine + u"\n\nb"},
      {piece(shortLine + u"\nb"), shortLine + u" b"},        // 120 units with the terminator
      {piece(longLine + u"\u2028b"), longLine + u" b"},      // ends in a line separator
      {piece(shortLine + u"x \nb"), shortLine + u"x\n\nb"},  // the trailing space counts
      {piece(u"a\n  b"), u"a"},  // an unterminated last line that starts with blanks is blank
      {piece(u"> a\n<b>\n"), u"a b"},
      // A paragraph spacing of 1 point is no paragraph end.
      {joined({piece(u"a\n", 12, 6), piece(u"b\n", 12, 1), piece(u"c")}), u"a\n\nb c"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    EXPECT_EQ(reformattedAttributedStringByRemovingCharactersOfString(row.text, u"<>").string(),
              row.expected);
  }
}

TEST(AttributedReformat, GivesEachLineTheStyleOfItsFirstCharacterWithoutSpacing) {
  AttributedText text(u"a", styled(12, 6));
  text.appendString(u"b\n", styled(12));
  text.appendString(u"c", styled(12));
  text.appendString(u"d", styled(12, 6));  // dropped: the line's first character has no style
  AttributeDictionary flat = styled(12);
  flat.setObject(ParagraphStyle{.headIndent = 7}, kParagraphStyleAttributeName);
  AttributedText expected(u"ab\n\n", flat);  // the separator takes the attributes before it
  expected.appendString(u"cd", styled(12));
  EXPECT_EQ(reformattedAttributedStringByRemovingCharactersOfString(text, u""), expected);
}

}  // namespace
}  // namespace textrix
