// SPDX-License-Identifier: MIT
#include "util/suggestions.h"

#include <gtest/gtest.h>

#include <string>

namespace textrix {
namespace {

TEST(EditDistance, CountsEachKindOfEditOnceAndIgnoresAsciiCase) {
  struct Case {
    std::string_view one, other;
    std::size_t distance;
  };
  const Case cases[] = {
      {"", "", 0},           {"upper", "upper", 0},  {"UPPER", "upper", 0},
      {"uper", "upper", 1},  {"upperr", "upper", 1}, {"lpper", "upper", 1},
      {"uppre", "upper", 1}, {"", "trim", 4},        {"sort", "trim", 4},
      {"ca", "abc", 3},  // a swap is not followed by an edit inside the swapped pair
  };
  for (const Case& c : cases) {
    EXPECT_EQ(editDistance(c.one, c.other), c.distance) << c.one << " / " << c.other;
    EXPECT_EQ(editDistance(c.other, c.one), c.distance) << c.other << " / " << c.one;
  }
}

TEST(ClosestName, SuggestsOnlyANameNearEnoughToHaveBeenMeant) {
  const std::string_view names[] = {"upper", "lower", "trim", "trim-left", "TabulatorWidth"};
  struct Case {
    std::string_view given;
    std::optional<std::string_view> suggestion;
  };
  const Case cases[] = {
      {"uper", "upper"},         {"lowre", "lower"},
      {"trim-lft", "trim-left"}, {"tabulatorwidth", "TabulatorWidth"},
      {"trm", "trim"},  // a short name still gets one edit
      {"xyz", std::nullopt},     {"capitalize", std::nullopt},
      {"", std::nullopt},
  };
  for (const Case& c : cases) {
    EXPECT_EQ(closestName(c.given, names), c.suggestion) << c.given;
  }
}

TEST(ClosestName, PrefersTheNearestAndThenTheFirst) {
  const std::string_view names[] = {"trim-right", "trim-left", "trim"};
  EXPECT_EQ(closestName("trim-lef", names), "trim-left");
  const std::string_view tied[] = {"cat", "bat"};
  EXPECT_EQ(closestName("at", tied), "cat");
}

}  // namespace
}  // namespace textrix
