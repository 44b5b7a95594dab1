// SPDX-License-Identifier: MIT
// The desktop helpers, run against fake helper programs on a private PATH.
#include "desktop/desktop.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/fake_programs.h"
#include "support/files.h"
#include "support/pasteboards.h"
#include "support/scratch.h"

namespace textrix {
namespace {

class DesktopHelpers : public FakeProgramsTest {
 protected:
  Desktop desktop(std::string wayland, std::string x) const {
    return {directory_.string(), std::move(wayland), std::move(x)};
  }
};

TEST_F(DesktopHelpers, ClipboardGoesThroughTheProgramOfTheDisplay) {
  fakeProgram("wl-copy");
  fakeProgram("xclip");
  ServicePasteboard pasteboard = testing_pasteboards::plainPasteboard(u"caf\u00e9");

  EXPECT_FALSE(copyToDesktopClipboard(desktop("", ""), pasteboard));
  EXPECT_FALSE(std::filesystem::exists(directory_ / "wl-copy.in"));

  EXPECT_TRUE(copyToDesktopClipboard(desktop("", ":0"), pasteboard));
  EXPECT_EQ(recorded("xclip", "args"), "-selection|clipboard|-t|text/plain;charset=utf-8|");
  EXPECT_EQ(recorded("xclip", "in"), "caf\xC3\xA9");

  pasteboard = testing_pasteboards::pasteboardWith(kRTFPboardType, "{\\rtf1 x}");
  EXPECT_TRUE(
      copyToDesktopClipboard(desktop("/nonexistent/textrix-test/wayland-0", ":0"), pasteboard));
  EXPECT_EQ(recorded("wl-copy", "args"), "--type|text/rtf|");
  EXPECT_EQ(recorded("wl-copy", "in"), "{\\rtf1 x}");
}

// An alert tells what a service found (statistics), so it is shown as information, never in the
// style of an error.
TEST_F(DesktopHelpers, AlertIsAnInformationDialogANotificationOrALogLine) {
  std::vector<std::string> logged;
  const auto log = [&](const std::string& line) { logged.push_back(line); };
  showAlert(desktop("", ":0"), u"Statistics", u"Words:2\n", log);
  EXPECT_EQ(logged, std::vector<std::string>{"Statistics: Words:2\n"});

  fakeProgram("notify-send");
  showAlert(desktop("", ":0"), u"Statistics", u"Words:2\n", log);
  EXPECT_EQ(recorded("notify-send", "args"), "--urgency=normal|Statistics|Words:2\n|");

  fakeProgram("kdialog");
  showAlert(desktop("", ":0"), u"Statistics", u"Words:5\n", log);
  EXPECT_EQ(recorded("kdialog", "args"), "--title|Statistics|--msgbox|Words:5\n|");

  fakeProgram("zenity");
  showAlert(desktop("", ""), u"Statistics", u"Words:3\n", log);
  EXPECT_FALSE(std::filesystem::exists(directory_ / "zenity.args"));  // no display, no dialog
  showAlert(desktop("", ":0"), u"Statistics", u"Words:4\n", log);
  EXPECT_EQ(recorded("zenity", "args"), "--info|--no-markup|--title|Statistics|--text|Words:4\n|");
  EXPECT_EQ(logged.size(), 1u);
}

TEST_F(DesktopHelpers, InformationWithoutANotificationServerGoesThroughNotifySend) {
  const std::string unreachable = "unix:path=" + (directory_ / "no-bus").string();
  ASSERT_EQ(setenv("DBUS_SESSION_BUS_ADDRESS", unreachable.c_str(), 1), 0);
  notifyInformation(desktop("", ":0"), "Statistics", "Words:2\n");
  EXPECT_FALSE(std::filesystem::exists(directory_ / "notify-send.args"));  // none to run

  fakeProgram("notify-send");
  notifyInformation(desktop("", ":0"), "Statistics", "Words:2\n");
  EXPECT_EQ(recorded("notify-send", "args"),
            "--urgency=normal|--icon=dialog-information|Statistics|Words:2\n|");
  notify(desktop("", ":0"), "textrix: nothing is selected");
  EXPECT_EQ(recorded("notify-send", "args"), "Textrix|textrix: nothing is selected|");
}

}  // namespace
}  // namespace textrix
