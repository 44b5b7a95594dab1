// SPDX-License-Identifier: MIT
#include "services/settings.h"

#include <array>
#include <charconv>

#include "runtime/formats.h"
#include "runtime/localization.h"

namespace textrix {
namespace {

bool isTabWidth(std::string_view value) {
  int width = 0;
  const auto [end, error] = std::from_chars(value.data(), value.data() + value.size(), width);
  return error == std::errc() && end == value.data() + value.size() && width >= 2 && width <= 99;
}

// A format is one line of text; an empty one would make the date vanish from what the services
// write.
bool isOneLine(std::string_view value) {
  return !value.empty() && value.find_first_of("\n\r") == std::string_view::npos;
}

constexpr auto kSettings = std::to_array<Setting>({
    {kTabulatorWidthKey, N_("a whole number from 2 to 99"),
     N_("the columns between tab stops for entab, detab and the shift services (4 when unset)"),
     isTabWidth},
    {kShortDateFormatKey, N_("a date format such as %d.%m.%y"),
     N_("the date of insert-short-date and insert-short-date-time (the locale's when unset)"),
     isOneLine},
    {kDateFormatKey, N_("a date format such as %A, %e %B %Y"),
     N_("the date of insert-long-date and insert-long-date-time (the locale's when unset)"),
     isOneLine},
    {kTimeFormatKey, N_("a time format such as %H:%M:%S"),
     N_("the time of insert-time and the date-and-time services (the locale's when unset)"),
     isOneLine},
});

}  // namespace

std::span<const Setting> knownSettings() {
  return kSettings;
}

const Setting* findSetting(std::string_view key) {
  for (const Setting& setting : kSettings) {
    if (setting.key == key) return &setting;
  }
  return nullptr;
}

}  // namespace textrix
