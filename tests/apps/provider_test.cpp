// SPDX-License-Identifier: MIT
// End-to-end tests of the provider, each on its own private bus (private_bus.h).
#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>
#include <vector>

#include "private_bus.h"
#include "provider/bus_adaptor.h"

namespace textrix {
namespace {

using namespace std::chrono_literals;

using Provider = PrivateBusTest;

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
  EXPECT_TRUE(providerIsThere());
}

TEST_F(Provider, CallPassesTheApplicationOn) {
  ASSERT_NO_FATAL_FAILURE(startBus("60"));
  const Outcome mail = run({"call", "upper", "--application", "Mail"}, "note");
  EXPECT_EQ(mail.status, 0) << mail.err;
  EXPECT_EQ(mail.out, "NOTE");
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
  EXPECT_TRUE(eventually([&] { return !providerIsThere(); }, 120s));
  // The bus reaps the provider it started.
  EXPECT_TRUE(eventually([&] { return !std::filesystem::exists("/proc/" + std::to_string(pid)); }));
  // The next request starts a new one.
  EXPECT_EQ(run({"call", "lower"}, "AGAIN").out, "again");
}

TEST_F(Provider, BadRequestsAreAnsweredWithErrorsAndServingGoesOn) {
  ASSERT_NO_FATAL_FAILURE(startBus("60"));
  ASSERT_EQ(perform("upper", plainText("a")).first, answerText("A"));
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
  EXPECT_EQ(perform("upper", plainText("still here")).second, "");
  EXPECT_EQ(providerPid(), pid);
  EXPECT_FALSE(speaking());
}

}  // namespace
}  // namespace textrix
