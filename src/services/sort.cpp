#include "services/sort.h"

#include <unicode/uchar.h>
#include <unicode/ucol.h>
#include <unicode/utf16.h>

#include <array>
#include <compare>
#include <cstdint>
#include <memory>
#include <new>

#include "text/charsets.h"
#include "text/lines.h"

namespace textrix {
namespace {

std::ptrdiff_t signOf(std::ptrdiff_t order) {
  return (order > 0) - (order < 0);
}

// Simple case folding of every code unit outside the surrogates, from ICU once; a surrogate maps
// to itself here, as a pair folds as one code point.
CharsTable buildFoldTable() {
  CharsTable table;
  for (std::size_t c = 0; c < table.size(); ++c) {
    const auto unit = static_cast<char16_t>(c);
    table[c] = U16_IS_SURROGATE(unit)
                   ? unit
                   : static_cast<char16_t>(u_foldCase(unit, U_FOLD_CASE_DEFAULT));
  }
  return table;
}

const CharsTable& foldTable() {
  static const CharsTable table = buildFoldTable();
  return table;
}

// Unit i of the simple case folding of text. Simple folding keeps a code point inside or outside
// the BMP, so the folding has the units of text in the same places.
char16_t foldedUnitAt(std::u16string_view text, std::size_t i, const CharsTable& fold) {
  const char16_t unit = text[i];
  if (!U16_IS_SURROGATE(unit)) return fold[unit];
  if (U16_IS_LEAD(unit) && i + 1 < text.size() && U16_IS_TRAIL(text[i + 1])) {
    return U16_LEAD(u_foldCase(U16_GET_SUPPLEMENTARY(unit, text[i + 1]), U_FOLD_CASE_DEFAULT));
  }
  if (U16_IS_TRAIL(unit) && i > 0 && U16_IS_LEAD(text[i - 1])) {
    return U16_TRAIL(u_foldCase(U16_GET_SUPPLEMENTARY(text[i - 1], unit), U_FOLD_CASE_DEFAULT));
  }
  return unit;
}

std::ptrdiff_t compareFolded(std::u16string_view a, std::u16string_view b) {
  const CharsTable& fold = foldTable();
  const std::size_t common = std::min(a.size(), b.size());
  for (std::size_t i = 0; i < common; ++i) {
    if (a[i] == b[i] && !U16_IS_SURROGATE(a[i])) continue;
    const char16_t foldedA = foldedUnitAt(a, i, fold);
    const char16_t foldedB = foldedUnitAt(b, i, fold);
    if (foldedA != foldedB) return foldedA < foldedB ? -1 : 1;
  }
  return signOf(static_cast<std::ptrdiff_t>(a.size()) - static_cast<std::ptrdiff_t>(b.size()));
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

// Sorting by case folding digit by digit, most significant first: a digit is eight units of the
// folding, packed into two words so that comparing words orders the units, the first unit in the
// highest bits. Lines are sorted by their first digit; lines whose first digits are equal are
// sorted by their next digit; and so on. Each line's digit is computed once per round, so the
// comparisons read no text, and a round reads each line it still has to place once.
constexpr std::size_t kUnitsPerWord = 4;
constexpr std::size_t kDigitWords = 2;
constexpr std::size_t kDigitUnits = kUnitsPerWord * kDigitWords;
using FoldedDigit = std::array<std::uint64_t, kDigitWords>;

// A line of the text being sorted, with its digit of the current round.
struct FoldedLine {
  FoldedDigit digit;
  std::size_t start;
  std::size_t length;
};

// The units from depth of the folding of line; past the end of the line the units are zeros, which
// the lengths then tell apart (see rank).
FoldedDigit foldedDigit(std::u16string_view line, std::size_t depth, const CharsTable& fold) {
  FoldedDigit digit{};
  for (std::size_t i = 0; i < kDigitUnits; ++i) {
    std::uint64_t& word = digit[i / kUnitsPerWord];
    const std::size_t at = depth + i;
    word = word << 16 | (at < line.size() ? foldedUnitAt(line, at, fold) : 0);
  }
  return digit;
}

// Where a line with this digit goes among lines equal to it before depth: by the digit, then
// the line that ends first (a proper prefix of the others), and lines that go on past the digit
// last, all together; only they are left for the next round.
struct Rank {
  FoldedDigit digit;
  std::size_t unitsLeft;  // at most kDigitUnits + 1

  auto operator<=>(const Rank&) const = default;
};

Rank rank(const FoldedLine& line, std::size_t depth) {
  return {line.digit, std::min(line.length - depth, kDigitUnits + 1)};
}

// After the first round, and when the result is put together, the lines are read in sorted order,
// all over the text: asking for a line some lines ahead hides most of the wait for memory.
constexpr std::ptrdiff_t kPrefetchDistance = 8;

void prefetchLine(std::u16string_view text, const FoldedLine& line, std::size_t depth) {
  __builtin_prefetch(text.data() + line.start + std::min(depth, line.length));
}

struct Round {
  std::size_t begin;
  std::size_t end;
  std::size_t depth;
};

// Stable: lines whose foldings are equal keep their order, in both directions.
std::vector<std::u16string_view> sortedCaseInsensitively(std::u16string_view text,
                                                         bool descending) {
  const CharsTable& fold = foldTable();
  std::vector<FoldedLine> lines;
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start);
    lines.push_back({{}, start, end - start});
  }
  std::vector<Round> rounds = {{0, lines.size(), 0}};
  while (!rounds.empty()) {
    const Round round = rounds.back();
    rounds.pop_back();
    const auto first = lines.begin() + static_cast<std::ptrdiff_t>(round.begin);
    const auto last = lines.begin() + static_cast<std::ptrdiff_t>(round.end);
    for (auto line = first; line != last; ++line) {
      if (last - line > kPrefetchDistance) prefetchLine(text, line[kPrefetchDistance], round.depth);
      line->digit = foldedDigit(text.substr(line->start, line->length), round.depth, fold);
    }
    const auto before = [&](const FoldedLine& a, const FoldedLine& b) {
      return descending ? rank(b, round.depth) < rank(a, round.depth)
                        : rank(a, round.depth) < rank(b, round.depth);
    };
    // Many equal lines share every digit: their rounds then cost a pass, not a sort.
    if (!std::is_sorted(first, last, before)) std::stable_sort(first, last, before);
    for (auto group = first; group != last;) {
      const Rank groupRank = rank(*group, round.depth);
      auto next = group + 1;
      while (next != last && rank(*next, round.depth) == groupRank) ++next;
      if (next - group > 1 && groupRank.unitsLeft > kDigitUnits) {
        rounds.push_back({static_cast<std::size_t>(group - lines.begin()),
                          static_cast<std::size_t>(next - lines.begin()),
                          round.depth + kDigitUnits});
      }
      group = next;
    }
  }
  std::vector<std::u16string_view> sorted;
  sorted.reserve(lines.size());
  for (const FoldedLine& line : lines) sorted.push_back(text.substr(line.start, line.length));
  return sorted;
}

std::vector<std::u16string_view> sortedBy(std::u16string_view text, StringComparator compare) {
  std::vector<std::u16string_view> sorted = lines(text);
  std::stable_sort(
      sorted.begin(), sorted.end(),
      [compare](std::u16string_view a, std::u16string_view b) { return compare(a, b) < 0; });
  return sorted;
}

std::u16string_view withoutTerminator(std::u16string_view line) {
  return line.substr(0, line.size() - feedOfLine(line).size());
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
  // The services' two orders sort digit by digit, in the same order as their comparators.
  const bool caseInsensitive =
      compare == sortCaseInsensitiveAscending || compare == sortCaseInsensitiveDescending;
  const std::vector<std::u16string_view> sorted =
      caseInsensitive ? sortedCaseInsensitively(text, compare == sortCaseInsensitiveDescending)
                      : sortedBy(text, compare);
  std::u16string result;
  result.reserve(text.size());
  std::size_t start = 0;
  for (auto line = sorted.begin(); line != sorted.end(); ++line) {
    if (sorted.end() - line > kPrefetchDistance) __builtin_prefetch(line[kPrefetchDistance].data());
    const std::size_t end = lineEnd(text, start);
    result.append(withoutTerminator(*line));
    result.append(feedOfLine(text.substr(start, end - start)));
    start = end;
  }
  return result;
}

}  // namespace textrix
