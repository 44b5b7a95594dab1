// SPDX-License-Identifier: MIT
#include "util/suggestions.h"

#include <algorithm>
#include <vector>

namespace textrix {
namespace {

char foldedAscii(char c) {
  return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c;
}

}  // namespace

std::size_t editDistance(std::string_view one, std::string_view other) {
  // Three rows of the distance table: the one before the last, the last, and the one being filled.
  const std::size_t width = other.size() + 1;
  std::vector<std::size_t> twoBack(width), previous(width), current(width);
  for (std::size_t j = 0; j < width; ++j) previous[j] = j;
  for (std::size_t i = 1; i <= one.size(); ++i) {
    current[0] = i;
    for (std::size_t j = 1; j < width; ++j) {
      const bool same = foldedAscii(one[i - 1]) == foldedAscii(other[j - 1]);
      current[j] =
          std::min({previous[j] + 1, current[j - 1] + 1, previous[j - 1] + (same ? 0 : 1)});
      const bool swapped = i > 1 && j > 1 && foldedAscii(one[i - 1]) == foldedAscii(other[j - 2]) &&
                           foldedAscii(one[i - 2]) == foldedAscii(other[j - 1]);
      if (swapped) current[j] = std::min(current[j], twoBack[j - 2] + 1);
    }
    std::swap(twoBack, previous);
    std::swap(previous, current);
  }
  return previous[other.size()];
}

std::optional<std::string_view> closestName(std::string_view given,
                                            std::span<const std::string_view> names) {
  const std::size_t limit = std::max<std::size_t>(1, given.size() / 3);
  std::optional<std::string_view> closest;
  std::size_t closestDistance = limit + 1;
  for (std::string_view name : names) {
    const std::size_t distance = editDistance(given, name);
    if (distance < closestDistance) {
      closest = name;
      closestDistance = distance;
    }
  }
  return closest;
}

}  // namespace textrix
