// SPDX-License-Identifier: MIT
// Running the built command, and the programs around it, from a test: each test gets a scratch
// directory of its own in the temporary directory, holding the settings file the command is
// pointed at and the files of standard input and output.
//
//   class Command : public textrix::CommandTest {};
//   TEST_F(Command, Filters) { EXPECT_EQ(runCommand({"upper"}, "a").out, "A"); }
#pragma once

#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <functional>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "support/files.h"
#include "support/scratch.h"

namespace textrix {

// True once condition holds, asked every 10 ms for at most the limit; false when it never did.
inline bool eventually(const std::function<bool()>& condition,
                       std::chrono::seconds limit = std::chrono::seconds(30)) {
  const auto deadline = std::chrono::steady_clock::now() + limit;
  while (!condition()) {
    if (std::chrono::steady_clock::now() > deadline) return false;
    std::this_thread::sleep_for(std::chrono::milliseconds(10));
  }
  return true;
}

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

// The lines of the text, without their ends.
inline std::vector<std::string> linesOf(const std::string& text) {
  std::vector<std::string> lines;
  std::istringstream stream(text);
  for (std::string line; std::getline(stream, line);) lines.push_back(line);
  return lines;
}

inline std::vector<char*> pointersTo(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  for (std::string& string : strings) pointers.push_back(string.data());
  pointers.push_back(nullptr);
  return pointers;
}

// Starts a server in the background (its program found on PATH), its standard output on a pipe and
// its standard error in log, and reads the first line it prints, where the servers the tests use
// (dbus-daemon, Xvfb) announce where they listen. Gives the line, empty when none came in 30 s.
inline std::string startServer(std::vector<std::string> arguments,
                               std::vector<std::string> environment,
                               const std::filesystem::path& log, pid_t& pid) {
  int output[2];
  if (::pipe(output) != 0) return {};
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, output[1], 1);
  posix_spawn_file_actions_addclose(&actions, output[0]);
  posix_spawn_file_actions_addopen(&actions, 2, log.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
  const int spawned = posix_spawnp(&pid, arguments[0].c_str(), &actions, nullptr,
                                   pointersTo(arguments).data(), pointersTo(environment).data());
  posix_spawn_file_actions_destroy(&actions);
  ::close(output[1]);
  std::string line;
  char c;
  pollfd descriptor{output[0], POLLIN, 0};
  while (spawned == 0 && ::poll(&descriptor, 1, 30'000) > 0 && ::read(output[0], &c, 1) == 1 &&
         c != '\n') {
    line += c;
  }
  ::close(output[0]);
  if (spawned != 0) pid = -1;
  return line;
}

class CommandTest : public ScratchTest {
 protected:
  // The settings file of this test's command.
  std::filesystem::path settings() const { return directory_ / "defaults"; }

  std::vector<std::string> baseEnvironment() const {
    return {"TEXTRIX_DEFAULTS=" + settings().string(), "LC_ALL=C.UTF-8", "PATH=/usr/bin:/bin"};
  }

  // Runs textrix with the arguments, feeding input on standard input.
  Outcome runCommand(std::vector<std::string> arguments, const std::string& input = {},
                     std::vector<std::string> environment = {}) const {
    if (environment.empty()) environment = baseEnvironment();
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
};

}  // namespace textrix
