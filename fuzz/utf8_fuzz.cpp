// SPDX-License-Identifier: MIT
// Decodes the bytes as UTF-8, and encodes them read as UTF-16 units, and compares every result with
// ICU's UTF-8 converter, which substitutes U+FFFD in both directions, and with ICU's macro for the
// first ill-formed sequence: the slow, obviously correct picture of the conversions. Each input
// goes through every build of the kernels that the machine runs (scalar, SSE2, AVX2); the bytes are
// also repeated, behind a run of ASCII, so that they reach the vector steps, which take only texts
// of some length.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "support/icu_utf8.h"
#include "text/encodings.h"
#include "text/utf8_simd.h"

using namespace textrix::testing_icu;

namespace {

void checkDecoding(std::string_view bytes) {
  const std::u16string lenient = icuDecode(bytes);
  const std::size_t invalid = icuFirstInvalidByte(bytes);
  check(textrix::utf16FromUtf8(bytes) == lenient);
  const textrix::Utf8Decoding strict = textrix::decodeUtf8(bytes);
  check(strict.errorOffset == invalid);
  check(strict.text == (strict.ok() ? lenient : u""));
  check(textrix::firstInvalidUtf8Offset(bytes) == invalid);
  if (strict.ok()) {
    check(textrix::utf16Length(bytes) == lenient.size());
    std::u16string buffer(lenient.size() + 1, u'#');
    check(textrix::decodeValidUtf8(bytes, buffer.data()) == lenient.size());
    check(buffer == lenient + u"#");
  }
}

void checkEncoding(std::u16string_view text) {
  const std::string encoded = icuEncode(text);
  check(textrix::encodeUtf8(text) == encoded);
  check(textrix::utf8Length(text) == encoded.size());
  std::string buffer(encoded.size() + 1, '#');
  check(textrix::encodeUtf8(text, buffer.data()) == encoded.size());
  check(buffer == encoded + "#");
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  std::u16string text;
  for (std::size_t i = 0; i + 1 < size; i += 2) {
    text.push_back(static_cast<char16_t>(data[i] | data[i + 1] << 8));
  }
  const std::string longBytes = std::string(37, 'a') + std::string(bytes) + std::string(bytes);
  const std::u16string longText = std::u16string(37, u'a') + text + text;

  const textrix::detail::Utf8KernelList kernels = textrix::detail::availableUtf8Kernels();
  for (std::size_t k = 0; k < kernels.size; ++k) {
    const textrix::detail::Utf8Kernels& previous =
        textrix::detail::useUtf8Kernels(*kernels.kernels[k]);
    checkDecoding(bytes);
    checkDecoding(longBytes);
    checkEncoding(text);
    checkEncoding(longText);
    textrix::detail::useUtf8Kernels(previous);
  }
  return 0;
}
