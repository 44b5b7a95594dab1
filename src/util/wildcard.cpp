// SPDX-License-Identifier: MIT
#include "util/wildcard.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdint>
#include <memory>
#include <new>
#include <utility>

#include "util/words.h"

namespace textrix {

using namespace std::literals;

namespace {

constexpr char16_t kAnyRun = u'*';
constexpr char16_t kAnyUnit = u'?';
constexpr char16_t kClassOpen = u'[';
constexpr char16_t kClassClose = u']';
constexpr char16_t kClassNegation = u'^';
constexpr char16_t kClassRange = u'-';
constexpr char16_t kClassSeparator = u'|';

// Units that wildcard patterns are made of; splitting text into words must not cut at them.
constexpr std::u16string_view kPatternUnits = u"*?[]"sv;

enum class Dialect { plain, withClasses };

// Patterns and position sets this long are matched without touching the heap.
constexpr std::size_t kInlineUnits = 256;
constexpr std::size_t kInlineWords = 8;

// Room for count elements: inside the object up to kInline of them, on the heap beyond. data() is
// null when the heap refuses.
template <class T, std::size_t kInline>
class SmallBuffer {
 public:
  explicit SmallBuffer(std::size_t count) : count_(count) {
    if (count > kInline) heap_.reset(new (std::nothrow) T[count]);
  }
  T* data() { return count_ > kInline ? heap_.get() : inline_.data(); }

 private:
  std::size_t count_;
  std::array<T, kInline> inline_;
  std::unique_ptr<T[]> heap_;
};

struct ExactUnits {
  char16_t operator()(char16_t c) const { return c; }
};

struct TableUnits {
  const CharsTable& table;
  char16_t operator()(char16_t c) const { return table[c]; }
};

// Where a pattern element sends the match once it has taken a unit: a pattern position, the
// pattern's end meaning "only if the string ends here too", or kRefused.
constexpr std::size_t kRefused = SIZE_MAX;

struct MemberScan {
  bool matched;
  std::size_t at;  // the matching member (a range's upper bound), else the closing "]" or the end
};

// Tries the members of a class from q on against unit; the first that matches wins.
MemberScan scanMembers(std::u16string_view pattern, std::size_t q, char16_t unit) {
  while (q < pattern.size()) {
    const char16_t member = pattern[q];
    if (member == kClassClose) return {false, q};
    if (member == kClassRange) {
      if (q + 1 == pattern.size()) break;
      // The lower bound is whatever precedes the "-", even the "[" or "^" that opened the class.
      if (pattern[q - 1] <= unit && unit <= pattern[q + 1]) return {true, q + 1};
      q += 2;  // the upper bound is not a member by itself, not even when it is "]"
      continue;
    }
    if (member != kClassSeparator && member == unit) return {true, q};
    ++q;
  }
  return {false, pattern.size()};
}

// The class that opens at open, applied to unit. After a matching member the pattern goes on
// behind the next "]" from that member on, which for a range may be its upper bound; a negated
// class that matched nothing goes on behind the "]" that closed it. Either way a class the
// pattern leaves open is accepted at the end of the string.
std::size_t positionAfterClass(std::u16string_view pattern, std::size_t open, char16_t unit) {
  const std::size_t end = pattern.size();
  std::size_t first = open + 1;
  if (first == end) return kRefused;
  const bool negated = pattern[first] == kClassNegation;
  if (negated) ++first;
  if (first == end) return end;
  const MemberScan scan = scanMembers(pattern, first, unit);
  if (scan.matched == negated) return kRefused;
  const std::size_t close = scan.matched ? pattern.find(kClassClose, scan.at) : scan.at;
  return close >= end ? end : close + 1;
}

// The element at p, which is not "*", applied to unit.
template <Dialect dialect>
std::size_t positionAfterElement(std::u16string_view pattern, std::size_t p, char16_t unit) {
  const char16_t element = pattern[p];
  if (element == kAnyUnit) return p + 1;
  if (dialect == Dialect::withClasses && element == kClassOpen) {
    return positionAfterClass(pattern, p, unit);
  }
  return element == unit ? p + 1 : kRefused;
}

// A set of pattern positions, one bit each, over storage that the caller owns.
class PositionSet {
 public:
  PositionSet(std::uint64_t* words, std::size_t wordCount) : words_(words), count_(wordCount) {}

  void clear() { std::fill_n(words_, count_, 0); }
  void add(std::size_t p) { words_[p / 64] |= bitOf(p); }
  bool contains(std::size_t p) const { return (words_[p / 64] & bitOf(p)) != 0; }
  bool empty() const {
    return std::all_of(words_, words_ + count_, [](std::uint64_t w) { return w == 0; });
  }

  // visit(p) for each member in increasing order.
  template <class Visit>
  void forEach(Visit&& visit) const {
    for (std::size_t w = 0; w < count_; ++w) {
      for (std::uint64_t bits = words_[w]; bits != 0; bits &= bits - 1) {
        visit(w * 64 + std::countr_zero(bits));
      }
    }
  }

  // A "*" may match the empty run, so a match standing before one also stands behind it. In
  // increasing order, a chain of stars is followed to its end in one pass.
  void addPositionsBehindStars(std::u16string_view pattern) {
    for (std::size_t w = 0; w < count_; ++w) {
      for (std::uint64_t pending = words_[w]; pending != 0; pending &= pending - 1) {
        const std::size_t p = w * 64 + std::countr_zero(pending);
        if (p >= pattern.size() || pattern[p] != kAnyRun) continue;
        add(p + 1);
        if ((p + 1) / 64 == w) pending |= bitOf(p + 1);
      }
    }
  }

 private:
  static std::uint64_t bitOf(std::size_t p) { return std::uint64_t{1} << (p % 64); }

  std::uint64_t* words_;
  std::size_t count_;
};

// Follows every way the pattern can take through the string at once, one string unit at a time:
// the positions reached in the pattern form a set, so each unit costs at most one step per
// pattern position, where trying each split of each "*" in turn could take exponential time. The
// answer is the same: a match exists exactly when the pattern's end is reached with the string's.
template <Dialect dialect, class MapUnit>
bool matches(std::u16string_view string, std::u16string_view pattern, MapUnit mapUnit) {
  const std::size_t end = pattern.size();
  const std::size_t words = end / 64 + 1;
  SmallBuffer<std::uint64_t, 2 * kInlineWords> storage(2 * words);
  if (!storage.data()) return false;
  PositionSet current(storage.data(), words);
  PositionSet next(storage.data() + words, words);
  current.clear();
  current.add(0);
  current.addPositionsBehindStars(pattern);
  // Once a final "*" is reached, whatever is left of the string matches it.
  const bool endsWithRun = end > 0 && pattern[end - 1] == kAnyRun;
  for (char16_t stringUnit : string) {
    if (endsWithRun && current.contains(end - 1)) return true;
    const char16_t unit = mapUnit(stringUnit);
    next.clear();
    current.forEach([&](std::size_t p) {
      if (p == end) return;
      if (pattern[p] == kAnyRun) {
        next.add(p);
        return;
      }
      const std::size_t after = positionAfterElement<dialect>(pattern, p, unit);
      if (after != kRefused) next.add(after);
    });
    next.addPositionsBehindStars(pattern);
    if (next.empty()) return false;
    std::swap(current, next);
  }
  return current.contains(end);
}

// Both sides compared in upper case: the pattern mapped once, the string unit by unit.
template <Dialect dialect>
bool matchesInUpperCase(std::u16string_view string, std::u16string_view pattern) {
  const CharsTable& upper = upperCharsTable();
  SmallBuffer<char16_t, kInlineUnits> units(pattern.size());
  if (!units.data()) return false;
  std::transform(pattern.begin(), pattern.end(), units.data(),
                 [&upper](char16_t c) { return upper[c]; });
  return matches<dialect>(string, {units.data(), pattern.size()}, TableUnits{upper});
}

template <Dialect dialect>
bool isLike(std::u16string_view string, std::u16string_view pattern, bool caseInsensitive) {
  if (string.empty() || pattern.empty()) return false;
  if (pattern == u"*"sv) return true;
  return caseInsensitive ? matchesInUpperCase<dialect>(string, pattern)
                         : matches<dialect>(string, pattern, ExactUnits{});
}

CharacterSetRep makeWildcardSeparators() {
  CharacterSetRep rep = *defaultWordSeparators();
  for (char16_t c : kPatternUnits) rep.remove(c);
  return rep;
}

}  // namespace

bool stringMatchesWildcard(std::u16string_view string, std::u16string_view pattern) {
  return matches<Dialect::plain>(string, pattern, ExactUnits{});
}

bool stringMatchesWildcardUsingUnicharTable(std::u16string_view string, std::u16string_view pattern,
                                            const CharsTable& table) {
  return matches<Dialect::plain>(string, pattern, TableUnits{table});
}

bool stringMatchesUnixWildcard(std::u16string_view string, std::u16string_view pattern) {
  return matches<Dialect::withClasses>(string, pattern, ExactUnits{});
}

bool stringMatchesUnixWildcardUsingUnicharTable(std::u16string_view string,
                                                std::u16string_view pattern,
                                                const CharsTable& table) {
  return matches<Dialect::withClasses>(string, pattern, TableUnits{table});
}

bool isLikeWildcard(std::u16string_view string, std::u16string_view pattern) {
  return isLike<Dialect::plain>(string, pattern, false);
}

bool isCaseInsensitiveLikeWildcard(std::u16string_view string, std::u16string_view pattern) {
  return isLike<Dialect::plain>(string, pattern, true);
}

bool isLikeUnixWildcard(std::u16string_view string, std::u16string_view pattern) {
  return isLike<Dialect::withClasses>(string, pattern, false);
}

bool isCaseInsensitiveLikeUnixWildcard(std::u16string_view string, std::u16string_view pattern) {
  return isLike<Dialect::withClasses>(string, pattern, true);
}

const CharacterSetRep* defaultWildcardSeparators() {
  static const CharacterSetRep rep = makeWildcardSeparators();
  return &rep;
}

std::optional<std::vector<std::u16string_view>> wordsUsingWildcardSeparation(
    std::u16string_view text, bool* separatedByHyphens) {
  return wordsUsingSeparators(text, defaultWildcardSeparators(), false, 1, true,
                              separatedByHyphens);
}

}  // namespace textrix
