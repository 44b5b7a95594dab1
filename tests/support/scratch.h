// SPDX-License-Identifier: MIT
// A test with a scratch directory of its own in the temporary directory, made empty before the test
// and removed after it.
#pragma once

#include <gtest/gtest.h>
#include <unistd.h>

#include <filesystem>
#include <string>

namespace textrix {

class ScratchTest : public ::testing::Test {
 protected:
  void SetUp() override {
    directory_ = std::filesystem::temp_directory_path() /
                 (prefix_ + std::to_string(getpid()) + "-" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(directory_);
    std::filesystem::create_directories(directory_);
  }

  void TearDown() override { std::filesystem::remove_all(directory_); }

  std::string prefix_ = "textrix-test-";  // of the test's directory in the temporary directory
  std::filesystem::path directory_;
};

}  // namespace textrix
