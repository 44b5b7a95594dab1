#include "services/rotate_and_encodings.h"

#include "text/encodings.h"

namespace textrix {
namespace {

constexpr std::uint32_t kAlphabet = 26;

// ICU's converters for the two sets; their tables agree with the published ones, and the bytes
// that code page 1252 leaves undefined map to the C1 controls of the same value both ways.
constexpr const char* kWindowsLatin1 = "windows-1252";
constexpr const char* kMacRoman = "macintosh";

// Written without branches so that the compiler can rotate many units at once.
void rotateLetters(std::u16string& text, std::uint32_t shift) {
  for (char16_t& c : text) {
    const char16_t lower = c | 0x20;  // A to Z onto a to z; no other unit lands there
    const std::uint32_t letter = static_cast<char16_t>(lower - u'a');
    const std::uint32_t wrap = letter + shift >= kAlphabet ? kAlphabet : 0;
    c = letter < kAlphabet ? static_cast<char16_t>(c + shift - wrap) : c;
  }
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
  const std::uint32_t shift = amount % kAlphabet;
  if (shift != 0) rotateLetters(text, shift);
  return text;
}

std::u16string stringByRotating13(std::u16string text) {
  return stringByRotating(std::move(text), 13);
}

std::u16string mac2Windows(std::u16string_view text) {
  return reencode(text, kWindowsLatin1, kMacRoman);
}

std::u16string windows2Mac(std::u16string_view text) {
  return reencode(text, kMacRoman, kWindowsLatin1);
}

}  // namespace textrix
