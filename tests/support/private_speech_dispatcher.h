// SPDX-License-Identifier: MIT
// A private speech-dispatcher server for tests, with its configuration, socket and logs in a
// directory of the test's own, so that it never touches the user's server. Its one output module
// is the generic module, set to write down what it is asked to say, with the language, voice,
// rate, pitch and volume it is asked to use, instead of saying it; each piece then waits until the
// test lets speech finish, so that a test sees a speech in progress for as long as it likes. The
// settings the server gives every client are those of a user who chose Finnish, the voice type
// FEMALE2 (Aino in Finnish, Greta in German), rate 37, pitch -12 and volume 55.
//
//   PrivateSpeechDispatcher server(directory_);
//   ASSERT_TRUE(server.start()) << server.log();
//   setenv("SPEECHD_ADDRESS", server.address().c_str(), 1);
//   server.holdSpeech();
//   speak("Hello");
//   ASSERT_TRUE(eventually([&] { return server.pieces().size() == 1; }));
//   // {"fi", "aino", "37", "-12", "55", "Hello", finished = false}
//   server.finishSpeech();
#pragma once

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstring>
#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/process.h"

namespace textrix {

// What the server's module was asked to say at once, with the settings it was asked to use;
// finished once it was let finish rather than cut off.
struct SpokenPiece {
  std::string language, voice, rate, pitch, volume, text;
  bool finished = false;

  friend bool operator==(const SpokenPiece&, const SpokenPiece&) = default;
  friend std::ostream& operator<<(std::ostream& out, const SpokenPiece& piece) {
    return out << '{' << piece.language << ' ' << piece.voice << ' ' << piece.rate << ' '
               << piece.pitch << ' ' << piece.volume << " \"" << piece.text << "\" "
               << (piece.finished ? "finished" : "unfinished") << '}';
  }
};

class PrivateSpeechDispatcher {
 public:
  explicit PrivateSpeechDispatcher(std::filesystem::path directory)
      : directory_(std::move(directory)) {}
  ~PrivateSpeechDispatcher() { kill(SIGTERM); }
  PrivateSpeechDispatcher(const PrivateSpeechDispatcher&) = delete;
  PrivateSpeechDispatcher& operator=(const PrivateSpeechDispatcher&) = delete;

  // Writes the configuration, starts the server and waits until it takes connections; false when
  // it does not (log() tells why).
  bool start() {
    std::filesystem::create_directories(directory_ / "log");
    writeConfiguration();
    finishSpeech();
    std::vector<std::string> arguments = {"speech-dispatcher",
                                          "--run-single",
                                          "--config-dir",
                                          directory_.string(),
                                          "--timeout",
                                          "0",
                                          "--pid-file",
                                          (directory_ / "pid").string(),
                                          "--socket-path",
                                          socket_.string(),
                                          "--communication-method",
                                          "unix_socket"};
    // The user's own configuration and runtime directory stay out of reach.
    std::vector<std::string> environment = {"PATH=/usr/bin:/bin", "HOME=" + directory_.string(),
                                            "XDG_CONFIG_HOME=" + (directory_ / "config").string(),
                                            "XDG_RUNTIME_DIR=" + directory_.string()};
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    const std::string output = (directory_ / "log" / "output").string();
    posix_spawn_file_actions_addopen(&actions, 0, "/dev/null", O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, output.c_str(), O_WRONLY | O_CREAT, 0600);
    posix_spawn_file_actions_adddup2(&actions, 1, 2);
    // Nor does it hold any file of the test's, such as the pipe a death test's parent reads to
    // its end.
    posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    const int spawned = posix_spawnp(&pid_, arguments[0].c_str(), &actions, nullptr,
                                     pointersTo(arguments).data(), pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    if (spawned != 0) {
      pid_ = -1;
      return false;
    }
    return eventually([&] { return listening() || !running(); }) && running();
  }

  // The address that SPEECHD_ADDRESS gives a client of this server.
  std::string address() const { return "unix_socket:" + socket_.string(); }

  // From now on, each piece waits, once written down, until finishSpeech.
  void holdSpeech() { std::filesystem::remove(directory_ / "finish"); }
  // Lets the pieces waiting and all later ones finish.
  void finishSpeech() { std::ofstream(directory_ / "finish").flush(); }

  // Every piece the module was asked to say, in order.
  std::vector<SpokenPiece> pieces() const {
    std::vector<SpokenPiece> pieces;
    const std::string record = slurp(directory_ / "spoken");
    for (std::size_t at = 0, end; (end = record.find('\x1e', at)) != std::string::npos;
         at = end + 1) {
      const std::string entry = record.substr(at, end - at);
      if (entry == "finished" && !pieces.empty()) {
        pieces.back().finished = true;
        continue;
      }
      // "said", five settings, then the text, which may hold anything but U+001E.
      std::vector<std::string> fields;
      std::size_t from = 0;
      for (std::size_t to; fields.size() < 6 && (to = entry.find('\x1f', from)) != entry.npos;
           from = to + 1) {
        fields.push_back(entry.substr(from, to - from));
      }
      fields.push_back(entry.substr(from));
      fields.resize(7);
      pieces.push_back({fields[1], fields[2], fields[3], fields[4], fields[5], fields[6]});
    }
    return pieces;
  }

  // The text of every piece, one after the other.
  std::string spokenText() const {
    std::string text;
    for (const SpokenPiece& piece : pieces()) text += piece.text;
    return text;
  }

  // Sends the server signal and waits for it to end.
  void kill(int signal) {
    if (pid_ <= 0) return;
    ::kill(pid_, signal);
    ::waitpid(pid_, nullptr, 0);
    pid_ = -1;
  }

  // What the server wrote in its log, to tell why it did not start.
  std::string log() const {
    return slurp(directory_ / "log" / "output") +
           slurp(directory_ / "log" / "speech-dispatcher.log");
  }

 private:
  // The server with the one module; ALSA's null device stands for the sound output that the
  // server insists on opening, though the module plays nothing. Each piece is written down as
  // "said", the settings and the text, separated by U+001F and ended by U+001E, then "finished"
  // once the finish file is there (or the test's directory has gone). A text is cut into pieces
  // only where it is longer than a shell command takes, or at a '~'.
  void writeConfiguration() const {
    std::ofstream(directory_ / "speechd.conf") << inDirectory(R"(LogLevel 3
LogDir "@DIR@/log"
AudioOutputMethod "alsa"
AudioALSADevice "null"
DefaultLanguage "fi"
DefaultVoiceType "FEMALE2"
DefaultRate 37
DefaultPitch -12
DefaultVolume 55
AddModule "recorder" "sd_generic" "@DIR@/recorder.conf"
DefaultModule "recorder"
)");
    // The module's configuration reads \\ as \ and \" as ", and the module puts $DATA in the
    // quotes around it, its own quotes escaped.
    std::ofstream(directory_ / "recorder.conf") << inDirectory(R"(GenericExecuteSynth \
"printf 'said\\037%s\\037%s\\037%s\\037%s\\037%s\\037%s\\036' \"$LANGUAGE\" \"$VOICE\" \"$RATE\" \"$PITCH\" \"$VOLUME\" \'$DATA\' >> @DIR@/spoken; \
while [ ! -e @DIR@/finish ] && [ -d @DIR@ ]; do sleep 0.01; done; \
printf 'finished\\036' >> @DIR@/spoken"
GenericMaxChunkLength 60000
GenericDelimiters "~"
GenericRateForceInteger 1
GenericPitchForceInteger 1
GenericVolumeForceInteger 1
GenericLanguage "fi" "fi" "utf-8"
GenericLanguage "de" "de" "utf-8"
AddVoice "fi" "FEMALE2" "aino"
AddVoice "de" "FEMALE2" "greta"
)");
  }

  // text with each @DIR@ replaced by the server's directory.
  std::string inDirectory(std::string text) const {
    for (std::size_t at; (at = text.find("@DIR@")) != std::string::npos;) {
      text.replace(at, 5, directory_.string());
    }
    return text;
  }

  bool running() {
    if (pid_ > 0 && ::waitpid(pid_, nullptr, WNOHANG) != 0) pid_ = -1;
    return pid_ > 0;
  }

  bool listening() const {
    sockaddr_un address{};
    address.sun_family = AF_UNIX;
    const std::string path = socket_.string();
    if (path.size() >= sizeof(address.sun_path)) return false;
    std::memcpy(address.sun_path, path.c_str(), path.size() + 1);
    const int client = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    const bool connected =
        ::connect(client, reinterpret_cast<const sockaddr*>(&address), sizeof(address)) == 0;
    ::close(client);
    return connected;
  }

  std::filesystem::path directory_;
  std::filesystem::path socket_ = directory_ / "sd";
  pid_t pid_ = -1;
};

}  // namespace textrix
