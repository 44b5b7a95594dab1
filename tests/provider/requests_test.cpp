// SPDX-License-Identifier: MIT
// The provider's request handling and its keep-alive loop, without a bus.
#include "provider/requests.h"

#include <gtest/gtest.h>

#include <map>
#include <optional>
#include <stdexcept>
#include <string>
#include <vector>

#include "provider/bus_adaptor.h"
#include "provider/serve_loop.h"
#include "services/catalogue.h"
#include "services/statistics.h"
#include "support/pasteboards.h"

namespace textrix {
namespace {

// What a pasteboard hands back, as it goes out on the bus: each type with its bytes, plain text as
// UTF-8.
using HandedBack = std::vector<std::pair<std::string, std::string>>;

HandedBack handedBack(const ServicePasteboard& pasteboard) {
  HandedBack items;
  for (const OutgoingItem& item : outgoingItems(pasteboard)) {
    std::string bytes(item.size(), '\0');
    item.copyTo(bytes.data());
    items.emplace_back(item.type, std::move(bytes));
  }
  return items;
}

TEST(PasteboardItems, MimeAliasesNameThePasteboardTypes) {
  const struct {
    std::string_view name;
    std::optional<std::string_view> type;
  } cases[] = {
      {"text/plain;charset=utf-8", kStringPboardType},
      {"text/rtf", kRTFPboardType},
      {"application/x-rtfd", kRTFDPboardType},
      {"NSStringPboardType", kStringPboardType},
      {"NSTIFFPboardType", kTIFFPboardType},
      {"text/plain", std::nullopt},
      {"text/html", std::nullopt},
      {"nsstringpboardtype", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(canonicalPasteboardType(c.name), c.type);
  }
}

TEST(PasteboardItems, EveryBadPasteboardIsNamedAndLeavesNothing) {
  using enum RequestProblem;
  const std::string huge(kMaxSelectionBytes, 'x');
  const struct {
    std::vector<PasteboardItem> items;
    RequestProblem problem;
    std::string message;
  } cases[] = {
      {{{"NSStringPboardType", "a"}, {"text/plain;charset=utf-8", "b"}},
       malformedPasteboard,
       "the type NSStringPboardType is given twice"},
      {{{"", "a"}}, malformedPasteboard, "a type has no name"},
      {{{"text/html", "<b>"}}, unknownType, "unknown pasteboard type text/html"},
      {{{"text/rtf", "{\\rtf1}"}, {"NSStringPboardType", "ok \xC3\x28"}},
       invalidUtf8,
       "invalid UTF-8 at byte 3"},
      {{{"text/rtf", huge}, {"NSStringPboardType", "a"}},
       tooLarge,
       "the selection is larger than 32 MiB"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.message);
    ServicePasteboard pasteboard;
    std::optional<RequestError> error = pasteboardFromItems(c.items, pasteboard);
    ASSERT_TRUE(error);
    EXPECT_EQ(error->problem, c.problem);
    EXPECT_EQ(error->message, c.message);
    EXPECT_TRUE(pasteboard.types().empty());
  }
}

TEST(PasteboardItems, RoundTripKeepsOrderAndBytes) {
  const std::vector<PasteboardItem> items = {
      {"text/rtf", "{\\rtf1 caf\\'e9}"}, {"NSStringPboardType", "caf\xC3\xA9 \xF0\x9F\x98\x80"}};
  ServicePasteboard pasteboard;
  ASSERT_FALSE(pasteboardFromItems(items, pasteboard));
  EXPECT_EQ(pasteboard.types(),
            (std::vector<std::string>{"NSRTFPboardType", "NSStringPboardType"}));
  EXPECT_EQ(pasteboard.stringForType(kStringPboardType), u"café 😀");
  EXPECT_EQ(handedBack(pasteboard),
            (HandedBack{{"NSRTFPboardType", std::string(items[0].content)},
                        {"NSStringPboardType", std::string(items[1].content)}}));
}

TEST(RequestErrors, EveryProblemIsNamedUnderTheInterfaceAndOnlyThoseNamesReadBack) {
  using enum RequestProblem;
  for (RequestProblem problem : {unknownService, malformedPasteboard, unknownType, invalidUtf8,
                                 tooLarge, invalidOption, internal}) {
    const std::string name = RequestError{problem, ""}.name();
    SCOPED_TRACE(name);
    EXPECT_TRUE(name.starts_with("org.textrix.Textrix1.Error."));
    EXPECT_EQ(requestProblemNamed(name), problem);
  }
  EXPECT_EQ((RequestError{RequestProblem::invalidUtf8, ""}.name()),
            "org.textrix.Textrix1.Error.InvalidUtf8");
  for (std::string_view name :
       {"org.freedesktop.DBus.Error.ServiceUnknown", "org.textrix.Textrix1.Error.",
        "org.textrix.Textrix1.Error.NoSuchProblem", "org.textrix.Textrix1.Error.toolarge",
        "TooLarge"}) {
    EXPECT_EQ(requestProblemNamed(name), std::nullopt) << name;
  }
}

TEST(ProviderRequests, MailRequestsOffTheGeneralPasteboardAreHandedToTheClipboard) {
  const struct {
    std::string application;
    std::string pasteboard;
    bool published;
  } cases[] = {
      {"Mail", "", true},
      {"Mail", "NSServicesPboard", true},
      {"Mail", "NSGeneralPboard", false},
      {"TextEdit", "", false},
      {"", "", false},
      {"mail", "", false},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.application + " on " + c.pasteboard);
    HandedBack published;
    ServiceEnvironment environment;
    environment.publishGeneralPasteboard = [&](const ServicePasteboard& general) {
      EXPECT_EQ(general.name(), kGeneralPboard);
      published = handedBack(general);
    };
    RequestServer provider(std::move(environment));
    RequestOutcome outcome = provider.perform("upper", {{{"NSStringPboardType", "abc"}}}, "",
                                              {c.application, c.pasteboard});
    EXPECT_EQ(handedBack(outcome.pasteboard), (HandedBack{{"NSStringPboardType", "ABC"}}));
    EXPECT_EQ(!published.empty(), c.published);
    if (c.published) {
      EXPECT_EQ(published, handedBack(outcome.pasteboard));
    }
  }
}

TEST(ProviderRequests, ListsTheServicesThatCanBePerformed) {
  RequestServer provider;
  std::vector<ServiceDescription> services = provider.listServices();
  ASSERT_FALSE(services.empty());
  EXPECT_NE(std::find(services.front().sendTypes.begin(), services.front().sendTypes.end(),
                      "NSRTFPboardType"),
            services.front().sendTypes.end());
  for (const ServiceDescription& service : services) {
    SCOPED_TRACE(service.name);
    EXPECT_FALSE(provider.perform(service.name, {}, "", {}).failure);
  }
}

// The refusals themselves are checked on a bus (tests/apps/provider_test.cpp): options the
// provider does not know are ignored, and the application is passed on.
TEST(BusHandlers, UnknownOptionsAreIgnored) {
  RequestServer provider;
  const PasteboardItem text[] = {{"text/plain;charset=utf-8", "a"}};
  for (const char* option : {"unknown-option", "application"}) {
    SCOPED_TRACE(option);
    const RequestOutcome outcome =
        performOnBus(provider, "upper", text, "", {{option, sdbus::Variant(std::string("Mail"))}});
    EXPECT_EQ(handedBack(outcome.pasteboard), (HandedBack{{"NSStringPboardType", "A"}}));
  }
}

// A request that takes its alert back gets it in the outcome and nothing is shown; one that does
// not has it shown, as every request had before the option, and gets none. Statistics ends the
// process either way.
TEST(ProviderRequests, AlertIsShownOrHandedBackAsTheRequestAsks) {
  const AlertPanel counts{statisticsTitle(), statisticsMessage(statisticsOfString(u"two words"))};
  const struct {
    bool returnPanel;
    std::optional<AlertPanel> handedBack;
    std::vector<AlertPanel> shown;
  } cases[] = {
      {false, std::nullopt, {counts}},
      {true, counts, {}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.returnPanel);
    std::vector<AlertPanel> shown;
    ServiceEnvironment environment;
    environment.runAlertPanel = [&](std::u16string_view title, std::u16string_view message) {
      shown.push_back({std::u16string(title), std::u16string(message)});
    };
    RequestServer provider(std::move(environment));
    RequestOptions options;
    options.returnPanel = c.returnPanel;
    const RequestOutcome outcome =
        provider.perform("statistics", {{{"NSStringPboardType", "two words"}}}, "", options);
    EXPECT_FALSE(outcome.failure);
    EXPECT_EQ(outcome.panel, c.handedBack);
    EXPECT_EQ(shown, c.shown);
    EXPECT_TRUE(outcome.pasteboard.types().empty());
    EXPECT_TRUE(provider.terminationRequested());
    // The panel belongs to its request alone.
    EXPECT_FALSE(provider.perform("upper", {{{"NSStringPboardType", "a"}}}, "", options).panel);
  }
}

TEST(BusHandlers, PanelOptionSaysWhetherTheAlertComesBack) {
  using Options = std::map<std::string, sdbus::Variant>;
  const struct {
    Options options;
    std::optional<bool> returnPanel;  // none: refused as an invalid option
  } cases[] = {
      {{}, false},
      {{{"panel", sdbus::Variant(std::string("show"))}}, false},
      {{{"panel", sdbus::Variant(std::string("return"))}}, true},
      {{{"panel", sdbus::Variant(std::string("Return"))}}, std::nullopt},
      {{{"panel", sdbus::Variant(true)}}, std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.returnPanel));
    try {
      EXPECT_EQ(requestOptionsFromBus(c.options).returnPanel, c.returnPanel);
    } catch (const sdbus::Error& error) {
      EXPECT_FALSE(c.returnPanel) << error.getMessage();
      EXPECT_EQ(error.getName(), "org.textrix.Textrix1.Error.InvalidOption");
    }
  }
}

// The panel goes after the result, as UTF-8 under the panel's own types.
TEST(BusHandlers, ReplyCarriesTheResultThenThePanel) {
  RequestOutcome outcome;
  outcome.pasteboard = testing_pasteboards::plainPasteboard(u"r\u00e9sultat");
  outcome.panel = AlertPanel{u"Statistik", u"W\u00f6rter:2\n"};
  HandedBack items;
  for (const OutgoingItem& item : replyItems(outcome)) {
    std::string bytes(item.size(), '\0');
    item.copyTo(bytes.data());
    items.emplace_back(item.type, std::move(bytes));
  }
  EXPECT_EQ(items, (HandedBack{{"NSStringPboardType", "r\xC3\xA9sultat"},
                               {"org.textrix.Panel.Title", "Statistik"},
                               {"org.textrix.Panel.Message", "W\xC3\xB6rter:2\n"}}));
  outcome.panel.reset();
  EXPECT_EQ(replyItems(outcome).size(), 1u);
}

TEST(KeepAliveLoop, ServesSlicesWhileSpeaking) {
  for (int speakingSlices : {0, 1, 3}) {
    SCOPED_TRACE(speakingSlices);
    int slices = 0, questions = 0;
    std::vector<std::string> logged;
    runKeepAliveLoop([&] { ++slices; }, [&] { return questions++ < speakingSlices; },
                     [&](const std::string& line) { logged.push_back(line); });
    EXPECT_EQ(slices, speakingSlices + 1);
    EXPECT_TRUE(logged.empty());
  }
}

TEST(KeepAliveLoop, AnExceptionEndsTheLoopAndIsLogged) {
  int slices = 0;
  std::vector<std::string> logged;
  runKeepAliveLoop(
      [&] {
        if (++slices == 2) throw std::runtime_error("the bus went away");
      },
      [] { return true; }, [&](const std::string& line) { logged.push_back(line); });
  EXPECT_EQ(slices, 2);
  EXPECT_EQ(logged, std::vector<std::string>{"the bus went away"});
}

}  // namespace
}  // namespace textrix
