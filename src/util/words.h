// SPDX-License-Identifier: MIT
// Splitting text into words, components and paragraphs; counting them; cutting text after a
// number of words or code units.
//
// What separates is a character class (CharacterSetRep): a word is a run of units between
// separators; a component is a sentence-like piece that keeps the run of separators closing it
// ("Hello." and " How are you?"); a paragraph is a component of the line separators, so any number
// of consecutive line ends closes one paragraph. Every scan keeps numbers whole by one rule: a ","
// or "." that is neither the first nor the last unit of the scanned text and has an ASCII digit on
// both sides is word material, so "3.14" and "1,000" are one word and the "." of "3.14." at the
// end of a sentence still separates.
//
//   textrix::numberOfWordsUsingSeparators(u"pi is 3.14", nullptr, 1);    // 3
//   textrix::componentsUsingDefaultSeparation(u"Hello. How are you?");   // "Hello.", " How are
//   you?" textrix::stringByEllipsizingAfterNWords(u"one two three", 2);        // u"one two..."
//
// Positions and lengths are UTF-16 code units. A null separator set stands for the operation's
// default: the word separators for words, the component separators for components. A minLen of 0
// means 1. Lists hold views into the text they were made from.
#pragma once

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "text/charsets.h"
#include "text/mutable_string.h"

namespace textrix {

// A piece found by a scan, in code units. In the output of the word scan with separators kept, a
// run of separators has kSeparatorRunMark set in its length.
struct RangeRecord {
  std::uint32_t location = 0;
  std::uint32_t length = 0;

  bool isSeparatorRun() const { return (length & kSeparatorRunMark) != 0; }
  // The length without the mark.
  std::uint32_t unitCount() const { return length & ~kSeparatorRunMark; }
  bool operator==(const RangeRecord&) const = default;

  static constexpr std::uint32_t kSeparatorRunMark = 0x80000000;
};

// The longest text the record-producing scans take: a record's length has 31 bits.
inline constexpr std::size_t kMaxSeparatedLength = 0x7FFFFFFF;

// The separator sets, each built once and shared for the life of the process; never null.
// Words: white space and line ends, punctuation (P*), symbols (S*), controls (Cc, Cf), unassigned
// units and noncharacters (Cn) but not U+FFFF, the private-use units U+F400 to U+F8FE, and 73
// listed units (ASCII punctuation, typographic quotes, dashes, signs such as U+00A9 and U+00BD).
const CharacterSetRep* defaultWordSeparators();
// Lines: U+000D, U+000A, U+000C, U+2029, U+2028, U+0003 and U+FFFC.
const CharacterSetRep* defaultLineSeparators();
// Components: . , : ; ! ? and U+000A, U+000D, U+000C, U+FFFC, U+FEFF, U+2029, U+2028, U+0003.
const CharacterSetRep* defaultComponentSeparators();

// Scans on a buffer of code units.
// The number of words of at least minLen units; with withSeparators, words plus runs of
// separators. With ranges, appends one record per counted item in text order, runs marked. 0 and
// no records for empty text or text longer than kMaxSeparatedLength.
std::uint32_t wordsOfCharacters(std::u16string_view text, const CharacterSetRep* separators,
                                bool withSeparators, std::uint32_t minLen,
                                std::vector<RangeRecord>* ranges);
// The number of components, each running up to and over a run of separators; a run at the very
// start is a component of its own, and a rest after the last run is one more. With ranges,
// appends one record per component. 0 for empty text or text longer than kMaxSeparatedLength.
std::uint32_t componentsOfCharacters(std::u16string_view text, const CharacterSetRep* separators,
                                     std::vector<RangeRecord>* ranges);
// The counts of the two scans above, without separators kept.
std::uint32_t numberOfWordsOfCharacters(std::u16string_view text, const CharacterSetRep* separators,
                                        std::uint32_t minLen);
std::uint32_t numberOfComponentsOfCharacters(std::u16string_view text,
                                             const CharacterSetRep* separators);

// Counts over the whole text, or over range: a range starting at or after the end, or empty,
// counts 0; one reaching past the end is cut there. The number rule looks at the counted units
// only, so a "." at either end of the range separates.
std::uint32_t numberOfWordsUsingSeparators(std::u16string_view text,
                                           const CharacterSetRep* separators, std::uint32_t minLen);
std::uint32_t numberOfWordsInRange(std::u16string_view text, Range range,
                                   const CharacterSetRep* separators, std::uint32_t minLen);
std::uint32_t numberOfComponentsUsingSeparators(std::u16string_view text,
                                                const CharacterSetRep* separators);
std::uint32_t numberOfComponentsInRange(std::u16string_view text, Range range,
                                        const CharacterSetRep* separators);

struct ParagraphAndWordCounts {
  std::uint32_t paragraphs = 0;
  std::uint32_t words = 0;
  bool operator==(const ParagraphAndWordCounts&) const = default;
};

// Paragraphs (components of the line separators) and words of at least minLen (of the word
// separators) in range, cut as above.
ParagraphAndWordCounts numberOfParagraphs(std::u16string_view text, Range range,
                                          std::uint32_t minLen);

// The words of text of at least minLen units, in order; with withSeparators each run of
// separators follows the word before it as an item of its own. With wildcard, a "[" that is word
// material carries its word on up to and including the next "]" (to the end when there is none),
// so a bracket class such as "[a b]" stays whole. separatedByHyphens, when given, receives whether
// every separator looked at was "-" and at least two words were found: every separator unit
// without withSeparators, the first unit of each run with it. Empty text gives no list at all
// (and false).
std::optional<std::vector<std::u16string_view>> wordsUsingSeparators(
    std::u16string_view text, const CharacterSetRep* separators, bool withSeparators,
    std::uint32_t minLen, bool wildcard, bool* separatedByHyphens);
// The same without wildcard and hyphen result.
std::optional<std::vector<std::u16string_view>> wordsUsingSeparators(
    std::u16string_view text, const CharacterSetRep* separators, bool withSeparators,
    std::uint32_t minLen);
// Words of at least one unit, separators dropped.
std::optional<std::vector<std::u16string_view>> wordsUsingSeparators(
    std::u16string_view text, const CharacterSetRep* separators);
std::optional<std::vector<std::u16string_view>> wordsUsingDefaultSeparation(
    std::u16string_view text);

// The components of text in order. With withSeparators each keeps its closing run of separators;
// without, the runs are dropped and pieces left empty are skipped. Empty text gives an empty list.
std::vector<std::u16string_view> componentsUsingSeparators(std::u16string_view text,
                                                           const CharacterSetRep* separators,
                                                           bool withSeparators);
// With the closing runs kept.
std::vector<std::u16string_view> componentsUsingSeparators(std::u16string_view text,
                                                           const CharacterSetRep* separators);
std::vector<std::u16string_view> componentsUsingDefaultSeparation(std::u16string_view text);

// Called once per piece, in text order, with the units scanned and the piece's range in them.
using SeparationHandler = std::function<void(std::u16string_view characters, Range piece)>;

// Calls handler for each word of at least minLen units and returns the number of calls; 0 without
// calls when text is shorter than minLen or handler is empty. With isMutable the units are copied
// first, so the handler may change the string that text views; 0 when the copy cannot be had or
// its size in bytes does not fit in 31 bits.
std::size_t parseWordsWithHandler(std::u16string_view text, const SeparationHandler& handler,
                                  bool isMutable, const CharacterSetRep* separators,
                                  std::uint32_t minLen);
// The same per component, its closing run of separators included; 0 for empty text.
std::size_t parseComponentsWithHandler(std::u16string_view text, const SeparationHandler& handler,
                                       bool isMutable, const CharacterSetRep* separators);

// Text up to the end of its n-th word (of the word separators) followed by "...", when it has
// more than n words; otherwise, and when n is 0 or not smaller than its length, text itself.
std::u16string stringByEllipsizingAfterNWords(std::u16string_view text, std::size_t n);
// Text cut at a word boundary (words being runs of the alphanumeric class) inside its first n
// units, followed by "...": the word the cut falls into is dropped, and so is one that ends
// exactly at the cut, since unit n is never looked at. Text itself when n is 0 or not smaller than
// its length, or when no word ends before the cut.
std::u16string stringByEllipsizingAfterNCharacters(std::u16string_view text, std::size_t n);

}  // namespace textrix
