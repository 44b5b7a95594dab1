// SPDX-License-Identifier: MIT
#include "services/rotate_and_encodings.h"

#include <cstring>

#include "text/encodings.h"
#include "text/processor_builds.h"

namespace textrix {
namespace {

constexpr std::uint16_t kAlphabet = 26;

// ICU's converters for the two sets; their tables agree with the published ones, and the bytes
// that code page 1252 leaves undefined map to the C1 controls of the same value both ways.
constexpr const char* kWindowsLatin1 = "windows-1252";
constexpr const char* kMacRoman = "macintosh";

// A vector of units or bytes at once, through the compiler's portable vector extension
// (text/processor_builds.h), without branches: the lanes of a comparison are all ones or all zeros.
// In UTF-8 every letter rotated is a byte of its own, and no byte of a longer character is one.
template <class Lane>
struct Lanes;
template <>
struct Lanes<char16_t> {
  using Vector = std::uint16_t __attribute__((vector_size(32)));
  using Value = std::uint16_t;
};
template <>
struct Lanes<char> {
  using Vector = std::uint8_t __attribute__((vector_size(32)));
  using Value = std::uint8_t;
};

// Rotates the units at units that fill a vector, in place. Always inlined, so that it is built for
// the processor of its caller.
template <class Char>
[[gnu::always_inline]] inline void rotateBlock(Char* units, std::uint16_t shift) {
  using Vector = typename Lanes<Char>::Vector;
  using Value = typename Lanes<Char>::Value;
  Vector block;
  std::memcpy(&block, units, sizeof block);
  // 'a' is taken as the lane type: clang 14 crashes on a char16_t mixed with a vector.
  const Vector letter =
      (block | Value{0x20}) - static_cast<Value>(u'a');  // A to Z land on a to z, nothing else does
  const auto isLetter = reinterpret_cast<Vector>(letter < static_cast<Value>(kAlphabet));
  const auto wraps =
      reinterpret_cast<Vector>(letter + static_cast<Value>(shift) >= static_cast<Value>(kAlphabet));
  block =
      (isLetter & (block + static_cast<Value>(shift) - (wraps & static_cast<Value>(kAlphabet)))) |
      (~isLetter & block);
  std::memcpy(units, &block, sizeof block);
}

template <class Char>
Char rotatedUnit(Char c, std::uint16_t shift) {
  const auto unit = static_cast<typename Lanes<Char>::Value>(c);
  const auto letter = static_cast<std::uint16_t>((unit | 0x20) - u'a');
  if (letter >= kAlphabet) return c;
  return static_cast<Char>(unit + shift - (letter + shift >= kAlphabet ? kAlphabet : 0));
}

template <class Char>
[[gnu::always_inline]] inline void rotateAll(std::basic_string<Char>& text, std::uint16_t shift) {
  constexpr std::size_t kBlock = sizeof(typename Lanes<Char>::Vector) / sizeof(Char);
  std::size_t i = 0;
  for (; i + kBlock <= text.size(); i += kBlock) rotateBlock(text.data() + i, shift);
  for (; i < text.size(); ++i) text[i] = rotatedUnit(text[i], shift);
}

// One function a text type: a function built twice cannot be a template for every compiler.
TEXTRIX_ALSO_FOR_AVX2 void rotateLetters(std::u16string& text, std::uint16_t shift) {
  rotateAll(text, shift);
}

TEXTRIX_ALSO_FOR_AVX2 void rotateLetters(std::string& validUtf8, std::uint16_t shift) {
  rotateAll(validUtf8, shift);
}

// Every byte of both sets decodes to one code unit.
std::u16string decodeSingleByte(std::string_view bytes, const char* encoding) {
  std::u16string text(bytes.size(), u'\0');
  std::size_t length = 0;
  convertEncodingToUnicode(bytes.data(), bytes.size(), encoding, text.data(), text.size(), &length);
  text.resize(length);
  return text;
}

std::u16string reencode(std::u16string_view text, const char* encodeAs, const char* decodeAs) {
  return decodeSingleByte(encodeLossy(text, encodeAs).value(), decodeAs);
}

}  // namespace

std::u16string stringByRotating(std::u16string text, std::uint32_t amount) {
  const auto shift = static_cast<std::uint16_t>(amount % kAlphabet);
  if (shift != 0) rotateLetters(text, shift);
  return text;
}

std::u16string stringByRotating13(std::u16string text) {
  return stringByRotating(std::move(text), 13);
}

std::string stringByRotating13(std::string validUtf8) {
  rotateLetters(validUtf8, 13);
  return validUtf8;
}

std::u16string mac2Windows(std::u16string_view text) {
  return reencode(text, kWindowsLatin1, kMacRoman);
}

std::u16string windows2Mac(std::u16string_view text) {
  return reencode(text, kMacRoman, kWindowsLatin1);
}

}  // namespace textrix
