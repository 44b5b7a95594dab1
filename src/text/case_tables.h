// SPDX-License-Identifier: MIT
// Full case mapping without a call into ICU per character: the upper, lower and title case of no
// locale of every code point, as tables built from ICU once, on first use.
//
// Each code point maps on its own, as ICU maps a text of that one code point, with one exception:
// capital sigma lower-cases to final sigma when a cased letter comes before it and none after it,
// case-ignorable characters between passed over. So a piece of text is mapped with the text around
// it as its context, and mapping a whole text gives what ICU's u_strToUpper and u_strToLower of the
// root locale give; title case is the mapping of the one letter that capitalizing changes.
//
//   std::u16string out;
//   textrix::appendCaseMapped(out, u"stra\u00DFe", textrix::CaseMapping::upper);  // "STRASSE"
//
// Positions are UTF-16 code units. A surrogate pair is one code point; a lone surrogate maps to
// itself.
#pragma once

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace textrix {

// A value for every code point: the BMP in one array, the supplementary planes in blocks of 1024
// code points that share their storage while they hold one value throughout.
template <class T>
class CodePointTable {
 public:
  // Every code point holds initial.
  explicit CodePointTable(T initial) {
    bmp_.fill(initial);
    blockOfLead_.fill(uniformBlock(initial));
  }

  T operator[](char32_t c) const {
    return c < kBlockStart ? bmp_[c] : blocks_[blockOfLead_[(c - kBlockStart) >> 10]][c & 0x3FF];
  }
  // The value of the BMP code point c, one load.
  T bmp(char16_t c) const { return bmp_[c]; }

  // The BMP code point c holds value.
  void setBmp(char16_t c, T value) { bmp_[c] = value; }
  // Code points first to last take update(value) for their value.
  template <class Update>
  void updateRange(char32_t first, char32_t last, Update update);
  // Code points first to last hold value.
  void setRange(char32_t first, char32_t last, T value) {
    updateRange(first, last, [value](T) { return value; });
  }
  // The same for every code point of set, which has ICU's UnicodeSet range interface.
  template <class Set, class Update>
  void updateMembers(const Set& set, Update update) {
    for (std::int32_t range = 0; range < set.getRangeCount(); ++range) {
      updateRange(static_cast<char32_t>(set.getRangeStart(range)),
                  static_cast<char32_t>(set.getRangeEnd(range)), update);
    }
  }
  template <class Set>
  void setMembers(const Set& set, T value) {
    updateMembers(set, [value](T) { return value; });
  }

 private:
  static constexpr char32_t kBlockStart = 0x10000;
  static constexpr char32_t kBlockSize = 0x400;
  using Block = std::array<T, kBlockSize>;

  std::uint16_t uniformBlock(T value);
  Block& ownBlock(std::uint16_t& index);

  std::array<T, kBlockStart> bmp_;
  std::array<std::uint16_t, 1024> blockOfLead_;  // supplementary code point c: (c - 0x10000) >> 10
  std::vector<Block> blocks_;
  std::vector<bool> shared_;                  // whether blocks_[i] is a uniform block, shared
  std::map<T, std::uint16_t> uniformBlocks_;  // the shared blocks, by their one value
};

template <class T>
template <class Update>
void CodePointTable<T>::updateRange(char32_t first, char32_t last, Update update) {
  for (; first <= last && first < kBlockStart; ++first) bmp_[first] = update(bmp_[first]);
  while (first <= last) {
    const char32_t blockLast = first | (kBlockSize - 1);
    const char32_t rangeLast = std::min(last, blockLast);
    std::uint16_t& index = blockOfLead_[(first - kBlockStart) >> 10];
    if ((first & (kBlockSize - 1)) == 0 && rangeLast == blockLast && shared_[index]) {
      index = uniformBlock(update(blocks_[index][0]));
    } else {
      Block& block = ownBlock(index);
      for (char32_t c = first; c <= rangeLast; ++c) block[c & 0x3FF] = update(block[c & 0x3FF]);
    }
    first = rangeLast + 1;
  }
}

template <class T>
std::uint16_t CodePointTable<T>::uniformBlock(T value) {
  const auto [entry, added] =
      uniformBlocks_.try_emplace(value, static_cast<std::uint16_t>(blocks_.size()));
  if (added) {
    blocks_.emplace_back().fill(value);
    shared_.push_back(true);
  }
  return entry->second;
}

template <class T>
typename CodePointTable<T>::Block& CodePointTable<T>::ownBlock(std::uint16_t& index) {
  if (shared_[index]) {
    const Block copy = blocks_[index];
    index = static_cast<std::uint16_t>(blocks_.size());
    blocks_.push_back(copy);
    shared_.push_back(false);
  }
  return blocks_[index];
}

// The three full case mappings.
enum class CaseMapping : std::uint8_t { upper, lower, title };

// Where mapped text goes: appended to a string that keeps room for one unit per unit of input
// still to be mapped, so that a unit mapping to one unit is written without a check. The string
// gets its final length when the output ends.
class CaseOutput {
 public:
  // Appends to text the mapping of inputUnits units.
  CaseOutput(std::u16string& text, std::size_t inputUnits);
  ~CaseOutput() { text_.resize(size()); }
  CaseOutput(const CaseOutput&) = delete;
  CaseOutput& operator=(const CaseOutput&) = delete;

  // Writes unit in place of one unit of input.
  void put(char16_t unit) { *next_++ = unit; }
  // Writes units in place of consumed units of input.
  void put(std::u16string_view units, std::size_t consumed);

  // The length of the text so far.
  std::size_t size() const { return static_cast<std::size_t>(next_ - text_.data()); }
  // Drops what was written after mark, a length the text had, whose input is to be mapped again.
  void rewind(std::size_t mark) { next_ = text_.data() + mark; }
  // Writes unit over the unit written at index.
  void overwrite(std::size_t index, char16_t unit) { text_[index] = unit; }

 private:
  friend class CaseTable;  // which writes runs of one-unit mappings through next_ directly

  std::u16string& text_;
  char16_t* next_;
};

// One full case mapping of every code point, built from ICU.
class CaseTable {
 public:
  explicit CaseTable(CaseMapping mapping);

  // Writes the mapping of the code point that starts at text[at] and returns where the next one
  // starts; the rest of text is the context.
  std::size_t mapCodePoint(CaseOutput& out, std::u16string_view text, std::size_t at) const {
    const char16_t entry = entries_.bmp(text[at]);
    if (!isEscape(entry)) {
      out.put(entry);
      return at + 1;
    }
    return mapEscaped(out, text, at, entry);
  }
  // Writes the mapping of text[at, end), which holds whole code points; the rest of text is the
  // context. True when every code point mapped to as many units as it has.
  bool mapRange(CaseOutput& out, std::u16string_view text, std::size_t at, std::size_t end) const;
  // Whether the code point that starts at text[at] maps to itself.
  bool keeps(std::u16string_view text, std::size_t at) const;
  // Whether the BMP unit c maps to one unit; its mapping is then unitOf(c).
  bool mapsToOneUnit(char16_t c) const { return !isEscape(entries_.bmp(c)); }
  char16_t unitOf(char16_t c) const { return entries_.bmp(c); }

 private:
  // An entry in the surrogate range stands for something other than the one unit it maps to.
  static bool isEscape(char16_t entry) { return (entry & 0xF800) == 0xD800; }

  std::size_t mapEscaped(CaseOutput& out, std::u16string_view text, std::size_t at,
                         char16_t entry) const;
  void addMapping(char32_t c, std::u16string_view mapped);

  CodePointTable<char16_t> entries_;
  std::vector<std::u16string> longMappings_;  // the mappings that are not one unit
  char16_t nonFinalSigma_ = 0;                // in lower case: capital sigma not at a word's end
};

// The shared table of mapping, built on first use.
const CaseTable& caseTable(CaseMapping mapping);

// Appends text mapped by mapping (upper or lower case) to out.
void appendCaseMapped(std::u16string& out, std::u16string_view text, CaseMapping mapping);

}  // namespace textrix
