// SPDX-License-Identifier: MIT
// The slow, obviously correct reference for the case mappings, shared by the unit tests and the
// differential fuzz target: ICU's mappings of a whole text in the root locale, title case with its
// own word-break iterator, and the word boundaries and capitals that title case works from.
#pragma once

#include <unicode/brkiter.h>
#include <unicode/locid.h>
#include <unicode/uchar.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>

#include <cstddef>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace textrix::testing_icu {

inline std::u16string toStd(const icu::UnicodeString& s) {
  return std::u16string(s.getBuffer(), static_cast<std::size_t>(s.length()));
}

inline icu::UnicodeString toIcu(std::u16string_view s) {
  return icu::UnicodeString(s.data(), static_cast<int32_t>(s.size()));
}

inline std::u16string icuUpper(std::u16string_view text) {
  return toStd(toIcu(text).toUpper(icu::Locale::getRoot()));
}

inline std::u16string icuLower(std::u16string_view text) {
  return toStd(toIcu(text).toLower(icu::Locale::getRoot()));
}

inline std::u16string icuTitle(std::u16string_view text) {
  return toStd(toIcu(text).toTitle(nullptr, icu::Locale::getRoot()));
}

// Where title case puts the capitals of text: in each piece between two word boundaries of the
// iterator of no locale, the first letter, number, symbol or private-use character, a modifier
// letter only when it is cased.
inline std::vector<std::size_t> icuCapitals(std::u16string_view text) {
  static const std::unique_ptr<icu::BreakIterator> words = [] {
    UErrorCode status = U_ZERO_ERROR;
    return std::unique_ptr<icu::BreakIterator>(
        icu::BreakIterator::createWordInstance(icu::Locale::getRoot(), status));
  }();
  const icu::UnicodeString source = toIcu(text);
  words->setText(source);
  const auto isCandidate = [](UChar32 c) {
    const std::uint32_t category = U_GET_GC_MASK(c);
    if (category & U_GC_LM_MASK) return u_hasBinaryProperty(c, UCHAR_CASED) != 0;
    return (category & (U_GC_L_MASK | U_GC_N_MASK | U_GC_S_MASK | U_GC_CO_MASK)) != 0;
  };
  std::vector<std::size_t> capitals;
  for (int32_t start = words->first(), end = words->next(); end != icu::BreakIterator::DONE;
       start = end, end = words->next()) {
    for (int32_t at = start; at < end;) {
      const int32_t codePointStart = at;
      UChar32 c;
      U16_NEXT(text.data(), at, end, c);
      if (isCandidate(c)) {
        capitals.push_back(static_cast<std::size_t>(codePointStart));
        break;
      }
    }
  }
  return capitals;
}

}  // namespace textrix::testing_icu
