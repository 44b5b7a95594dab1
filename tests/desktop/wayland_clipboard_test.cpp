// SPDX-License-Identifier: MIT
// The Wayland selections through data-control, on a headless sway (support/headless_sway.h) and
// checked with wl-clipboard as another application would check them; and the fallback to
// wl-clipboard where no compositor answers, where the compositor lacks the protocol, and where
// libwayland-client is missing. tests/apps/pick_wayland_test.cpp runs textrix pick on sway.
#include "desktop/wayland_clipboard.h"

#include <gtest/gtest.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <wayland-server-core.h>

#include <chrono>
#include <cstdio>
#include <cstring>
#include <thread>

#include "desktop/desktop.h"
#include "desktop/selection.h"
#include "support/fake_programs.h"
#include "support/headless_sway.h"
#include "support/pasteboards.h"
#include "support/unloadable_libraries.h"

namespace textrix {
namespace {

using namespace std::chrono_literals;

constexpr std::string_view kRtf = "{\\rtf1\\ansi{\\fonttbl\\f0 Helvetica;}\\f0 caf\\'e9 au lait}";
constexpr std::string_view kText = "caf\xC3\xA9 au lait";

// Whether the process has ended: it is gone, or a zombie that no parent has reaped yet.
bool hasEnded(pid_t pid) {
  std::ifstream stat("/proc/" + std::to_string(pid) + "/stat");
  std::string line;
  if (!std::getline(stat, line)) return true;
  const std::size_t name = line.rfind(')');
  return name != std::string::npos && line.substr(name + 1, 3) == " Z ";
}

// Whether the process ends within a minute, for an end that follows a message it gets.
bool endsSoon(pid_t pid) {
  return eventually([&] { return hasEnded(pid); }, 60s);
}

class WaylandClipboardTest : public WithHeadlessSway<CommandTest> {
 protected:
  WaylandClipboardTest() { prefix_ = "textrix-wayland-"; }

  BackgroundOwner serve(std::vector<SelectionContent> contents) const {
    return serveWaylandClipboardInBackground(sway_.display(), std::move(contents));
  }
};

struct OfferCase {
  const char* name;
  std::vector<SelectionContent> contents;
  std::vector<std::pair<std::string, std::string>> offered;  // each type and what it pastes
};

TEST_F(WaylandClipboardTest, OffersEveryTypeInOneOffer) {
  const std::string rtf(kRtf), text(kText);
  const std::vector<OfferCase> cases = {
      {"rich text",
       {{"text/rtf", rtf}, {"UTF8_STRING", text}, {"text/plain;charset=utf-8", text}},
       {{"text/rtf", rtf},
        {"UTF8_STRING", text},
        {"text/plain;charset=utf-8", text},
        {"text/plain", text},
        {"TEXT", text}}},
      // ASCII reads the same as Latin-1, so STRING offers it too.
      {"ASCII text",
       {{"text/plain;charset=utf-8", "plain"}},
       {{"text/plain;charset=utf-8", "plain"},
        {"UTF8_STRING", "plain"},
        {"text/plain", "plain"},
        {"TEXT", "plain"},
        {"STRING", "plain"}}},
      {"rich text without its characters",
       {{"application/x-rtfd", "rtfd"}},
       {{"application/x-rtfd", "rtfd"}}},
  };
  for (const OfferCase& offer : cases) {
    SCOPED_TRACE(offer.name);
    const BackgroundOwner owner = serve(offer.contents);
    ASSERT_EQ(owner.problem, "");
    std::vector<std::string> types;
    for (const auto& [type, bytes] : offer.offered) {
      types.push_back(type);
      EXPECT_EQ(pasted(type), bytes) << type;
    }
    EXPECT_EQ(offeredTypes(), types);
    EXPECT_EQ(offeredTypes(true), std::vector<std::string>());  // the primary selection stays
    EXPECT_FALSE(pasted("image/png"));
  }
}

TEST_F(WaylandClipboardTest, LargeContentPastesWhole) {
  std::string large(6 << 20, ' ');
  for (std::size_t i = 0; i < large.size(); ++i) large[i] = static_cast<char>('a' + i % 23);
  ASSERT_EQ(serve({{"text/plain;charset=utf-8", large}}).problem, "");
  EXPECT_TRUE(pasted("text/plain;charset=utf-8") == large);  // not printed when unequal
  std::string problem;
  const std::unique_ptr<WaylandClipboard> reader = WaylandClipboard::open(sway_.display(), problem);
  ASSERT_TRUE(reader) << problem;
  EXPECT_TRUE(reader->readSelection(WaylandSelection::clipboard, "STRING") == large);
}

TEST_F(WaylandClipboardTest, ASecondOfferReplacesTheFirstWhoseOwnerEnds) {
  const BackgroundOwner first = serve({{"text/plain;charset=utf-8", "first"}});
  ASSERT_EQ(first.problem, "");
  EXPECT_EQ(pasted("text/plain"), "first");
  const BackgroundOwner second = serve({{"text/plain;charset=utf-8", "second"}});
  ASSERT_EQ(second.problem, "");
  EXPECT_TRUE(endsSoon(first.process));
  EXPECT_EQ(pasted("text/plain"), "second");
  EXPECT_FALSE(hasEnded(second.process));
  // Another application takes the clipboard: the second owner ends too.
  ASSERT_NO_FATAL_FAILURE(copyWithWlCopy({}, "text/plain", "third"));
  EXPECT_TRUE(endsSoon(second.process));
}

// The owner writes each paste only as far as its reader takes it, so that a reader that stops
// reading holds up no other paste.
TEST_F(WaylandClipboardTest, AReaderThatStopsReadingHoldsUpNoOtherPaste) {
  ASSERT_EQ(serve({{"text/rtf", std::string(4 << 20, 'r')}, {"UTF8_STRING", "text"}}).problem, "");
  // wl-paste, its output a pipe that no one reads, soon stops reading the owner's pipe.
  int output[2];
  ASSERT_EQ(::pipe(output), 0);
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output[1], 1);
  posix_spawn_file_actions_addclose(&actions, output[0]);
  std::vector<std::string> arguments = {"/usr/bin/wl-paste", "--type", "text/rtf"};
  std::vector<std::string> environment = waylandEnvironment();
  pid_t stuck = -1;
  ASSERT_EQ(posix_spawn(&stuck, arguments[0].c_str(), &actions, nullptr,
                        pointersTo(arguments).data(), pointersTo(environment).data()),
            0);
  posix_spawn_file_actions_destroy(&actions);
  ::close(output[1]);
  // Bounded, so that an owner blocked on the stuck reader fails the test instead of hanging it.
  const Outcome other = execute(
      {"/usr/bin/timeout", "60", "/usr/bin/wl-paste", "--no-newline", "--type", "UTF8_STRING"}, {},
      environment);
  EXPECT_EQ(other.status, 0);
  EXPECT_EQ(other.out, "text");
  ::kill(stuck, SIGKILL);
  ::waitpid(stuck, nullptr, 0);
  ::close(output[0]);
}

// wl-copy offers a type that it does not take for text as that type alone.
TEST_F(WaylandClipboardTest, ReadsWhatAnotherApplicationOffers) {
  ASSERT_NO_FATAL_FAILURE(copyWithWlCopy({"--primary"}, "application/rtf", std::string(kRtf)));
  ASSERT_NO_FATAL_FAILURE(copyWithWlCopy({}, "text/plain;charset=utf-8", std::string(kText)));
  std::string problem;
  const std::unique_ptr<WaylandClipboard> reader = WaylandClipboard::open(sway_.display(), problem);
  ASSERT_TRUE(reader) << problem;
  EXPECT_TRUE(reader->hasPrimarySelection());
  EXPECT_EQ(reader->selectionTypes(WaylandSelection::primary),
            std::vector<std::string>{"application/rtf"});
  EXPECT_EQ(reader->readSelection(WaylandSelection::primary, "application/rtf"), kRtf);
  EXPECT_EQ(reader->readSelection(WaylandSelection::clipboard, "text/plain;charset=utf-8"), kText);
  EXPECT_FALSE(reader->readSelection(WaylandSelection::primary, "text/plain;charset=utf-8"));
  // The reader sees the selections of now, not those it found when it connected.
  ASSERT_NO_FATAL_FAILURE(copyWithWlCopy({"--primary"}, "image/png", "\x89PNG"));
  EXPECT_EQ(reader->selectionTypes(WaylandSelection::primary),
            std::vector<std::string>{"image/png"});
  EXPECT_EQ(reader->readSelection(WaylandSelection::primary, "image/png"), "\x89PNG");
}

// The provider's copy of the mail application's result offers a rich result as its characters too.
TEST_F(WaylandClipboardTest, TheProvidersCopyOffersRichTextWithItsCharacters) {
  const Desktop desktop{directory_.string(), sway_.display(), ""};  // no wl-copy there
  ASSERT_TRUE(copyToDesktopClipboard(
      desktop, testing_pasteboards::pasteboardWith(kRTFPboardType, std::string(kRtf))));
  EXPECT_EQ(offeredTypes(), (std::vector<std::string>{"text/rtf", "text/plain;charset=utf-8",
                                                      "UTF8_STRING", "text/plain", "TEXT"}));
  EXPECT_EQ(pasted("text/rtf"), kRtf);
  EXPECT_EQ(pasted("UTF8_STRING"), kText);
}

// A compositor that offers no global, the data-control manager least of all, serving on a thread
// of this process at a socket of its own.
class BareCompositor {
 public:
  explicit BareCompositor(const std::filesystem::path& socket) : display_(wl_display_create()) {
    const int listening = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    std::strncpy(address.sun_path, socket.c_str(), sizeof address.sun_path - 1);
    EXPECT_EQ(::bind(listening, reinterpret_cast<sockaddr*>(&address), sizeof address), 0);
    EXPECT_EQ(::listen(listening, 8), 0);
    EXPECT_EQ(wl_display_add_socket_fd(display_, listening), 0);
    thread_ = std::thread([this] { wl_display_run(display_); });
  }
  ~BareCompositor() {
    wl_display_terminate(display_);
    thread_.join();
    wl_display_destroy(display_);
  }
  BareCompositor(const BareCompositor&) = delete;
  BareCompositor& operator=(const BareCompositor&) = delete;

 private:
  wl_display* display_;
  std::thread thread_;
};

using WaylandClipboardFallback = FakeProgramsTest;

// Where no compositor answers or it lacks the protocol, the problem says why, pick asks for
// wl-clipboard, and with wl-clipboard there wl-copy offers the first type.
TEST_F(WaylandClipboardFallback, WithoutTheProtocolWlCopyOffersTheFirstType) {
  BareCompositor compositor(directory_ / "bare");
  const std::string bare = (directory_ / "bare").string(), none = (directory_ / "none").string();
  const std::pair<std::string, std::string> cases[] = {
      {none, "cannot connect to the Wayland display " + none},
      {bare, "the Wayland compositor does not offer zwlr_data_control_manager_v1"},
  };
  for (const auto& [display, unsupported] : cases) {
    SCOPED_TRACE(display);
    std::filesystem::remove(directory_ / "wl-copy");
    std::filesystem::remove(directory_ / "wl-paste");
    std::string problem;
    EXPECT_EQ(WaylandClipboard::open(display, problem), nullptr);
    EXPECT_EQ(problem, unsupported);
    const BackgroundOwner owner =
        serveWaylandClipboardInBackground(display, {{"UTF8_STRING", "x"}});
    EXPECT_EQ(owner.problem, unsupported);
    EXPECT_EQ(owner.process, -1);

    const Desktop desktop{directory_.string(), display, ""};
    problem.clear();
    EXPECT_EQ(desktopSelection(desktop, false, problem), nullptr);
    EXPECT_EQ(problem,
              "pick needs wl-paste and wl-copy on Wayland (install wl-clipboard): " + unsupported);
    EXPECT_FALSE(copyToDesktopClipboard(desktop, testing_pasteboards::plainPasteboard(u"x")));

    fakeProgram("wl-copy");
    fakeProgram("wl-paste");
    const std::unique_ptr<DesktopSelection> selection = desktopSelection(desktop, false, problem);
    ASSERT_TRUE(selection);
    EXPECT_EQ(selection->writeClipboard({{"text/rtf", "{\\rtf1 x}"}, {"UTF8_STRING", "x"}}), "");
    EXPECT_EQ(recorded("wl-copy", "args"), "--type|text/rtf|");
    EXPECT_EQ(recorded("wl-copy", "in"), "{\\rtf1 x}");
    EXPECT_TRUE(copyToDesktopClipboard(
        desktop, testing_pasteboards::pasteboardWith(kRTFPboardType, "{\\rtf1 y}")));
    EXPECT_EQ(recorded("wl-copy", "in"), "{\\rtf1 y}");
  }
}

// Without libwayland-client nothing connects, nothing crashes, and the problem says what to
// install.
TEST(WaylandClipboardLibrary, WithoutLibwaylandClientTheProblemSaysWhatToInstall) {
  WithoutLoadedLibraries missing;
  EXPECT_EXIT(
      {
        std::string problem;
        const bool opened = WaylandClipboard::open("/nonexistent/wayland-0", problem) != nullptr;
        const std::string owning =
            serveWaylandClipboardInBackground("/nonexistent/wayland-0", {{"UTF8_STRING", "x"}})
                .problem;
        std::fprintf(stderr, "opened %d: %s\nowning: %s\n", opened, problem.c_str(),
                     owning.c_str());
        std::exit(0);
      },
      testing::ExitedWithCode(0),
      "opened 0: cannot use the Wayland display without libwayland-client \\(install "
      "libwayland-client0\\): .*libwayland-client.so.0.*\n"
      "owning: cannot use the Wayland display without libwayland-client \\(install "
      "libwayland-client0\\): .*libwayland-client.so.0");
}

}  // namespace
}  // namespace textrix
