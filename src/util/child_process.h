// SPDX-License-Identifier: MIT
// Running another program as a filter: its standard input given, its standard output (and, when
// asked, its standard error) collected, its exit told. The desktop's helper programs run this way,
// and so do the user's actions, which also get a time limit, an output limit and an environment of
// their own.
//
//   textrix::ProgramOutput sorted = textrix::runProgramForOutput("/usr/bin/sort", {}, "b\na\n");
//   if (sorted.status == 0) use(sorted.output);  // "a\nb\n"
//
//   textrix::ProgramOptions options;
//   options.environment = {"TEXTRIX_TYPE=plain"};
//   options.timeLimit = std::chrono::seconds(30);
//   options.keptErrorBytes = 8192;
//   textrix::ProgramOutput ran = textrix::runProgramForOutput(program, {}, input, options);
//   if (ran.end == textrix::ProgramEnd::timedOut) ...
//
// Input goes through a socket rather than a pipe, so that a program that stops reading early costs
// this process no SIGPIPE. Every program starts with the default disposition of SIGPIPE and no
// signal blocked, whatever this process set for itself.
#pragma once

#include <chrono>
#include <cstddef>
#include <limits>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace textrix {

// The executable file name in one of the directories of path (separated by ':', as $PATH; empty
// directories are skipped), or none.
std::optional<std::string> findProgramOnPath(std::string_view path, std::string_view name);

// Runs the program (a path) with the arguments and the given standard input, its standard output
// discarded, and waits for it. Its exit status, or -1 when it could not run.
int runProgram(const std::string& program, const std::vector<std::string>& arguments,
               std::string_view input);

// How a program run by runProgramForOutput ended.
enum class ProgramEnd {
  exited,          // it exited by itself; status holds its exit status
  notRun,          // it could not be started
  signalled,       // a signal ended it
  timedOut,        // it was still running at the time limit, and its process group was killed
  outputTooLarge,  // it printed more than the output limit, and its process group was killed
};

// What a program printed and how it ended.
struct ProgramOutput {
  int status = -1;  // the exit status; -1 when it could not run or did not exit by itself
  std::string output;
  std::string errorOutput;  // the last keptErrorBytes of its standard error, when captured
  ProgramEnd end = ProgramEnd::notRun;
};

// What runProgramForOutput gives a program beyond its input.
struct ProgramOptions {
  // NAME=VALUE entries set in the program's environment, over this process's own.
  std::vector<std::string> environment;
  // The longest it may run; at the limit its process group is killed (SIGKILL).
  std::optional<std::chrono::milliseconds> timeLimit;
  // The most bytes it may print on standard output; beyond, its process group is killed.
  std::size_t maxOutputBytes = std::numeric_limits<std::size_t>::max();
  // Captures standard error, keeping its last bytes up to this many; none leaves it the caller's.
  std::optional<std::size_t> keptErrorBytes;
  // The name the program gets as its argument 0 (and puts in its messages) when not its path: a
  // program found on PATH is called by the name it was asked for, as a shell calls it.
  std::string name;
};

// Runs the program (a path) with the arguments, feeding it input and collecting its standard
// output until it closes it, then waits for it. Input and output flow at the same time, so a
// program that prints before it has read everything cannot block. A program with a time limit or
// an output limit runs in a process group of its own, so that the kill reaches its children too.
ProgramOutput runProgramForOutput(const std::string& program,
                                  const std::vector<std::string>& arguments, std::string_view input,
                                  const ProgramOptions& options = {});

}  // namespace textrix
