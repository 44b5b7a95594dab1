// Sorts the lines of a text made from the bytes with the case-insensitive comparators and compares
// the result with sorting one comparison at a time: a stable sort of the lines by the comparator,
// then the i-th sorted line without its line end and the i-th line end of the input, so that mixed
// endings stay where they were.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "services/sort.h"
#include "text/lines.h"

namespace {

std::u16string sortedOneComparisonAtATime(std::u16string_view text,
                                          textrix::StringComparator compare) {
  const std::vector<std::u16string_view> original = textrix::lines(text);
  std::vector<std::u16string_view> sorted = original;
  std::stable_sort(sorted.begin(), sorted.end(),
                   [compare](auto a, auto b) { return compare(a, b) < 0; });
  std::u16string result;
  for (std::size_t i = 0; i < sorted.size(); ++i) {
    const std::u16string_view feed = textrix::feedOfLine(sorted[i]);
    result.append(sorted[i].substr(0, sorted[i].size() - feed.size()));
    result.append(textrix::feedOfLine(original[i]));
  }
  return result;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Case pairs, pairs that fold as one code point (Deseret), an emoji, NUL, and line ends.
  const std::u16string_view pieces[] = {
      u"a",      u"A",          u"b",          u"\u00DF",     u"\u03A3",
      u"\u03C2", u"\U00010400", u"\U00010428", u"\U0001F600", std::u16string_view(u"\0", 1),
      u" ",      u"\n",         u"\r\n",       u"\r"};
  std::u16string text;
  for (std::size_t i = 0; i < size; ++i) text += pieces[data[i] % std::size(pieces)];
  for (textrix::StringComparator compare :
       {textrix::sortCaseInsensitiveAscending, textrix::sortCaseInsensitiveDescending}) {
    if (textrix::sortLines(text, compare) != sortedOneComparisonAtATime(text, compare)) {
      std::abort();
    }
  }
  return 0;
}
