// SPDX-License-Identifier: MIT
#include "text/charsets.h"

#include <algorithm>
#include <bit>
#include <string_view>

#include <unicode/uchar.h>
#include <unicode/uniset.h>
#include <unicode/ustring.h>

namespace textrix {

using namespace std::literals;

namespace detail {
namespace {

// The folding list is kept as it was written: grouped by target, sources in list order. It is
// asymmetric on purpose (U+00C6 and U+00E6 fold to single letters, U+0110 and most capitals of the
// caron and diaeresis-with-tone letters are missing, U+00FF folds but U+0178 does not) and repeats
// Ä, Ö, Ü, ä, ö and ü. The services' accent folding is exactly this list, so it must not be
// completed or tidied.
struct FoldingGroup {
  char16_t target;
  std::u16string_view sources;
};

constexpr FoldingGroup kFoldingGroups[] = {
    {u'A', u"\u00C4\u01CD\u00C0\u00C1\u00C2\u00C3\u00C4\u00C5\u0100\u0104\u0102\u00C6"},
    {u'C', u"\u00C7\u0106\u010C\u0108"},
    {u'D', u"\u00D0\u010E"},
    {u'E', u"\u00C8\u00C9\u00CA\u00CB\u0112\u0118\u011A"},
    {u'G', u"\u011C"},
    {u'H', u"\u0124"},
    {u'I', u"\u00CC\u00CD\u00CE\u00CF\u012A"},
    {u'J', u"\u0134"},
    {u'L', u"\u0141\u013D\u0139"},
    {u'M', u"\u1E3E"},
    {u'N', u"\u01F8\u00D1\u0143\u0147"},
    {u'O', u"\u00D6\u01D1\u00D2\u00D3\u00D4\u00D5\u00D6\u00D8\u014C\u0150"},
    {u'R', u"\u0154\u0158"},
    {u'S', u"\u015A\u0160\u015E\u015C"},
    {u'T', u"\u0164\u0162"},
    {u'U', u"\u00DC\u00D9\u00DA\u00DB\u00DC\u016A\u016E\u0170\u016C"},
    {u'Y', u"\u00DD"},
    {u'Z', u"\u0179\u017D\u017B"},
    {u'a', u"\u00E4\u01CE\u00E0\u00E1\u00E2\u00E3\u00E4\u00E5\u0101\u0105\u0103\u00E6"},
    {u'c', u"\u00E7\u0107\u010D\u0109"},
    {u'd', u"\u010F\u0111"},
    {u'e', u"\u00E8\u00E9\u00EA\u00EB\u0113\u0119\u011B"},
    {u'g', u"\u011D"},
    {u'h', u"\u0125"},
    {u'i', u"\u01D0\u00EC\u00ED\u00EE\u00EF\u012B"},
    {u'j', u"\u0135"},
    {u'l', u"\u0142\u013E\u013A"},
    {u'm', u"\u1E3F"},
    {u'n', u"\u01F9\u00F1\u0144\u0148"},
    {u'o', u"\u00F6\u01D2\u00F2\u00F3\u00F4\u00F5\u00F6\u00F8\u014D\u0151"},
    {u'r', u"\u0155\u0159"},
    {u's', u"\u015B\u0161\u015F\u015D\u00DF"},
    {u't', u"\u0165\u0163"},
    {u'u', u"\u00FC\u01D4\u01D6\u01D8\u01DA\u01DC\u00F9\u00FA\u00FB\u00FC\u016B\u016F\u0171\u016D"},
    {u'y', u"\u00FD\u00FF"},
    {u'z', u"\u017E\u017C\u017A"},
};

constexpr std::size_t countFoldingSources() {
  std::size_t count = 0;
  for (const FoldingGroup& group : kFoldingGroups) count += group.sources.size();
  return count;
}
static_assert(countFoldingSources() == 152);

constexpr std::array<FoldingPair, 152> flattenFoldingGroups() {
  std::array<FoldingPair, 152> pairs{};
  std::size_t next = 0;
  for (const FoldingGroup& group : kFoldingGroups) {
    for (char16_t source : group.sources) pairs[next++] = {source, group.target};
  }
  return pairs;
}

}  // namespace

constexpr std::array<FoldingPair, 152> kFoldingPairs = flattenFoldingGroups();

}  // namespace detail

namespace {

constexpr char16_t kLastTableUnit = 0xFFFF;

// Code units the white class adds to the platform's whitespace-and-newline set. Trims and
// collapses remove whatever is white, so NUL, end-of-text, the attachment placeholder and the
// byte-order mark go with the blanks.
constexpr std::u16string_view kExtraWhiteCharacters =
    u"\u0000\u000C\u000A\u000D\u2028\u2029\u0003\uFFFC\u0009\uFEFF\u00A0"sv;

// NUL counts as a blank wherever spaces are consulted.
constexpr std::u16string_view kExtraSpaceCharacters = u"\u0009\u0000"sv;

std::uint32_t generalCategoryMask(PlatformCharacterSet set) {
  switch (set) {
    case PlatformCharacterSet::whitespace:
      return U_GC_ZS_MASK;
    case PlatformCharacterSet::whitespaceAndNewline:
      return U_GC_Z_MASK;
    case PlatformCharacterSet::letter:
      return U_GC_L_MASK | U_GC_M_MASK;
    case PlatformCharacterSet::alphanumeric:
      return U_GC_L_MASK | U_GC_M_MASK | U_GC_N_MASK;
    case PlatformCharacterSet::decimalDigit:
      return U_GC_ND_MASK;
    case PlatformCharacterSet::lowercaseLetter:
      return U_GC_LL_MASK;
    case PlatformCharacterSet::uppercaseLetter:
      return U_GC_LU_MASK | U_GC_LT_MASK;
    case PlatformCharacterSet::punctuation:
      return U_GC_P_MASK;
    case PlatformCharacterSet::symbol:
      return U_GC_S_MASK;
    case PlatformCharacterSet::control:
      return U_GC_CC_MASK | U_GC_CF_MASK;
    case PlatformCharacterSet::illegal:
      return U_GC_CN_MASK;
  }
  return 0;
}

// Controls that the platform sets hold although their category is Cc.
std::u16string_view controlMembers(PlatformCharacterSet set) {
  switch (set) {
    case PlatformCharacterSet::whitespace:
      return u"\u0009";
    case PlatformCharacterSet::whitespaceAndNewline:
      return u"\u000A\u000B\u000C\u000D\u0085";
    default:
      return {};
  }
}

void addUnits(CharacterSetRep& rep, std::u16string_view units) {
  for (char16_t unit : units) rep.add(unit);
}

void addCategoryRanges(CharacterSetRep& rep, std::uint32_t categoryMask) {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeSet members;
  members.applyIntPropertyValue(UCHAR_GENERAL_CATEGORY_MASK, static_cast<int32_t>(categoryMask),
                                status);
  for (int32_t range = 0; U_SUCCESS(status) && range < members.getRangeCount(); ++range) {
    const UChar32 first = members.getRangeStart(range);
    const UChar32 last = std::min<UChar32>(members.getRangeEnd(range), kLastTableUnit);
    for (UChar32 c = first; c <= last; ++c) rep.add(static_cast<char16_t>(c));
  }
}

CharacterSetRep extendedBitmap(PlatformCharacterSet set, std::u16string_view extraUnits) {
  CharacterSetRep rep = bitmap(set);
  addUnits(rep, extraUnits);
  return rep;
}

CharsTable identityTable() {
  CharsTable table;
  for (std::size_t c = 0; c < table.size(); ++c) table[c] = static_cast<char16_t>(c);
  return table;
}

using FullCaseMapping = int32_t (*)(UChar*, int32_t, const UChar*, int32_t, const char*,
                                    UErrorCode*);

// Entry c becomes the full case mapping of c in the root locale when that is a single unit;
// mappings that expand (U+00DF to "SS") leave c as it is.
CharsTable caseTable(const CharacterSetRep& mappedLetters, FullCaseMapping mapCase) {
  CharsTable table = identityTable();
  for (char32_t c = 0; c < kLastTableUnit; ++c) {
    const char16_t unit = static_cast<char16_t>(c);
    if (!mappedLetters.contains(unit)) continue;
    UChar mapped[2];  // one unit, and room to see that a mapping is longer
    UErrorCode status = U_ZERO_ERROR;
    const int32_t length = mapCase(mapped, 2, &unit, 1, "", &status);
    if (U_SUCCESS(status) && length == 1) table[c] = mapped[0];
  }
  return table;
}

CharsTable composedTable(const CharsTable& outer, const CharsTable& inner) {
  CharsTable table;
  for (std::size_t c = 0; c < table.size(); ++c) table[c] = outer[inner[c]];
  return table;
}

constexpr auto kNonZero = [](std::uint8_t byte) { return byte != 0; };

char16_t firstMember(const CharacterSetRep& rep) {
  const auto byte = std::find_if(rep.bytes.begin(), rep.bytes.end(), kNonZero);
  if (byte == rep.bytes.end()) return 0;
  return static_cast<char16_t>((byte - rep.bytes.begin()) * 8 + std::countr_zero(*byte));
}

char16_t lastMember(const CharacterSetRep& rep) {
  const auto byte = std::find_if(rep.bytes.rbegin(), rep.bytes.rend(), kNonZero);
  if (byte == rep.bytes.rend()) return 0;
  return static_cast<char16_t>((rep.bytes.rend() - byte - 1) * 8 + std::bit_width(*byte) - 1);
}

}  // namespace

CharacterSetRep bitmap(PlatformCharacterSet set) {
  CharacterSetRep rep;
  addCategoryRanges(rep, generalCategoryMask(set));
  addUnits(rep, controlMembers(set));
  return rep;
}

const CharacterSetRep* spaceCharacterSetRep() {
  static const CharacterSetRep rep =
      extendedBitmap(PlatformCharacterSet::whitespace, kExtraSpaceCharacters);
  return &rep;
}

const CharacterSetRep* whiteCharacterSetRep() {
  static const CharacterSetRep rep =
      extendedBitmap(PlatformCharacterSet::whitespaceAndNewline, kExtraWhiteCharacters);
  return &rep;
}

const CharacterSetRep* alphaCharacterSetRep() {
  static const CharacterSetRep rep = bitmap(PlatformCharacterSet::letter);
  return &rep;
}

const CharacterSetRep* alphaNumCharacterSetRep() {
  static const CharacterSetRep rep = bitmap(PlatformCharacterSet::alphanumeric);
  return &rep;
}

const CharacterSetRep* digitCharacterSetRep() {
  static const CharacterSetRep rep = bitmap(PlatformCharacterSet::decimalDigit);
  return &rep;
}

const CharacterSetRep* lowerCharacterSetRep() {
  static const CharacterSetRep rep = bitmap(PlatformCharacterSet::lowercaseLetter);
  return &rep;
}

const CharacterSetRep* upperCharacterSetRep() {
  static const CharacterSetRep rep = bitmap(PlatformCharacterSet::uppercaseLetter);
  return &rep;
}

const CharacterSetRep* emptyCharacterSetRep() {
  static const CharacterSetRep rep;
  return &rep;
}

CharsTable initUpperCharsTable() {
  return caseTable(*lowerCharacterSetRep(), u_strToUpper);
}

CharsTable initLowerCharsTable() {
  return caseTable(*upperCharacterSetRep(), u_strToLower);
}

CharsTable initUmlautsCharsTable() {
  CharsTable table = identityTable();
  for (const detail::FoldingPair& pair : detail::kFoldingPairs) table[pair.source] = pair.target;
  return table;
}

// Accents are folded before case is mapped, so U+00DF becomes 'S' and U+0178 stays a letter with
// diaeresis (its lower case U+00FF is not folded again).
CharsTable initUpperUmlautsCharsTable() {
  return composedTable(upperCharsTable(), umlautsCharsTable());
}

CharsTable initLowerUmlautsCharsTable() {
  return composedTable(lowerCharsTable(), umlautsCharsTable());
}

const CharsTable& upperCharsTable() {
  static const CharsTable table = initUpperCharsTable();
  return table;
}

const CharsTable& lowerCharsTable() {
  static const CharsTable table = initLowerCharsTable();
  return table;
}

const CharsTable& umlautsCharsTable() {
  static const CharsTable table = initUmlautsCharsTable();
  return table;
}

const CharsTable& upperUmlautsCharsTable() {
  static const CharsTable table = initUpperUmlautsCharsTable();
  return table;
}

const CharsTable& lowerUmlautsCharsTable() {
  static const CharsTable table = initLowerUmlautsCharsTable();
  return table;
}

char16_t toAscii(char16_t c) {
  const char16_t folded = umlautsToAscii(c);
  return folded <= 0x7F ? folded : u' ';
}

char16_t toUpperAscii(char16_t c) {
  const char16_t ascii = toAscii(c);
  return ascii >= u'a' && ascii <= u'z' ? static_cast<char16_t>(ascii - u'a' + u'A') : ascii;
}

char16_t toLowerAscii(char16_t c) {
  const char16_t ascii = toAscii(c);
  return ascii >= u'A' && ascii <= u'Z' ? static_cast<char16_t>(ascii - u'A' + u'a') : ascii;
}

char16_t firstAlphaCharacter() {
  static const char16_t first = firstMember(*alphaCharacterSetRep());
  return first;
}

char16_t lastAlphaCharacter() {
  static const char16_t last = lastMember(*alphaCharacterSetRep());
  return last;
}

}  // namespace textrix
