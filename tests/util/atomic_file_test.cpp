// SPDX-License-Identifier: MIT
#include "util/atomic_file.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/files.h"
#include "support/scratch.h"

namespace textrix {
namespace {

class AtomicFile : public ScratchTest {};

TEST_F(AtomicFile, ReplacesTheFileAndCreatesItsDirectory) {
  const std::filesystem::path path = directory_ / "a" / "b" / "file";
  EXPECT_EQ(replaceFileAtomically(path, "first\n"), "");
  EXPECT_EQ(replaceFileAtomically(path, std::string_view("second\0line", 11)), "");
  EXPECT_EQ(slurp(path), std::string("second\0line", 11));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(path.parent_path()), {}), 1)
      << "no temporary file is left behind";
}

TEST_F(AtomicFile, AFailureLeavesWhatWasThereAndNoTemporaryFile) {
  const std::filesystem::path kept = directory_ / "kept";
  std::filesystem::create_directories(kept / "inside");
  EXPECT_NE(replaceFileAtomically(kept, "x"), "");  // a directory cannot be renamed over
  EXPECT_TRUE(std::filesystem::is_directory(kept / "inside"));
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(directory_), {}), 1);

  std::ofstream(directory_ / "plain") << "old";
  EXPECT_NE(replaceFileAtomically(directory_ / "plain" / "under", "x"), "");
  EXPECT_EQ(slurp(directory_ / "plain"), "old");
}

}  // namespace
}  // namespace textrix
