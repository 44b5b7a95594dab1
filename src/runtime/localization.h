// SPDX-License-Identifier: MIT
// The localized strings of the provider and the command: gettext in the text domain "textrix". A
// key without an entry in the user's language is its own text, so the keys are chosen to be the
// English (or default) texts themselves. Texts defined in tables are marked with N_ where they are
// defined, so that the catalogs' template finds them, and translated where they are shown.
//
//   std::u16string title = textrix::localizedStringForKey("Statistics");
//   std::string line = textrix::localizedFormat("unknown service {0}", {name});
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

// Marks a text for the catalogs where it is defined; it is translated where it is shown.
#define N_(text) text

namespace textrix {

// The gettext text domain of the provider's catalogs.
inline constexpr const char* kTextDomain = "textrix";

// The translation of key (UTF-8) in the user's language; value when there is none and value is not
// empty, else key itself. Catalogs are looked up in $TEXTRIX_LOCALEDIR when set, else in the locale
// directory installed beside the program, else in that of the configured prefix.
std::u16string localizedStringForKey(std::string_view key, std::u16string_view value = {});

// The translation of text (UTF-8) in the user's language, or text itself.
std::string localized(std::string_view text);

// The translation of pattern with {0}, {1}, … replaced by the arguments, wherever the translation
// puts them. The arguments are put in as they are, numbers too.
std::string localizedFormat(std::string_view pattern,
                            std::initializer_list<std::string_view> arguments);

}  // namespace textrix
