// End-to-end tests of textrix pick: each test starts its own X server (Xvfb, on a free display
// that it reports through -displayfd) and its own private bus (private_bus.h). The selections are
// filled and read back with xclip, as another application would. No window manager is assumed.
#include <sdbus-c++/sdbus-c++.h>
#include <xcb/xcb.h>

#include <chrono>
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
std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
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
    return environment;
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
        .implementedAs([this](const std::string&, std::uint32_t, const std::string&,
                              const std::string&, const std::string& body,
                              const std::vector<std::string>&,
                              const std::map<std::string, sdbus::Variant>&, std::int32_t) {
          std::lock_guard lock(mutex_);
          bodies_.push_back(body);
          return std::uint32_t{1};
        });
    notifications_->finishRegistration();
    notificationBus_->enterEventLoopAsync();
  }

  std::vector<std::string> notificationBodies() {
    std::lock_guard lock(mutex_);
    return bodies_;
  }

  pid_t server_ = -1;
  std::string display_;
  std::unique_ptr<sdbus::IConnection> notificationBus_;
  std::unique_ptr<sdbus::IObject> notifications_;
  std::mutex mutex_;
  std::vector<std::string> bodies_;
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
  EXPECT_EQ(pick({"upper"}).status, 1);  // no usable text: the service reports its message
  text.back() = 'z';
  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", text));
  const Outcome picked = pick({"upper"});
  ASSERT_EQ(picked.status, 0) << picked.err;
  std::string expected(3 << 20, 'A');
  expected.back() = 'Z';
  EXPECT_TRUE(selectionAs("clipboard", "UTF8_STRING") == expected);  // not printed when unequal
}

// A service's message (on RTF that does not read, even where the bytes are plain text), services
// that write nothing, a cancelled or unknown choice and an unreachable provider all leave the
// clipboard as it was.
TEST_F(Pick, WhatWritesNothingLeavesTheClipboard) {
  ASSERT_NO_FATAL_FAILURE(listenForNotifications());
  ASSERT_NO_FATAL_FAILURE(offer("clipboard", "UTF8_STRING", "before"));
  for (const char* rtf : {"{\\rtf1 never closed", "just text"}) {
    SCOPED_TRACE(rtf);
    ASSERT_NO_FATAL_FAILURE(offer("primary", "text/rtf", rtf));
    const Outcome picked = pick({"lower"});
    EXPECT_EQ(picked.status, 1);
    EXPECT_NE(picked.err.find("Error: Couldn't lower case string."), std::string::npos)
        << picked.err;
  }
  EXPECT_EQ(notificationBodies(),
            std::vector<std::string>(2, "Error: Couldn't lower case string."));

  ASSERT_NO_FATAL_FAILURE(offer("primary", "UTF8_STRING", "two words"));
  for (const char* service : {"stop-speaking", "statistics"}) {
    EXPECT_EQ(pick({service}).status, 0) << service;
  }
  EXPECT_EQ(pick({"--chooser", "cat > /dev/null; exit 1"}).status, 0);
  EXPECT_EQ(pick({"--chooser", "cat > /dev/null"}).status, 0);
  const Outcome unknown = pick({"--chooser", "echo Nonsense"});
  EXPECT_EQ(unknown.status, 2);
  EXPECT_NE(unknown.err.find("Nonsense"), std::string::npos) << unknown.err;

  std::vector<std::string> environment = baseEnvironment();
  environment.push_back("DISPLAY=" + display_);
  environment.push_back("DBUS_SESSION_BUS_ADDRESS=unix:path=" + (directory_ / "none").string());
  EXPECT_EQ(execute({TEXTRIX_COMMAND, "pick", "upper"}, {}, environment).status, 3);
  EXPECT_EQ(selectionAs("clipboard", "UTF8_STRING"), "before");
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

  EXPECT_EQ(pick({"no-such-service"}).status, 2);
  EXPECT_EQ(pick({"upper", "--bogus"}).status, 2);
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

}  // namespace
}  // namespace textrix
