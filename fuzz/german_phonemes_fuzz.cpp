// SPDX-License-Identifier: MIT
// Respells a text made from the bytes as English phonemes and compares the result with the
// rewriting edit by edit: lower-case, then each character word by itself, then each position with
// the rows in order, erasing and inserting in the text.
#include <unicode/ustring.h>

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>

#include "services/german_phonemes.h"
#include "services/speech.h"

namespace {

using namespace textrix;

std::u16string rewrittenEditByEdit(std::u16string_view text) {
  std::u16string t(3 * text.size() + 1, u'\0');
  UErrorCode status = U_ZERO_ERROR;
  t.resize(
      static_cast<std::size_t>(u_strToLower(t.data(), static_cast<int32_t>(t.size()), text.data(),
                                            static_cast<int32_t>(text.size()), "", &status)));
  for (const CharacterWord& entry : kCharacterWords) {
    for (std::size_t i = 0; i < t.size(); ++i) {
      if (t[i] != entry.character) continue;
      t.erase(i, 1);
      t.insert(i, entry.word);
    }
  }
  for (std::size_t i = 0; i < t.size();) {
    bool matched = false;
    for (const PhonemeRow& row : kGermanPhonemes) {
      if (t.compare(i, row.german.size(), row.german) != 0 || t.size() - i < row.german.size()) {
        continue;
      }
      t.erase(i, row.german.size());
      t.insert(i, row.english);
      i += row.english.size();
      matched = true;
      break;
    }
    if (!matched) ++i;
  }
  return t;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::u16string_view kAlphabet =
      u"abcdefghiklmnoqrstuvwxyzAEGIS \u00E4\u00F6\u00FC\u00DF\u00C4\u0130\u0308+%&<>=019\n";
  std::u16string text;
  for (std::size_t i = 0; i < size; ++i) text += kAlphabet[data[i] % kAlphabet.size()];
  if (stringByConvertingGermanToEnglishPhonemes(text) != rewrittenEditByEdit(text)) std::abort();
  return 0;
}
