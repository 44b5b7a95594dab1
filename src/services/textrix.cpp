// SPDX-License-Identifier: MIT
#include "services/textrix.h"

#include <algorithm>

#include "services/settings.h"

namespace textrix {
namespace {

constexpr std::int64_t kDefaultTabWidth = 4;

}  // namespace

std::int32_t detail::readTabs(UserDefaults& defaults) {
  const std::int64_t stored = defaults.integerForKey(kTabulatorWidthKey, kDefaultTabWidth);
  const auto width = static_cast<std::int32_t>(std::clamp<std::int64_t>(stored, 2, 99));
  defaults.setInteger(width, kTabulatorWidthKey);
  defaults.synchronize();
  return width;
}

std::int32_t Textrix::tabs() {
  static std::int32_t cached = -1;
  if (cached < 0) cached = detail::readTabs(UserDefaults::standardUserDefaults());
  return cached;
}

}  // namespace textrix
