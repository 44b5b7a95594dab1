// SPDX-License-Identifier: MIT
#include "util/words.h"

#include <algorithm>
#include <memory>
#include <new>

namespace textrix {

using namespace std::literals;

namespace {

// Units that separate words beyond the platform's classes: blanks and line ends, ASCII
// punctuation and symbols, typographic quotes, dashes, and signs that would otherwise stick to a
// word (section, copyright, fractions, superscript digits, degree).
constexpr std::u16string_view kExtraWordSeparators =
    u" ,.;:'\"!?()=/\\*+-_%\u2030&{}[]|<>#@^\u00B4`\u2018\u2019\u201A\u201C\u201D\u00A8\u201E"
    u"\u00A7\u00AB\u00BB\u00A9\u00AE\u2039\u203A\u00B1\u2014\u02C6\u2122\u00BD\u00BC\u00B9"
    u"\u00B2\u00B3\u00B0\u00A6~\uFFFD\u00A4\u000C\u00A0\u000A\u000D\u2028\u2029\u0003\uFFFC"
    u"\u0009\uFEFF\u2013\u0000"sv;
static_assert(kExtraWordSeparators.size() == 73);

// The private-use units that symbol and dingbat fonts fill; text drawn from them is no word.
constexpr char16_t kFirstSymbolFontUnit = 0xF400;
constexpr char16_t kLastSymbolFontUnit = 0xF8FE;

// Unassigned though it is, U+FFFF is word material: the category classes are taken below it.
constexpr char16_t kLastUnit = 0xFFFF;

constexpr std::u16string_view kLineSeparators = u"\r\n\f\u2029\u2028\u0003\uFFFC"sv;
constexpr std::u16string_view kComponentSeparators =
    u".,:;!?\n\r\f\uFFFC\uFEFF\u2029\u2028\u0003"sv;

constexpr std::u16string_view kEllipsis = u"..."sv;

// A heap copy for a handler that may edit its source must have a byte size of 31 bits.
constexpr std::size_t kMaxCopiedUnits = 0x7FFFFFFF / sizeof(char16_t);

void addUnits(CharacterSetRep& rep, std::u16string_view units) {
  for (char16_t unit : units) rep.add(unit);
}

void addMembers(CharacterSetRep& rep, const CharacterSetRep& other) {
  for (std::size_t i = 0; i < rep.bytes.size(); ++i) rep.bytes[i] |= other.bytes[i];
}

CharacterSetRep setOf(std::u16string_view units) {
  CharacterSetRep rep;
  addUnits(rep, units);
  return rep;
}

CharacterSetRep makeWordSeparators() {
  CharacterSetRep rep = bitmap(PlatformCharacterSet::whitespaceAndNewline);
  for (PlatformCharacterSet set : {PlatformCharacterSet::punctuation, PlatformCharacterSet::illegal,
                                   PlatformCharacterSet::control, PlatformCharacterSet::symbol}) {
    addMembers(rep, bitmap(set));
  }
  rep.remove(kLastUnit);
  addUnits(rep, kExtraWordSeparators);
  for (char16_t c = kFirstSymbolFontUnit; c <= kLastSymbolFontUnit; ++c) rep.add(c);
  return rep;
}

const CharacterSetRep& wordSeparatorsOr(const CharacterSetRep* separators) {
  return separators ? *separators : *defaultWordSeparators();
}

const CharacterSetRep& componentSeparatorsOr(const CharacterSetRep* separators) {
  return separators ? *separators : *defaultComponentSeparators();
}

std::uint32_t atLeastOne(std::uint32_t minLen) {
  return std::max<std::uint32_t>(minLen, 1);
}

bool isAsciiDigit(char16_t c) {
  return c >= u'0' && c <= u'9';
}

// A member of separators, unless it is a "," or "." inside text between two ASCII digits: numbers
// such as 3.14 and 1,000 stay one word.
bool isSeparatorAt(std::u16string_view text, std::size_t i, const CharacterSetRep& separators) {
  const char16_t c = text[i];
  if (!separators.contains(c)) return false;
  if (c != u',' && c != u'.') return true;
  return i == 0 || i + 1 == text.size() || !isAsciiDigit(text[i - 1]) || !isAsciiDigit(text[i + 1]);
}

// The index just past the run of separators that starts at i.
std::size_t separatorRunEnd(std::u16string_view text, std::size_t i,
                            const CharacterSetRep& separators) {
  do ++i;
  while (i < text.size() && isSeparatorAt(text, i, separators));
  return i;
}

struct WordScan {
  const CharacterSetRep& separators;
  bool withSeparators = false;
  std::uint32_t minLen = 1;  // at least 1
  bool wildcard = false;
};

// The index just past the "]" that closes the bracket class opening at i, or text.size().
std::size_t bracketClassEnd(std::u16string_view text, std::size_t i) {
  const std::size_t close = text.find(u']', i + 1);
  return close == std::u16string_view::npos ? text.size() : close + 1;
}

constexpr auto kIgnoreRange = [](Range) {};
constexpr auto kIgnoreUnit = [](char16_t) {};

// One pass over text: onWord(range) for each word of at least minLen units, onRun(range) for each
// run of separators when they are kept, and onSeparator(unit) for each separator that ends a word
// (without kept separators, every separator; with them, the first of each run).
template <class OnWord, class OnRun, class OnSeparator>
void scanWords(std::u16string_view text, const WordScan& scan, OnWord&& onWord, OnRun&& onRun,
               OnSeparator&& onSeparator) {
  std::size_t start = 0;
  std::size_t i = 0;
  while (i < text.size()) {
    if (!isSeparatorAt(text, i, scan.separators)) {
      i = scan.wildcard && text[i] == u'[' ? bracketClassEnd(text, i) : i + 1;
      continue;
    }
    onSeparator(text[i]);
    if (i - start >= scan.minLen) onWord(Range{start, i - start});
    std::size_t next = i + 1;
    if (scan.withSeparators) {
      next = separatorRunEnd(text, i, scan.separators);
      onRun(Range{i, next - i});
    }
    start = i = next;
  }
  if (text.size() - start >= scan.minLen) onWord(Range{start, text.size() - start});
}

// One pass over text: onComponent(component, runStart) for each component, its closing run of
// separators starting at runStart (the component's end when it has none).
template <class OnComponent>
void scanComponents(std::u16string_view text, const CharacterSetRep& separators,
                    OnComponent&& onComponent) {
  std::size_t start = 0;
  std::size_t i = 0;
  while (i < text.size()) {
    if (!isSeparatorAt(text, i, separators)) {
      ++i;
      continue;
    }
    const std::size_t runEnd = separatorRunEnd(text, i, separators);
    onComponent(Range{start, runEnd - start}, i);
    start = i = runEnd;
  }
  if (start < text.size()) onComponent(Range{start, text.size() - start}, text.size());
}

RangeRecord recordOf(Range range, std::uint32_t mark = 0) {
  return {static_cast<std::uint32_t>(range.location),
          static_cast<std::uint32_t>(range.length) | mark};
}

std::u16string_view clipped(std::u16string_view text, Range range) {
  if (range.location >= text.size()) return {};
  return text.substr(range.location, range.length);
}

std::u16string_view piece(std::u16string_view text, Range range) {
  return text.substr(range.location, range.length);
}

// Runs parse on text itself, or with copy on a heap copy of it; 0 when the copy cannot be had.
template <class Parse>
std::size_t parseUnits(std::u16string_view text, bool copy, Parse&& parse) {
  if (!copy) return parse(text);
  if (text.size() > kMaxCopiedUnits) return 0;
  std::unique_ptr<char16_t[]> units(new (std::nothrow) char16_t[text.size()]);
  if (!units) return 0;
  std::copy(text.begin(), text.end(), units.get());
  return parse(std::u16string_view(units.get(), text.size()));
}

}  // namespace

const CharacterSetRep* defaultWordSeparators() {
  static const CharacterSetRep rep = makeWordSeparators();
  return &rep;
}

const CharacterSetRep* defaultLineSeparators() {
  static const CharacterSetRep rep = setOf(kLineSeparators);
  return &rep;
}

const CharacterSetRep* defaultComponentSeparators() {
  static const CharacterSetRep rep = setOf(kComponentSeparators);
  return &rep;
}

std::uint32_t wordsOfCharacters(std::u16string_view text, const CharacterSetRep* separators,
                                bool withSeparators, std::uint32_t minLen,
                                std::vector<RangeRecord>* ranges) {
  if (text.size() > kMaxSeparatedLength) return 0;
  std::uint32_t count = 0;
  const auto record = [&](Range range, std::uint32_t mark) {
    ++count;
    if (ranges) ranges->push_back(recordOf(range, mark));
  };
  scanWords(
      text, {wordSeparatorsOr(separators), withSeparators, atLeastOne(minLen)},
      [&](Range word) { record(word, 0); },
      [&](Range run) { record(run, RangeRecord::kSeparatorRunMark); }, kIgnoreUnit);
  return count;
}

std::uint32_t componentsOfCharacters(std::u16string_view text, const CharacterSetRep* separators,
                                     std::vector<RangeRecord>* ranges) {
  if (text.size() > kMaxSeparatedLength) return 0;
  std::uint32_t count = 0;
  scanComponents(text, componentSeparatorsOr(separators), [&](Range component, std::size_t) {
    ++count;
    if (ranges) ranges->push_back(recordOf(component));
  });
  return count;
}

std::uint32_t numberOfWordsOfCharacters(std::u16string_view text, const CharacterSetRep* separators,
                                        std::uint32_t minLen) {
  return wordsOfCharacters(text, separators, false, minLen, nullptr);
}

std::uint32_t numberOfComponentsOfCharacters(std::u16string_view text,
                                             const CharacterSetRep* separators) {
  return componentsOfCharacters(text, separators, nullptr);
}

std::uint32_t numberOfWordsUsingSeparators(std::u16string_view text,
                                           const CharacterSetRep* separators,
                                           std::uint32_t minLen) {
  return numberOfWordsOfCharacters(text, separators, minLen);
}

std::uint32_t numberOfWordsInRange(std::u16string_view text, Range range,
                                   const CharacterSetRep* separators, std::uint32_t minLen) {
  return numberOfWordsOfCharacters(clipped(text, range), separators, minLen);
}

std::uint32_t numberOfComponentsUsingSeparators(std::u16string_view text,
                                                const CharacterSetRep* separators) {
  return numberOfComponentsOfCharacters(text, separators);
}

std::uint32_t numberOfComponentsInRange(std::u16string_view text, Range range,
                                        const CharacterSetRep* separators) {
  return numberOfComponentsOfCharacters(clipped(text, range), separators);
}

ParagraphAndWordCounts numberOfParagraphs(std::u16string_view text, Range range,
                                          std::uint32_t minLen) {
  return {numberOfComponentsInRange(text, range, defaultLineSeparators()),
          numberOfWordsInRange(text, range, defaultWordSeparators(), minLen)};
}

std::optional<std::vector<std::u16string_view>> wordsUsingSeparators(
    std::u16string_view text, const CharacterSetRep* separators, bool withSeparators,
    std::uint32_t minLen, bool wildcard, bool* separatedByHyphens) {
  std::optional<std::vector<std::u16string_view>> items;
  std::size_t words = 0;
  bool onlyHyphens = true;
  if (!text.empty()) {
    items.emplace();
    scanWords(
        text, {wordSeparatorsOr(separators), withSeparators, atLeastOne(minLen), wildcard},
        [&](Range word) {
          items->push_back(piece(text, word));
          ++words;
        },
        [&](Range run) { items->push_back(piece(text, run)); },
        [&](char16_t separator) { onlyHyphens = onlyHyphens && separator == u'-'; });
  }
  if (separatedByHyphens) *separatedByHyphens = onlyHyphens && words >= 2;
  return items;
}

std::optional<std::vector<std::u16string_view>> wordsUsingSeparators(
    std::u16string_view text, const CharacterSetRep* separators, bool withSeparators,
    std::uint32_t minLen) {
  return wordsUsingSeparators(text, separators, withSeparators, minLen, false, nullptr);
}

std::optional<std::vector<std::u16string_view>> wordsUsingSeparators(
    std::u16string_view text, const CharacterSetRep* separators) {
  return wordsUsingSeparators(text, separators, false, 1);
}

std::optional<std::vector<std::u16string_view>> wordsUsingDefaultSeparation(
    std::u16string_view text) {
  return wordsUsingSeparators(text, nullptr);
}

std::vector<std::u16string_view> componentsUsingSeparators(std::u16string_view text,
                                                           const CharacterSetRep* separators,
                                                           bool withSeparators) {
  std::vector<std::u16string_view> components;
  scanComponents(
      text, componentSeparatorsOr(separators), [&](Range component, std::size_t runStart) {
        if (withSeparators) {
          components.push_back(piece(text, component));
        } else if (runStart > component.location) {
          components.push_back(text.substr(component.location, runStart - component.location));
        }
      });
  return components;
}

std::vector<std::u16string_view> componentsUsingSeparators(std::u16string_view text,
                                                           const CharacterSetRep* separators) {
  return componentsUsingSeparators(text, separators, true);
}

std::vector<std::u16string_view> componentsUsingDefaultSeparation(std::u16string_view text) {
  return componentsUsingSeparators(text, nullptr);
}

std::size_t parseWordsWithHandler(std::u16string_view text, const SeparationHandler& handler,
                                  bool isMutable, const CharacterSetRep* separators,
                                  std::uint32_t minLen) {
  const WordScan scan{wordSeparatorsOr(separators), false, atLeastOne(minLen)};
  if (text.size() < scan.minLen || !handler) return 0;
  return parseUnits(text, isMutable, [&](std::u16string_view units) {
    std::size_t calls = 0;
    scanWords(
        units, scan,
        [&](Range word) {
          handler(units, word);
          ++calls;
        },
        kIgnoreRange, kIgnoreUnit);
    return calls;
  });
}

std::size_t parseComponentsWithHandler(std::u16string_view text, const SeparationHandler& handler,
                                       bool isMutable, const CharacterSetRep* separators) {
  if (text.empty() || !handler) return 0;
  const CharacterSetRep& set = componentSeparatorsOr(separators);
  return parseUnits(text, isMutable, [&](std::u16string_view units) {
    std::size_t calls = 0;
    scanComponents(units, set, [&](Range component, std::size_t) {
      handler(units, component);
      ++calls;
    });
    return calls;
  });
}

std::u16string stringByEllipsizingAfterNWords(std::u16string_view text, std::size_t n) {
  if (n == 0 || n >= text.size()) return std::u16string(text);
  std::size_t words = 0;
  std::size_t cut = 0;
  scanWords(
      text, {*defaultWordSeparators()},
      [&](Range word) {
        if (++words == n) cut = word.end();
      },
      kIgnoreRange, kIgnoreUnit);
  if (words <= n) return std::u16string(text);
  std::u16string result(text.substr(0, cut));
  result += kEllipsis;
  return result;
}

// Unit n is never looked at: the cut does not know whether a word ends there, so it drops that
// word like any other it falls into.
std::u16string stringByEllipsizingAfterNCharacters(std::u16string_view text, std::size_t n) {
  if (n == 0 || n >= text.size()) return std::u16string(text);
  const CharacterSetRep& wordUnits = *alphaNumCharacterSetRep();
  std::size_t end = n;
  while (end > 0 && wordUnits.contains(text[end - 1])) --end;
  if (end == 0) return std::u16string(text);
  while (end > 0 && !wordUnits.contains(text[end - 1])) --end;
  if (end == 0) return std::u16string(text);
  std::u16string result(text.substr(0, end));
  result += kEllipsis;
  return result;
}

}  // namespace textrix
