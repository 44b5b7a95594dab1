// SPDX-License-Identifier: MIT
// End-to-end tests of textrix pick: each test starts its own X server (Xvfb, on a free display
// that it reports through -displayfd) and its own private bus (private_bus.h). The selections are
// filled and read back with xclip, as another application would. No window manager is assumed.
// The history of the services picked lives in the test's own directory.
#include <sdbus-c++/sdbus-c++.h>
#include <xcb/xcb.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <map>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "desktop/x11_selection.h"
#include "private_bus.h"
#include "rich/rtf.h"
#include "services/catalogue.h"

namespace textrix {
namespace {

constexpr std::string_view kRichSelection =
    "{\\rtf1\\ansi{\\fonttbl\\f0 Helvetica;}{\\colortbl;\\red255\\green0\\blue0;}"
    "\\f0 hello {\\cf1 red} world}";

// The line that a line-based chooser shows for the service: its title and its summary.
std::string chooserLine(const ServiceEntry& entry) {
  return std::string(entry.menuTitle) + " \u2014 " + std::string(entry.summary);
}

// The lines a chooser is offered: the recent services, most recent first, then the others in the
// order of the menu.
std::vector<std::string> chooserLines(const std::vector<std::string_view>& recent) {
  std::vector<std::string> lines;
  for (std::string_view name : recent) lines.push_back(chooserLine(*findService(name)));
  for (const ServiceEntry& entry : serviceCatalogue()) {
    if (std::find(recent.begin(), recent.end(), entry.name) == recent.end()) {
      lines.push_back(chooserLine(entry));
    }
  }
  return lines;
}

class Pick : public PrivateBusTest {
 protected:
  void SetUp() override {
    prefix_ = "textrix-pick-";
    PrivateBusTest::SetUp();
    ASSERT_NO_FATAL_FAILURE(startXServer());
    ASSERT_NO_FATAL_FAILURE(startBus("60"));
  }

  void TearDown() override {
    notifications_.reset();
    notificationBus_.reset();
    // The owners of the selections (xclip, pick's own) end with the display.
    if (server_ > 0) {
      ::kill(server_, SIGTERM);
      ::waitpid(server_, nullptr, 0);
    }
    PrivateBusTest::TearDown();
  }

  void startXServer() {
    const std::string number =
        startServer({"Xvfb", "-displayfd", "1", "-nolisten", "tcp", "-screen", "0", "320x200x24"},
                    {"PATH=/usr/bin:/bin"}, directory_ / "xvfb.log", server_);
    ASSERT_GT(server_, 0) << "Xvfb cannot be started: install xvfb";
    ASSERT_FALSE(number.empty()) << "no display from Xvfb: " << slurp(directory_ / "xvfb.log");
    display_ = ":" + number;
  }

  std::vector<std::string> desktopEnvironment() const {
    std::vector<std::string> environment = baseEnvironment();
    environment.push_back("DISPLAY=" + display_);
    environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + address_);
    environment.push_back("XDG_STATE_HOME=" + (directory_ / "state").string());
    // The test's own actions only, whatever this machine has installed.
    environment.push_back("XDG_CONFIG_HOME=" + (directory_ / "config").string());
    environment.push_back("XDG_DATA_DIRS=" + (directory_ / "no-data").string());
    return environment;
  }

  // The file of the services picked in this test, most recent first.
  std::filesystem::path recentFile() const { return directory_ / "state" / "textrix" / "recent"; }
  std::string recent() const { return slurp(recentFile()); }
  void writeRecent(const std::string& names) const {
    std::filesystem::create_directories(recentFile().parent_path());
    std::ofstream(recentFile()) << names;
  }

  // This test's desktop with the variable set to value instead.
  std::vector<std::string> desktopEnvironmentWith(const std::string& variable,
                                                  const std::string& value) const {
    std::vector<std::string> environment = desktopEnvironment();
    for (std::string& setting : environment) {
      if (setting.starts_with(variable + "=")) setting = variable + "=" + value;
    }
    return environment;
  }

  // A --chooser command that keeps what it is offered in the file and then runs answer.
  static std::string keepingInput(const std::filesystem::path& input, const std::string& answer) {
    return "cat > '" + input.string() + "'; " + answer;
  }

  // textrix pick with the arguments on this test's display and bus.
  Outcome pick(std::vector<std::string> arguments) const {
    arguments.insert(arguments.begin(), "pick");
    return runCommand(arguments, {}, desktopEnvironment());
  }

  Outcome xclip(std::vector<std::string> arguments, const std::string& input = {}) const {
    arguments.insert(arguments.begin(), "/usr/bin/xclip");
    return execute(arguments, input, desktopEnvironment());
  }

  // Makes xclip, in the background, the owner of the selection with the bytes under the target.
  void offer(const std::string& selection, const std::string& target, std::string_view bytes) {
    ASSERT_EQ(xclip({"-selection", selection, "-t", target, "-i"}, std::string(bytes)).status, 0);
    // xclip owns the selection from a child it forks, which may take it only after the parent has
    // returned: wait until the selection answers with the bytes.
    for (int i = 0; i < 200 && selectionAs(selection, target) != std::string(bytes); ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
  }

  // The bytes of the selection under the target, as xclip reads them; none when refused.
  std::optional<std::string> selectionAs(const std::string& selection, const std::string& target) {
    Outcome read = xclip({"-selection", selection, "-t", target, "-o"});
    if (read.status != 0) return std::nullopt;
    return read.out;
  }

  // Serves org.freedesktop.Notifications on the private bus and keeps the bodies it is sent.
  void listenForNotifications() {
    notificationBus_ = sdbus::createSessionBusConnectionWithAddress(address_);
    notificationBus_->requestName("org.freedesktop.Notifications");
    notifications_ = sdbus::createObject(*notificationBus_, "/org/freedesktop/Notifications");
    notifications_->registerMethod("Notify")
        .onInterface("org.freedesktop.Notifications")
        .implementedAs([this](const std::string&, std::uint32_t, const std::string& icon,
                              const std::string& summary, const std::string& body,
                              const std::vector<std::string>&,
                              const std::map<std::string, sdbus::Variant>& hints, std::int32_t) {
          std::lock_guard lock(mutex_);
          bodies_.push_back(body);
          const auto urgency = hints.find("urgency");
          styles_.push_back(
              {icon, summary, urgency == hints.end() ? -1 : urgency->second.get<std::uint8_t>()});
          return std::uint32_t{1};
        });
    notifications_->finishRegistration();
    notificationBus_->enterEventLoopAsync();
  }

  std::vector<std::string> notificationBodies() {
    std::lock_guard lock(mutex_);
    return bodies_;
  }

  // How a notification looks: its icon, its summary and its urgency (-1 when none is given).
  struct NotificationStyle {
    std::string icon;
    std::string summary;
    int urgency;
    bool operator==(const NotificationStyle&) const = default;
  };
  std::vector<NotificationStyle> notificationStyles() {
    std::lock_guard lock(mutex_);
    return styles_;
  }

  pid_t server_ = -1;
  std::string display_;
  std::unique_ptr<sdbus::IConnection> notificationBus_;
  std::unique_ptr<sdbus::IObject> notifications_;
  std::mutex mutex_;
  std::vector<std::string> bodies_;
  std::vector<NotificationStyle> styles_;
};

TEST_F(Pick, RichSelectionBecomesRtfAndPlainTextOnTheClipboard) {
  ASSERT_NO_FATAL_FAILURE(offer("primary", "text/rtf", kRichSelection));
  const Outcome picked = pick({"upper"});
  ASSERT_EQ(picked.status, 0) << picked.err;

  const std::vector<std::string> targets = linesOf(selectionAs("clipboard", "TARGETS").value());
  for (const char* target : {"TARGETS", "text/rtf", "UTF8_STRING", "text/plain;charset=utf-8"}) {
    EXPECT_NE(std::find(targets.begin(), targets.end(), target), targets.end()) << target;
  }
  const std::optional<std::string> rtf = selectionAs("clipboard", "text/rtf");
  ASSERT_TRUE(rtf);
  const RichTextReading reading = readRtf(*rtf);
  ASSERT_TRUE(reading.ok());
  EXPECT_EQ(reading.text.string(), u"HELLO RED WORLD");
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "HELLO RED WORLD");
  EXPECT_EQ(selectionAs("clipboard", "text/plain;charset=utf-8"), "HELLO RED WORLD");
  // The colour went along with the characters.
  EXPECT_NE(rtf->find("\\red255\\green0\\blue0"), std::string::npos) << *rtf;
  // What is selected stays as it was.
  EXPECT_EQ(selectionAs("primary", "text/rtf"), std::string(kRichSelection));
}

TEST_F(Pick, PlainSelectionStaysPlain) {
  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", "straße und weg"));
  const Outcome picked = pick({"upper"});
  ASSERT_EQ(picked.status, 0) << picked.err;
  const std::vector<std::string> targets = linesOf(selectionAs("clipboard", "TARGETS").value());
  EXPECT_EQ(std::find(targets.begin(), targets.end(), "text/rtf"), targets.end());
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "STRASSE UND WEG");
  // --clipboard reads the clipboard instead.
  const Outcome lowered = pick({"lower", "--clipboard"});
  ASSERT_EQ(lowered.status, 0) << lowered.err;
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "strasse und weg");
  EXPECT_EQ(selectionAs("primary", "UTF8_STRING"), "straße und weg");
}

TEST_F(Pick, LargeSelectionsTravelInSteps) {
  std::string text(3 << 20, 'a');
  text.back() = '\xC3';  // not UTF-8 at the very end, so that the whole was read
  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", text));
  const Outcome refused = pick({"upper"});
  EXPECT_EQ(refused.status, 2);  // told before anything is sent
  EXPECT_EQ(refused.err, "textrix: the selected text is not UTF-8: invalid UTF-8 at byte " +
                             std::to_string(text.size() - 1) + "\n");
  text.back() = 'z';
  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", text));
  const Outcome picked = pick({"upper"});
  ASSERT_EQ(picked.status, 0) << picked.err;
  std::string expected(3 << 20, 'A');
  expected.back() = 'Z';
  EXPECT_TRUE(selectionAs("clipboard", "UTF8_STRING") == expected);  // not printed when unequal
}

// A selection that no service could use (RTF that does not read, bytes offered as RTF that are
// not, nothing selected), a cancelled or unknown choice and an unreachable provider apply nothing:
// the clipboard stays as it was and nothing is recorded; what could not be used is told. A service
// that writes nothing leaves the clipboard too (statistics: StatisticsIsAnInformationNotification).
TEST_F(Pick, WhatAppliesNothingLeavesTheClipboardAndTheHistory) {
  ASSERT_NO_FATAL_FAILURE(listenForNotifications());
  ASSERT_NO_FATAL_FAILURE(offer("clipboard", "UTF8_STRING", "before"));
  writeRecent("lower\n");
  struct Row {
    const char* type;
    const char* bytes;
    int status;
    const char* told;
  };
  const Row rows[] = {
      {"text/rtf", "{\\rtf1 never closed", 2,
       "textrix: the selected RTF cannot be read: the RTF ends inside an unclosed group at byte "
       "19"},
      {"text/rtf", "just text", 2, "textrix: the selection offers no text, only text/rtf"},
      {"UTF8_STRING", "", 1, "Nothing is selected"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.bytes);
    ASSERT_NO_FATAL_FAILURE(offer("primary", row.type, row.bytes));
    const Outcome picked = pick({"upper"});
    EXPECT_EQ(picked.status, row.status);
    EXPECT_EQ(picked.err, std::string(row.told) + "\n");
  }
  EXPECT_EQ(notificationBodies(),
            (std::vector<std::string>{rows[0].told, rows[1].told, rows[2].told}));

  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", "two words"));
  EXPECT_EQ(pick({"--chooser", "cat > /dev/null; exit 1"}).status, 0);
  EXPECT_EQ(pick({"--chooser", "cat > /dev/null"}).status, 0);
  const Outcome unknown = pick({"--chooser", "echo Nonsense"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("Nonsense"), std::string::npos) << unknown.err;
  const std::vector<std::string> noBus = desktopEnvironmentWith(
      "DBUS_SESSION_BUS_ADDRESS", "unix:path=" + (directory_ / "none").string());
  EXPECT_EQ(execute({TEXTRIX_COMMAND, "pick", "upper"}, {}, noBus).status, 3);
  EXPECT_EQ(recent(), "lower\n");

  EXPECT_EQ(pick({"stop-speaking"}).status, 0);
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "before");
}

// Statistics tells what it counted as information, with the panel's title as the summary, and
// prints it too when pick runs in a terminal; the clipboard stays as it was.
TEST_F(Pick, StatisticsIsAnInformationNotification) {
  ASSERT_NO_FATAL_FAILURE(listenForNotifications());
  ASSERT_NO_FATAL_FAILURE(offer("clipboard", "UTF8_STRING", "before"));
  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", "two words\nand three"));
  const std::string panel = runCommand({"statistics"}, "two words\nand three").out;
  const std::string message = panel.substr(std::string("Statistics\n").size());

  const Outcome picked = pick({"statistics"});
  EXPECT_EQ(picked.status, 0) << picked.err;
  EXPECT_EQ(picked.out, "");  // no terminal
  EXPECT_EQ(notificationBodies(), std::vector<std::string>{message});
  const NotificationStyle information{"dialog-information", "Statistics", 1};
  EXPECT_EQ(notificationStyles(), std::vector<NotificationStyle>{information});
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "before");

  const Outcome inTerminal = execute(
      {"/usr/bin/script", "-qec", std::string(TEXTRIX_COMMAND) + " pick statistics", "/dev/null"},
      {}, desktopEnvironment());
  EXPECT_EQ(inTerminal.status, 0) << inTerminal.err;
  std::string printed = inTerminal.out;
  std::erase(printed, '\r');  // the terminal ends its lines with CR LF
  EXPECT_EQ(printed, panel);
  EXPECT_EQ(notificationStyles().size(), 2u);
}

TEST_F(Pick, MissingDesktopOrChooserIsExitStatusFour) {
  std::vector<std::string> environment = baseEnvironment();
  environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + address_);
  const Outcome noDisplay = execute({TEXTRIX_COMMAND, "pick", "upper"}, {}, environment);
  EXPECT_EQ(noDisplay.status, 4);
  EXPECT_NE(noDisplay.err.find("DISPLAY"), std::string::npos) << noDisplay.err;

  environment.push_back("DISPLAY=:" + std::to_string(65000));
  EXPECT_EQ(execute({TEXTRIX_COMMAND, "pick", "upper"}, {}, environment).status, 4);

  environment.back() = "DISPLAY=" + display_;
  environment.push_back("WAYLAND_DISPLAY=textrix-none");
  environment[2] = "PATH=" + directory_.string();  // no helper programs at all
  const Outcome noChooser = execute({TEXTRIX_COMMAND, "pick"}, {}, environment);
  EXPECT_EQ(noChooser.status, 4);
  EXPECT_NE(noChooser.err.find("install"), std::string::npos) << noChooser.err;
}

TEST_F(Pick, ActiveApplicationIsTheClassOfTheActiveWindow) {
  std::string problem;
  std::unique_ptr<X11Connection> x = X11Connection::open(display_, problem);
  ASSERT_TRUE(x) << problem;
  EXPECT_EQ(x->activeWindowClass(), "");  // no window manager, no active window

  // Play the window manager: a window of class Mail, named active on the root window.
  xcb_connection_t* c = xcb_connect(display_.c_str(), nullptr);
  ASSERT_FALSE(xcb_connection_has_error(c));
  const xcb_screen_t* screen = xcb_setup_roots_iterator(xcb_get_setup(c)).data;
  const xcb_window_t window = xcb_generate_id(c);
  xcb_create_window(c, XCB_COPY_FROM_PARENT, window, screen->root, 0, 0, 10, 10, 0,
                    XCB_WINDOW_CLASS_INPUT_OUTPUT, screen->root_visual, 0, nullptr);
  const char wmClass[] = "mail\0Mail";
  xcb_change_property(c, XCB_PROP_MODE_REPLACE, window, XCB_ATOM_WM_CLASS, XCB_ATOM_STRING, 8,
                      sizeof wmClass, wmClass);
  const char name[] = "_NET_ACTIVE_WINDOW";
  auto* reply = xcb_intern_atom_reply(c, xcb_intern_atom(c, 0, sizeof name - 1, name), nullptr);
  ASSERT_TRUE(reply);
  xcb_change_property(c, XCB_PROP_MODE_REPLACE, screen->root, reply->atom, XCB_ATOM_WINDOW, 32, 1,
                      &window);
  std::free(reply);
  std::free(xcb_get_input_focus_reply(c, xcb_get_input_focus(c), nullptr));  // a round trip
  EXPECT_EQ(x->activeWindowClass(), "Mail");

  // The request from the mail application is served as any other.
  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", "note"));
  const Outcome picked = pick({"upper"});
  EXPECT_EQ(picked.status, 0) << picked.err;
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "NOTE");
  xcb_disconnect(c);
}

TEST_F(Pick, SelectionOwnerRefusesWhatItDoesNotOffer) {
  ASSERT_EQ(serveSelectionInBackground(display_, "CLIPBOARD", {{"UTF8_STRING", "x"}}), "");
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "x");
  EXPECT_FALSE(selectionAs("clipboard", "text/rtf"));
  // Another owner takes the selection: the first one is gone and the new content is there.
  ASSERT_NO_FATAL_FAILURE(offer("clipboard", "UTF8_STRING", "y"));
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "y");
  EXPECT_EQ(serveSelectionInBackground(":65000", "CLIPBOARD", {{"UTF8_STRING", "x"}}).empty(),
            false);
}

TEST_F(Pick, ChooserOffersRecentServicesFirstAndRepeatAppliesTheLast) {
  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", "Mixed Case"));
  ASSERT_EQ(pick({"upper"}).status, 0);
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "MIXED CASE");

  // The chooser answers with a whole line of what it is offered.
  const std::filesystem::path first = directory_ / "first", second = directory_ / "second";
  const Outcome rotated =
      pick({"--chooser", "tee '" + first.string() + "' | grep '^Rotate Letters'"});
  ASSERT_EQ(rotated.status, 0) << rotated.err;
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "Zvkrq Pnfr");
  EXPECT_EQ(linesOf(slurp(first)), chooserLines({"upper"}));

  // ... or with a title alone.
  const Outcome lowered = pick({"--chooser", keepingInput(second, "echo 'Lower Case'")});
  ASSERT_EQ(lowered.status, 0) << lowered.err;
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "mixed case");
  EXPECT_EQ(linesOf(slurp(second)), chooserLines({"rotate", "upper"}));
  EXPECT_EQ(recent(), "lower\nrotate\nupper\n");

  // --repeat applies the last service to what is selected now, and the order stays.
  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", "AGAIN"));
  const Outcome repeated = pick({"--repeat"});
  ASSERT_EQ(repeated.status, 0) << repeated.err;
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "again");
  EXPECT_EQ(recent(), "lower\nrotate\nupper\n");

  // A service named by its handler is recorded by its name.
  ASSERT_EQ(pick({"doUpperService:userData:error:"}).status, 0);
  EXPECT_EQ(recent(), "upper\nlower\nrotate\n");
}

// The user's actions come after the services in the chooser, and pick applies one through the
// provider as it applies a service.
TEST_F(Pick, OffersTheUsersActionsAfterTheServices) {
  const std::filesystem::path actions = directory_ / "config" / "textrix" / "actions";
  std::filesystem::create_directories(actions);
  std::ofstream(actions / "shout")
      << "#!/bin/sh\n# Title: Shout\n# Description: Adds an exclamation mark.\nsed 's/$/!/'\n";
  std::filesystem::permissions(actions / "shout", std::filesystem::perms::owner_all);
  const std::map<std::string, std::string> variables = {
      {"XDG_CONFIG_HOME", (directory_ / "config").string()},
      {"XDG_DATA_DIRS", (directory_ / "no-data").string()}};
  updateActivationEnvironment(variables);
  const std::vector<std::string> environment = desktopEnvironment();

  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", "hello"));
  const std::filesystem::path input = directory_ / "offered";
  const Outcome picked =
      runCommand({"pick", "--chooser", keepingInput(input, "echo Shout")}, {}, environment);
  ASSERT_EQ(picked.status, 0) << picked.err;
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "hello!");
  const std::vector<std::string> offered = linesOf(slurp(input));
  ASSERT_EQ(offered.size(), serviceCatalogue().size() + 1);
  EXPECT_EQ(offered.back(), "Shout \u2014 Adds an exclamation mark.");

  ASSERT_EQ(runCommand({"pick", "shout", "--clipboard"}, {}, environment).status, 0);
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "hello!!");
}

TEST_F(Pick, RepeatWithoutHistoryIsToldAndNamesOfNoServiceArePassedOver) {
  ASSERT_NO_FATAL_FAILURE(listenForNotifications());
  ASSERT_NO_FATAL_FAILURE(offer("clipboard", "UTF8_STRING", "before"));
  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", "TEXT"));
  const std::string told = "textrix: nothing to repeat: pick has applied no service yet";
  // No history at all, then one that names no service.
  for (const char* history : {"", "gone-service\n"}) {
    SCOPED_TRACE(history);
    if (*history) writeRecent(history);
    const Outcome repeated = pick({"--repeat"});
    EXPECT_EQ(repeated.status, 1);
    EXPECT_NE(repeated.err.find(told), std::string::npos) << repeated.err;
  }
  EXPECT_EQ(notificationBodies(), std::vector<std::string>(2, told));
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "before");

  writeRecent("gone-service\nlower\n");
  const std::filesystem::path offered = directory_ / "offered";
  EXPECT_EQ(pick({"--chooser", keepingInput(offered, "exit 1")}).status, 0);
  EXPECT_EQ(linesOf(slurp(offered)), chooserLines({"lower"}));
  const Outcome repeated = pick({"--repeat"});
  ASSERT_EQ(repeated.status, 0) << repeated.err;
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "text");
  // The name of no service stays in the history: it may name one again later.
  EXPECT_EQ(recent(), "lower\ngone-service\n");
}

// Each chooser found on PATH (here a stand-in that keeps its input and answers as the real one
// would) gets the titles with their summaries in the form it shows well: zenity a title column and
// a summary column, printing the title; the others one line each, printing the line.
TEST_F(Pick, EachChooserIsOfferedTitlesWithTheirSummaries) {
  std::string lines, columns;
  for (const ServiceEntry& entry : serviceCatalogue()) {
    lines += chooserLine(entry) + "\n";
    columns += std::string(entry.menuTitle) + "\n" + std::string(entry.summary) + "\n";
  }
  const std::string lowerLine = chooserLine(*findService("lower"));
  const struct {
    const char* program;
    std::string answer;
    const std::string& offered;
  } rows[] = {
      {"rofi", lowerLine, lines},
      {"dmenu", lowerLine, lines},
      {"zenity", "Lower Case", columns},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.program);
    std::filesystem::remove(recentFile());
    const std::filesystem::path bin = directory_ / (std::string("bin-") + row.program);
    const std::filesystem::path input = bin / "input";
    std::filesystem::create_directories(bin);
    std::ofstream(bin / row.program) << "#!/bin/sh\n/bin/cat > '" << input.string()
                                     << "'\nprintf '%s\\n' '" << row.answer << "'\n";
    std::filesystem::permissions(bin / row.program, std::filesystem::perms::owner_all);
    ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", "MIXED"));
    const Outcome picked =
        execute({TEXTRIX_COMMAND, "pick"}, {}, desktopEnvironmentWith("PATH", bin.string()));
    ASSERT_EQ(picked.status, 0) << picked.err;
    EXPECT_EQ(slurp(input), row.offered);
    EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "mixed");
    EXPECT_EQ(recent(), "lower\n");
  }
}

}  // namespace
}  // namespace textrix
