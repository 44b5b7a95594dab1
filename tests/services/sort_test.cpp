// SPDX-License-Identifier: MIT
#include "services/sort.h"

#include <gtest/gtest.h>
#include <unicode/uchar.h>
#include <unicode/uloc.h>
#include <unicode/utf16.h>

#include <random>
#include <string>
#include <vector>

#include "services/sort_reference.h"
#include "text/lines.h"

namespace textrix {
namespace {

TEST(SortLines, MovesTheLinesAndLeavesTheLineEndsInPlace) {
  struct Case {
    std::u16string_view text;
    StringComparator compare;
    std::u16string_view expected;
  };
  const Case cases[] = {
      {u"b\na", sortCaseInsensitiveAscending, u"a\nb"},
      {u"B\r\na\n", sortCaseInsensitiveAscending, u"a\r\nB\n"},
      {u"c\r\nb\u2028a\uFFFC", sortCaseInsensitiveAscending, u"a\r\nb\u2028c\uFFFC"},
      {u"apple\nBanana\ncherry", sortCaseInsensitiveAscending, u"apple\nBanana\ncherry"},
      {u"apple\nBanana\ncherry", sortCaseInsensitiveDescending, u"cherry\nBanana\napple"},
      // The line end is compared: an empty line sorts before a blank and a letter.
      {u"b\n\n a\n", sortCaseInsensitiveAscending, u"\n a\nb\n"},
      {u"b\n\n a\n", sortCaseInsensitiveDescending, u"b\n a\n\n"},
      // The last line "a", without line end, sorts before "A\n".
      {u"A\nb\na", sortCaseInsensitiveAscending, u"a\nA\nb"},
      // Equal lines keep their order, in descending order too.
      {u"b\nB\na\n", sortCaseInsensitiveAscending, u"a\nb\nB\n"},
      {u"b\nB\na\n", sortCaseInsensitiveDescending, u"b\nB\na\n"},
      {u"ccc\na\nbb\n", sortDescendingByLength, u"ccc\nbb\na\n"},
      {u"only", sortCaseInsensitiveAscending, u"only"},
      {u"", sortCaseInsensitiveAscending, u""},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(test.text)));
    EXPECT_EQ(sortLines(test.text, test.compare), test.expected);
  }
}

// Pieces of lines: the code points of kLetters, then NUL and surrogates without their partners.
// The letters are case pairs, letters whose simple folding is another letter (long s, Kelvin sign,
// final sigma, dotted and dotless i, Cherokee), pairs that fold as one code point (Deseret, Adlam),
// an emoji, blanks and U+FFFF; the first four alone make lines that are often equal.
constexpr std::u16string_view kLetters =
    u"aAbBz\u00DFs\u017FS\u212Ak\u03A3\u03C3\u03C2\u13A0\uAB70\U00010400\U00010428\U0001E900"
    u"\U0001E922\U0001F600\u0130\u0131iI\u00E9\u00C9 \t\uFFFF";

std::vector<std::u16string> linePieces() {
  std::vector<std::u16string> pieces;
  for (std::size_t start = 0, end = 0; start < kLetters.size(); start = end) {
    U16_FWD_1(kLetters.data(), end, kLetters.size());
    pieces.emplace_back(kLetters.substr(start, end - start));
  }
  for (const char16_t unit : {0x0000, 0xD800, 0xDC00, 0xDBFF}) pieces.emplace_back(1, unit);
  return pieces;
}

constexpr std::u16string_view kLineEnds[] = {u"\n",     u"\n", u"\r\n",   u"\r",     u"\u2028",
                                             u"\u2029", u"\f", u"\u0003", u"\uFEFF", u"\uFFFC"};

struct RandomLines {
  unsigned seed;
  std::size_t lines;
  std::size_t alphabet;   // how many of the first pieces lines are made of
  std::size_t pieces;     // at most this many per line
  std::size_t beginning;  // lines begin with up to this many pieces that they all share
};

// Lines of random pieces after a random part of one shared beginning, each with a random line
// end, the last one without.
std::u16string randomLines(const RandomLines& shape) {
  const std::vector<std::u16string> pieces = linePieces();
  std::mt19937 random(shape.seed);
  const auto piece = [&] { return pieces[random() % std::min(shape.alphabet, pieces.size())]; };
  std::vector<std::u16string> beginning;
  for (std::size_t i = 0; i < shape.beginning; ++i) beginning.push_back(piece());
  std::u16string text;
  for (std::size_t line = 0; line < shape.lines; ++line) {
    for (std::size_t i = 0, n = random() % (shape.beginning + 1); i < n; ++i) text += beginning[i];
    for (std::size_t i = 0, n = random() % (shape.pieces + 1); i < n; ++i) text += piece();
    if (line + 1 < shape.lines) text += kLineEnds[random() % std::size(kLineEnds)];
  }
  return text;
}

TEST(SortLines, OrdersCaseInsensitivelyAsSortingOneComparisonAtATime) {
  const RandomLines rows[] = {
      {1, 12, 40, 3, 0},      // a few lines
      {2, 3000, 4, 3, 0},     // many equal lines, which keep their order
      {3, 3000, 40, 12, 0},   // mostly different lines
      {4, 3000, 40, 4, 80},   // long beginnings that many lines share
      {5, 400, 40, 60, 0},    // long lines
      {6, 3000, 6, 2, 200},   // lines that differ only near their ends, or not at all
      {7, 20000, 40, 8, 10},  // groups large enough to be distributed more than once
  };
  for (const RandomLines& row : rows) {
    SCOPED_TRACE(testing::Message() << "seed " << row.seed);
    const std::u16string text = randomLines(row);
    EXPECT_EQ(sortLines(text, sortCaseInsensitiveAscending),
              testing_sort::sortedLinesByIcuFolding(text, false));
    EXPECT_EQ(sortLines(text, sortCaseInsensitiveDescending),
              testing_sort::sortedLinesByIcuFolding(text, true));
  }
}

TEST(StringComparators, OrderAsTheirNamesSay) {
  struct Case {
    StringComparator compare;
    std::u16string_view receiver;
    std::u16string_view other;
    std::ptrdiff_t expected;
  };
  const Case cases[] = {
      {sortAscending, u"B", u"a", -1},
      {sortDescending, u"B", u"a", 1},
      {sortAscending, u"\uFFFF", u"\U0001F600", 1},  // code units, not code points
      {sortCaseInsensitiveAscending, u"apple", u"Banana", -1},
      {sortCaseInsensitiveAscending, u"ABC", u"abc", 0},
      {sortCaseInsensitiveAscending, u"a", u"a\n", -1},
      {sortCaseInsensitiveAscending, u"\u03A3", u"\u03C2", 0},          // final sigma folds
      {sortCaseInsensitiveAscending, u"\U00010400", u"\U00010428", 0},  // so does Deseret
      {sortCaseInsensitiveAscending, u"\u00DF", u"ss", 1},              // simple folding only
      {sortCaseInsensitiveDescending, u"apple", u"Banana", 1},
      {sortAscendingByLength, u"abc", u"a", 2},  // the raw difference
      {sortAscendingByLength, u"a", u"abc", -2},
      {sortAscendingByLength, u"b", u"A", 1},
      {sortDescendingByLength, u"abc", u"a", -2},
      {sortDescendingByLength, u"b", u"A", 1},  // ties stay ascending
      {sortDescendingByLength, u"A", u"a", 0},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(test.receiver)));
    EXPECT_EQ(test.compare(test.receiver, test.other), test.expected);
  }
}

std::u16string unitsOf(UChar32 c) {
  char16_t units[2];
  std::int32_t length = 0;
  U16_APPEND_UNSAFE(units, length, c);
  return std::u16string(units, length);
}

TEST(ExhaustiveStringComparators, FoldCaseAsIcuSimpleFoldingOverTheWholeRange) {
  for (UChar32 c = 0; c <= 0x10FFFF; ++c) {
    const UChar32 folded = u_foldCase(c, U_FOLD_CASE_DEFAULT);
    if (U_IS_SURROGATE(c) || folded == c) continue;
    // The folded units stay in place only if no folding crosses the edge of the BMP.
    ASSERT_EQ(U16_LENGTH(folded), U16_LENGTH(c)) << c;
    ASSERT_EQ(sortCaseInsensitiveAscending(unitsOf(c), unitsOf(folded)), 0) << c;
  }
}

TEST(StringComparators, LocalizedOrderIgnoresCaseButNotAccents) {
  UErrorCode status = U_ZERO_ERROR;
  uloc_setDefault("de", &status);  // before the collator is first opened
  ASSERT_TRUE(U_SUCCESS(status));
  EXPECT_EQ(sortLocalizedCaseInsensitiveAscending(u"\u00E4", u"b"), -1);
  EXPECT_EQ(sortLocalizedCaseInsensitiveAscending(u"Apple", u"apple"), 0);
  EXPECT_EQ(sortLocalizedCaseInsensitiveAscending(u"\u00C4", u"a"), 1);
}

TEST(StringComparators, ComparePathsByStandardizedComponents) {
  struct Case {
    std::u16string_view receiver;
    std::u16string_view other;
    std::ptrdiff_t expected;
  };
  const Case cases[] = {
      {u"/a/b", u"/z", 1},  // more components sort after, whatever they hold
      {u"/z", u"/a/b", -1},       {u"/A/b", u"/a/B", 0}, {u"/a/./b/", u"/a//b", 0},
      {u"/a/x/../b", u"/a/b", 0}, {u"/../a", u"/a", 0},  {u"../a", u"x/a", -1},
      {u"/a/c", u"/a/b", 1},      {u"", u"", 0},
  };
  for (const Case& test : cases) {
    SCOPED_TRACE(testing::PrintToString(std::u16string(test.receiver)));
    EXPECT_EQ(comparePaths(test.receiver, test.other), test.expected);
  }
}

int compareInts(const int& a, const int& b, void* context) {
  const int direction = context != nullptr ? *static_cast<int*>(context) : 1;
  return direction * (a < b ? -1 : a > b ? 1 : 0);
}

TEST(ListUtilities, SortAndApplyInPlaceWithAFunctionAndContext) {
  std::vector<int> list = {3, 1, 2, 5, 4};
  int descending = -1;
  quickSortUsingFunction(list, compareInts, &descending);
  EXPECT_EQ(list, (std::vector<int>{5, 4, 3, 2, 1}));
  quickSortUsingFunction(list, compareInts, Range{1, 3}, nullptr);
  quickSortUsingFunction(list, compareInts, Range{3, 3}, nullptr);  // past the end: nothing
  EXPECT_EQ(list, (std::vector<int>{5, 2, 3, 4, 1}));

  int next = 10;
  const ListFunction<int> number = [](int& element, void* context) {
    element = (*static_cast<int*>(context))++;
  };
  applyFunction(list, number, &next, Range{1, 2});
  applyFunction(list, number, &next, Range{2, 4});  // past the end: nothing
  EXPECT_EQ(list, (std::vector<int>{5, 10, 11, 4, 1}));
}

TEST(ListUtilities, BinarySearchFindsAnEqualElementOrNothing) {
  const std::vector<int> list = {1, 3, 5, 7, 9, 11};
  EXPECT_EQ(indexOfObject(list, 11, compareInts, nullptr), 5u);
  EXPECT_EQ(indexOfObject(list, 4, compareInts, nullptr), kNotFound);
  EXPECT_EQ(indexOfObject(list, 7, Range{0, 3}, compareInts, nullptr), kNotFound);
  EXPECT_EQ(indexOfObject(list, 7, Range{2, 2}, compareInts, nullptr), 3u);
  EXPECT_EQ(indexOfObject(list, 7, Range{4, 3}, compareInts, nullptr), kNotFound);
}

}  // namespace
}  // namespace textrix
