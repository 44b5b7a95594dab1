// Decodes the bytes as UTF-8, and encodes them read as UTF-16 units, and compares every result with
// ICU's UTF-8 converter, which substitutes U+FFFD in both directions, and with ICU's macro for the
// first ill-formed sequence: the slow, obviously correct picture of the conversions.
#include <unicode/ucnv.h>
#include <unicode/utf8.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "text/encodings.h"

namespace {

void check(bool condition) {
  if (!condition) std::abort();
}

UConverter* utf8Converter() {
  static UConverter* converter = [] {
    UErrorCode status = U_ZERO_ERROR;
    UConverter* opened = ucnv_open("UTF-8", &status);
    check(U_SUCCESS(status));
    return opened;
  }();
  return converter;
}

std::u16string icuDecode(std::string_view bytes) {
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

std::string icuEncode(std::u16string_view text) {
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

std::size_t icuFirstInvalidByte(std::string_view bytes) {
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

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const std::u16string lenient = icuDecode(bytes);
  check(textrix::utf16FromUtf8(bytes) == lenient);
  const textrix::Utf8Decoding strict = textrix::decodeUtf8(bytes);
  check(strict.errorOffset == icuFirstInvalidByte(bytes));
  check(strict.text == (strict.ok() ? lenient : u""));

  std::u16string text;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    text.push_back(static_cast<char16_t>(data[i] | data[i + 1] << 8));
  }
  const std::string encoded = icuEncode(text);
  check(textrix::encodeUtf8(text) == encoded);
  check(textrix::utf8Length(text) == encoded.size());
  std::string buffer(encoded.size() + 1, '#');
  check(textrix::encodeUtf8(text, buffer.data()) == encoded.size());
  check(buffer == encoded + "#");
  return 0;
}
