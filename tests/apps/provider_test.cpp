// SPDX-License-Identifier: MIT
// End-to-end tests of the provider, each on its own private bus (private_bus.h).
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <thread>
#include <vector>

#include "private_bus.h"
#include "provider/bus_adaptor.h"

namespace textrix {
namespace {

using namespace std::chrono_literals;

BusPasteboard plainText(std::string_view text) {
  return {{"text/plain;charset=utf-8", std::vector<std::uint8_t>(text.begin(), text.end())}};
}

// A plain-text answer: the provider names the type as the pasteboard does.
BusPasteboard answerText(std::string_view text) {
  return {{"NSStringPboardType", std::vector<std::uint8_t>(text.begin(), text.end())}};
}

class Provider : public PrivateBusTest {
 protected:
  void TearDown() override {
    proxy_.reset();
    connection_.reset();
    PrivateBusTest::TearDown();
  }

  // This test's own connection to the private bus and a proxy of the provider's object.
  sdbus::IProxy& provider() {
    if (!proxy_) {
      connection_ = sdbus::createSessionBusConnectionWithAddress(address_);
      proxy_ = sdbus::createProxy(*connection_, std::string(kBusName), std::string(kObjectPath));
    }
    return *proxy_;
  }

  std::tuple<BusPasteboard, std::string> perform(const std::string& service,
                                                 const BusPasteboard& pasteboard,
                                                 const BusOptions& options = {}) {
    BusPasteboard answer;
    std::string error;
    provider()
        .callMethod("Perform")
        .onInterface(std::string(kInterfaceName))
        .withArguments(service, pasteboard, std::string(), options)
        .storeResultsTo(answer, error);
    return {answer, error};
  }

  // Asks the bus itself about the provider's name.
  template <typename Answer>
  Answer askTheBus(const char* method) {
    provider();
    Answer answer{};
    sdbus::createProxy(*connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus")
        ->callMethod(method)
        .onInterface("org.freedesktop.DBus")
        .withArguments(std::string(kBusName))
        .storeResultsTo(answer);
    return answer;
  }
  bool nameHasOwner() { return askTheBus<bool>("NameHasOwner"); }
  pid_t providerPid() {
    return static_cast<pid_t>(askTheBus<std::uint32_t>("GetConnectionUnixProcessID"));
  }

  std::unique_ptr<sdbus::IConnection> connection_;
  std::unique_ptr<sdbus::IProxy> proxy_;
};

TEST_F(Provider, CallAnswersAsTheCommandDoes) {
  ASSERT_NO_FATAL_FAILURE(startBus("60"));
  const std::string rtf = TEXTRIX_FIXTURES_DIR "/libreoffice_formatted.rtf";
  const struct {
    std::vector<std::string> arguments;
    std::string input;
    int status;
  } cases[] = {
      {{"upper"}, "straße\n", 0},
      {{"trim"}, "  padded  \n", 0},
      {{"upper", rtf}, "", 0},
      {{"sort-descending", "-"}, "b\r\na\r\nc", 0},
      {{"upper"}, "", 0},
      {{"lower", "--type", "rtf"}, "not rtf", 1},
      {{"no-such-service"}, "x", 2},
      {{"upper"}, "ok \xC3\x28 bad", 2},
      {{"upper", "--bogus"}, "x", 2},
      {{"upper", "/nonexistent/file"}, "", 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const Outcome local = run(c.arguments, c.input);
    std::vector<std::string> remote = c.arguments;
    remote.insert(remote.begin(), "call");
    const Outcome called = run(remote, c.input);
    EXPECT_EQ(local.status, c.status) << local.err;
    EXPECT_EQ(called.status, c.status) << called.err;
    EXPECT_EQ(called.out, local.out);
    EXPECT_EQ(called.err, local.err);
  }
  EXPECT_TRUE(nameHasOwner());
}

TEST_F(Provider, CallPassesTheApplicationOn) {
  ASSERT_NO_FATAL_FAILURE(startBus("60"));
  const Outcome mail = run({"call", "upper", "--application", "Mail"}, "note");
  EXPECT_EQ(mail.status, 0) << mail.err;
  EXPECT_EQ(mail.out, "NOTE");
  EXPECT_EQ(run({"call", "upper", "--application"}, "note").status, 2);
}

TEST_F(Provider, UnreachableBusOrProviderIsExitStatusThree) {
  const Outcome noBus = run({"call", "upper"}, "x", "unix:path=" + (directory_ / "none").string());
  EXPECT_EQ(noBus.status, 3);
  EXPECT_NE(noBus.err.find("cannot reach"), std::string::npos) << noBus.err;

  const auto empty = directory_ / "no-services";
  std::filesystem::create_directories(empty);
  ASSERT_NO_FATAL_FAILURE(startBus("60", empty));
  const Outcome noProvider = run({"call", "upper"}, "x");
  EXPECT_EQ(noProvider.status, 3);
  EXPECT_NE(noProvider.err.find("cannot reach the provider"), std::string::npos) << noProvider.err;
  EXPECT_EQ(noProvider.out, "");
}

TEST_F(Provider, EndsAfterASliceWithoutRequests) {
  ASSERT_NO_FATAL_FAILURE(startBus("1"));
  ASSERT_EQ(run({"call", "upper"}, "wake up").out, "WAKE UP");
  const pid_t pid = providerPid();
  ASSERT_GT(pid, 0);
  const auto giveUp = std::chrono::steady_clock::now() + 120s;
  while (nameHasOwner() && std::chrono::steady_clock::now() < giveUp) {
    std::this_thread::sleep_for(100ms);
  }
  EXPECT_FALSE(nameHasOwner());
  // The bus reaps the provider it started.
  while (std::filesystem::exists("/proc/" + std::to_string(pid)) &&
         std::chrono::steady_clock::now() < giveUp) {
    std::this_thread::sleep_for(100ms);
  }
  EXPECT_FALSE(std::filesystem::exists("/proc/" + std::to_string(pid)));
  // The next request starts a new one.
  EXPECT_EQ(run({"call", "lower"}, "AGAIN").out, "again");
}

TEST_F(Provider, BadRequestsAreAnsweredWithErrorsAndServingGoesOn) {
  ASSERT_NO_FATAL_FAILURE(startBus("60"));
  ASSERT_EQ(std::get<0>(perform("upper", plainText("a"))), answerText("A"));
  const pid_t pid = providerPid();
  const std::string prefix = "org.textrix.Textrix1.Error.";
  const struct {
    std::string service;
    BusPasteboard pasteboard;
    BusOptions options;
    std::string error;
  } cases[] = {
      {"no-such-service", plainText("a"), {}, prefix + "UnknownService"},
      {"upper", {{"text/html", {'<'}}}, {}, prefix + "UnknownType"},
      {"upper", {{"", {'a'}}}, {}, prefix + "MalformedPasteboard"},
      {"upper",
       {{"NSStringPboardType", {'a'}}, {"text/plain;charset=utf-8", {'b'}}},
       {},
       prefix + "MalformedPasteboard"},
      {"upper", plainText("\xED\xA0\x80"), {}, prefix + "InvalidUtf8"},
      {"upper", plainText("a"), {{"pasteboard", sdbus::Variant(true)}}, prefix + "InvalidOption"},
      {"upper", plainText("a"), {{"application", sdbus::Variant(3)}}, prefix + "InvalidOption"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    try {
      perform(c.service, c.pasteboard, c.options);
      ADD_FAILURE() << "no error";
    } catch (const sdbus::Error& error) {
      EXPECT_EQ(error.getName(), c.error);
    }
    auto [answer, message] = perform("lower", plainText("GOOD"));
    EXPECT_EQ(answer, answerText("good"));
    EXPECT_EQ(message, "");
  }
  // Arguments that do not match the signature.
  try {
    provider()
        .callMethod("Perform")
        .onInterface(std::string(kInterfaceName))
        .withArguments(std::string("upper"));
    ADD_FAILURE() << "no error";
  } catch (const sdbus::Error& error) {
    EXPECT_EQ(error.getName(), "org.freedesktop.DBus.Error.InvalidArgs");
  }
  // A client that goes away before its answer.
  {
    auto gone = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*gone, std::string(kBusName), std::string(kObjectPath));
    auto call = proxy->createMethodCall(std::string(kInterfaceName), "Perform");
    call << std::string("upper") << plainText(std::string(1 << 20, 'x')) << std::string()
         << BusOptions{};
    auto pending = proxy->callMethod(call, [](sdbus::MethodReply&, const sdbus::Error*) {});
  }
  EXPECT_EQ(std::get<1>(perform("upper", plainText("still here"))), "");
  EXPECT_EQ(providerPid(), pid);
}

TEST_F(Provider, ListsServicesAndTellsWhetherItSpeaks) {
  ASSERT_NO_FATAL_FAILURE(startBus("60"));
  std::vector<BusServiceDescription> services;
  provider()
      .callMethod("ListServices")
      .onInterface(std::string(kInterfaceName))
      .storeResultsTo(services);
  ASSERT_FALSE(services.empty());
  EXPECT_EQ(services.front().get<0>(), "upper");
  EXPECT_EQ(services.front().get<1>(), "doUpperService:userData:error:");
  const bool speaking =
      provider().getProperty("Speaking").onInterface(std::string(kInterfaceName)).get<bool>();
  EXPECT_FALSE(speaking);
}

}  // namespace
}  // namespace textrix
