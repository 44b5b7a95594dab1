// The provider's request handling and its keep-alive loop, without a bus.
#include "provider/requests.h"

#include <gtest/gtest.h>

#include <stdexcept>

#include "provider/bus_adaptor.h"
#include "provider/serve_loop.h"
#include "services/catalogue.h"

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
  const std::string tooLarge(kMaxSelectionBytes, 'x');
  const struct {
    std::vector<PasteboardItem> items;
    RequestProblem problem;
    std::string message;
  } cases[] = {
      {{{"NSStringPboardType", "a"}, {"text/plain;charset=utf-8", "b"}},
       RequestProblem::malformedPasteboard,
       "the type NSStringPboardType is given twice"},
      {{{"", "a"}}, RequestProblem::malformedPasteboard, "a type has no name"},
      {{{"text/html", "<b>"}}, RequestProblem::unknownType, "unknown pasteboard type text/html"},
      {{{"text/rtf", "{\\rtf1}"}, {"NSStringPboardType", "ok \xC3\x28"}},
       RequestProblem::invalidUtf8,
       "invalid UTF-8 at byte 3"},
      {{{"text/rtf", tooLarge}, {"NSStringPboardType", "a"}},
       RequestProblem::tooLarge,
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

TEST(RequestErrors, NamesAreUnderTheInterfaceAndReadBack) {
  for (RequestProblem problem :
       {RequestProblem::unknownService, RequestProblem::malformedPasteboard,
        RequestProblem::unknownType, RequestProblem::invalidUtf8, RequestProblem::tooLarge,
        RequestProblem::invalidOption, RequestProblem::internal}) {
    const std::string name = RequestError{problem, ""}.name();
    SCOPED_TRACE(name);
    EXPECT_TRUE(name.starts_with("org.textrix.Textrix1.Error."));
    EXPECT_EQ(requestProblemNamed(name), problem);
  }
  const RequestError invalidUtf8{RequestProblem::invalidUtf8, ""};
  EXPECT_EQ(invalidUtf8.name(), "org.textrix.Textrix1.Error.InvalidUtf8");
}

TEST(RequestErrors, OnlyTheNamesOfProblemsReadBack) {
  const struct {
    std::string_view name;
    std::optional<RequestProblem> problem;
  } cases[] = {
      {"org.textrix.Textrix1.Error.TooLarge", RequestProblem::tooLarge},
      {"org.freedesktop.DBus.Error.ServiceUnknown", std::nullopt},
      {"org.textrix.Textrix1.Error.", std::nullopt},
      {"org.textrix.Textrix1.Error.NoSuchProblem", std::nullopt},
      {"org.textrix.Textrix1.Error.toolarge", std::nullopt},
      {"TooLarge", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    EXPECT_EQ(requestProblemNamed(c.name), c.problem);
  }
}

TEST(ProviderRequests, AnswersWithWhatTheServiceWrote) {
  RequestServer provider;
  RequestOutcome outcome = provider.perform("upper",
                                            {{{"text/plain;charset=utf-8",
                                               "stra\xC3\x9F"
                                               "e"}}},
                                            "", {});
  EXPECT_FALSE(outcome.failure);
  EXPECT_EQ(outcome.error, "");
  EXPECT_EQ(handedBack(outcome.pasteboard), (HandedBack{{"NSStringPboardType", "STRASSE"}}));

  outcome = provider.perform(
      "doLowerService:userData:error:", {{{"text/rtf", "{\\rtf1\\ansi {\\b BOLD}}"}}}, "", {});
  const HandedBack lowered = handedBack(outcome.pasteboard);
  ASSERT_EQ(lowered.size(), 1u);
  EXPECT_EQ(lowered[0].first, "NSRTFPboardType");
  EXPECT_NE(lowered[0].second.find("bold"), std::string::npos);
}

TEST(ProviderRequests, ServiceMessageComesWithAnEmptyPasteboard) {
  RequestServer provider;
  // RTF that does not parse, and no plain text beside it: the service has no text to work on.
  RequestOutcome outcome = provider.perform("upper", {{{"text/rtf", "not rtf"}}}, "", {});
  EXPECT_FALSE(outcome.failure);
  EXPECT_TRUE(outcome.error.starts_with("Error: Couldn't")) << outcome.error;
  EXPECT_TRUE(handedBack(outcome.pasteboard).empty());
}

TEST(ProviderRequests, RefusedRequestsNameTheirProblem) {
  RequestServer provider;
  const struct {
    std::string service;
    std::vector<PasteboardItem> items;
    RequestProblem problem;
  } cases[] = {
      {"no-such-service", {{"NSStringPboardType", "a"}}, RequestProblem::unknownService},
      {"upper", {{"image/png", "a"}}, RequestProblem::unknownType},
      {"upper", {{"NSStringPboardType", "\xFF"}}, RequestProblem::invalidUtf8},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.service);
    RequestOutcome outcome = provider.perform(c.service, c.items, "", {});
    ASSERT_TRUE(outcome.failure);
    EXPECT_EQ(outcome.failure->problem, c.problem);
    EXPECT_TRUE(handedBack(outcome.pasteboard).empty());
  }
  // The provider goes on serving.
  EXPECT_FALSE(provider.perform("upper", {{{"NSStringPboardType", "a"}}}, "", {}).failure);
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
  EXPECT_EQ(services.front().name, "upper");
  EXPECT_EQ(services.front().handler, "doUpperService:userData:error:");
  EXPECT_NE(std::find(services.front().sendTypes.begin(), services.front().sendTypes.end(),
                      "NSRTFPboardType"),
            services.front().sendTypes.end());
  for (const ServiceDescription& service : services) {
    SCOPED_TRACE(service.name);
    EXPECT_FALSE(provider.perform(service.name, {}, "", {}).failure);
  }
}

TEST(BusHandlers, RefusalsBecomeNamedBusErrors) {
  RequestServer provider;
  const auto errorName = [&](const std::string& service, std::span<const PasteboardItem> pasteboard,
                             const BusOptions& options) -> std::string {
    try {
      performOnBus(provider, service, pasteboard, "", options);
    } catch (const sdbus::Error& error) {
      return error.getName();
    }
    return "";
  };
  const PasteboardItem text[] = {{"text/plain;charset=utf-8", "a"}};
  EXPECT_EQ(errorName("nope", text, {}), "org.textrix.Textrix1.Error.UnknownService");
  EXPECT_EQ(errorName("upper", text, {{"application", sdbus::Variant(std::int32_t{3})}}),
            "org.textrix.Textrix1.Error.InvalidOption");
  EXPECT_EQ(errorName("upper", text, {{"unknown-option", sdbus::Variant(std::int32_t{3})}}), "");
  const RequestOutcome outcome = performOnBus(
      provider, "upper", text, "", {{"application", sdbus::Variant(std::string("Mail"))}});
  EXPECT_EQ(handedBack(outcome.pasteboard), (HandedBack{{"NSStringPboardType", "A"}}));
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
