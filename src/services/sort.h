// SPDX-License-Identifier: MIT
// Sorting the lines of a text, the family of string comparators it sorts with, and small list
// utilities: sorting a list with a plain comparison function, applying a function to each element,
// binary search.
//
// sortLines moves the lines but leaves the line ends where they were, position by position: the
// n-th terminator of the result is the n-th terminator of the input, so a text whose last line has
// none still ends without one, and mixed conventions keep their sequence from top to bottom.
// Lines are compared whole, terminators included.
//
//   textrix::sortLines(u"b\na", textrix::sortCaseInsensitiveAscending);   // "a\nb"
//   textrix::sortCaseInsensitiveAscending(u"apple", u"Banana");            // -1
//   textrix::sortAscendingByLength(u"abc", u"a");                          // 2
//
// Positions and lengths are UTF-16 code units. Case-insensitive comparisons compare the simple case
// foldings of the two texts by code unit values, a surrogate pair folded as one code point.
#pragma once

#include <algorithm>
#include <cstddef>
#include <string>
#include <string_view>
#include <vector>

#include "text/mutable_string.h"
#include "text/search.h"

namespace textrix {

// The comparators: negative when receiver sorts before other, 0 when the two are equal in the
// order, positive when receiver sorts after. Descending orders negate the ascending comparison
// rather than swap the texts, so texts that compare equal stay equal.
using StringComparator = std::ptrdiff_t (*)(std::u16string_view receiver,
                                            std::u16string_view other);

// -1, 0 or +1 by code unit values.
std::ptrdiff_t sortAscending(std::u16string_view receiver, std::u16string_view other);
std::ptrdiff_t sortDescending(std::u16string_view receiver, std::u16string_view other);
// -1, 0 or +1 by code unit values of the simple case foldings.
std::ptrdiff_t sortCaseInsensitiveAscending(std::u16string_view receiver,
                                            std::u16string_view other);
std::ptrdiff_t sortCaseInsensitiveDescending(std::u16string_view receiver,
                                             std::u16string_view other);
// -1, 0 or +1 by the collation of ICU's default locale (the user's), case ignored.
std::ptrdiff_t sortLocalizedCaseInsensitiveAscending(std::u16string_view receiver,
                                                     std::u16string_view other);
std::ptrdiff_t sortLocalizedCaseInsensitiveDescending(std::u16string_view receiver,
                                                      std::u16string_view other);
// Lengths that differ: their raw difference, shorter first (not reduced to -1 or +1). Equal
// lengths: sortCaseInsensitiveAscending.
std::ptrdiff_t sortAscendingByLength(std::u16string_view receiver, std::u16string_view other);
// Lengths that differ: their raw difference, longer first. Equal lengths: still
// sortCaseInsensitiveAscending, so ties sort as in sortAscendingByLength.
std::ptrdiff_t sortDescendingByLength(std::u16string_view receiver, std::u16string_view other);
// Paths by their number of standardized components, fewer first (-1 or +1); equal counts
// component by component, case-insensitively, the first difference deciding (0 when none).
// Standardizing is lexical: empty and "." components go, ".." takes away the component before
// it, a trailing "/" goes; "~" and symbolic links are left as they are.
std::ptrdiff_t comparePaths(std::u16string_view receiver, std::u16string_view other);

// text with its lines in the order of compare and each line end where it was: the i-th line of the
// result is the i-th line in that order without its terminator, followed by the terminator of the
// i-th line of text. The sort is stable: lines that compare equal keep their order.
std::u16string sortLines(std::u16string_view text, StringComparator compare);

// List utilities. A comparison function returns a negative, zero or positive value as the
// comparators above; context is handed to every call.
template <class T>
using ListComparison = int (*)(const T& element, const T& other, void* context);
template <class T>
using ListFunction = void (*)(T& element, void* context);

// Sorts list (or its range) in place by compare, not stably; does nothing for fewer than two
// elements or a range that reaches past the end.
template <class T>
void quickSortUsingFunction(std::vector<T>& list, ListComparison<T> compare, Range range,
                            void* context) {
  if (range.length < 2 || range.location > list.size() ||
      range.length > list.size() - range.location) {
    return;
  }
  auto first = list.begin() + static_cast<std::ptrdiff_t>(range.location);
  std::sort(first, first + static_cast<std::ptrdiff_t>(range.length),
            [&](const T& a, const T& b) { return compare(a, b, context) < 0; });
}
template <class T>
void quickSortUsingFunction(std::vector<T>& list, ListComparison<T> compare, void* context) {
  quickSortUsingFunction(list, compare, Range{0, list.size()}, context);
}
template <class T>
void quickSortUsingFunction(std::vector<T>& list, ListComparison<T> compare) {
  quickSortUsingFunction(list, compare, nullptr);
}

// Calls function on each element of list (or of its range), in order; a range that reaches past
// the end does nothing.
template <class T>
void applyFunction(std::vector<T>& list, ListFunction<T> function, void* context, Range range) {
  if (range.location > list.size() || range.length > list.size() - range.location) return;
  for (std::size_t i = range.location; i < range.end(); ++i) function(list[i], context);
}
template <class T>
void applyFunction(std::vector<T>& list, ListFunction<T> function, void* context) {
  applyFunction(list, function, context, Range{0, list.size()});
}

// The index in list of an element that compares equal to object, searching the range (the whole
// list) as sorted by compare; kNotFound when there is none or the range reaches past the end.
template <class T>
std::size_t indexOfObject(const std::vector<T>& list, const T& object, Range range,
                          ListComparison<T> compare, void* context) {
  if (range.location > list.size() || range.length > list.size() - range.location) {
    return kNotFound;
  }
  std::size_t low = range.location;
  std::size_t high = range.end();
  while (low < high) {
    const std::size_t middle = low + (high - low) / 2;
    const int order = compare(list[middle], object, context);
    if (order == 0) return middle;
    if (order < 0) {
      low = middle + 1;
    } else {
      high = middle;
    }
  }
  return kNotFound;
}
template <class T>
std::size_t indexOfObject(const std::vector<T>& list, const T& object, ListComparison<T> compare,
                          void* context) {
  return indexOfObject(list, object, Range{0, list.size()}, compare, context);
}

}  // namespace textrix
