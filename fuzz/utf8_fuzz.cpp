// Decodes the bytes as UTF-8, and encodes them read as UTF-16 units, and compares every result with
// ICU's UTF-8 converter, which substitutes U+FFFD in both directions, and with ICU's macro for the
// first ill-formed sequence: the slow, obviously correct picture of the conversions.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/icu_utf8.h"
#include "text/encodings.h"

using namespace textrix::testing_icu;

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
