// SPDX-License-Identifier: MIT
// End-to-end tests of speech through the user's speech-dispatcher server: the real command, and
// the provider on a private bus, each speaking through a private server of the test's own
// (support/private_speech_dispatcher.h).
#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <optional>
#include <string>
#include <thread>
#include <vector>

#include "private_bus.h"
#include "support/private_speech_dispatcher.h"

namespace textrix {
namespace {

using namespace std::chrono_literals;

class SpeechThroughTheServer : public PrivateBusTest {
 protected:
  void SetUp() override {
    PrivateBusTest::SetUp();
    server_.emplace(directory_);
    ASSERT_TRUE(server_->start()) << server_->log();
  }

  void TearDown() override {
    server_.reset();
    PrivateBusTest::TearDown();
  }

  // The command's environment, with the private server as the user's, or with no server.
  std::vector<std::string> speechEnvironment(bool withServer = true) const {
    std::vector<std::string> environment = baseEnvironment();
    environment.push_back(
        "SPEECHD_ADDRESS=" +
        (withServer ? server_->address() : "unix_socket:" + (directory_ / "nobody").string()));
    return environment;
  }

  Outcome speak(std::vector<std::string> arguments, const std::string& input,
                bool withServer = true) const {
    return runCommand(std::move(arguments), input, speechEnvironment(withServer));
  }

  std::optional<PrivateSpeechDispatcher> server_;
};

TEST_F(SpeechThroughTheServer, SpeakReturnsOnceTheServerHasSpokenTheText) {
  server_->holdSpeech();
  std::atomic<bool> returned = false;
  Outcome outcome;
  std::thread command([&] {
    outcome = speak({"speak-native"}, "hello world");
    returned = true;
  });
  const bool heard = eventually([&] { return !server_->pieces().empty(); });
  EXPECT_FALSE(returned);
  server_->finishSpeech();
  command.join();
  ASSERT_TRUE(heard);
  EXPECT_EQ(outcome.status, 0) << outcome.err;
  EXPECT_EQ(outcome.out, "");
  EXPECT_EQ(server_->pieces(),
            (std::vector<SpokenPiece>{{"fi", "aino", "37", "-12", "55", "hello world", true}}));
}

// The WAV file is the same whether a server runs or not, and neither it nor the printed text goes
// to the server, which hears only the speech that follows them.
TEST_F(SpeechThroughTheServer, WavAndPrintNeverReachTheServer) {
  const auto wav = directory_ / "speech.wav";
  std::vector<std::string> recorded;
  for (const bool withServer : {false, true}) {
    const Outcome outcome = speak({"speak-german", "--wav", wav.string()}, "Hallo", withServer);
    EXPECT_EQ(outcome.status, 0) << outcome.err;
    recorded.push_back(slurp(wav));
  }
  EXPECT_TRUE(recorded[0].starts_with("RIFF") && recorded[0].size() > 1000);
  EXPECT_EQ(recorded[1], recorded[0]);
  EXPECT_EQ(speak({"speak-german", "--print"}, "ich").out, "EEHSH");

  EXPECT_EQ(speak({"speak-german"}, "ich").status, 0);
  EXPECT_EQ(server_->pieces(),
            (std::vector<SpokenPiece>{{"de", "greta", "37", "-12", "55", "EEHSH", true}}));
}

// The server's client library is loaded when speech first needs it, so that a service that does
// not speak starts as before.
TEST_F(SpeechThroughTheServer, OnlySpeechLoadsTheServersLibrary) {
  std::vector<std::string> environment = speechEnvironment();
  environment.push_back("LD_DEBUG=files");
  const Outcome upper = runCommand({"upper"}, "a", environment);
  EXPECT_EQ(upper.out, "A");
  EXPECT_EQ(upper.err.find("libspeechd"), std::string::npos) << upper.err;
  const Outcome spoken = runCommand({"speak-native"}, "a", environment);
  EXPECT_NE(spoken.err.find("libspeechd.so.2"), std::string::npos) << spoken.err;
}

// The provider, started by the bus with the private server as the user's, says it is speaking for
// as long as the server speaks, across the ends of its one-second slices.
TEST_F(SpeechThroughTheServer, TheProviderSpeaksUntilTheServerHasSpoken) {
  ASSERT_NO_FATAL_FAILURE(
      startBus("1", servicesStartingTheProviderWith("SPEECHD_ADDRESS=" + server_->address())));
  server_->holdSpeech();
  const Outcome called = run({"call", "speak-native"}, "from the provider");
  EXPECT_EQ(called.status, 0) << called.err;
  ASSERT_TRUE(eventually([&] { return !server_->pieces().empty(); }));
  EXPECT_TRUE(speaking());
  std::this_thread::sleep_for(2500ms);
  EXPECT_TRUE(speaking());
  server_->finishSpeech();
  EXPECT_TRUE(eventually([&] { return !speaking(); }));
  EXPECT_EQ(server_->pieces().at(0).text, "from the provider");
}

}  // namespace
}  // namespace textrix
