// SPDX-License-Identifier: MIT
// The slow, obviously correct reference for the UTF-8 conversions, shared by the unit tests and the
// differential fuzz target: ICU's UTF-8 converter, which substitutes U+FFFD in both directions,
// and ICU's macro for the first ill-formed sequence. A failure of ICU itself aborts.
#pragma once

#include <unicode/ucnv.h>
#include <unicode/utf8.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "text/encodings.h"

namespace textrix::testing_icu {

inline void check(bool condition) {
  if (!condition) std::abort();
}

inline UConverter* utf8Converter() {
  static UConverter* converter = [] {
    UErrorCode status = U_ZERO_ERROR;
    UConverter* opened = ucnv_open("UTF-8", &status);
    check(U_SUCCESS(status));
    return opened;
  }();
  return converter;
}

inline std::u16string icuDecode(std::string_view bytes) {
  std::u16string text(bytes.size() + 1, u'\0');
  UErrorCode status = U_ZERO_ERROR;
  ucnv_resetToUnicode(utf8Converter());
  const int32_t length =
      ucnv_toUChars(utf8Converter(), text.data(), static_cast<int32_t>(text.size()), bytes.data(),
                    static_cast<int32_t>(bytes.size()), &status);
  check(U_SUCCESS(status));
  text.resize(static_cast<std::size_t>(length));
  return text;
}

inline std::string icuEncode(std::u16string_view text) {
  std::string bytes(3 * text.size() + 1, '\0');
  UErrorCode status = U_ZERO_ERROR;
  ucnv_resetFromUnicode(utf8Converter());
  const int32_t length =
      ucnv_fromUChars(utf8Converter(), bytes.data(), static_cast<int32_t>(bytes.size()),
                      text.data(), static_cast<int32_t>(text.size()), &status);
  check(U_SUCCESS(status));
  bytes.resize(static_cast<std::size_t>(length));
  return bytes;
}

inline std::size_t icuFirstInvalidByte(std::string_view bytes) {
  const auto* units = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const auto size = static_cast<int32_t>(bytes.size());
  for (int32_t i = 0; i < size;) {
    const int32_t start = i;
    UChar32 c;
    U8_NEXT(units, i, size, c);
    if (c < 0) return static_cast<std::size_t>(start);
  }
  return textrix::Utf8Decoding::kValid;
}

}  // namespace textrix::testing_icu
