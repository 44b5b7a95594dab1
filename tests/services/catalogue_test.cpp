// SPDX-License-Identifier: MIT
#include "services/catalogue.h"

#include <gtest/gtest.h>

#include <optional>
#include <set>
#include <string>

#include "runtime/pasteboard.h"
#include "services/messages.h"
#include "services/textrix.h"
#include "support/files.h"
#include "support/pasteboards.h"
#include "support/perform.h"
#include "support/texts.h"
#include "text/encodings.h"

namespace textrix {
namespace {

using testing_pasteboards::pasteboardWith;
using testing_pasteboards::plainPasteboard;
using testing_pasteboards::richPasteboard;
using testing_pasteboards::richResult;
using testing_services::perform;
using testing_texts::alternating;

TEST(Catalogue, HoldsEveryServiceOnceWithItsHandlerAndTypes) {
  std::set<std::string_view> names, handlers;
  for (const ServiceEntry& entry : serviceCatalogue()) {
    SCOPED_TRACE(entry.name);
    EXPECT_TRUE(names.insert(entry.name).second);
    EXPECT_TRUE(handlers.insert(entry.handlerName).second);
    // The read mode decides which kind of transform the runner calls, and the types sent.
    const bool readsPlain = entry.readMode == ReadMode::plain || entry.readMode == ReadMode::none;
    EXPECT_EQ(std::holds_alternative<PlainTransform>(entry.transform), readsPlain);
    EXPECT_EQ(entry.sendTypes.size(), entry.readMode == ReadMode::none    ? 0u
                                      : entry.readMode == ReadMode::plain ? 1u
                                                                          : 3u);
    // Only the services that write nothing back declare no return type.
    EXPECT_EQ(entry.returnTypes.empty(), entry.name.starts_with("speak") ||
                                             entry.name == "stop-speaking" ||
                                             entry.name == "statistics");
    EXPECT_TRUE(entry.handlerName.starts_with("do") &&
                entry.handlerName.ends_with("Service:userData:error:"));
    EXPECT_TRUE(entry.errorMessage.empty() || entry.errorMessage.starts_with("Error: Couldn't"));
    EXPECT_EQ(findService(entry.name), &entry);
    EXPECT_EQ(findService(entry.handlerName), &entry);
  }
  EXPECT_EQ(findService("no-such-service"), nullptr);
}

// A chooser shows the summary on the title's line, so it must fit there and tell the services
// apart.
TEST(Catalogue, EveryServiceHasItsOwnOneLineSummary) {
  std::set<std::string_view> summaries;
  for (const ServiceEntry& entry : serviceCatalogue()) {
    SCOPED_TRACE(entry.name);
    ASSERT_FALSE(entry.summary.empty());
    EXPECT_TRUE(summaries.insert(entry.summary).second);
    EXPECT_EQ(entry.summary.find_first_of("\n\r"), std::string_view::npos);
    EXPECT_LE(entry.summary.size(), 80u);
    EXPECT_TRUE(entry.summary.front() >= 'A' && entry.summary.front() <= 'Z');
    EXPECT_TRUE(entry.summary.ends_with('.'));
  }
}

// Every service on a plain selection, and on no selection at all: then it reports its message and
// leaves the pasteboard as it was. The services that speak, insert the date or show a panel need an
// environment of their own and are tested with it (speech_test, insert_test, statistics_test).
TEST(CatalogueHandlers, EditAPlainSelectionOrReportTheirMessageForNone) {
  const struct {
    std::string_view name;
    std::u16string_view plain;
    std::u16string_view written;
    std::string_view message;
  } rows[] = {
      {"upper", u"stra\u00DFe x", u"STRASSE X", kUpperCaseMessage},
      {"lower", u"ABC \u0130", u"abc i\u0307", kLowerCaseMessage},
      {"capitalize-words", u"hello wORLD", u"Hello World", kCapitalizeMessage},
      {"capitalize-sentences", u"one. two; \"three\"", u"One. Two; \"Three\"", kCapitalizeMessage},
      {"shift-left", u"\ta\n    b\nc", u"a\nb\nc", kShiftLeftMessage},
      {"shift-right", u"a\r\nb", u"\ta\r\n\tb", kShiftRightMessage},
      {"entab", u"a       b\n    c", u"a\t\tb\n\tc", kTabsMessage},
      {"detab", u"a\tb\n\tc", u"a   b\n    c", kTabsMessage},
      {"trim-left", u"  a  \n\tb ", u"a  \nb ", kTrimMessage},
      {"trim-right", u"  a  \n\tb ", u"  a\n\tb", kTrimMessage},
      {"trim", u"  a  \n\tb ", u"a\nb", kTrimMessage},
      // Sorting keeps each line's end in place, so that mixed endings survive.
      {"sort-ascending", u"b\r\nA\na", u"a\r\nA\nb", kSortMessage},
      {"sort-descending", u"a\r\nA\nb", u"b\r\na\nA", kSortMessage},
      {"insert-path", u"/nonexistent/textrix", u"", kInsertPathMessage},
      {"reformat", u"> one\n> two\n\n> three", u"one two\n\nthree", kReformatMessage},
      {"remove-attachments", u"a \uFFFC b", u"a \uFFFC b", kRemoveAttachmentsMessage},
      {"remove-links", u"see https://a.example", u"see https://a.example", kRemoveLinksMessage},
      {"remove-multiple-spaces", u"a  \t b\n\n\nc", u"a b\n\n\nc", kRemoveMultipleSpacesMessage},
      // The feeds share the message of the spaces.
      {"remove-multiple-feeds", u"a  b\n\n\nc", u"a  b\nc", kRemoveMultipleSpacesMessage},
      {"remove-quotes", u"> a\n>> b <c>", u" a\n b c", kRemoveQuotesMessage},
      {"remove-line-endings", u"a\r\nb\nc\u2028d", u"a b c d", kLineEndingsMessage},
      {"macintosh-line-endings", u"a\r\nb\nc", u"a\rb\rc", kLineEndingsMessage},
      {"unix-line-endings", u"a\r\nb\rc", u"a\nb\nc", kLineEndingsMessage},
      {"windows-line-endings", u"a\nb\rc", u"a\r\nb\r\nc", kLineEndingsMessage},
      {"rotate", u"Hello, \u00E9z!", u"Uryyb, \u00E9m!", kRotateMessage},
      {"mac2windows", u"\u00DF\u00E9", u"\uFB02\u00C8", kEncodingMessage},
      {"windows2mac", u"\u00A7\u00E9", u"\u00A4\u017D", kEncodingMessage},
      {"smart-quotes", u"\"it's\"", u"\u201Eit\u2019s\u201D", kQuotesMessage},
      {"straight-quotes", u"\u201Cit\u2019s\u201D \u00ABx\u00BB", u"\"it's\" \"x\"",
       kQuotesMessage},
  };
  const std::set<std::string_view> testedElsewhere = {
      "speak-native",         "speak-german",      "stop-speaking",    "statistics",
      "insert-time",          "insert-short-date", "insert-long-date", "insert-short-date-time",
      "insert-long-date-time"};
  std::set<std::string_view> covered = testedElsewhere;
  Textrix provider;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    covered.insert(row.name);
    ServicePasteboard plain = plainPasteboard(std::u16string(row.plain));
    EXPECT_EQ(perform(provider, row.name, plain), "");
    EXPECT_EQ(plain.types(), std::vector<std::string>{std::string(kStringPboardType)});
    EXPECT_EQ(encodeUtf8(plain.stringForType(kStringPboardType).value_or(u"<none>")),
              encodeUtf8(row.written));

    ServicePasteboard empty("request");
    EXPECT_EQ(perform(provider, row.name, empty), row.message);
    EXPECT_EQ(empty.changeCount(), 0);
  }
  EXPECT_EQ(covered.size(), serviceCatalogue().size()) << "a service without a row";
}

// The services that read rich text write rich text back, their edits on the characters and the
// attributes where they were.
TEST(CatalogueHandlers, EditARichSelectionAndWriteItBackAsRichText) {
  AttributedText link(u"a ");
  AttributeDictionary linked;
  linked.setObject(Link{u"https://a.example"}, kLinkAttributeName);
  linked.setObject(kUnderlineStyleSingle, kUnderlineStyleAttributeName);
  linked.setObject(kLinkColor, kForegroundColorAttributeName);
  link.appendString(u"link", linked);
  const struct {
    std::string_view name;
    ServicePasteboard request;
    std::u16string_view written;
    std::optional<AttributedText> expected;  // the whole text, where its attributes matter
  } rows[] = {
      // The walk keeps the run ends of the text it started from: "ß" becoming "SS" moves the bold
      // run's end one unit short of the text's end, so its last letter stays as it was.
      {"upper", richPasteboard(alternating({u"a\u00DF", u"b c"})), u"ASSB c",
       alternating({u"ASS", u"B c"})},
      {"capitalize-words", richPasteboard(alternating({u"hEL", u"LO wORLD"})), u"HelLo World",
       alternating({u"Hel", u"Lo World"})},
      {"remove-quotes", richPasteboard(alternating({u">", u"> a", u"<b>"})), u" ab",
       alternating({u"", u" a", u"b"})},
      {"smart-quotes", richPasteboard(alternating({u"\"", u"a", u"'", u"\""})),
       u"\u201Ea\u2019\u201D", alternating({u"\u201E", u"a", u"\u2019", u"\u201D"})},
      {"straight-quotes", richPasteboard(alternating({u"\u00AB", u"a", u"\u2019", u"\u00BB"})),
       u"\"a'\"", alternating({u"\"", u"a", u"'", u"\""})},
      {"remove-links", richPasteboard(link), u"a link", std::nullopt},
      // Without attachments left, RTFD comes back as RTF.
      {"remove-attachments", pasteboardWith(kRTFDPboardType, fixture("attachment.rtfd")), u"A ",
       std::nullopt},
      {"reformat",
       pasteboardWith(kRTFPboardType,
                      "{\\rtf1\\ansi{\\fonttbl{\\f0 Helvetica;}}\\f0\\fs24 > one\\par > {\\b "
                      "two}\\par\\par \\fs36 Big\\par}"),
       u"one two\n\nBig", std::nullopt},
  };
  Textrix provider;
  for (const auto& row : rows) {
    SCOPED_TRACE(row.name);
    ServicePasteboard pasteboard = row.request;
    EXPECT_EQ(perform(provider, row.name, pasteboard), "");
    ASSERT_EQ(pasteboard.types(), std::vector<std::string>{std::string(kRTFPboardType)});
    const std::optional<AttributedText> result = richResult(pasteboard);
    ASSERT_TRUE(result);
    EXPECT_EQ(encodeUtf8(result->string()), encodeUtf8(row.written));
    if (row.expected) {
      EXPECT_EQ(*result, *row.expected);
    }
    for (const AttributedText::Run& run : result->runs()) {
      EXPECT_EQ(run.attributes.find(kLinkAttributeName), nullptr);
      if (row.name == "remove-links") {
        EXPECT_EQ(run.attributes.find(kUnderlineStyleAttributeName), nullptr);
      }
    }
    if (row.name == "reformat") {
      EXPECT_TRUE(result->attributesAtIndex(4).get<Font>(kFontAttributeName)->bold);
    }
  }
}

}  // namespace
}  // namespace textrix
