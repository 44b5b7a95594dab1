// SPDX-License-Identifier: MIT
#include "services/settings.h"

#include <gtest/gtest.h>

namespace textrix {
namespace {

TEST(Settings, EachSettingTakesOnlyWhatItsServicesCanUse) {
  struct Case {
    std::string_view key, value;
    bool accepted;
  };
  const Case cases[] = {
      {"TabulatorWidth", "2", true},
      {"TabulatorWidth", "99", true},
      {"TabulatorWidth", "1", false},
      {"TabulatorWidth", "100", false},
      {"TabulatorWidth", "abc", false},
      {"TabulatorWidth", "8 ", false},
      {"TabulatorWidth", "", false},
      {"TabulatorWidth", "-4", false},
      {"NSDateFormatString", "%A, %e %B %Y", true},
      {"NSDateFormatString", "", false},
      {"NSShortDateFormatString", "%d\n", false},
      {"NSTimeFormatString", "%H:%M", true},
  };
  for (const Case& c : cases) {
    const Setting* setting = findSetting(c.key);
    ASSERT_NE(setting, nullptr) << c.key;
    EXPECT_EQ(setting->accepts(c.value), c.accepted) << c.key << "=" << c.value;
  }
}

TEST(Settings, UnknownKeysAreNotSettings) {
  EXPECT_EQ(findSetting("tabulatorwidth"), nullptr);
  EXPECT_EQ(findSetting(""), nullptr);
  for (const Setting& setting : knownSettings()) EXPECT_EQ(findSetting(setting.key), &setting);
}

}  // namespace
}  // namespace textrix
