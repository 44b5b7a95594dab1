// SPDX-License-Identifier: MIT
#include "util/word_starts.h"

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/uniset.h>
#include <unicode/unistr.h>
#include <unicode/uscript.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <stdexcept>
#include <string>

#include "text/case_tables.h"

namespace textrix {
namespace {

// How a simple code point takes part in word boundaries.
enum class WordClass : std::uint8_t {
  other,                // joins nothing
  letter,               // joins letters and numbers
  numeric,              // joins numbers and letters
  midLetter,            // joins two letters it stands between
  midNumeric,           // joins two numbers it stands between
  midNumericLetter,     // joins two letters or two numbers it stands between
  extendNumericLetter,  // joins letters, numbers and its own kind on either side
  notSimple,
};

// A code point's traits: its word class in the low bits, kTitleCandidate when it is a letter,
// number, symbol or private-use character, which title case may capitalize, and kLineFeed for the
// line feed, which ends the line.
constexpr std::uint8_t kWordClassMask = 0x07;
constexpr std::uint8_t kTitleCandidate = 0x08;
constexpr std::uint8_t kLineFeed = 0x10;
constexpr std::size_t kTraitsValues = 0x20;

constexpr WordClass wordClassOf(std::uint8_t traits) {
  return static_cast<WordClass>(traits & kWordClassMask);
}

constexpr bool isWordPart(WordClass c) {
  return c == WordClass::letter || c == WordClass::numeric;
}

constexpr bool isMid(WordClass c) {
  return c == WordClass::midLetter || c == WordClass::midNumeric ||
         c == WordClass::midNumericLetter;
}

// What decides whether a boundary falls between two code points, by their classes.
enum class Junction : std::uint8_t {
  boundary,
  joined,
  joinedWhenAfterIsBefore,          // a mid between two of the kind before it
  joinedWhenBeforeBeforeIsCurrent,  // the kind after a mid, which the kind before the mid matches
};

constexpr Junction junctionOf(WordClass before, WordClass current) {
  using enum WordClass;
  const auto isMidOf = [](WordClass c, WordClass between) {
    return c == midNumericLetter || c == (between == letter ? midLetter : midNumeric);
  };
  if (isWordPart(current) || current == extendNumericLetter) {
    if (isWordPart(before) || before == extendNumericLetter) return Junction::joined;
    if (isWordPart(current) && isMidOf(before, current)) {
      return Junction::joinedWhenBeforeBeforeIsCurrent;
    }
    return Junction::boundary;
  }
  if (isWordPart(before) && isMidOf(current, before)) return Junction::joinedWhenAfterIsBefore;
  return Junction::boundary;
}

// The scanner's state in five bits: the class of the code point before, after a mid with whether
// the one before the mid was a letter or a number, in the low four bits, and kAwaitingCapital
// while the word at hand has no capital yet.
constexpr std::uint8_t kContextMask = 0x0F;
constexpr std::uint8_t kAwaitingCapital = 0x10;
constexpr std::uint8_t kLineStart = kAwaitingCapital;  // after nothing, as after a boundary

// The classes that are not mids, in their order as contexts; the mids follow, three contexts
// each, for what was before them: something else, a letter or a number.
constexpr WordClass kSingleContexts[] = {WordClass::other, WordClass::letter, WordClass::numeric,
                                         WordClass::extendNumericLetter};
constexpr WordClass kMids[] = {WordClass::midLetter, WordClass::midNumeric,
                               WordClass::midNumericLetter};
constexpr WordClass kBeforeMid[] = {WordClass::other, WordClass::letter, WordClass::numeric};
constexpr std::uint8_t kFirstMidContext = std::size(kSingleContexts);

constexpr std::uint8_t indexIn(const auto& classes, WordClass c) {
  return static_cast<std::uint8_t>(std::find(std::begin(classes), std::end(classes), c) -
                                   std::begin(classes));
}

constexpr std::uint8_t stateOf(WordClass before, WordClass beforeBefore, bool awaitingCapital) {
  const std::uint8_t awaiting = awaitingCapital ? kAwaitingCapital : 0;
  if (!isMid(before)) return indexIn(kSingleContexts, before) | awaiting;
  const std::uint8_t beforeMid = isWordPart(beforeBefore) ? indexIn(kBeforeMid, beforeBefore) : 0;
  return static_cast<std::uint8_t>(kFirstMidContext + indexIn(kMids, before) * 3 + beforeMid) |
         awaiting;
}

// Inside a word whose capital is found, after a letter and after a number.
constexpr std::uint8_t kInLetters = stateOf(WordClass::letter, WordClass::other, false);
constexpr std::uint8_t kInNumbers = stateOf(WordClass::numeric, WordClass::other, false);

constexpr WordClass beforeOf(std::uint8_t state) {
  const std::uint8_t context = state & kContextMask;
  if (context < kFirstMidContext) return kSingleContexts[context];
  return kMids[std::min<std::size_t>((context - kFirstMidContext) / 3, std::size(kMids) - 1)];
}

constexpr WordClass beforeBeforeOf(std::uint8_t state) {
  const std::uint8_t context = state & kContextMask;
  if (context < kFirstMidContext) return WordClass::other;
  return kBeforeMid[(context - kFirstMidContext) % 3];
}

// One step of the scanner over a simple code point of the given traits, with after the class of
// the code point that follows it.
struct Step {
  std::uint8_t state;
  bool capital;
};

constexpr Step step(std::uint8_t state, std::uint8_t traits, WordClass after) {
  const WordClass before = beforeOf(state);
  const WordClass current = wordClassOf(traits);
  bool boundary = true;
  switch (junctionOf(before, current)) {
    case Junction::boundary:
      break;
    case Junction::joined:
      boundary = false;
      break;
    case Junction::joinedWhenAfterIsBefore:
      boundary = after != before;
      break;
    case Junction::joinedWhenBeforeBeforeIsCurrent:
      boundary = beforeBeforeOf(state) != current;
      break;
  }
  const bool awaiting = (state & kAwaitingCapital) != 0 || boundary;
  const bool capital = awaiting && (traits & kTitleCandidate) != 0;
  return {stateOf(current, before, awaiting && !capital), capital};
}

// The steps that need nothing but the state and the traits, as a table by state * kTraitsValues +
// traits: the next state, with kCapitalStep when the code point is a capital. kSpecialStep marks
// what the table leaves to the code: a line feed, what is not simple (surrogates among it, which
// may pair), and a mid whose following code point decides.
constexpr std::uint8_t kStateMask = 0x1F;
constexpr std::size_t kStates = kStateMask + 1;
constexpr std::uint8_t kCapitalStep = 0x20;
constexpr std::uint8_t kSpecialStep = 0x40;

constexpr auto kSteps = [] {
  std::array<std::uint8_t, kStates * kTraitsValues> steps{};
  for (std::size_t state = 0; state < kStates; ++state) {
    for (std::size_t traits = 0; traits < kTraitsValues; ++traits) {
      const auto t = static_cast<std::uint8_t>(traits);
      const auto s = static_cast<std::uint8_t>(state);
      const WordClass current = wordClassOf(t);
      if ((t & kLineFeed) != 0 || current == WordClass::notSimple ||
          junctionOf(beforeOf(s), current) == Junction::joinedWhenAfterIsBefore) {
        steps[state * kTraitsValues + traits] = kSpecialStep;
        continue;
      }
      const Step next = step(s, t, WordClass::other);
      steps[state * kTraitsValues + traits] = next.state | (next.capital ? kCapitalStep : 0);
    }
  }
  return steps;
}();

void checkStatus(UErrorCode status) {
  if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
}

icu::UnicodeSet codePointsWith(UProperty property, int32_t value) {
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeSet set;
  set.applyIntPropertyValue(property, value, status);
  checkStatus(status);
  return set;
}

constexpr std::uint8_t traitsOf(WordClass c) {
  return static_cast<std::uint8_t>(c);
}

// The punctuation that joins the letters or numbers around it. Which of it joins what is asked
// of the iterator, which does not take it over whole (a colon joins no letters there).
bool joinsWhenBetween(int32_t wordBreakValue) {
  return wordBreakValue == U_WB_MIDLETTER || wordBreakValue == U_WB_MIDNUM ||
         wordBreakValue == U_WB_MIDNUMLET || wordBreakValue == U_WB_SINGLE_QUOTE;
}

// The class of a code point by its word-break value: the joining punctuation is probed.
WordClass classOfWordBreak(int32_t value) {
  switch (value) {
    case U_WB_ALETTER:
      return WordClass::letter;
    case U_WB_NUMERIC:
      return WordClass::numeric;
    case U_WB_EXTENDNUMLET:
      return WordClass::extendNumericLetter;
    case U_WB_OTHER:
    case U_WB_CR:
    case U_WB_LF:
    case U_WB_NEWLINE:
    case U_WB_WSEGSPACE:
    case U_WB_DOUBLE_QUOTE:  // joins Hebrew letters only, and those are not simple
      return WordClass::other;
    default:
      return joinsWhenBetween(value) ? WordClass::other : WordClass::notSimple;
  }
}

// The scripts the iterator segments by dictionary. Han and Hiragana join only each other, and
// nothing in them has case, so where the iterator cuts a run of them changes no capital: their
// letters and other characters join nothing here. The rest are not simple.
void classifyDictionaryScripts(CodePointTable<std::uint8_t>& table) {
  for (const UScriptCode script : {USCRIPT_HAN, USCRIPT_HIRAGANA}) {
    table.updateMembers(codePointsWith(UCHAR_SCRIPT, script), [](std::uint8_t traits) {
      const WordClass cls = wordClassOf(traits);
      return traitsOf(cls == WordClass::letter || cls == WordClass::other ? WordClass::other
                                                                          : WordClass::notSimple);
    });
  }
  table.setMembers(codePointsWith(UCHAR_LINE_BREAK, U_LB_COMPLEX_CONTEXT),
                   traitsOf(WordClass::notSimple));
  for (const int32_t syllables : {U_HST_LV_SYLLABLE, U_HST_LVT_SYLLABLE}) {
    table.setMembers(codePointsWith(UCHAR_HANGUL_SYLLABLE_TYPE, syllables),
                     traitsOf(WordClass::notSimple));
  }
}

// The code points that the iterator's rules may name one by one rather than by property, the
// joining punctuation and the blocks of ASCII and its neighbours, as far as their properties make
// them simple.
std::vector<UChar32> probedCodePoints(const CodePointTable<std::uint8_t>& table) {
  icu::UnicodeSet probed;
  for (int32_t value = 0; value <= u_getIntPropertyMaxValue(UCHAR_WORD_BREAK); ++value) {
    if (joinsWhenBetween(value)) probed.addAll(codePointsWith(UCHAR_WORD_BREAK, value));
  }
  for (const UBlockCode block :
       {UBLOCK_BASIC_LATIN, UBLOCK_LATIN_1_SUPPLEMENT, UBLOCK_GENERAL_PUNCTUATION,
        UBLOCK_VERTICAL_FORMS, UBLOCK_SMALL_FORM_VARIANTS, UBLOCK_HALFWIDTH_AND_FULLWIDTH_FORMS}) {
    probed.addAll(codePointsWith(UCHAR_BLOCK, block));
  }
  std::vector<UChar32> simple;
  for (int32_t range = 0; range < probed.getRangeCount(); ++range) {
    for (UChar32 c = probed.getRangeStart(range); c <= probed.getRangeEnd(range); ++c) {
      if (wordClassOf(table[static_cast<char32_t>(c)]) != WordClass::notSimple) simple.push_back(c);
    }
  }
  return simple;
}

// What a probed code point joins when it stands between two letters, two digits or two
// connectors, as bits.
constexpr std::uint8_t kJoinsLetters = 1;
constexpr std::uint8_t kJoinsNumbers = 2;
constexpr std::uint8_t kJoinsConnectors = 4;
constexpr std::uint8_t kJoinsOneSide = 8;  // on one side only, which no simple class does

constexpr std::uint8_t joinsOf(WordClass c) {
  switch (c) {
    case WordClass::letter:
    case WordClass::numeric:
    case WordClass::extendNumericLetter:
      return kJoinsLetters | kJoinsNumbers | kJoinsConnectors;
    case WordClass::midLetter:
      return kJoinsLetters;
    case WordClass::midNumeric:
      return kJoinsNumbers;
    case WordClass::midNumericLetter:
      return kJoinsLetters | kJoinsNumbers;
    default:
      return 0;
  }
}

// Asks the word-break iterator, in one pass over all probes, what each code point joins.
std::vector<std::uint8_t> probedJoins(const std::vector<UChar32>& probed) {
  constexpr char16_t kSides[] = {u'a', u'1', u'_'};
  std::u16string probes;
  std::vector<std::size_t> starts;  // where the probes of each code point start
  for (const UChar32 c : probed) {
    starts.push_back(probes.size());
    const icu::UnicodeString units(c);
    for (const char16_t side : kSides) {
      probes += side;
      probes.append(units.getBuffer(), static_cast<std::size_t>(units.length()));
      probes += side;
      probes += u'\n';
    }
  }
  starts.push_back(probes.size());
  std::vector<bool> boundaries(probes.size() + 1);
  UErrorCode status = U_ZERO_ERROR;
  UBreakIterator* words =
      ubrk_open(UBRK_WORD, "", probes.data(), static_cast<int32_t>(probes.size()), &status);
  checkStatus(status);
  for (int32_t at = ubrk_first(words); at != UBRK_DONE; at = ubrk_next(words)) {
    boundaries[static_cast<std::size_t>(at)] = true;
  }
  ubrk_close(words);

  std::vector<std::uint8_t> joins;
  for (std::size_t index = 0; index + 1 < starts.size(); ++index) {
    const std::size_t probeLength = (starts[index + 1] - starts[index]) / std::size(kSides);
    std::uint8_t joined = 0;
    for (std::size_t side = 0; side < std::size(kSides); ++side) {
      const std::size_t before = starts[index] + side * probeLength + 1;
      const std::size_t after = before + probeLength - 3;
      if (boundaries[before] != boundaries[after]) joined |= kJoinsOneSide;
      if (!boundaries[before]) joined |= static_cast<std::uint8_t>(1u << side);
    }
    joins.push_back(joined);
  }
  return joins;
}

// The class a probed code point gets: a joining punctuation mark the class of what it joins, any
// other code point the class it has when it joins what that class joins, else not simple.
WordClass classOfProbed(WordClass byProperty, bool joinsWhenBetween, std::uint8_t joins) {
  if (joinsWhenBetween) {
    for (const WordClass mid : {WordClass::other, WordClass::midLetter, WordClass::midNumeric,
                                WordClass::midNumericLetter}) {
      if (joinsOf(mid) == joins) return mid;
    }
    return WordClass::notSimple;
  }
  return joinsOf(byProperty) == joins ? byProperty : WordClass::notSimple;
}

void classifyProbed(CodePointTable<std::uint8_t>& table) {
  const std::vector<UChar32> probed = probedCodePoints(table);
  const std::vector<std::uint8_t> joins = probedJoins(probed);
  for (std::size_t index = 0; index < probed.size(); ++index) {
    const UChar32 c = probed[index];
    const auto code = static_cast<char32_t>(c);
    const bool mid = joinsWhenBetween(u_getIntPropertyValue(c, UCHAR_WORD_BREAK));
    const WordClass cls = classOfProbed(wordClassOf(table[code]), mid, joins[index]);
    table.updateRange(code, code, [cls](std::uint8_t traits) {
      return static_cast<std::uint8_t>((traits & ~kWordClassMask) | traitsOf(cls));
    });
  }
}

// The title candidates: letters, numbers, symbols and private-use characters, modifier letters
// only when cased, where title case moves its capital to.
icu::UnicodeSet titleCandidates() {
  constexpr int32_t kCategories =
      (U_GC_L_MASK | U_GC_N_MASK | U_GC_S_MASK | U_GC_CO_MASK) & ~U_GC_LM_MASK;
  icu::UnicodeSet candidates = codePointsWith(UCHAR_GENERAL_CATEGORY_MASK, kCategories);
  icu::UnicodeSet casedModifiers = codePointsWith(UCHAR_GENERAL_CATEGORY_MASK, U_GC_LM_MASK);
  casedModifiers.retainAll(codePointsWith(UCHAR_CASED, 1));
  return candidates.addAll(casedModifiers);
}

CodePointTable<std::uint8_t> buildWordTraits() {
  CodePointTable<std::uint8_t> table(traitsOf(WordClass::notSimple));
  for (int32_t value = 0; value <= u_getIntPropertyMaxValue(UCHAR_WORD_BREAK); ++value) {
    const WordClass cls = classOfWordBreak(value);
    if (cls == WordClass::notSimple) continue;
    table.setMembers(codePointsWith(UCHAR_WORD_BREAK, value),
                     traitsOf(cls) | (value == U_WB_LF ? kLineFeed : 0));
  }
  classifyDictionaryScripts(table);
  table.setMembers(codePointsWith(UCHAR_GENERAL_CATEGORY_MASK, U_GC_CS_MASK),
                   traitsOf(WordClass::notSimple));
  classifyProbed(table);
  const icu::UnicodeSet candidates = titleCandidates();
  table.updateMembers(candidates, [](std::uint8_t traits) {
    return static_cast<std::uint8_t>(traits | kTitleCandidate);
  });
  // Before its capital a word keeps its characters as they are, after it lower-cases them: the
  // two agree for simple characters only when no character but a candidate changes in lower case.
  icu::UnicodeSet loweredNonCandidates = codePointsWith(UCHAR_CHANGES_WHEN_LOWERCASED, 1);
  loweredNonCandidates.removeAll(candidates);
  table.setMembers(loweredNonCandidates, traitsOf(WordClass::notSimple));
  return table;
}

const CodePointTable<std::uint8_t>& wordTraits() {
  static const CodePointTable<std::uint8_t> table = buildWordTraits();
  return table;
}

// The traits of the code point that starts at text[at], and its length in units.
struct CodePointTraits {
  std::uint8_t traits;
  std::uint8_t length;
};

CodePointTraits traitsAt(const CodePointTable<std::uint8_t>& table, std::u16string_view text,
                         std::size_t at) {
  std::size_t next = at;
  UChar32 c;
  U16_NEXT(text.data(), next, text.size(), c);
  return {table[static_cast<char32_t>(c)], static_cast<std::uint8_t>(next - at)};
}

}  // namespace

LineWalk findCapitals(std::u16string_view text, std::size_t begin,
                      std::vector<std::size_t>& capitals) {
  const CodePointTable<std::uint8_t>& table = wordTraits();
  std::uint8_t state = kLineStart;
  for (std::size_t at = begin; at < text.size();) {
    const std::uint8_t entry = kSteps[state * kTraitsValues + table.bmp(text[at])];
    if ((entry & kSpecialStep) == 0) {
      if ((entry & kCapitalStep) != 0) capitals.push_back(at);
      state = entry & kStateMask;
      ++at;
      // The rest of a word whose capital is found: its letters and numbers join it.
      while ((state == kInLetters || state == kInNumbers) && at < text.size()) {
        const WordClass following = wordClassOf(table.bmp(text[at]));
        if (!isWordPart(following)) break;
        state = following == WordClass::letter ? kInLetters : kInNumbers;
        ++at;
      }
      continue;
    }
    const CodePointTraits current = traitsAt(table, text, at);
    if (wordClassOf(current.traits) == WordClass::notSimple) return {at, false};
    const std::size_t next = at + current.length;
    const WordClass after =
        next < text.size() ? wordClassOf(traitsAt(table, text, next).traits) : WordClass::other;
    const Step taken = step(state, current.traits, after);
    if (taken.capital) capitals.push_back(at);
    state = taken.state;
    if ((current.traits & kLineFeed) != 0) return {next, true};
    at = next;
  }
  return {text.size(), true};
}

}  // namespace textrix
