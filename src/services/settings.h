// SPDX-License-Identifier: MIT
// The settings that Textrix reads from the user-defaults store, each with what it does and the
// values it takes: the one list that `textrix defaults write` checks a value against and that the
// command's help describes.
//
//   if (const textrix::Setting* setting = textrix::findSetting("TabulatorWidth")) {
//     if (!setting->accepts("abc")) ...  // "a whole number from 2 to 99"
//   }
#pragma once

#include <span>
#include <string_view>

namespace textrix {

inline constexpr std::string_view kTabulatorWidthKey = "TabulatorWidth";

struct Setting {
  std::string_view key;
  std::string_view values;   // what it takes: "a whole number from 2 to 99"
  std::string_view summary;  // what it does, one line
  bool (*accepts)(std::string_view value);
};

// Every setting, in the order the help lists them.
std::span<const Setting> knownSettings();
// The setting of this key, or null.
const Setting* findSetting(std::string_view key);

}  // namespace textrix
