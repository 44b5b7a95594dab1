// SPDX-License-Identifier: MIT
// A headless sway for tests of the Wayland selections: each test starts its own, on the headless
// backend with the software renderer, with a config file in the test's directory and an
// XDG_RUNTIME_DIR of its own. sway offers the wlroots data-control protocol. It refuses to run as
// root, so as root it runs as the unprivileged user nobody (65534), through setpriv; root's clients
// still reach its socket. The config has sway print its socket's name once it is up.
// WithHeadlessSway is a fixture over CommandTest (or a fixture derived from it) that starts one
// for each test and fills and reads the selections with wl-copy and wl-paste, as other
// applications would:
//
//   class Clipboard : public textrix::WithHeadlessSway<textrix::CommandTest> {};
//   TEST_F(Clipboard, Offers) {
//     ASSERT_NO_FATAL_FAILURE(copyWithWlCopy({"--primary"}, "text/plain", "x"));
//     EXPECT_EQ(offeredTypes(true), std::vector<std::string>{"text/plain", ...});
//   }
#pragma once

#include <signal.h>
#include <stdlib.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/files.h"
#include "support/process.h"

namespace textrix {

class HeadlessSway {
 public:
  HeadlessSway() = default;
  HeadlessSway(const HeadlessSway&) = delete;
  HeadlessSway& operator=(const HeadlessSway&) = delete;
  ~HeadlessSway() { stop(); }

  // Starts sway with its files in directory; empty once it listens, else why it could not start.
  std::string start(const std::filesystem::path& directory) {
    const std::filesystem::path config = directory / "sway.conf";
    // Short, apart from the test's directory: the sockets' paths must fit a sockaddr_un.
    std::string runtime = (std::filesystem::temp_directory_path() / "textrix-sway-XXXXXX").string();
    if (!::mkdtemp(runtime.data())) return "cannot make a runtime directory";
    runtime_ = runtime;
    std::ofstream(config) << "xwayland disable\nexec echo $WAYLAND_DISPLAY\n";
    std::vector<std::string> command = {"sway", "-c", config.string()};
    if (::geteuid() == 0) {
      if (::chown(runtime_.c_str(), kNobody, kNobody) != 0) return "cannot give nobody a runtime";
      command.insert(command.begin(),
                     {"setpriv", "--reuid=65534", "--regid=65534", "--clear-groups", "--"});
    }
    const std::filesystem::path log = directory / "sway.log";
    const std::string socket =
        startServer(command,
                    {"PATH=/usr/bin:/bin", "XDG_RUNTIME_DIR=" + runtime_.string(),
                     "WLR_BACKENDS=headless", "WLR_LIBINPUT_NO_DEVICES=1", "WLR_RENDERER=pixman"},
                    log, pid_);
    if (socket.empty()) return "no socket announced; its log:\n" + slurp(log);
    display_ = (runtime_ / socket).string();
    return {};
  }

  // Ends sway, and so the connections of its clients.
  void stop() {
    if (pid_ > 0) {
      ::kill(pid_, SIGTERM);
      ::waitpid(pid_, nullptr, 0);
      pid_ = -1;
    }
    if (!runtime_.empty()) std::filesystem::remove_all(runtime_);
    runtime_.clear();
  }

  // The path of its socket, for WAYLAND_DISPLAY.
  const std::string& display() const { return display_; }
  // The variables that lead a Wayland client to it.
  std::vector<std::string> environment() const {
    return {"WAYLAND_DISPLAY=" + display_, "XDG_RUNTIME_DIR=" + runtime_.string()};
  }

 private:
  static constexpr uid_t kNobody = 65534;

  pid_t pid_ = -1;
  std::filesystem::path runtime_;
  std::string display_;
};

template <typename Base>
class WithHeadlessSway : public Base {
 protected:
  void SetUp() override {
    Base::SetUp();
    ASSERT_EQ(::access("/usr/bin/sway", X_OK), 0) << "sway is not installed: run scripts/setup";
    if (const std::string problem = sway_.start(this->directory_); !problem.empty()) {
      GTEST_SKIP() << "sway cannot start: " << problem;
    }
  }
  void TearDown() override {
    sway_.stop();
    Base::TearDown();
  }

  // The test's base environment with the variables that lead a Wayland client to sway.
  std::vector<std::string> waylandEnvironment() const {
    std::vector<std::string> environment = this->baseEnvironment();
    for (std::string& variable : sway_.environment()) environment.push_back(std::move(variable));
    return environment;
  }
  // Runs wl-copy or wl-paste (program) with the arguments on this test's sway.
  Outcome wlClipboard(const char* program, std::vector<std::string> arguments,
                      const std::string& input = {}) const {
    arguments.insert(arguments.begin(), std::string("/usr/bin/") + program);
    return this->execute(arguments, input, waylandEnvironment());
  }
  // The types that the clipboard (or the primary selection) offers, as wl-paste lists them.
  std::vector<std::string> offeredTypes(bool primary = false) const {
    std::vector<std::string> arguments = {"--list-types"};
    if (primary) arguments.insert(arguments.begin(), "--primary");
    return linesOf(wlClipboard("wl-paste", arguments).out);
  }
  // What wl-paste pastes from the clipboard (or the primary selection) as the type; none when it
  // fails.
  std::optional<std::string> pasted(const std::string& type, bool primary = false) const {
    std::vector<std::string> arguments = {"--no-newline", "--type", type};
    if (primary) arguments.insert(arguments.begin(), "--primary");
    Outcome outcome = wlClipboard("wl-paste", arguments);
    if (outcome.status != 0) return std::nullopt;
    return std::move(outcome.out);
  }
  // Makes wl-copy, with the arguments ("--primary" or none), the owner of that selection with the
  // bytes as the type, and waits until the selection answers with them: wl-copy serves from a
  // process that it leaves behind, which may take the selection only after wl-copy has returned.
  void copyWithWlCopy(std::vector<std::string> arguments, const std::string& type,
                      const std::string& bytes) const {
    const bool primary = !arguments.empty() && arguments.front() == "--primary";
    arguments.insert(arguments.end(), {"--type", type});
    ASSERT_EQ(wlClipboard("wl-copy", arguments, bytes).status, 0);
    for (int i = 0; i < 400 && pasted(type, primary) != bytes; ++i) {
      std::this_thread::sleep_for(std::chrono::milliseconds(25));
    }
    ASSERT_EQ(pasted(type, primary), bytes);
  }

  HeadlessSway sway_;
};

}  // namespace textrix
