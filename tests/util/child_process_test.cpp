// SPDX-License-Identifier: MIT
// Running programs: real programs of the system (sh, cat, yes) and small shell scripts.
#include "util/child_process.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <thread>

#include "support/files.h"
#include "support/scratch.h"

namespace textrix {
namespace {

using namespace std::chrono_literals;

ProgramOutput shell(const std::string& script, std::string_view input = {},
                    const ProgramOptions& options = {}) {
  return runProgramForOutput("/bin/sh", {"-c", script}, input, options);
}

// Whether the process is gone or a zombie: nothing of it runs any more.
bool hasEnded(const std::string& pid) {
  const std::string stat = slurp("/proc/" + pid + "/stat");
  const std::size_t state = stat.rfind(") ");
  return stat.empty() || (state != std::string::npos && stat[state + 2] == 'Z');
}

TEST(ChildProcess, TellsHowTheProgramEnded) {
  const struct {
    std::string program;
    std::vector<std::string> arguments;
    ProgramEnd end;
    int status;
  } cases[] = {
      {"/bin/true", {}, ProgramEnd::exited, 0},
      {"/bin/sh", {"-c", "exit 3"}, ProgramEnd::exited, 3},
      {"/bin/sh", {"-c", "kill -9 $$"}, ProgramEnd::signalled, -1},
      {"/nonexistent/program", {}, ProgramEnd::notRun, -1},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.program + " " + testing::PrintToString(c.arguments));
    const ProgramOutput ran = runProgramForOutput(c.program, c.arguments, "input");
    EXPECT_EQ(ran.end, c.end);
    EXPECT_EQ(ran.status, c.status);
  }
}

// More than a socket holds in both directions, so that input and output must flow together.
TEST(ChildProcess, FeedsInputWhileCollectingOutput) {
  std::string input(8 << 20, 'x');
  for (std::size_t i = 0; i < input.size(); i += 97) input[i] = '\n';
  const ProgramOutput ran = runProgramForOutput("/bin/cat", {}, input);
  EXPECT_EQ(ran.end, ProgramEnd::exited);
  EXPECT_TRUE(ran.output == input) << ran.output.size();
}

TEST(ChildProcess, StandardErrorIsCapturedOnlyWhenAskedAndKeepsItsEnd) {
  const std::string script = "i=0; while [ $i -lt 2000 ]; do echo line$i >&2; i=$((i+1)); done";
  ProgramOptions options;
  options.keptErrorBytes = 100;
  const ProgramOutput captured = shell(script, {}, options);
  EXPECT_LE(captured.errorOutput.size(), 100u);
  EXPECT_TRUE(captured.errorOutput.ends_with("\nline1998\nline1999\n")) << captured.errorOutput;

  options.keptErrorBytes = 1 << 20;
  EXPECT_EQ(shell("echo one >&2; echo two", {}, options).errorOutput, "one\n");
  EXPECT_EQ(shell("echo one >&2; echo two").errorOutput, "");
}

TEST(ChildProcess, SetsTheEnvironmentOverThisProcesss) {
  setenv("TEXTRIX_CHILD_TEST", "inherited", 1);
  setenv("TEXTRIX_CHILD_KEPT", "kept", 1);
  ProgramOptions options;
  options.environment = {"TEXTRIX_CHILD_TEST=set", "TEXTRIX_CHILD_NEW=new"};
  const std::string script =
      "printf '%s %s %s' \"$TEXTRIX_CHILD_TEST\" \"$TEXTRIX_CHILD_NEW\" "
      "\"$TEXTRIX_CHILD_KEPT\"";
  EXPECT_EQ(shell(script, {}, options).output, "set new kept");
  EXPECT_EQ(shell(script).output, "inherited  kept");
}

TEST(ChildProcess, TheTimeLimitKillsTheWholeProcessGroup) {
  ProgramOptions options;
  options.timeLimit = 200ms;
  // The child outlives the program: only the kill of the group ends it.
  const struct {
    const char* name;
    std::string script;
  } cases[] = {
      {"runs on", "sleep 300 & echo $!; sleep 30"},
      {"closes its output and runs on",
       "sleep 300 >/dev/null 2>&1 & echo $!; exec >&- 2>&-; sleep 30"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.name);
    const ProgramOutput ran = shell(c.script, {}, options);
    EXPECT_EQ(ran.end, ProgramEnd::timedOut);
    EXPECT_EQ(ran.status, -1);
    std::string child = ran.output.substr(0, ran.output.find('\n'));
    ASSERT_FALSE(child.empty());
    for (int tries = 0; tries < 100 && !hasEnded(child); ++tries) std::this_thread::sleep_for(10ms);
    EXPECT_TRUE(hasEnded(child)) << "the program's child " << child << " still runs";
  }
  EXPECT_EQ(shell("echo quick", {}, options).end, ProgramEnd::exited);
}

TEST(ChildProcess, TooMuchOutputEndsTheProgram) {
  ProgramOptions options;
  options.maxOutputBytes = 1000;
  const ProgramOutput endless = runProgramForOutput("/usr/bin/yes", {}, {}, options);
  EXPECT_EQ(endless.end, ProgramEnd::outputTooLarge);
  EXPECT_EQ(endless.status, -1);
  EXPECT_EQ(shell("printf %1000s x", {}, options).end, ProgramEnd::exited);
}

TEST(ChildProcess, ProgramsGetTheDefaultSigpipeWhateverThisProcessIgnores) {
  const auto previous = std::signal(SIGPIPE, SIG_IGN);
  ProgramOptions options;
  options.keptErrorBytes = 4096;
  const ProgramOutput ran = shell("yes | head -n 1", {}, options);
  std::signal(SIGPIPE, previous);
  EXPECT_EQ(ran.output, "y\n");
  EXPECT_EQ(ran.errorOutput, "") << "yes saw a broken pipe rather than dying of SIGPIPE";
}

class ChildProcessFiles : public ScratchTest {};

TEST_F(ChildProcessFiles, RunProgramGivesInputAndDiscardsOutput) {
  const auto file = directory_ / "got";
  EXPECT_EQ(runProgram("/bin/sh", {"-c", "tee \"$0\"; exit 4", file.string()}, "given"), 4);
  EXPECT_EQ(slurp(file), "given");
  EXPECT_EQ(runProgram("/nonexistent/program", {}, "x"), -1);
}

TEST_F(ChildProcessFiles, FindsAnExecutableOnThePath) {
  const auto plain = directory_ / "tool";
  std::ofstream(plain) << "not executable\n";
  const std::string bin = "/bin";
  const struct {
    std::string path;
    std::string name;
    std::optional<std::string> found;
  } cases[] = {
      {"", "sh", std::nullopt},
      {"/nonexistent:" + bin, "sh", "/bin/sh"},
      {"::" + bin + ":", "sh", "/bin/sh"},
      {directory_.string(), "tool", std::nullopt},
      {bin, "textrix-no-such-program", std::nullopt},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.path + " " + c.name);
    EXPECT_EQ(findProgramOnPath(c.path, c.name), c.found);
  }
}

}  // namespace
}  // namespace textrix
