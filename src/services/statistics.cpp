// SPDX-License-Identifier: MIT
#include "services/statistics.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <iterator>
#include <optional>

#include "runtime/localization.h"
#include "text/charsets.h"
#include "text/lines.h"
#include "text/mutable_string.h"

namespace textrix {
namespace {

// number in plain decimal, without grouping.
std::u16string decimal(std::size_t number) {
  char16_t digits[24];
  std::size_t start = std::size(digits);
  do {
    digits[--start] = static_cast<char16_t>(u'0' + number % 10);
    number /= 10;
  } while (number > 0);
  return std::u16string(digits + start, std::size(digits) - start);
}

// Whether each code unit is in the white class, a byte per unit: one load tells, where the class's
// bitmap also takes a shift. Built once from the class.
using WhiteTable = std::array<std::uint8_t, 65536>;

const WhiteTable& whiteTable() {
  static const WhiteTable table = [] {
    const CharacterSetRep& white = *whiteCharacterSetRep();
    WhiteTable bytes;
    for (std::size_t c = 0; c < bytes.size(); ++c)
      bytes[c] = white.contains(static_cast<char16_t>(c));
    return bytes;
  }();
  return table;
}

// The units are counted a block at a time, one bit per unit, without a branch per unit: white and
// other units mix without pattern in any text.
constexpr std::size_t kBlockUnits = 64;

// Bit i set when unit at + i of text is white, for count units from at.
std::uint64_t whiteBits(std::u16string_view text, std::size_t at, std::size_t count,
                        const WhiteTable& white) {
  std::uint64_t bits = 0;
  for (std::size_t i = 0; i < count; ++i) bits |= std::uint64_t{white[text[at + i]]} << i;
  return bits;
}

// The units of text from at up to kBlockUnits of them, one bit each, the first in the lowest bit.
struct Block {
  std::size_t count;
  std::uint64_t whites;

  std::uint64_t units() const {
    return count == kBlockUnits ? ~std::uint64_t{0} : (std::uint64_t{1} << count) - 1;
  }
  bool endsWhite() const { return (whites >> (count - 1) & 1) != 0; }
};

Block blockAt(std::u16string_view text, std::size_t at, const WhiteTable& white) {
  const std::size_t count = std::min(kBlockUnits, text.size() - at);
  // A whole block's fixed length lets the loop be unrolled.
  return {count, count == kBlockUnits ? whiteBits(text, at, kBlockUnits, white)
                                      : whiteBits(text, at, count, white)};
}

}  // namespace

TextStatistics statisticsOfString(std::u16string_view text) {
  const WhiteTable& white = whiteTable();
  TextStatistics statistics;
  bool afterWhite = true;  // the text starts as if after a white unit
  for (std::size_t at = 0; at < text.size(); at += kBlockUnits) {
    const Block block = blockAt(text, at, white);
    // A word starts at a unit that is not white, after one that is.
    const std::uint64_t wordStarts =
        block.units() & ~block.whites & (block.whites << 1 | afterWhite);
    statistics.spaces += static_cast<std::size_t>(std::popcount(block.whites));
    statistics.words += static_cast<std::size_t>(std::popcount(wordStarts));
    afterWhite = block.endsWhite();
  }
  statistics.characters = text.size() - statistics.spaces;
  statistics.lines = numberOfLines(text);
  return statistics;
}

std::u16string statisticsMessage(const TextStatistics& statistics) {
  return formatString(u"%@%@\n%@%@\n%@%@\n\n%@%@\n%@%@\n",
                      {localizedStringForKey("Characters:"), decimal(statistics.characters),
                       localizedStringForKey("Spaces:"), decimal(statistics.spaces),
                       localizedStringForKey("Total:"), decimal(statistics.total()),
                       localizedStringForKey("Words:"), decimal(statistics.words),
                       localizedStringForKey("Lines:"), decimal(statistics.lines)});
}

std::u16string statisticsTitle() {
  return localizedStringForKey("Statistics");
}

}  // namespace textrix
