// SPDX-License-Identifier: MIT
// Running code as on a machine without the libraries that Textrix loads when it first needs them
// (libtiff, the speech engine, the speech server's client library, libxcb): the build tree holds a
// stand-in for each, a file of the library's name that is no library, and a process whose
// LD_LIBRARY_PATH names their directory first cannot load them. The dynamic linker reads
// LD_LIBRARY_PATH when a process starts, so the code runs in a death test's child, which starts
// afresh:
//
//   TEST(Images, AreNoneWithoutLibtiff) {
//     WithoutLoadedLibraries missing;
//     EXPECT_EXIT(std::exit(imageFromTiff(bytes) ? 1 : 0), testing::ExitedWithCode(0), "");
//   }
//
// The test's body runs again in the child up to the EXPECT_EXIT, so nothing before it may use the
// libraries.
#pragma once

#include <gtest/gtest.h>

#include <cstdlib>
#include <optional>
#include <string>

namespace textrix {

// While it lives, the processes started from here cannot load the libraries, and death tests
// start their child afresh instead of forking it.
class WithoutLoadedLibraries {
 public:
  WithoutLoadedLibraries() {
    if (const char* path = std::getenv("LD_LIBRARY_PATH")) saved_ = path;
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    setenv("LD_LIBRARY_PATH", TEXTRIX_UNLOADABLE_LIBRARIES_DIR, 1);
  }
  ~WithoutLoadedLibraries() {
    if (saved_) {
      setenv("LD_LIBRARY_PATH", saved_->c_str(), 1);
    } else {
      unsetenv("LD_LIBRARY_PATH");
    }
  }
  WithoutLoadedLibraries(const WithoutLoadedLibraries&) = delete;
  WithoutLoadedLibraries& operator=(const WithoutLoadedLibraries&) = delete;

 private:
  std::optional<std::string> saved_;
};

}  // namespace textrix
