// SPDX-License-Identifier: MIT
// The provider's localized strings: gettext in the text domain "textrix". A key without an entry
// in the user's language is its own text, so the keys are chosen to be the English (or default)
// texts themselves.
//
//   std::u16string title = textrix::localizedStringForKey("Statistics");
#pragma once

#include <string>
#include <string_view>

namespace textrix {

// The gettext text domain of the provider's catalogs.
inline constexpr const char* kTextDomain = "textrix";

// The translation of key (UTF-8) in the user's language; value when there is none and value is not
// empty, else key itself. Catalogs are looked up in $TEXTRIX_LOCALEDIR when set, else in the locale
// directory installed beside the program, else in that of the configured prefix.
std::u16string localizedStringForKey(std::string_view key, std::u16string_view value = {});

}  // namespace textrix
