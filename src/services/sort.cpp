// SPDX-License-Identifier: MIT
#include "services/sort.h"

#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/uset.h>
#include <unicode/utf16.h>

#include <array>
#include <bit>
#include <compare>
#include <cstdint>
#include <memory>
#include <new>
#include <numeric>
#include <utility>

#include "text/charsets.h"
#include "text/lines.h"

namespace textrix {
namespace {

std::ptrdiff_t signOf(std::ptrdiff_t order) {
  return (order > 0) - (order < 0);
}

constexpr UChar32 kFirstSupplementary = 0x10000;

// The supplementary code points whose simple case folding differs from them, each with its
// folding, in code point order.
using SupplementaryFolds = std::vector<std::pair<UChar32, UChar32>>;

struct SetCloser {
  void operator()(USet* set) const { uset_close(set); }
};

// Only the code points that change when case folded can fold, and few of them lie outside the
// BMP, so ICU is asked about those alone.
SupplementaryFolds buildSupplementaryFolds() {
  // The property's data is built into ICU: only a lack of memory keeps the set from filling.
  const std::unique_ptr<USet, SetCloser> changing(uset_openEmpty());
  if (!changing) throw std::bad_alloc();
  UErrorCode status = U_ZERO_ERROR;
  uset_applyIntPropertyValue(changing.get(), UCHAR_CHANGES_WHEN_CASEFOLDED, 1, &status);
  if (U_FAILURE(status)) throw std::bad_alloc();
  SupplementaryFolds folds;
  for (std::int32_t item = 0; item < uset_getItemCount(changing.get()); ++item) {
    UChar32 first = 0;
    UChar32 last = 0;
    uset_getItem(changing.get(), item, &first, &last, nullptr, 0, &status);
    for (UChar32 c = std::max<UChar32>(first, kFirstSupplementary); c <= last; ++c) {
      const UChar32 folded = u_foldCase(c, U_FOLD_CASE_DEFAULT);
      if (folded != c) folds.emplace_back(c, folded);
    }
  }
  return folds;
}

// Simple case folding from ICU once: a table for every code unit outside the surrogates and the
// few supplementary code points that fold, so that no unit of a line is a call into ICU.
class CaseFolding {
 public:
  CaseFolding() : supplementary_(buildSupplementaryFolds()) {
    for (std::size_t c = 0; c < units_.size(); ++c) {
      const auto unit = static_cast<char16_t>(c);
      units_[c] = U16_IS_SURROGATE(unit)
                      ? unit
                      : static_cast<char16_t>(u_foldCase(unit, U_FOLD_CASE_DEFAULT));
    }
  }

  // Unit i of the simple case folding of text. Simple folding keeps a code point inside or
  // outside the BMP, so the folding has the units of text in the same places.
  char16_t unitAt(std::u16string_view text, std::size_t i) const {
    const char16_t unit = text[i];
    return U16_IS_SURROGATE(unit) ? surrogateUnitAt(text, i) : units_[unit];
  }

 private:
  // A surrogate of a pair folds with its pair; one without its partner stays as it is.
  char16_t surrogateUnitAt(std::u16string_view text, std::size_t i) const {
    const char16_t unit = text[i];
    if (U16_IS_LEAD(unit) && i + 1 < text.size() && U16_IS_TRAIL(text[i + 1])) {
      return U16_LEAD(supplementaryFolding(U16_GET_SUPPLEMENTARY(unit, text[i + 1])));
    }
    if (U16_IS_TRAIL(unit) && i > 0 && U16_IS_LEAD(text[i - 1])) {
      return U16_TRAIL(supplementaryFolding(U16_GET_SUPPLEMENTARY(text[i - 1], unit)));
    }
    return unit;
  }

  UChar32 supplementaryFolding(UChar32 c) const {
    const auto found = std::lower_bound(
        supplementary_.begin(), supplementary_.end(), c,
        [](const std::pair<UChar32, UChar32>& fold, UChar32 key) { return fold.first < key; });
    return found != supplementary_.end() && found->first == c ? found->second : c;
  }

  CharsTable units_;
  SupplementaryFolds supplementary_;
};

const CaseFolding& caseFolding() {
  static const CaseFolding folding;
  return folding;
}

// The case-insensitive order of a and b from unit from on; the units before it are equal.
std::ptrdiff_t compareFoldedFrom(std::u16string_view a, std::u16string_view b, std::size_t from,
                                 const CaseFolding& folding) {
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = from; i < common; ++i) {
    if (a[i] == b[i] && !U16_IS_SURROGATE(a[i])) continue;
    const char16_t foldedA = folding.unitAt(a, i);
    const char16_t foldedB = folding.unitAt(b, i);
    if (foldedA != foldedB) return foldedA < foldedB ? -1 : 1;
  }
  return signOf(static_cast<std::ptrdiff_t>(a.size()) - static_cast<std::ptrdiff_t>(b.size()));
}

std::ptrdiff_t compareFolded(std::u16string_view a, std::u16string_view b) {
  return compareFoldedFrom(a, b, 0, caseFolding());
}

struct CollatorCloser {
  void operator()(UCollator* collator) const { ucol_close(collator); }
};

// The default locale's collation at secondary strength: accents count, case does not.
const UCollator* localizedCaseInsensitiveCollator() {
  static const std::unique_ptr<UCollator, CollatorCloser> collator = [] {
    UErrorCode status = U_ZERO_ERROR;
    std::unique_ptr<UCollator, CollatorCloser> opened(ucol_open(nullptr, &status));
    // Without a tailoring for the locale ICU falls back to the root collation, so only a lack of
    // memory keeps a collator from opening.
    if (U_FAILURE(status)) throw std::bad_alloc();
    ucol_setStrength(opened.get(), UCOL_SECONDARY);
    return opened;
  }();
  return collator.get();
}

std::ptrdiff_t lengthDifference(std::u16string_view a, std::u16string_view b) {
  return static_cast<std::ptrdiff_t>(a.size()) - static_cast<std::ptrdiff_t>(b.size());
}

// The components of path standardized lexically; a leading "/" is a component of its own.
std::vector<std::u16string_view> standardizedComponents(std::u16string_view path) {
  std::vector<std::u16string_view> components;
  if (path.starts_with(u'/')) components.push_back(path.substr(0, 1));
  while (!path.empty()) {
    const std::size_t slash = std::min(path.find(u'/'), path.size());
    const std::u16string_view component = path.substr(0, slash);
    path.remove_prefix(std::min(slash + 1, path.size()));
    if (component.empty() || component == u".") continue;
    const bool parent = component == u"..";
    if (parent && !components.empty() && components.back() != u"..") {
      if (components.back() != u"/") components.pop_back();  // the root is its own parent
      continue;
    }
    components.push_back(component);
  }
  return components;
}

// Sorting by case folding a few units at a time, most significant first (an MSD radix sort): every
// line gets a rank, the folded units from a depth on and how many units it has left, packed so that
// comparing ranks orders lines that are equal before the depth. Lines are distributed by the bytes
// of their ranks, the highest first, or split around the rank most of them share; lines whose
// ranks are equal and go on past them get their ranks from the next depth and are distributed
// again. A group of a few lines is sorted by comparing ranks, then, where they tie, their
// foldings. Ranks are computed once per line and depth, so distributing reads no text; only
// computing ranks past the first depth and comparing foldings read lines all over the text.
//
// A rank holds kRankUnits units, the first in the highest bits, then the number of units left from
// the depth, at most kRankUnits + 1. Past the end of a line the units are zeros, which the number
// left then tells apart from U+0000: a line that ends first is a prefix of the others and goes
// first, and lines that go on past the rank go last, all together; only they are left for the
// next depth. A descending sort complements the ranks, which reverses their order and nothing else.
constexpr std::size_t kUnitsPerWord = 4;
constexpr std::size_t kRankUnits = 2 * kUnitsPerWord - 1;
constexpr int kUnitBits = 16;
constexpr std::size_t kGoesOn = kRankUnits + 1;
constexpr std::uint64_t kUnitsLeftMask = 0xFFFF;
constexpr int kRankBytes = 16;

struct Rank {
  std::uint64_t high;
  std::uint64_t low;

  // Byte b of the rank, 0 the lowest.
  std::size_t byte(int b) const {
    const std::uint64_t word = b < kRankBytes / 2 ? low : high;
    return static_cast<std::size_t>(word >> (8 * (b % (kRankBytes / 2))) & 0xFF);
  }
  auto operator<=>(const Rank&) const = default;
};

// count units of the folding of line from at, packed, the first in the highest bits; zeros past
// the end of the line.
std::uint64_t packedUnits(std::u16string_view line, std::size_t at, std::size_t count,
                          const CaseFolding& folding) {
  std::uint64_t units = 0;
  for (std::size_t i = at; i < at + count; ++i) {
    units = units << kUnitBits | (i < line.size() ? folding.unitAt(line, i) : 0);
  }
  return units;
}

Rank rankOf(std::u16string_view line, std::size_t depth, const CaseFolding& folding) {
  constexpr std::size_t kLowUnits = kRankUnits - kUnitsPerWord;
  return {packedUnits(line, depth, kUnitsPerWord, folding),
          packedUnits(line, depth + kUnitsPerWord, kLowUnits, folding) << kUnitBits |
              std::min(line.size() - depth, kGoesOn)};
}

// A line with its rank at the depth its group is being sorted at.
struct RankedLine {
  Rank rank;
  const char16_t* start;
  std::size_t length;

  std::u16string_view line() const { return {start, length}; }
};

// How a sort orders: the complement of ranks for descending, and of comparisons of foldings.
struct SortDirection {
  bool descending;

  Rank ranked(Rank rank) const { return descending ? Rank{~rank.high, ~rank.low} : rank; }
  bool goesOn(Rank rank) const { return (ranked(rank).low & kUnitsLeftMask) == kGoesOn; }
  bool before(std::u16string_view a, std::u16string_view b, std::size_t depth,
              const CaseFolding& folding) const {
    return descending ? compareFoldedFrom(b, a, depth, folding) < 0
                      : compareFoldedFrom(a, b, depth, folding) < 0;
  }
};

// Past the first depth, and when the result is put together, the lines are read in the order of
// their ranks, all over the text: asking for a line some lines ahead hides most of the wait for
// memory.
constexpr std::ptrdiff_t kPrefetchDistance = 16;

void rankFrom(RankedLine* first, RankedLine* last, std::size_t depth, SortDirection direction,
              const CaseFolding& folding) {
  for (RankedLine* line = first; line != last; ++line) {
    if (last - line > kPrefetchDistance) __builtin_prefetch(line[kPrefetchDistance].start + depth);
    line->rank = direction.ranked(rankOf(line->line(), depth, folding));
  }
}

// Lines that are equal before depth, with their ranks from depth, in the lines being sorted or in
// the sort's buffer.
struct Group {
  RankedLine* first;
  RankedLine* last;
  std::size_t depth;
  bool inBuffer = false;
};

// The lines being sorted and a buffer as long. Distributing a group moves its lines to the same
// places in the other one, where its parts go on being sorted, and a group sorted in the buffer is
// moved back: each distribution moves a line once.
class SortSpace {
 public:
  explicit SortSpace(std::vector<RankedLine>& lines)
      : lines_(lines.data()), buffer_(std::make_unique_for_overwrite<RankedLine[]>(lines.size())) {}

  // Where the lines from first go in the other one of lines and buffer.
  RankedLine* mirror(const RankedLine* first, bool inBuffer) const {
    return inBuffer ? lines_ + (first - buffer_.get()) : buffer_.get() + (first - lines_);
  }
  // Moves sorted lines that are in the buffer to their places in the lines.
  void settle(const RankedLine* first, const RankedLine* last, bool inBuffer) const {
    if (inBuffer) std::copy(first, last, mirror(first, inBuffer));
  }
  void settle(const Group& group) const { settle(group.first, group.last, group.inBuffer); }

 private:
  RankedLine* lines_;
  std::unique_ptr<RankedLine[]> buffer_;
};

// Sorts in place, stably, by a predicate that tells whether a line goes before another
// (insertion sort, for a few lines).
template <class Before>
void insertionSort(RankedLine* first, RankedLine* last, Before before) {
  for (RankedLine* next = first; next != last; ++next) {
    const RankedLine line = *next;
    RankedLine* hole = next;
    for (; hole != first && before(line, hole[-1]); --hole) *hole = hole[-1];
    *hole = line;
  }
}

// Sorts a few lines by rank, and lines whose ranks tie and go on by their foldings.
void sortFewLines(const Group& group, SortDirection direction, const CaseFolding& folding) {
  insertionSort(group.first, group.last,
                [](const RankedLine& a, const RankedLine& b) { return a.rank < b.rank; });
  const std::size_t depth = group.depth + kRankUnits;
  for (RankedLine* tied = group.first; tied != group.last;) {
    RankedLine* next = tied + 1;
    while (next != group.last && next->rank == tied->rank) ++next;
    if (next - tied > 1 && direction.goesOn(tied->rank)) {
      insertionSort(tied, next, [&](const RankedLine& a, const RankedLine& b) {
        return direction.before(a.line(), b.line(), depth, folding);
      });
    }
    tied = next;
  }
}

// How the ranks of a group's lines spread around the rank of its first line: the highest byte in
// which a rank differs from it (-1 when none does; the bytes above need no distributing), and how
// many ranks equal it.
struct RankSpread {
  int byte = -1;
  std::size_t equal = 0;
};

RankSpread spreadOf(const Group& group) {
  const Rank& pivot = group.first->rank;
  std::uint64_t high = 0;
  std::uint64_t low = 0;
  RankSpread spread;
  for (const RankedLine* line = group.first; line != group.last; ++line) {
    const std::uint64_t highDifference = line->rank.high ^ pivot.high;
    const std::uint64_t lowDifference = line->rank.low ^ pivot.low;
    high |= highDifference;
    low |= lowDifference;
    spread.equal += (highDifference | lowDifference) == 0;
  }
  constexpr int kHighestBit = 63;
  if (high != 0) {
    spread.byte = kRankBytes / 2 + (kHighestBit - std::countl_zero(high)) / 8;
  } else if (low != 0) {
    spread.byte = (kHighestBit - std::countl_zero(low)) / 8;
  }
  return spread;
}

// Adds the parts of a distributed group, each of count lines from first, to groups, and settles
// the parts of one line, which are sorted.
void addParts(RankedLine* first, const std::size_t* counts, std::size_t parts, const Group& group,
              const SortSpace& space, std::vector<Group>& groups) {
  const bool inBuffer = !group.inBuffer;
  for (std::size_t part = 0; part < parts; first += counts[part], ++part) {
    if (counts[part] > 1) {
      groups.push_back({first, first + counts[part], group.depth, inBuffer});
    } else {
      space.settle(first, first + counts[part], inBuffer);
    }
  }
}

// Puts the lines of group whose ranks are lower than its first line's first, then the equal
// lines (equal of them), then the higher ones, each part in its order, into the other space, and
// adds the parts to groups. Where most lines share the first line's rank, as when lines share long
// beginnings, this moves each line once where distributing by bytes would move them all for every
// byte in which a few differ.
void splitAroundFirst(const Group& group, std::size_t equal, const SortSpace& space,
                      std::vector<Group>& groups) {
  const Rank pivot = group.first->rank;
  const auto lower = static_cast<std::size_t>(std::count_if(
      group.first, group.last, [&](const RankedLine& line) { return line.rank < pivot; }));
  const std::size_t counts[3] = {
      lower, equal, static_cast<std::size_t>(group.last - group.first) - lower - equal};
  RankedLine* const to = space.mirror(group.first, group.inBuffer);
  std::size_t next[3] = {0, lower, lower + equal};
  for (const RankedLine* line = group.first; line != group.last; ++line) {
    const std::size_t part = line->rank < pivot ? 0 : line->rank == pivot ? 1 : 2;
    to[next[part]++] = *line;
  }
  addParts(to, counts, 3, group, space, groups);
}

// Distributes the lines of group by byte of their ranks, stably, into the other space, and adds the
// runs of lines that share it to groups.
void distributeByByte(const Group& group, int byte, const SortSpace& space,
                      std::vector<Group>& groups) {
  constexpr std::size_t kByteValues = 256;
  std::array<std::size_t, kByteValues> counts{};
  for (const RankedLine* line = group.first; line != group.last; ++line) {
    ++counts[line->rank.byte(byte)];
  }
  std::array<std::size_t, kByteValues> next;
  std::exclusive_scan(counts.begin(), counts.end(), next.begin(), std::size_t{0});
  RankedLine* const to = space.mirror(group.first, group.inBuffer);
  for (const RankedLine* line = group.first; line != group.last; ++line) {
    to[next[line->rank.byte(byte)]++] = *line;
  }
  addParts(to, counts.data(), kByteValues, group, space, groups);
}

// Up to this many lines a group is sorted by comparisons rather than distributed.
constexpr std::size_t kFewLines = 16;

// Room for lines of this many units on average is reserved up front: it costs only address space,
// as memory is touched only where lines are stored, and texts of longer lines never move theirs.
constexpr std::size_t kReservedLineUnits = 32;

// The lines of text in the order of their foldings, ascending or descending. Every step keeps the
// order of lines it does not tell apart, so lines whose foldings are equal keep their order in the
// text, in both directions.
std::vector<RankedLine> sortedCaseInsensitively(std::u16string_view text, bool descending) {
  const CaseFolding& folding = caseFolding();
  const SortDirection direction{descending};
  std::vector<RankedLine> lines;
  lines.reserve(text.size() / kReservedLineUnits);
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start);
    const std::u16string_view line = text.substr(start, end - start);
    lines.push_back({direction.ranked(rankOf(line, 0, folding)), line.data(), line.size()});
  }
  const SortSpace space(lines);
  std::vector<Group> groups = {{lines.data(), lines.data() + lines.size(), 0}};
  while (!groups.empty()) {
    const Group group = groups.back();
    groups.pop_back();
    const auto size = static_cast<std::size_t>(group.last - group.first);
    if (size <= kFewLines) {
      sortFewLines(group, direction, folding);
      space.settle(group);
      continue;
    }
    const RankSpread spread = spreadOf(group);
    if (spread.equal == size && direction.goesOn(group.first->rank)) {
      // Equal ranks that go on: the lines are ranked from the next depth.
      const std::size_t depth = group.depth + kRankUnits;
      rankFrom(group.first, group.last, depth, direction, folding);
      groups.push_back({group.first, group.last, depth, group.inBuffer});
    } else if (spread.equal == size) {
      space.settle(group);  // equal lines, in their order
    } else if (spread.equal * 2 > size) {
      splitAroundFirst(group, spread.equal, space, groups);
    } else {
      distributeByByte(group, spread.byte, space, groups);
    }
  }
  return lines;
}

std::vector<std::u16string_view> sortedBy(std::u16string_view text, StringComparator compare) {
  std::vector<std::u16string_view> sorted = lines(text);
  std::stable_sort(
      sorted.begin(), sorted.end(),
      [compare](std::u16string_view a, std::u16string_view b) { return compare(a, b) < 0; });
  return sorted;
}

std::u16string_view lineOf(std::u16string_view line) {
  return line;
}

std::u16string_view lineOf(const RankedLine& line) {
  return line.line();
}

// Both ends of a line: its units are copied, and its terminator looked at.
void prefetchLine(std::u16string_view line) {
  __builtin_prefetch(line.data());
  __builtin_prefetch(line.data() + line.size() - 1);
}

// text with its lines in the order of sorted, each without its terminator and followed by the
// terminator of the line of text in its place.
template <class SortedLines>
std::u16string joinedInOrder(std::u16string_view text, const SortedLines& sorted) {
  std::u16string result;
  result.reserve(text.size());
  std::size_t start = 0;
  for (auto line = sorted.begin(); line != sorted.end(); ++line) {
    if (sorted.end() - line > kPrefetchDistance) prefetchLine(lineOf(line[kPrefetchDistance]));
    const std::u16string_view moved = lineOf(*line);
    const std::size_t end = lineEnd(text, start);
    result.append(moved);
    result.resize(result.size() - feedOfLine(moved).size());
    result.append(feedOfLine(text.substr(start, end - start)));
    start = end;
  }
  return result;
}

}  // namespace

std::ptrdiff_t sortAscending(std::u16string_view receiver, std::u16string_view other) {
  return signOf(receiver.compare(other));
}

std::ptrdiff_t sortDescending(std::u16string_view receiver, std::u16string_view other) {
  return -sortAscending(receiver, other);
}

std::ptrdiff_t sortCaseInsensitiveAscending(std::u16string_view receiver,
                                            std::u16string_view other) {
  return compareFolded(receiver, other);
}

std::ptrdiff_t sortCaseInsensitiveDescending(std::u16string_view receiver,
                                             std::u16string_view other) {
  return -compareFolded(receiver, other);
}

std::ptrdiff_t sortLocalizedCaseInsensitiveAscending(std::u16string_view receiver,
                                                     std::u16string_view other) {
  return ucol_strcoll(localizedCaseInsensitiveCollator(), receiver.data(),
                      static_cast<std::int32_t>(receiver.size()), other.data(),
                      static_cast<std::int32_t>(other.size()));
}

std::ptrdiff_t sortLocalizedCaseInsensitiveDescending(std::u16string_view receiver,
                                                      std::u16string_view other) {
  return -sortLocalizedCaseInsensitiveAscending(receiver, other);
}

std::ptrdiff_t sortAscendingByLength(std::u16string_view receiver, std::u16string_view other) {
  if (receiver.size() != other.size()) return lengthDifference(receiver, other);
  return compareFolded(receiver, other);
}

std::ptrdiff_t sortDescendingByLength(std::u16string_view receiver, std::u16string_view other) {
  if (receiver.size() != other.size()) return lengthDifference(other, receiver);
  return compareFolded(receiver, other);
}

std::ptrdiff_t comparePaths(std::u16string_view receiver, std::u16string_view other) {
  const std::vector<std::u16string_view> mine = standardizedComponents(receiver);
  const std::vector<std::u16string_view> theirs = standardizedComponents(other);
  if (mine.size() != theirs.size()) return mine.size() < theirs.size() ? -1 : 1;
  for (std::size_t i = 0; i < mine.size(); ++i) {
    if (const std::ptrdiff_t order = compareFolded(mine[i], theirs[i]); order != 0) return order;
  }
  return 0;
}

std::u16string sortLines(std::u16string_view text, StringComparator compare) {
  // The services' two orders sort by the foldings a few units at a time, in the same order as
  // their comparators.
  if (compare == sortCaseInsensitiveAscending || compare == sortCaseInsensitiveDescending) {
    return joinedInOrder(text,
                         sortedCaseInsensitively(text, compare == sortCaseInsensitiveDescending));
  }
  return joinedInOrder(text, sortedBy(text, compare));
}

}  // namespace textrix
