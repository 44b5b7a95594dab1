// SPDX-License-Identifier: MIT
// The data of the German speech rewriting: the words that stand for symbols and digits, and the
// rows that respell German as English-like phonetic text for an English voice.
//
//   for (const textrix::PhonemeRow& row : textrix::kGermanPhonemes) {
//     if (text.substr(i, row.german.size()) == row.german) ...  // emit row.english
//   }
//
// Strings are UTF-16; the German keys are all lower case and the English renderings all upper
// case, so a rendering never matches a key.
#pragma once

#include <array>
#include <cstddef>
#include <string_view>

namespace textrix {

// A character spoken as a German word: the word has a space on either side, so that it stands
// apart from the characters around it.
struct CharacterWord {
  char16_t character;
  std::u16string_view word;
};

// The 16 characters + % & < > = 0 to 9, in this order, with their words.
extern const std::array<CharacterWord, 16> kCharacterWords;

// A German spelling and its English-phonetic rendering.
struct PhonemeRow {
  std::u16string_view german;
  std::u16string_view english;
};

inline constexpr std::size_t kPhonemeRowCount = 89;

// The rows in the order in which they are tried at each position; the first that matches wins.
extern const std::array<PhonemeRow, kPhonemeRowCount> kGermanPhonemes;

}  // namespace textrix
