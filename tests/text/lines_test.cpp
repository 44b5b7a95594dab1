// SPDX-License-Identifier: MIT
#include "text/lines.h"

#include <gtest/gtest.h>

#include <iterator>
#include <string>
#include <vector>

#include "text/encodings.h"

namespace textrix {
namespace {

using Lines = std::vector<std::u16string_view>;

constexpr std::u16string_view kPlainFeeds = u"\n\r\f\u2028\u2029\u0003\uFFFC\uFEFF";
constexpr std::u16string_view kAttributedFeeds = u"\n\r\f\u2028\u2029\u0003\uFEFF";

bool isListedFeed(char16_t c, FeedSet feeds) {
  return (feeds == FeedSet::plain ? kPlainFeeds : kAttributedFeeds).find(c) != std::u16string::npos;
}

// Cuts lines the way AttributedText does, through lineEnd.
Lines linesThroughLineEnd(std::u16string_view text, FeedSet feeds) {
  Lines result;
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start, feeds);
    result.push_back(text.substr(start, end - start));
  }
  return result;
}

TEST(ExhaustiveLineSplitting, FeedCharactersAreExactlyTheListedOnes) {
  for (char32_t c = 0; c <= 0xFFFF; ++c) {
    SCOPED_TRACE(testing::Message() << "U+" << std::hex << static_cast<unsigned>(c));
    for (FeedSet feeds : {FeedSet::plain, FeedSet::attributed}) {
      const auto unit = static_cast<char16_t>(c);
      const bool feed = isListedFeed(unit, feeds);
      std::u16string text(16, u'x');  // long enough to be searched a block at a time
      text[5] = unit;
      ASSERT_EQ(isFeedCharacter(unit, feeds), feed);
      ASSERT_EQ(lineEnd(text, 0, feeds), feed ? 6u : 16u);
      ASSERT_EQ(firstLine(text, feeds).size(), feed ? 5u : 16u);
    }
  }
}

TEST(LineSplitting, CutsTextJustAfterEachTerminator) {
  const struct {
    std::u16string_view text;
    Lines lines;
  } cases[] = {
      {u"", {}},
      {u"abc", {u"abc"}},
      {u"a\r\nb", {u"a\r\n", u"b"}},
      {u"a\n\rb", {u"a\n", u"\r", u"b"}},  // LF CR is two terminators, not one reversed
      {u"a\r\r\n", {u"a\r", u"\r\n"}},
      {u"a\n\n", {u"a\n", u"\n"}},
      {u"\n", {u"\n"}},
      {u"a\r", {u"a\r"}},
      {u"a\fb\u2028c\u2029d\u0003e\uFEFFf",
       {u"a\f", u"b\u2028", u"c\u2029", u"d\u0003", u"e\uFEFF", u"f"}},
      {u"x\uFFFCy", {u"x\uFFFC", u"y"}},
      {u"a\u0085b\vc", {u"a\u0085b\vc"}},  // next line and vertical tab do not end lines
      // A terminator at either end of a block searched at a time, and after a surrogate pair.
      {u"0123456789abcde\r\nf", {u"0123456789abcde\r\n", u"f"}},
      {u"0123456789abcdef\n", {u"0123456789abcdef\n"}},
      {u"\U0001F600\u2028\uFEFE", {u"\U0001F600\u2028", u"\uFEFE"}},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(testing::Message() << "case " << i);
    EXPECT_EQ(lines(cases[i].text), cases[i].lines);
    EXPECT_EQ(numberOfLines(cases[i].text), cases[i].lines.size());
  }
}

TEST(LineSplitting, KeepsAnAttachmentInsideItsLineInAttributedText) {
  EXPECT_EQ(linesThroughLineEnd(u"x\uFFFCy", FeedSet::attributed), Lines{u"x\uFFFCy"});
  EXPECT_EQ(linesThroughLineEnd(u"x\uFFFCy", FeedSet::plain), (Lines{u"x\uFFFC", u"y"}));
}

TEST(LineSplitting, FindsTheFeedsAtTheEndAndTheTextBeforeTheFirstFeed) {
  const struct {
    std::u16string_view text;
    FeedSet feeds;
    bool hasFeed;
    std::u16string_view feed;
    std::u16string_view first;
  } cases[] = {
      {u"", FeedSet::plain, false, u"", u""},
      {u"abc", FeedSet::plain, false, u"", u"abc"},
      {u"a\r\n", FeedSet::plain, true, u"\r\n", u"a"},
      {u"a\n\n", FeedSet::plain, true, u"\n\n", u"a"},
      {u"\n", FeedSet::plain, true, u"\n", u""},
      {u"\r\n\u2029\f", FeedSet::plain, true, u"\r\n\u2029\f", u""},
      {u"ab\ncd", FeedSet::plain, false, u"", u"ab"},
      {u"a\u0085", FeedSet::plain, false, u"", u"a\u0085"},
      {u"x\uFFFC", FeedSet::plain, true, u"\uFFFC", u"x"},
      {u"x\uFFFC", FeedSet::attributed, false, u"", u"x\uFFFC"},
      {u"\uFFFCy\n\uFFFC\n", FeedSet::attributed, true, u"\n", u"\uFFFCy"},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(testing::Message() << "case " << i);
    const auto& c = cases[i];
    EXPECT_EQ(hasFeedOfLine(c.text, c.feeds), c.hasFeed);
    EXPECT_EQ(feedOfLine(c.text, c.feeds), c.feed);
    EXPECT_EQ(firstLine(c.text, c.feeds), c.first);
  }
}

// Texts whose feeds and tabs fall at every place of a block searched at a time, at its ends, and
// more of them than one search returns: CR LF pairs cut by the end of a search among them.
std::vector<std::u16string> searchedTexts() {
  std::vector<std::u16string> texts = {u"", u"\t", u"a\r\nb", u"\n\r\u2028\uFFFC\uFEFF\u0003\f\t"};
  for (std::size_t at = 0; at < 40; ++at) {
    std::u16string text(40, u'x');
    text[at] = at % 2 ? u'\t' : u'\r';
    texts.push_back(text);
  }
  std::u16string crLfs;
  for (int i = 0; i < 700; ++i) crLfs += i % 3 ? u"\r\n" : u"\t\r\r\nx\n";
  texts.push_back(crLfs);
  return texts;
}

TEST(LineSplitting, FindsEveryFeedAndUnitWhateverTheRoomForThem) {
  for (const std::u16string& text : searchedTexts()) {
    std::vector<std::size_t> expected;
    for (std::size_t i = 0; i < text.size(); ++i) {
      if (isFeedCharacter(text[i]) || text[i] == u'\t') expected.push_back(i);
    }
    for (const std::size_t room : {std::size_t{16}, std::size_t{17}, kFoundAtOnce}) {
      SCOPED_TRACE(testing::Message() << text.size() << " units, room " << room);
      std::vector<std::size_t> positions(room), found;
      for (std::size_t from = 0, count; (count = findFeedsOrUnit(text, from, u'\t', positions)) > 0;
           from = positions[count - 1] + 1) {
        found.insert(found.end(), positions.begin(), positions.begin() + count);
      }
      EXPECT_EQ(found, expected);
    }
  }
}

TEST(LineSplitting, VisitsTheTerminatorOfEveryLine) {
  for (const std::u16string& text : searchedTexts()) {
    SCOPED_TRACE(testing::Message() << text.size() << " units");
    std::vector<std::u16string_view> expected;
    for (const std::u16string_view line : lines(text)) {
      if (hasFeedOfLine(line)) expected.push_back(feedOfLine(line));
    }
    std::vector<std::u16string_view> visited;
    forEachTerminator(text, [&](std::size_t at, std::size_t length) {
      visited.push_back(std::u16string_view(text).substr(at, length));
    });
    EXPECT_EQ(visited, expected);
  }
}

std::vector<std::string> utf8TerminatorsOf(std::string_view utf8) {
  std::vector<std::string> visited;
  forEachTerminator(utf8, [&](std::size_t at, std::size_t length) {
    visited.emplace_back(utf8.substr(at, length));
  });
  return visited;
}

// In UTF-8 the same terminators are found, by bytes: every character of the Basic Multilingual
// Plane alone between letters, across and within the blocks searched at once.
TEST(ExhaustiveLineSplitting, FindsTheSameTerminatorsInUtf8) {
  for (char32_t c = 0; c <= 0xFFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    SCOPED_TRACE(testing::Message() << "U+" << std::hex << static_cast<unsigned>(c));
    const std::string character = encodeUtf8(std::u16string(1, static_cast<char16_t>(c)));
    std::vector<std::string> expected;
    if (isFeedCharacter(static_cast<char16_t>(c))) expected.push_back(character);
    for (const std::size_t before : {5, 30}) {
      ASSERT_EQ(utf8TerminatorsOf(std::string(before, 'x') + character + "y"), expected);
    }
  }
  for (const std::u16string& text : searchedTexts()) {
    SCOPED_TRACE(testing::Message() << text.size() << " units");
    std::vector<std::string> expected;
    forEachTerminator(text, [&](std::size_t at, std::size_t length) {
      expected.push_back(encodeUtf8(std::u16string_view(text).substr(at, length)));
    });
    EXPECT_EQ(utf8TerminatorsOf(encodeUtf8(text)), expected);
  }
}

}  // namespace
}  // namespace textrix
