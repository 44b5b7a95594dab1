#include "services/statistics.h"

#include <gtest/gtest.h>

#include <cstdlib>

#include "runtime/pasteboard.h"
#include "services/textrix.h"
#include "support/pasteboards.h"
#include "support/perform.h"
#include "text/encodings.h"

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

TEST(Statistics, MessageHasTheLabelsBeforeTheirNumbers) {
  EXPECT_EQ(statisticsMessage({1234567, 0, 89, 10}),
            u"Characters:1234567\nSpaces:0\nTotal:1234567\n\nWords:89\nLines:10\n");
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
