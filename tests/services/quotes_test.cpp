#include "services/quotes.h"

#include <gtest/gtest.h>
#include <libintl.h>

#include <clocale>
#include <cstdlib>
#include <string>

#include "host/messages.h"
#include "host/textrix.h"
#include "rich/rtf.h"

namespace textrix {
namespace {

// The catalogs come from the build tree; set before the first look-up binds the text domain.
const bool kCatalogsOfTheBuildTree = [] {
  setenv("TEXTRIX_LOCALEDIR", TEXTRIX_BUILD_LOCALEDIR, 1);
  return true;
}();

AttributeDictionary colored(double red) {
  AttributeDictionary attributes;
  attributes.setObject(Color{red, 0, 0, 1}, kForegroundColorAttributeName);
  attributes.setObject(Font{"Times", 14, red > 0.5}, kFontAttributeName);
  return attributes;
}

// Alternating runs of attributes, one per piece.
AttributedText alternating(std::initializer_list<std::u16string_view> pieces) {
  AttributedText text;
  int i = 0;
  for (std::u16string_view piece : pieces) text.appendString(piece, colored(i++ % 2));
  return text;
}

TEST(RemoveQuotes, RemovesEveryAngleBracketAndKeepsTheBlanks) {
  std::u16string text = u"> a\n>> b <c>";
  removeQuotes(text);
  EXPECT_EQ(text, u" a\n b c");

  AttributedText rich = alternating({u">", u"> a", u"<b>"});
  removeQuotes(rich);
  EXPECT_EQ(rich, alternating({u"", u" a", u"b"}));
}

TEST(SmartQuotes, AlternatesDoubleQuotesAndMakesEveryApostropheTypographic) {
  struct Row {
    std::u16string_view text;
    std::u16string_view expected;
  };
  const Row rows[] = {
      {u"say \"hi\" it's", u"say \u201Ehi\u201D it\u2019s"},
      {u"\"\"\"", u"\u201E\u201D\u201E"},  // an odd count leaves the last one opening
      {u"\"a\n\n\"b 'c'", u"\u201Ea\n\n\u201Db \u2019c\u2019"},
      {u"\u201Calready\u201D", u"\u201Calready\u201D"},
      {u"", u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    std::u16string text(row.text);
    convertToSmartQuotes(text, SmartQuotes{});
    EXPECT_EQ(text, row.expected);
  }
}

TEST(SmartQuotes, MarksOfAnotherLengthShiftLaterReplacements) {
  struct Row {
    SmartQuotes quotes;
    std::u16string_view text;
    std::u16string_view expected;
  };
  const Row rows[] = {
      // The closing mark lands on the "a" that the longer opening mark pushed to index 2.
      {{u"<<", u">>", u"'"}, u"\"a\"", u"<<>>\""},
      // The second replacement lands inside the first mark.
      {{u"<<", u">>", u"'"}, u"\"\"x", u"<>>\"x"},
      // Empty marks pull later units in; a replacement beyond the end is left out.
      {{u"", u"", u"'"}, u"\"a\"b\"c", u"a\"\"c"},
      {{u"\u00AB ", u" \u00BB", u"\u2019"}, u"'\"x\"'", u"\u2019\u00AB  \u2019\"'"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    std::u16string text(row.text);
    convertToSmartQuotes(text, row.quotes);
    EXPECT_EQ(text, row.expected);
    AttributedText rich(row.text, colored(1));
    convertToSmartQuotes(rich, row.quotes);
    EXPECT_EQ(rich, AttributedText(row.expected, colored(1)));
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

TEST(QuoteConversion, ReplacedQuotesKeepTheirAttributes) {
  AttributedText smart = alternating({u"\"", u"a", u"'", u"\""});
  convertToSmartQuotes(smart, SmartQuotes{});
  EXPECT_EQ(smart, alternating({u"\u201E", u"a", u"\u2019", u"\u201D"}));

  AttributedText straight = alternating({u"\u00AB", u"a", u"\u2019", u"\u00BB"});
  convertToStraightQuotes(straight);
  EXPECT_EQ(straight, alternating({u"\"", u"a", u"'", u"\""}));
}

// Selects the language of the catalogs for one test. gettext ignores LANGUAGE while the messages
// locale is "C", but not under C.UTF-8, which glibc provides without a generated locale.
class LocalizedQuotes : public testing::Test {
 protected:
  void selectLanguage(const char* language) {
    if (!std::setlocale(LC_MESSAGES, "C.UTF-8")) GTEST_SKIP() << "no C.UTF-8 locale";
    setenv("LANGUAGE", language, 1);
    textdomain(textdomain(nullptr));  // forgets the translations looked up so far
  }
  void TearDown() override {
    unsetenv("LANGUAGE");
    std::setlocale(LC_MESSAGES, "C");
    textdomain(textdomain(nullptr));
  }
};

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

TEST(LocalizedQuotesWithoutLanguage, AreTheKeys) {
  const SmartQuotes quotes = localizedSmartQuotes();
  EXPECT_EQ(quotes.opening, u"\u201E");
  EXPECT_EQ(quotes.closing, u"\u201D");
}

ServicePasteboard richPasteboard(const AttributedText& text) {
  ServicePasteboard pasteboard("request");
  pasteboard.declareTypes({std::string(kRTFPboardType)});
  pasteboard.setData(writeRtf(text), kRTFPboardType);
  return pasteboard;
}

AttributedText readRichResult(const ServicePasteboard& pasteboard) {
  EXPECT_EQ(pasteboard.types(), std::vector<std::string>{std::string(kRTFPboardType)});
  const std::optional<std::string_view> bytes = pasteboard.dataForType(kRTFPboardType);
  return bytes ? readRtf(*bytes).text : AttributedText();
}

TEST_F(LocalizedQuotes, SmartQuotesServiceUsesTheUsersLanguageOnRichText) {
  selectLanguage("fr");
  if (IsSkipped()) return;
  Textrix provider;
  ServicePasteboard pasteboard = richPasteboard(alternating({u"\"", u"a'b", u"\""}));
  std::string error;
  provider.doSmartQuotesService(pasteboard, "", error);
  EXPECT_EQ(error, "");
  EXPECT_EQ(readRichResult(pasteboard), alternating({u"\u00AB", u"a\u2019b", u"\u00BB"}));
}

TEST(QuoteServices, EditPlainAndRichTextAndReportAMissingText) {
  Textrix provider;
  using Handler = void (Textrix::*)(ServicePasteboard&, std::string_view, std::string&);
  struct Case {
    Handler handler;
    std::string_view message;
    std::u16string_view plain;
    std::u16string_view plainResult;
    AttributedText rich;
    AttributedText richResult;
  };
  const Case cases[] = {
      {&Textrix::doRemoveQuotesService, kRemoveQuotesMessage, u"> a <b>", u" a b",
       alternating({u"> ", u"a", u"<b>"}), alternating({u" ", u"a", u"b"})},
      {&Textrix::doSmartQuotesService, kQuotesMessage, u"\"it's\"", u"\u201Eit\u2019s\u201D",
       alternating({u"x", u"\"", u"y"}), alternating({u"x", u"\u201E", u"y"})},
      {&Textrix::doStraightQuotesService, kQuotesMessage, u"\u201Cit\u2019s\u201D", u"\"it's\"",
       alternating({u"x", u"\u00BB", u"y"}), alternating({u"x", u"\"", u"y"})},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(test.message);
    std::string error;
    ServicePasteboard plain("request");
    plain.declareTypes({std::string(kStringPboardType)});
    plain.setString(std::u16string(test.plain), kStringPboardType);
    (provider.*test.handler)(plain, "", error);
    EXPECT_EQ(error, "");
    EXPECT_EQ(plain.stringForType(kStringPboardType), test.plainResult);

    ServicePasteboard rich = richPasteboard(test.rich);
    (provider.*test.handler)(rich, "", error);
    EXPECT_EQ(error, "");
    EXPECT_EQ(readRichResult(rich), test.richResult);

    ServicePasteboard empty("request");
    empty.declareTypes({std::string(kStringPboardType)});
    (provider.*test.handler)(empty, "", error);
    EXPECT_EQ(error, test.message);
    EXPECT_FALSE(empty.stringForType(kStringPboardType));
  }
}

}  // namespace
}  // namespace textrix
