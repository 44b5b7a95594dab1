// SPDX-License-Identifier: MIT
#include "services/statistics.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <random>
#include <string>

#include "runtime/pasteboard.h"
#include "services/textrix.h"
#include "support/language.h"
#include "support/pasteboards.h"
#include "support/perform.h"
#include "text/charsets.h"
#include "text/encodings.h"
#include "text/lines.h"

namespace textrix {
namespace {

using testing_services::perform;

using namespace std::literals;

TEST(Statistics, CountsWhiteUnitsWordsAndLines) {
  struct Row {
    std::u16string_view text;
    TextStatistics counts;  // characters, spaces, words, lines
  };
  const Row rows[] = {
      {u"Hello world", {10, 1, 2, 1}}, {u"a\n", {1, 1, 1, 1}},
      {u"a\r\nb", {2, 2, 2, 2}},       {u" \t\n\n", {0, 4, 0, 2}},
      {u"a , b", {3, 2, 3, 1}},        {u"x\u00A0\0\u0003\uFFFC\uFEFFy"sv, {2, 5, 2, 4}},
      {u"\U0001F600!", {3, 0, 1, 1}},  {u"", {0, 0, 0, 0}},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    const TextStatistics counts = statisticsOfString(row.text);
    EXPECT_EQ(counts, row.counts);
    EXPECT_EQ(counts.total(), row.text.size());
  }
}

// The counts one unit at a time, as the header defines them.
TextStatistics countedOneUnitAtATime(std::u16string_view text) {
  const CharacterSetRep& white = *whiteCharacterSetRep();
  TextStatistics counts;
  bool afterWhite = true;
  for (const char16_t c : text) {
    if (white.contains(c)) {
      ++counts.spaces;
      afterWhite = true;
    } else {
      ++counts.characters;
      counts.words += afterWhite;
      afterWhite = false;
    }
  }
  counts.lines = numberOfLines(text);
  return counts;
}

// length (at least 1) units of words, surrogates among their units, and runs of white units of
// every kind: blanks, line ends, NUL, U+0003, U+0085, U+00A0, U+3000, U+FEFF, U+FFFC.
std::u16string wordsAndWhites(unsigned seed, std::size_t length) {
  constexpr std::u16string_view kWhites = u"  \t\n\r\f\v\u0003\u0085\u00A0\u2028\u3000\uFEFF\uFFFC";
  constexpr std::u16string_view kLetters = u"ab\u00DF\u4E00\U0001F600\uFFFF,";
  std::mt19937 random(seed);
  std::u16string text;
  while (text.size() < length) {
    const bool white = random() % 3 == 0;
    for (std::size_t n = 1 + random() % 9; n > 0 && text.size() < length; --n) {
      text += white ? kWhites[random() % kWhites.size()] : kLetters[random() % kLetters.size()];
    }
  }
  text[0] = u'\0';  // NUL is white too
  return text;
}

TEST(Statistics, CountsAsOneUnitAtATimeWhereverTheWordsAndLinesFall) {
  // Lengths around the 64 units that are counted together.
  const std::size_t lengths[] = {1, 2, 63, 64, 65, 127, 128, 129, 1000, 4103};
  for (const std::size_t length : lengths) {
    for (unsigned seed = 1; seed <= 8; ++seed) {
      SCOPED_TRACE(testing::Message() << "length " << length << " seed " << seed);
      const std::u16string text = wordsAndWhites(seed, length);
      EXPECT_EQ(statisticsOfString(text), countedOneUnitAtATime(text));
    }
  }
}

TEST(ExhaustiveStatistics, EveryUnitIsASpaceOrACharacterAsTheWhiteClassSays) {
  const CharacterSetRep& white = *whiteCharacterSetRep();
  for (std::size_t c = 0; c <= 0xFFFF; ++c) {
    const char16_t between[] = {u'x', static_cast<char16_t>(c), u'x'};
    const TextStatistics counts = statisticsOfString(std::u16string_view(between, 3));
    const bool isWhite = white.contains(static_cast<char16_t>(c));
    ASSERT_EQ(counts.spaces, isWhite ? 1u : 0u) << c;
    ASSERT_EQ(counts.words, isWhite ? 2u : 1u) << c;
  }
}

TEST(Statistics, MessageHasTheLabelsBeforeTheirNumbers) {
  EXPECT_EQ(statisticsMessage({1234567, 0, 89, 10}),
            u"Characters:1234567\nSpaces:0\nTotal:1234567\n\nWords:89\nLines:10\n");
}

using LocalizedStatistics = LanguageTest;

TEST_F(LocalizedStatistics, TitleAndLabelsComeFromTheCatalogOfTheLanguage) {
  struct Row {
    const char* language;
    std::u16string_view title, message;
  };
  const Row rows[] = {
      {"de", u"Statistik", u"Zeichen:3\nLeerzeichen:1\nGesamt:4\n\nWörter:2\nZeilen:1\n"},
      {"fr", u"Statistiques", u"Caractères : 3\nEspaces : 1\nTotal : 4\n\nMots : 2\nLignes : 1\n"},
      {"la", u"Statistics", u"Characters:3\nSpaces:1\nTotal:4\n\nWords:2\nLines:1\n"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.language);
    selectLanguage(row.language);
    if (IsSkipped()) return;
    EXPECT_EQ(statisticsTitle(), row.title);
    EXPECT_EQ(statisticsMessage({3, 1, 2, 1}), row.message);
  }
}

TEST(StatisticsService, ShowsThePanelThenEndsTheProcessAndLeavesThePasteboard) {
  std::vector<std::u16string> events;
  ServiceEnvironment environment;
  environment.runAlertPanel = [&](std::u16string_view title, std::u16string_view message) {
    events.push_back(std::u16string(title) + u"|" + std::u16string(message));
  };
  environment.terminate = [&] { events.push_back(u"terminate"); };
  Textrix provider(std::move(environment));

  const std::string rtf = "{\\rtf1\\ansi Hello {\\b world}}";
  ServicePasteboard pasteboard = testing_pasteboards::pasteboardWith(kRTFPboardType, rtf);
  EXPECT_EQ(perform(provider, "statistics", pasteboard), "");
  EXPECT_EQ(pasteboard.changeCount(), 1);
  EXPECT_EQ(pasteboard.dataForType(kRTFPboardType), rtf);
  // Nothing to read: no panel, and the process goes on.
  ServicePasteboard empty("request");
  EXPECT_EQ(perform(provider, "statistics", empty), "");
  EXPECT_EQ(events, (std::vector<std::u16string>{
                        u"Statistics|Characters:10\nSpaces:1\nTotal:11\n\nWords:2\nLines:1\n",
                        u"terminate"}));
}

}  // namespace
}  // namespace textrix
