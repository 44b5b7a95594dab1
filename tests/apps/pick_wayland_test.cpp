// SPDX-License-Identifier: MIT
// End-to-end tests of textrix pick on Wayland: each test starts its own headless sway
// (support/headless_sway.h), which offers the data-control protocol, and its own private bus
// (private_bus.h). The selections are filled and read back with wl-copy and wl-paste, as other
// applications would; pick itself runs where wl-clipboard is not on its PATH.
#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "private_bus.h"
#include "rich/rtf.h"
#include "support/headless_sway.h"

namespace textrix {
namespace {

constexpr std::string_view kRichSelection =
    "{\\rtf1\\ansi{\\fonttbl\\f0 Helvetica;}{\\colortbl;\\red255\\green0\\blue0;}"
    "\\f0 hello {\\cf1 red} world}";

bool contains(const std::vector<std::string>& list, std::string_view item) {
  return std::find(list.begin(), list.end(), item) != list.end();
}

class PickOnWayland : public WithHeadlessSway<PrivateBusTest> {
 protected:
  void SetUp() override {
    prefix_ = "textrix-pick-wayland-";
    WithHeadlessSway::SetUp();
    if (IsSkipped() || HasFatalFailure()) return;
    ASSERT_NO_FATAL_FAILURE(startBus("60"));
  }

  // textrix pick with the arguments on this test's compositor and bus, with no helper program on
  // its PATH.
  Outcome pick(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), {TEXTRIX_COMMAND, "pick"});
    std::vector<std::string> environment = waylandEnvironment();
    environment[2] = "PATH=" + (directory_ / "no-programs").string();
    environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + address_);
    return execute(arguments, {}, environment);
  }
};

TEST_F(PickOnWayland, RichSelectionBecomesRtfAndPlainTextInOneOffer) {
  ASSERT_NO_FATAL_FAILURE(copyWithWlCopy({"--primary"}, "text/rtf", std::string(kRichSelection)));
  const Outcome picked = pick({"upper"});
  ASSERT_EQ(picked.status, 0) << picked.err;

  const std::vector<std::string> types = offeredTypes();
  for (const char* type : {"text/rtf", "UTF8_STRING", "text/plain;charset=utf-8", "text/plain"}) {
    EXPECT_TRUE(contains(types, type)) << type;
  }
  const std::optional<std::string> rtf = pasted("text/rtf");
  ASSERT_TRUE(rtf);
  const RichTextReading reading = readRtf(*rtf);
  ASSERT_TRUE(reading.ok());
  EXPECT_EQ(reading.text.string(), u"HELLO RED WORLD");
  EXPECT_NE(rtf->find("\\red255\\green0\\blue0"), std::string::npos) << *rtf;
  for (const char* type : {"text/plain;charset=utf-8", "UTF8_STRING", "text/plain"}) {
    EXPECT_EQ(pasted(type), "HELLO RED WORLD") << type;
  }
  // What is selected stays as it was.
  EXPECT_EQ(pasted("text/rtf", true), kRichSelection);
}

TEST_F(PickOnWayland, PlainSelectionStaysPlain) {
  ASSERT_NO_FATAL_FAILURE(
      copyWithWlCopy({"--primary"}, "text/plain;charset=utf-8", "straße und weg"));
  const Outcome picked = pick({"upper"});
  ASSERT_EQ(picked.status, 0) << picked.err;
  EXPECT_FALSE(contains(offeredTypes(), "text/rtf"));
  EXPECT_EQ(pasted("text/plain;charset=utf-8"), "STRASSE UND WEG");
  // --clipboard reads the clipboard, here from the owner that the first pick left.
  const Outcome lowered = pick({"lower", "--clipboard"});
  ASSERT_EQ(lowered.status, 0) << lowered.err;
  EXPECT_EQ(pasted("UTF8_STRING"), "strasse und weg");
  EXPECT_EQ(pasted("text/plain;charset=utf-8", true), "straße und weg");
}

// Without the protocol, here without a compositor at all, pick names what it lacks.
TEST_F(PickOnWayland, WithoutTheProtocolPickAsksForWlClipboard) {
  std::vector<std::string> environment = baseEnvironment();
  environment[2] = "PATH=" + (directory_ / "no-programs").string();
  environment.push_back("WAYLAND_DISPLAY=" + (directory_ / "none").string());
  environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + address_);
  const Outcome picked = execute({TEXTRIX_COMMAND, "pick", "upper"}, {}, environment);
  EXPECT_EQ(picked.status, 4);
  EXPECT_NE(picked.err.find("pick needs wl-paste and wl-copy on Wayland (install wl-clipboard)"),
            std::string::npos)
      << picked.err;
}

}  // namespace
}  // namespace textrix
