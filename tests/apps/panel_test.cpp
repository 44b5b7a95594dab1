// SPDX-License-Identifier: MIT
// End-to-end tests of what a service reports in a panel (statistics) reaching the client that
// asked, and of selections too large for the provider being refused before they are sent. Each
// test has its own private bus (private_bus.h), whose provider finds a recording notify-send
// first on its PATH and no display, so that the alerts it shows itself can be read back.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "private_bus.h"
#include "provider/bus_adaptor.h"
#include "runtime/pasteboard.h"
#include "support/files.h"

namespace textrix {
namespace {

const std::string kTooLarge =
    "textrix: the selection is larger than 32 MiB, more than the provider takes\n";

class Panel : public PrivateBusTest {
 protected:
  void SetUp() override {
    PrivateBusTest::SetUp();
    const auto programs = directory_ / "programs";
    std::filesystem::create_directories(programs);
    std::ofstream(programs / "notify-send") << "#!/bin/sh\nprintf '%s|' \"$@\" >> \"$0.args\"\n";
    std::filesystem::permissions(programs / "notify-send", std::filesystem::perms::owner_all);
    ASSERT_NO_FATAL_FAILURE(startBus(
        "60", servicesStartingTheProviderWith("PATH=" + programs.string() + ":/usr/bin:/bin")));
  }

  // What the provider's notify-send was called with, every call in turn.
  std::string alertsShown() const { return slurp(directory_ / "programs" / "notify-send.args"); }

  // Waits until statistics has ended the provider, so that the next request starts a new one.
  void waitForTheProviderToEnd() {
    ASSERT_TRUE(eventually([&] { return !providerIsThere(); }));
  }
};

TEST_F(Panel, CallPrintsThePanelAsTheCommandDoes) {
  const std::string rtf = TEXTRIX_FIXTURES_DIR "/libreoffice_formatted.rtf";
  const struct {
    std::vector<std::string> arguments;
    std::string input;
  } cases[] = {
      {{"statistics"}, "two words\nand  three more\n"},
      {{"statistics"}, "{\\rtf1\\ansi {\\b bold} and plain\\par second line}"},
      {{"statistics", rtf}, ""},
      {{"statistics"}, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments) + " " + c.input);
    const Outcome local = run(c.arguments, c.input);
    std::vector<std::string> remote = c.arguments;
    remote.insert(remote.begin(), "call");
    const Outcome called = run(remote, c.input);
    EXPECT_EQ(called.status, 0) << called.err;
    EXPECT_TRUE(called.out.starts_with("Statistics\n")) << called.out;
    EXPECT_EQ(called.out, local.out);
    EXPECT_EQ(called.err, local.err);
    ASSERT_NO_FATAL_FAILURE(waitForTheProviderToEnd());
  }
  EXPECT_EQ(alertsShown(), "");  // the client printed them all
}

// A client that does not ask for the panel gets the answer it always had, with nothing on the
// pasteboard, while the provider shows the alert itself; one that asks gets the panel, unshown.
TEST_F(Panel, OnlyAClientThatAsksGetsThePanelBack) {
  const std::string counts = run({"statistics"}, "two words").out;
  const std::string title = "Statistics", message = counts.substr(title.size() + 1);
  const auto bytes = [](const std::string& text) {
    return std::vector<std::uint8_t>(text.begin(), text.end());
  };
  const struct {
    BusOptions options;
    BusPasteboard answer;
    std::string shown;
  } cases[] = {
      {{}, {}, "--urgency=normal|" + title + "|" + message + "|"},
      {{{"panel", sdbus::Variant(std::string("show"))}},
       {},
       "--urgency=normal|" + title + "|" + message + "|"},
      {{{"panel", sdbus::Variant(std::string("return"))}},
       {{"org.textrix.Panel.Title", bytes(title)}, {"org.textrix.Panel.Message", bytes(message)}},
       ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.shown);
    std::filesystem::remove(directory_ / "programs" / "notify-send.args");
    EXPECT_EQ(perform("statistics", plainText("two words"), c.options),
              std::pair(c.answer, std::string()));
    EXPECT_EQ(alertsShown(), c.shown);
    ASSERT_NO_FATAL_FAILURE(waitForTheProviderToEnd());
  }
  // A result comes back as before, the option or not.
  EXPECT_EQ(perform("upper", plainText("a"), {{"panel", sdbus::Variant(std::string("return"))}}),
            std::pair(answerText("A"), std::string()));
}

// More than the provider takes is refused before anything is sent: the provider is not even
// started, and no more of the input is read than shows that it is too large.
TEST_F(Panel, CallRefusesTooLargeASelectionUnsent) {
  const std::string large(kMaxSelectionBytes + 1, 'x');
  const auto file = directory_ / "large.txt";
  std::ofstream(file, std::ios::binary) << large;
  const struct {
    std::vector<std::string> arguments;
    std::string input;
  } cases[] = {
      {{"call", "upper"}, large},
      {{"call", "upper", file.string()}, ""},
      {{"call", "statistics", "--type", "rtf", file.string()}, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const Outcome refused = run(c.arguments, c.input);
    EXPECT_EQ(refused.status, 2);
    EXPECT_EQ(refused.err, kTooLarge);
    EXPECT_EQ(refused.out, "");
    EXPECT_FALSE(providerIsThere());
  }
  // An input that never ends is refused all the same.
  std::vector<std::string> environment = baseEnvironment();
  environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + address_);
  const Outcome endless = execute({"/usr/bin/timeout", "60", "/bin/sh", "-c",
                                   std::string("yes | ") + TEXTRIX_COMMAND + " call upper"},
                                  {}, environment);
  EXPECT_EQ(endless.status, 2);
  EXPECT_EQ(endless.err, kTooLarge);
  EXPECT_FALSE(providerIsThere());
}

}  // namespace
}  // namespace textrix
