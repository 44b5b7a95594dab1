// SPDX-License-Identifier: MIT
#include "text/attributed_text.h"

#include <gtest/gtest.h>

#include <optional>
#include <stdexcept>

#include <vector>

#include "support/texts.h"

namespace textrix {
namespace {

using namespace std::literals;

using testing_texts::colored;

const AttributeDictionary kPlain;
const AttributeDictionary kRed = colored(1.0);
const AttributeDictionary kBlue = colored(0.5);

// "plain" + "RED" + "plain", the middle run red.
AttributedText threeRuns() {
  AttributedText text(u"abc", kPlain);
  text.appendString(u"DEF", kRed);
  text.appendString(u"ghi", kPlain);
  return text;
}

// The attributes of every character, one by one: the obviously correct picture of the runs.
std::vector<AttributeDictionary> attributesPerCharacter(const AttributedText& text) {
  std::vector<AttributeDictionary> result;
  for (std::size_t i = 0; i < text.length(); ++i) result.push_back(text.attributesAtIndex(i));
  return result;
}

TEST(AttributedTextEditRule, DeletedCharactersTakeTheirRunAndEqualNeighboursJoin) {
  AttributedText text = threeRuns();
  text.deleteCharactersInRange(Range{3, 3});
  EXPECT_EQ(text, AttributedText(u"abcghi", kPlain));
  EXPECT_EQ(text.runs().size(), 1u);
}

TEST(AttributedTextEditing, RefusesRangesOutsideTheTextAndChangesNothing) {
  AttributedText text = threeRuns();
  EXPECT_THROW(text.replaceCharactersInRange(Range{8, 2}, u"x"), std::out_of_range);
  EXPECT_THROW(text.insertString(u"x", 10), std::out_of_range);
  EXPECT_THROW(text.removeCharacterAtIndex(9), std::out_of_range);
  EXPECT_THROW(text.attributesAtIndex(9), std::out_of_range);
  EXPECT_THROW(AttributedText().attributesAtIndex(0), std::out_of_range);
  EXPECT_EQ(text, threeRuns());
}

TEST(AttributedTextEditing, AttributedInsertKeepsItsOwnRuns) {
  AttributedText text(u"ac", kPlain);
  text.insertAttributedString(AttributedText(u"b", kRed), 1);
  EXPECT_EQ(text.runs().size(), 3u);
  EXPECT_EQ(text.attributesAtIndex(1), kRed);
  text.insertAttributedString(text, 0);  // inserting a text into itself reads it first
  EXPECT_EQ(text.string(), u"abcabc");
  EXPECT_EQ(text.attributesAtIndex(4), kRed);
}

TEST(AttributedTextEditing, FormatsAppendByTheRuleOrAsOneRun) {
  AttributedText text(u"x", kRed);
  text.appendFormat(u" %@-%@ 100%%", {u"a", u"b"});
  EXPECT_EQ(text, AttributedText(u"x a-b 100%", kRed));
  text.appendFormat(kBlue, u"%@", {u""});  // formats to nothing: nothing appended
  EXPECT_EQ(text.runs().size(), 1u);
  text.appendFormat(kBlue, u"[%@]", {u"y"});
  EXPECT_EQ(text.attributesAtIndex(text.length() - 1), kBlue);
}

TEST(AttributedTextEditing, StringAsLinkIsOneRunLinkingToItself) {
  AttributedText text(u"see ", kPlain);
  text.insertStringAsLink(u"https://example.org", 4);
  const std::vector<AttributedText::Run> runs = text.runs();
  ASSERT_EQ(runs.size(), 2u);
  EXPECT_EQ(runs[1].range, (Range{4, 19}));
  const AttributeDictionary& link = runs[1].attributes;
  ASSERT_NE(link.get<Link>(kLinkAttributeName), nullptr);
  EXPECT_EQ(link.get<Link>(kLinkAttributeName)->url, u"https://example.org");
  EXPECT_EQ(*link.get<std::int64_t>(kUnderlineStyleAttributeName), 1);
  EXPECT_EQ(*link.get<Color>(kForegroundColorAttributeName), kLinkColor);
}

TEST(AttributedTextAttributes, RangesAreClippedToTheText) {
  const struct {
    Range range;
    std::size_t firstChanged;
    std::size_t changed;
  } cases[] = {
      {{7, 100}, 7, 2},                   // reaches past the end: clipped
      {{9, 1}, 0, 0},                     // starts at the end: nothing
      {{20, 5}, 0, 0},                    // starts past the end: nothing
      {{1, 3}, 1, 3},                     // splits the runs at both ends
      {{2, std::u16string::npos}, 2, 7},  // "to the end": clipped, not wrapped
  };
  for (const auto& test : cases) {
    SCOPED_TRACE(test.range.location);
    AttributedText text = threeRuns();
    AttributeDictionary underline;
    underline.setObject(kUnderlineStyleSingle, kUnderlineStyleAttributeName);
    text.overrideAttributes(underline, test.range);
    for (std::size_t i = 0; i < text.length(); ++i) {
      const bool inside = i >= test.firstChanged && i < test.firstChanged + test.changed;
      EXPECT_EQ(text.attributesAtIndex(i).find(kUnderlineStyleAttributeName) != nullptr, inside)
          << i;
      EXPECT_EQ(text.attributesAtIndex(i).find(kForegroundColorAttributeName) != nullptr,
                i >= 3 && i < 6)
          << i;
    }
  }
}

TEST(AttributedTextAttributes, MissingNamesAndEmptyDictionariesChangeNothing) {
  AttributedText text = threeRuns();
  text.overrideAttributes(AttributeDictionary(), Range{0, 9});
  text.setAttribute(Color{}, "", Range{0, 9});
  text.removeAttribute("");
  EXPECT_EQ(text, threeRuns());
}

TEST(AttributedTextAttributes, RemovingAnAttributeLeavesRunsWithoutItAlone) {
  AttributedText text = threeRuns();
  text.setAttribute(std::nullopt, kForegroundColorAttributeName, Range{0, 9});
  EXPECT_EQ(text, AttributedText(u"abcDEFghi", kPlain));
  text = threeRuns();
  text.removeAttribute(kForegroundColorAttributeName);
  EXPECT_EQ(text, AttributedText(u"abcDEFghi"));
}

TEST(AttributedTextAttributes, EffectiveRangeIsClippedAndSpansEqualRunsInABatch) {
  AttributedText text = threeRuns();
  Range effective;
  EXPECT_EQ(text.attributesAtIndex(4, &effective, Range{0, 9}), kRed);
  EXPECT_EQ(effective, (Range{3, 3}));
  text.attributesAtIndex(4, &effective, Range{4, 1});
  EXPECT_EQ(effective, (Range{4, 1}));
  text.attributesAtIndex(4, &effective, Range{2, std::u16string::npos});
  EXPECT_EQ(effective, (Range{3, 3}));
  // An index outside the range asked about has no effective range around it in that range.
  EXPECT_THROW(text.attributesAtIndex(1, &effective, Range{3, 3}), std::out_of_range);
  EXPECT_THROW(text.attributesAtIndex(6, &effective, Range{3, 3}), std::out_of_range);

  text.beginEditing();
  text.setAttribute(std::nullopt, kForegroundColorAttributeName, Range{3, 3});
  text.attributesAtIndex(1, &effective, Range{0, 9});
  EXPECT_EQ(effective, (Range{0, 9}));
  text.endEditing();
  EXPECT_EQ(text.runs().size(), 1u);
}

TEST(AttributedTextAttributes, ContainsAttachmentsOnlyWithAnAttachmentRun) {
  AttributedText text = threeRuns();
  EXPECT_FALSE(text.containsAttachments());
  AttributeDictionary picture;
  picture.setObject(Attachment{"a.png", std::make_shared<const std::string>("PNG")},
                    kAttachmentAttributeName);
  text.insertString(u"\uFFFC", 2, picture);
  EXPECT_TRUE(text.containsAttachments());
  text.removeCharacterAtIndex(2);
  EXPECT_FALSE(text.containsAttachments());
}

TEST(AttributedTextRemoval, RemovalsKeepTheRunsOfWhatRemains) {
  AttributedText text(u"a\tb", kPlain);
  text.appendString(u" \u00A0\u2028\r\n\uFFFCc\u0000"sv, kRed);
  const struct {
    void (AttributedText::*remove)();
    std::u16string expected;
  } cases[] = {
      {&AttributedText::removeTabs, u"ab \u00A0\u2028\r\n\uFFFCc\u0000"s},
      {&AttributedText::removeFeeds, u"a\tb \u00A0c\u0000"s},
      {&AttributedText::removeSpaces, u"ab\u2028\r\n\uFFFCc"},
      {&AttributedText::removeWhiteCharacters, u"abc"},
  };
  for (const auto& test : cases) {
    AttributedText edited = text;
    (edited.*test.remove)();
    EXPECT_EQ(edited.string(), test.expected);
    EXPECT_EQ(edited.attributesAtIndex(0), kPlain);
    EXPECT_EQ(edited.attributesAtIndex(edited.string().find(u'c')), kRed);
  }
}

TEST(AttributedTextRemoval, AWhollyRemovedRunLetsItsNeighboursJoin) {
  AttributedText text(u"<<", kPlain);
  text.appendString(u"x", kRed);
  text.appendString(u">>", kBlue);
  text.appendString(u"y", kRed);
  text.removeCharactersOfString(u"<>");
  EXPECT_EQ(text, AttributedText(u"xy", kRed));
  text.removeCharactersOfString(u"");
  EXPECT_EQ(text.string(), u"xy");
}

TEST(AttributedTextUtilities, TrimsAndReplacementsKeepTheRuns) {
  AttributedText text(u"--a", kPlain);
  text.appendString(u"b--", kRed);
  text.trimCharacter(u'-');
  EXPECT_EQ(text.string(), u"ab");
  EXPECT_EQ(text.attributesAtIndex(1), kRed);

  text.replaceCharacter(u'B', u'x', false);
  EXPECT_EQ(text.string(), u"ax");
  EXPECT_EQ(text.attributesAtIndex(1), kRed);

  text.replaceString(u"AX", u"long", false);  // takes the first replaced character's run
  EXPECT_EQ(text, AttributedText(u"long", kPlain));
}

TEST(AttributedTextUtilities, NormalizingKeepsAttributesOnTheComposedCharacters) {
  AttributedText text(u"e\u0301", kRed);
  text.appendString(u"x", kPlain);
  text.normalizeString();
  EXPECT_EQ(text.string(), u"\u00E9x");
  EXPECT_EQ(text.attributesAtIndex(0), kRed);
  EXPECT_EQ(text.attributesAtIndex(1), kPlain);
  text.normalizeString(NormalizationForm::nfd);
  EXPECT_EQ(text.string(), u"e\u0301x");
  EXPECT_EQ(text.attributesAtIndex(1), kRed);
}

TEST(AttributedTextLines, AnAttachmentStaysInsideItsLine) {
  EXPECT_EQ(AttributedText(u"x\uFFFCy\nz", kRed).lines(),
            (std::vector{AttributedText(u"x\uFFFCy\n", kRed), AttributedText(u"z", kRed)}));
}

TEST(AttributedTextLines, FeedAndFirstLineAreNoneWhereThePlainFormsAreEmpty) {
  EXPECT_FALSE(AttributedText().feedOfLine());
  EXPECT_FALSE(AttributedText().firstLine());
  EXPECT_FALSE(AttributedText(u"abc").feedOfLine());
  EXPECT_FALSE(AttributedText(u"\nabc").firstLine());
  EXPECT_EQ(AttributedText(u"abc").firstLine(), AttributedText(u"abc"));
  EXPECT_EQ(AttributedText(u"ab\n\n").feedOfLine(), AttributedText(u"\n\n"));
  EXPECT_EQ(AttributedText(u"ab\ncd").firstLine(), AttributedText(u"ab"));
  EXPECT_FALSE(AttributedText(u"ab\uFFFC").hasFeedOfLine());
}

// Where new characters take their attributes from: those of the first character replaced, else of
// the character before, else of the first character. (Random edits against a one-dictionary-per-
// character model are in fuzz/attributed_text_fuzz.cpp.)
TEST(AttributedTextEditing, NewCharactersTakeTheAttributesOfTheEditRule) {
  const struct {
    Range range;
    std::vector<AttributeDictionary> expected;
  } rows[] = {
      {{4, 2}, {kPlain, kPlain, kPlain, kRed, kRed, kRed, kPlain, kPlain, kPlain}},
      {{6, 0}, {kPlain, kPlain, kPlain, kRed, kRed, kRed, kRed, kRed, kPlain, kPlain, kPlain}},
      {{3, 0}, {kPlain, kPlain, kPlain, kPlain, kPlain, kRed, kRed, kRed, kPlain, kPlain, kPlain}},
      {{0, 0}, {kPlain, kPlain, kPlain, kPlain, kPlain, kRed, kRed, kRed, kPlain, kPlain, kPlain}},
      {{2, 4}, {kPlain, kPlain, kPlain, kPlain, kPlain, kPlain, kPlain}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(testing::Message() << "at " << row.range.location << " " << row.range.length);
    AttributedText text = threeRuns();
    text.replaceCharactersInRange(row.range, u"xy");
    EXPECT_EQ(attributesPerCharacter(text), row.expected);
  }
}

// Runs whose attributes were built apart but are equal hold one list, before and after a change
// over all of them, so that memory stays one list per distinct dictionary.
TEST(AttributedTextRuns, ShareOneListPerDistinctAttributes) {
  AttributedText text;
  for (int run = 0; run < 40; ++run) {
    AttributeDictionary colour;
    colour.setObject(Color{static_cast<double>(run % 2), 0, 0, 1}, kForegroundColorAttributeName);
    text.appendString(u"ab", colour);
  }
  text.setAttribute(Font{"Helvetica", 12}, kFontAttributeName, Range{1, 78});
  const std::vector<AttributedText::Run> runs = text.runs();
  ASSERT_EQ(runs.size(), 42u);  // the first and last runs split where the change starts and ends
  for (std::size_t i = 3; i + 1 < runs.size(); ++i) {
    EXPECT_EQ(runs[i].attributes.begin(), runs[i - 2].attributes.begin()) << i;
  }
  EXPECT_EQ(runs[0].attributes.size(), 1u);  // outside the change, the colour alone
  EXPECT_EQ(runs[41].attributes.size(), 1u);
}

}  // namespace
}  // namespace textrix

namespace textrix {
namespace {

struct RewriteCase {
  const char* name;
  std::size_t start;
  std::size_t length;
  std::u16string replacement;
  std::u16string edited;
  std::vector<std::size_t> structure;   // where the characters of structure are after the edit
  std::optional<std::size_t> markedAt;  // and the markup written before characters
};

class AttributedTextRewriteKeeps : public testing::TestWithParam<RewriteCase> {};

// "a b|c" where | is a character of structure, and the markup before the space after "a".
TEST_P(AttributedTextRewriteKeeps, StructureInPlaceAndTheMarkupBeforeCharacters) {
  const RewriteCase& c = GetParam();
  AttributedText text(u"a  b\tc");
  text.setAttribute(Markup{.code = "\\cell"}, kStructureAttributeName, {4, 1});
  text.setAttribute(Markup{.code = "{note}"}, kMarkupBeforeAttributeName, {2, 1});
  text.rewrite([&](EditSink& edits) { edits.replace(c.start, c.length, c.replacement); });
  EXPECT_EQ(text.string(), c.edited);
  std::vector<std::size_t> structure;
  std::optional<std::size_t> markedAt;
  for (std::size_t i = 0; i < text.length(); ++i) {
    const AttributeDictionary& attributes = text.attributesAtIndex(i);
    if (attributes.find(kStructureAttributeName)) structure.push_back(i);
    if (attributes.find(kMarkupBeforeAttributeName) && !markedAt) markedAt = i;
  }
  EXPECT_EQ(structure, c.structure);
  EXPECT_EQ(markedAt, c.markedAt);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, AttributedTextRewriteKeeps,
    testing::Values(
        RewriteCase{"AnEditOfStructureAloneIsNotMade", 4, 1, u"    ", u"a  b\tc", {4}, 2},
        RewriteCase{"AReplacementGoesBeforeTheStructureItCovers", 3, 2, u"B", u"a  B\tc", {4}, 2},
        RewriteCase{"AnInsertionAfterStructureIsText", 5, 0, u"\t", u"a  b\t\tc", {4}, 2},
        RewriteCase{"ACollapseOfBlanksKeepsTheMarkupOfAnyOfThem", 1, 2, u" ", u"a b\tc", {3}, 1},
        RewriteCase{"ADeletionTakesTheMarkupWithIt", 2, 1, u"", u"a b\tc", {3}, std::nullopt}),
    [](const testing::TestParamInfo<RewriteCase>& info) { return info.param.name; });

}  // namespace
}  // namespace textrix
