// A private session bus for end-to-end tests of the command and the provider: each test starts its
// own dbus-daemon, whose service directory is the build tree's (build/dbus-1/services), so that a
// request activates the built provider. The daemon hands its environment on to the provider:
// TEXTRIX_SLICE_SECONDS sets the slice.
//
//   class Provider : public textrix::PrivateBusTest {};
//   TEST_F(Provider, Answers) {
//     ASSERT_NO_FATAL_FAILURE(startBus("60"));
//     EXPECT_EQ(run({"call", "upper"}, "a").out, "A");
//   }
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <sstream>
#include <string>
#include <vector>

namespace textrix {

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

inline std::string slurp(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

inline std::vector<char*> pointersTo(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  for (std::string& string : strings) pointers.push_back(string.data());
  pointers.push_back(nullptr);
  return pointers;
}

class PrivateBusTest : public ::testing::Test {
 protected:
  void SetUp() override {
    directory_ = std::filesystem::temp_directory_path() /
                 (prefix_ + std::to_string(getpid()) + "-" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(directory_);
    std::filesystem::create_directories(directory_);
  }

  void TearDown() override {
    if (daemon_ > 0) {
      ::kill(daemon_, SIGTERM);
      ::waitpid(daemon_, nullptr, 0);
    }
    std::filesystem::remove_all(directory_);
  }

  // Starts the private bus with the given slice for the providers it activates and the service
  // directory of the build tree (or another one).
  void startBus(const std::string& slice,
                const std::filesystem::path& serviceDirectory = TEXTRIX_SERVICE_DIR) {
    const auto config = directory_ / "bus.conf";
    std::ofstream(config)
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>session</type>\n"
           "  <listen>unix:dir="
        << directory_.string()
        << "</listen>\n"
           "  <auth>EXTERNAL</auth>\n"
           "  <servicedir>"
        << serviceDirectory.string()
        << "</servicedir>\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n"
           "    <allow own=\"*\"/>\n"
           "  </policy>\n"
           "</busconfig>\n";
    int output[2];
    ASSERT_EQ(::pipe(output), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output[1], 1);
    posix_spawn_file_actions_addclose(&actions, output[0]);
    posix_spawn_file_actions_addopen(&actions, 2, (directory_ / "bus.log").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<std::string> arguments = {"dbus-daemon", "--config-file=" + config.string(),
                                          "--nofork", "--print-address"};
    std::vector<std::string> environment = baseEnvironment();
    environment.push_back("TEXTRIX_SLICE_SECONDS=" + slice);
    // A small quarantine, so that a sanitized provider's memory shows what it keeps.
    environment.push_back("ASAN_OPTIONS=quarantine_size_mb=1");
    const int spawned = posix_spawnp(&daemon_, "dbus-daemon", &actions, nullptr,
                                     pointersTo(arguments).data(), pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(output[1]);
    ASSERT_EQ(spawned, 0) << "dbus-daemon cannot be started";
    std::string line;
    char c;
    pollfd descriptor{output[0], POLLIN, 0};
    while (::poll(&descriptor, 1, 30'000) > 0 && ::read(output[0], &c, 1) == 1 && c != '\n') {
      line += c;
    }
    ::close(output[0]);
    ASSERT_TRUE(line.starts_with("unix:")) << "no address from dbus-daemon: " << line;
    address_ = line;
  }

  std::vector<std::string> baseEnvironment() const {
    return {"TEXTRIX_DEFAULTS=" + (directory_ / "defaults").string(), "LC_ALL=C.UTF-8",
            "PATH=/usr/bin:/bin"};
  }

  // Runs textrix with the arguments on the private bus, feeding input on standard input.
  Outcome run(std::vector<std::string> arguments, const std::string& input = {},
              std::optional<std::string> address = {}) const {
    std::vector<std::string> environment = baseEnvironment();
    environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + address.value_or(address_));
    arguments.insert(arguments.begin(), TEXTRIX_COMMAND);
    return execute(arguments, input, environment);
  }

  // Runs the program (arguments[0], a path) with the environment and waits for it.
  Outcome execute(std::vector<std::string> arguments, const std::string& input,
                  std::vector<std::string> environment) const {
    const auto in = directory_ / "stdin", out = directory_ / "stdout", err = directory_ / "stderr";
    std::ofstream(in, std::ios::binary) << input;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    Outcome result;
    pid_t pid;
    if (posix_spawn(&pid, arguments[0].c_str(), &actions, nullptr, pointersTo(arguments).data(),
                    pointersTo(environment).data()) == 0) {
      int status = 0;
      ::waitpid(pid, &status, 0);
      result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    result.out = slurp(out);
    result.err = slurp(err);
    return result;
  }

  std::string prefix_ = "textrix-provider-";  // of the test's directory in the temporary directory
  std::filesystem::path directory_;
  std::string address_;
  pid_t daemon_ = -1;
};

}  // namespace textrix
