// SPDX-License-Identifier: MIT
// The X11 selections where no X server answers and where libxcb is missing;
// tests/apps/pick_test.cpp reads and owns selections on a real server.
#include "desktop/x11_selection.h"

#include <gtest/gtest.h>

#include <cstdio>
#include <cstdlib>

#include "support/unloadable_libraries.h"

namespace textrix {
namespace {

// A display whose server socket no one listens on.
constexpr const char* kAbsentDisplay = ":4242";

TEST(X11Selection, ADisplayThatIsNotThereIsAProblem) {
  std::string problem;
  EXPECT_EQ(X11Connection::open(kAbsentDisplay, problem), nullptr);
  EXPECT_EQ(problem, "cannot open the X display :4242");
  EXPECT_EQ(serveSelectionInBackground(kAbsentDisplay, "CLIPBOARD", {{"UTF8_STRING", "x"}}),
            "cannot open the X display :4242");
}

// Without libxcb no connection opens, nothing crashes, and the problem says what to install.
TEST(X11Selection, WithoutLibxcbTheProblemSaysWhatToInstall) {
  WithoutLoadedLibraries missing;
  EXPECT_EXIT(
      {
        std::string problem;
        const bool opened = X11Connection::open(kAbsentDisplay, problem) != nullptr;
        const std::string owning =
            serveSelectionInBackground(kAbsentDisplay, "CLIPBOARD", {{"UTF8_STRING", "x"}});
        std::fprintf(stderr, "opened %d: %s\nowning: %s\n", opened, problem.c_str(),
                     owning.c_str());
        std::exit(0);
      },
      testing::ExitedWithCode(0),
      "opened 0: cannot use the X display without libxcb \\(install libxcb1\\): .*libxcb.so.1.*\n"
      "owning: cannot use the X display without libxcb \\(install libxcb1\\): .*libxcb.so.1");
}

}  // namespace
}  // namespace textrix
