// SPDX-License-Identifier: MIT
// A test with stand-ins for the helper programs that the desktop runs (wl-copy, xclip, zenity, ...)
// in its scratch directory, which the test puts on the desktop's PATH.
#pragma once

#include <filesystem>
#include <fstream>
#include <string>

#include "support/files.h"
#include "support/scratch.h"

namespace textrix {

class FakeProgramsTest : public ScratchTest {
 protected:
  // A program NAME that records its arguments and its standard input in NAME.args and NAME.in.
  void fakeProgram(const std::string& name) const {
    const auto path = directory_ / name;
    std::ofstream(path) << "#!/bin/sh\nprintf '%s|' \"$@\" > \"$0.args\"\ncat > \"$0.in\"\n";
    std::filesystem::permissions(path, std::filesystem::perms::owner_all);
  }
  // What the program recorded: "args" or "in".
  std::string recorded(const std::string& name, const char* what) const {
    return slurp(directory_ / (name + "." + what));
  }
};

}  // namespace textrix
