// SPDX-License-Identifier: MIT
#include "services/textrix.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

namespace textrix {
namespace {

std::filesystem::path freshStore(const char* name) {
  const auto path =
      std::filesystem::temp_directory_path() / ("textrix-tabs-" + std::to_string(getpid())) / name;
  std::filesystem::remove_all(path.parent_path() / name);
  return path;
}

TEST(Tabs, ClampsTheSettingAndWritesItBack) {
  struct Case {
    std::optional<const char*> stored;
    std::int32_t width;
  };
  const Case cases[] = {
      {std::nullopt, 4}, {"1", 2}, {"0", 2},   {"-7", 2},  {"100", 99},
      {"1000", 99},      {"2", 2}, {"99", 99}, {"abc", 2}, {" 12 tabs", 12},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.stored.value_or("(none)"));
    UserDefaults defaults(freshStore("defaults"));
    if (c.stored) defaults.setString(*c.stored, "TabulatorWidth");
    EXPECT_EQ(detail::readTabs(defaults), c.width);
    EXPECT_EQ(UserDefaults(defaults.path()).objectForKey("TabulatorWidth"),
              std::to_string(c.width));
  }
}

TEST(Tabs, IsReadOncePerProcess) {
  const auto path = freshStore("standard");
  setenv("TEXTRIX_DEFAULTS", path.c_str(), 1);
  UserDefaults::standardUserDefaults().setString("7", "TabulatorWidth");
  EXPECT_EQ(Textrix::tabs(), 7);
  UserDefaults::standardUserDefaults().setString("9", "TabulatorWidth");
  EXPECT_EQ(Textrix::tabs(), 7);
}

}  // namespace
}  // namespace textrix
