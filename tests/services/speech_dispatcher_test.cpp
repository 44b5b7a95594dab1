// SPDX-License-Identifier: MIT
#include "services/speech_dispatcher.h"

#include <gtest/gtest.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "services/textrix.h"
#include "support/files.h"
#include "support/pasteboards.h"
#include "support/perform.h"
#include "support/private_speech_dispatcher.h"
#include "support/scratch.h"
#include "support/unloadable_libraries.h"
#include "text/encodings.h"

namespace textrix {
namespace {

using testing_pasteboards::plainPasteboard;
using testing_services::perform;

// Each test has a private server of its own, which the speech services find through
// SPEECHD_ADDRESS; no sound output is in sight, so espeak-ng has nowhere to play.
class SpeechDispatcher : public ScratchTest {
 protected:
  void SetUp() override {
    prefix_ = "textrix-speechd-";
    ScratchTest::SetUp();
    unsetenv("PULSE_SERVER");
    server_.emplace(directory_);
    ASSERT_TRUE(server_->start()) << server_->log();
    setenv("SPEECHD_ADDRESS", server_->address().c_str(), 1);
  }

  void TearDown() override {
    Textrix::stopSpeaking();
    unsetenv("SPEECHD_ADDRESS");
    server_.reset();
    ScratchTest::TearDown();
  }

  void speak(std::string_view service, std::u16string text) {
    ServicePasteboard pasteboard = plainPasteboard(std::move(text));
    EXPECT_EQ(perform(provider_, service, pasteboard), "");
  }

  // True once the server has been asked to say count pieces.
  bool heard(std::size_t count) const {
    return eventually([&] { return server_->pieces().size() >= count; });
  }

  static bool silent() {
    return eventually([] { return !Textrix::isSpeaking(); });
  }

  // The text of each piece the server was asked to say, and whether it was let finish.
  std::vector<std::pair<std::string, bool>> texts() const {
    std::vector<std::pair<std::string, bool>> texts;
    for (const SpokenPiece& piece : server_->pieces())
      texts.emplace_back(piece.text, piece.finished);
    return texts;
  }

  Textrix provider_;
  std::optional<PrivateSpeechDispatcher> server_;
};

// The server speaks with the settings the user gave it, German in German. Each speech has a
// connection of its own, so the German of the one before does not stay for the next.
TEST_F(SpeechDispatcher, SpeaksWithTheUsersSettingsAndGermanInGerman) {
  const struct {
    const char* service;
    std::u16string text;
    SpokenPiece spoken;
  } cases[] = {
      {"speak-german",
       u"Ich kann 2 sehen",
       {"de", "greta", "37", "-12", "55", "EEHSH KUN  TSwIGH  sAY HEN", true}},
      {"speak-native", u"Hello there", {"fi", "aino", "37", "-12", "55", "Hello there", true}},
      {"speak-german", u"Gr\u00FC\u00DFe", {"de", "greta", "37", "-12", "55", "grOOSAI", true}},
  };
  std::vector<SpokenPiece> spoken;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.service);
    speak(c.service, c.text);
    spoken.push_back(c.spoken);
    ASSERT_TRUE(silent());
    EXPECT_EQ(server_->pieces(), spoken);
  }
}

TEST_F(SpeechDispatcher, IsSpeakingFromTheStartUntilTheServerHasSpoken) {
  server_->holdSpeech();
  speak("speak-native", u"Wait for it");
  EXPECT_TRUE(Textrix::isSpeaking());
  ASSERT_TRUE(heard(1));
  EXPECT_TRUE(Textrix::isSpeaking());
  server_->finishSpeech();
  EXPECT_TRUE(silent());
  EXPECT_EQ(texts(), (std::vector<std::pair<std::string, bool>>{{"Wait for it", true}}));
}

// While the first speech is held, the server takes the next only once it has cut the first off;
// then the first never finishes.
TEST_F(SpeechDispatcher, StopSpeakingCutsTheSpeechOff) {
  server_->holdSpeech();
  speak("speak-native", u"first");
  ASSERT_TRUE(heard(1));
  ServicePasteboard none;
  EXPECT_EQ(perform(provider_, "stop-speaking", none), "");
  EXPECT_FALSE(Textrix::isSpeaking());
  speak("speak-native", u"next");
  ASSERT_TRUE(heard(2));
  server_->finishSpeech();
  EXPECT_TRUE(silent());
  EXPECT_EQ(texts(), (std::vector<std::pair<std::string, bool>>{{"first", false}, {"next", true}}));
}

TEST_F(SpeechDispatcher, ANewSpeechCutsOffTheOneBefore) {
  server_->holdSpeech();
  speak("speak-native", u"first");
  ASSERT_TRUE(heard(1));
  speak("speak-german", u"zweite");
  EXPECT_TRUE(Textrix::isSpeaking());
  ASSERT_TRUE(heard(2));
  server_->finishSpeech();
  EXPECT_TRUE(silent());
  EXPECT_EQ(texts(),
            (std::vector<std::pair<std::string, bool>>{{"first", false}, {"TSwIGHtAI", true}}));
}

// The library escapes the lines that hold a single dot, which would end the text early; the
// server takes every other character as it comes, control characters included. U+0000 would end
// the text the library sends, so it is spoken as a space.
TEST_F(SpeechDispatcher, LongTextsArriveWhole) {
  std::u16string text;
  for (int line = 0; line < 5000; ++line) {
    const std::string number = std::to_string(line);
    text += std::u16string(number.begin(), number.end()) +
            u" says: \"it's $HOME\", `x` & <b>\t\\n Gr\u00FC\u00DFe \U0001F600\u0007\u0000!\n.\n"
            u"..\r\n.\r\n";
  }
  std::string expected = encodeUtf8(text);
  std::replace(expected.begin(), expected.end(), '\0', ' ');
  speak("speak-native", text);
  ASSERT_TRUE(silent());
  EXPECT_EQ(server_->spokenText(), expected);
}

// A server that dies says nothing more of the speech it dropped; the speech ends all the same,
// and the next one, with no server to answer, goes to espeak-ng.
TEST_F(SpeechDispatcher, ASpeechEndsWhenTheServerDies) {
  server_->holdSpeech();
  speak("speak-native", u"cut short");
  ASSERT_TRUE(heard(1));
  EXPECT_TRUE(Textrix::isSpeaking());
  server_->kill(SIGKILL);
  EXPECT_TRUE(silent());
  speak("speak-native", u"unheard");
  EXPECT_TRUE(silent());
  ServicePasteboard none;
  EXPECT_EQ(perform(provider_, "stop-speaking", none), "");
  EXPECT_FALSE(Textrix::isSpeaking());
}

// A socket that takes each connection and closes it at once, as a server on its way out does.
class HangingUpServer {
 public:
  explicit HangingUpServer(const std::filesystem::path& path) {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    path.string().copy(address.sun_path, sizeof(address.sun_path) - 1);
    listener_ = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    EXPECT_EQ(::bind(listener_, reinterpret_cast<const sockaddr*>(&address), sizeof(address)), 0);
    EXPECT_EQ(::listen(listener_, 8), 0);
    hangingUp_ = std::thread([this] {
      for (int client; (client = ::accept(listener_, nullptr, nullptr)) >= 0;) ::close(client);
    });
  }
  ~HangingUpServer() {
    ::shutdown(listener_, SHUT_RDWR);
    hangingUp_.join();
    ::close(listener_);
  }

 private:
  int listener_ = -1;
  std::thread hangingUp_;
};

// Where no server answers, espeak-ng speaks: here it starts playing for a sound server that is not
// there, and gives up.
TEST_F(SpeechDispatcher, EspeakSpeaksWhereNoServerAnswers) {
  const HangingUpServer hangingUp(directory_ / "hangs-up");
  setenv("PULSE_SERVER", "unix:/nonexistent/textrix", 1);
  for (const std::string& address :
       {"unix_socket:" + (directory_ / "nobody").string(), std::string("no_such_method:"),
        "unix_socket:" + (directory_ / "hangs-up").string()}) {
    SCOPED_TRACE(address);
    setenv("SPEECHD_ADDRESS", address.c_str(), 1);
    SpeechSynthesizer speaker(SpeechOutput{});
    EXPECT_TRUE(speaker.startSpeakingString(u"unheard"));
    EXPECT_TRUE(eventually([&] { return !speaker.isSpeaking(); }));
  }
  unsetenv("PULSE_SERVER");
  setenv("SPEECHD_ADDRESS", server_->address().c_str(), 1);
  speak("speak-native", u"heard");
  ASSERT_TRUE(silent());
  EXPECT_EQ(texts(), (std::vector<std::pair<std::string, bool>>{{"heard", true}}));
}

// Without the server's client library, the server is not asked: a held speech would still be
// going on. The child that tries has a server of its own, from its own SetUp, and ends it.
TEST_F(SpeechDispatcher, WithoutTheClientLibraryTheServerIsNotAsked) {
  server_->holdSpeech();
  WithoutLoadedLibraries missing;
  EXPECT_EXIT(
      {
        SpeechSynthesizer speaker(SpeechOutput{});
        const bool started = speaker.startSpeakingString(u"unheard");
        std::fprintf(stderr, "started %d, speaking %d\n", started, speaker.isSpeaking());
        server_.reset();
        std::filesystem::remove_all(directory_);
        std::exit(0);
      },
      testing::ExitedWithCode(0), "started 0, speaking 0");
}

}  // namespace
}  // namespace textrix
