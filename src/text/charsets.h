// SPDX-License-Identifier: MIT
// Character classes, case tables and accent folding for single UTF-16 code units.
//
// Every class is a flat bitmap over the 65536 code units and every table an array of 65536 code
// units, each built from ICU once, on first use, and shared for the life of the process. Lookups
// are one indexed load, so services can test and map every unit of a long text without calling
// into ICU. Surrogate pairs are never combined: a surrogate is just a code unit here.
//
//   const textrix::CharacterSetRep* white = textrix::whiteCharacterSetRep();
//   if (white->contains(u'\u00A0')) ...          // true: no-break space is white
//   char16_t upper = textrix::toUpper(u'\u00E4');  // U+00C4
//   char16_t base = textrix::toAscii(u'\u00DF');   // 's'
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace textrix {

// A character class: bit (c & 7) of byte (c >> 3) is set when code unit c is a member.
struct CharacterSetRep {
  static constexpr std::size_t kBytes = 8192;

  std::array<std::uint8_t, kBytes> bytes{};

  // True when code unit c is a member.
  bool contains(char16_t c) const noexcept { return (bytes[c >> 3] >> (c & 7)) & 1u; }
  // Makes code unit c a member.
  void add(char16_t c) noexcept { bytes[c >> 3] |= static_cast<std::uint8_t>(1u << (c & 7)); }
  // Makes code unit c a non-member.
  void remove(char16_t c) noexcept { bytes[c >> 3] &= static_cast<std::uint8_t>(~(1u << (c & 7))); }
};

// The platform sets the classes are built from, with their memberships as Unicode general
// categories (only code units 0x0000 to 0xFFFF; surrogates are category Cs and never members).
enum class PlatformCharacterSet {
  whitespace,            // Zs and U+0009
  whitespaceAndNewline,  // Z*, U+000A to U+000D and U+0085
  letter,                // L* and M*
  alphanumeric,          // L*, M* and N*
  decimalDigit,          // Nd
  lowercaseLetter,       // Ll
  uppercaseLetter,       // Lu and Lt
  punctuation,           // P*
  symbol,                // S*
  control,               // Cc and Cf
  illegal,               // Cn: unassigned code points and noncharacters, U+FFFF included
};

// The bitmap representation of a platform set, computed from ICU's general categories.
CharacterSetRep bitmap(PlatformCharacterSet set);

// The classes. Each returns the shared, process-lifetime class; never null, never to be freed.
// Space: whitespace plus U+0009 and U+0000, so NUL counts as a blank.
const CharacterSetRep* spaceCharacterSetRep();
// White: whitespace-and-newline plus U+0000, U+000C, U+000A, U+000D, U+2028, U+2029, U+0003,
// U+FFFC, U+0009, U+FEFF and U+00A0, so trims and collapses remove NUL, end-of-text, the
// attachment placeholder and the byte-order mark as well.
const CharacterSetRep* whiteCharacterSetRep();
// Letters: general categories L* and M*.
const CharacterSetRep* alphaCharacterSetRep();
// Letters and numbers: L*, M* and N*.
const CharacterSetRep* alphaNumCharacterSetRep();
// Decimal digits: Nd.
const CharacterSetRep* digitCharacterSetRep();
// Lower-case letters: Ll.
const CharacterSetRep* lowerCharacterSetRep();
// Upper-case and title-case letters: Lu and Lt.
const CharacterSetRep* upperCharacterSetRep();
// No member at all.
const CharacterSetRep* emptyCharacterSetRep();

// A table mapping every code unit to one code unit.
using CharsTable = std::array<char16_t, 65536>;

// Builders: each returns a newly built table. Entry 0xFFFF always maps to itself.
// Upper: a lower-case letter maps to ICU's locale-independent full upper case of it when that is
// exactly one code unit (so U+00DF stays U+00DF); every other unit maps to itself.
CharsTable initUpperCharsTable();
// Lower: an upper- or title-case letter maps to its full lower case when that is one code unit.
CharsTable initLowerCharsTable();
// Umlauts: each of the 152 folding pairs maps its accented letter to the base letter, case kept.
CharsTable initUmlautsCharsTable();
// Upper umlauts: accents folded first, then upper-cased: upper[umlauts[c]].
CharsTable initUpperUmlautsCharsTable();
// Lower umlauts: lower[umlauts[c]].
CharsTable initLowerUmlautsCharsTable();

// The shared tables, built on first use.
const CharsTable& upperCharsTable();
const CharsTable& lowerCharsTable();
const CharsTable& umlautsCharsTable();
const CharsTable& upperUmlautsCharsTable();
const CharsTable& lowerUmlautsCharsTable();

// One-unit case mapping through the shared tables.
inline char16_t toUpper(char16_t c) {
  return upperCharsTable()[c];
}
inline char16_t toLower(char16_t c) {
  return lowerCharsTable()[c];
}

// Accent folding: the umlauts table entry (case kept; not restricted to ASCII despite the name).
inline char16_t umlautsToAscii(char16_t c) {
  return umlautsCharsTable()[c];
}
inline char16_t umlautsToUpperAscii(char16_t c) {
  return upperUmlautsCharsTable()[c];
}
inline char16_t umlautsToLowerAscii(char16_t c) {
  return lowerUmlautsCharsTable()[c];
}

// ASCII reductions: the folded unit when it is 127 or below, else U+0020.
char16_t toAscii(char16_t c);
// As toAscii, then A-Z mapped to a-z or a-z to A-Z by the ASCII rules alone.
char16_t toUpperAscii(char16_t c);
char16_t toLowerAscii(char16_t c);

// The lowest and highest code units of the letter class (0 when the class is empty).
char16_t firstAlphaCharacter();
char16_t lastAlphaCharacter();

namespace detail {
// The folding pairs of the umlauts table, 152 (source, target) entries in list order.
struct FoldingPair {
  char16_t source;
  char16_t target;
};
extern const std::array<FoldingPair, 152> kFoldingPairs;
}  // namespace detail

}  // namespace textrix
