#include "services/statistics.h"

#include <iterator>
#include <optional>

#include "runtime/localization.h"
#include "text/charsets.h"
#include "text/lines.h"
#include "text/mutable_string.h"

namespace textrix {
namespace {

// number in plain decimal, without grouping.
std::u16string decimal(std::size_t number) {
  char16_t digits[24];
  std::size_t start = std::size(digits);
  do {
    digits[--start] = static_cast<char16_t>(u'0' + number % 10);
    number /= 10;
  } while (number > 0);
  return std::u16string(digits + start, std::size(digits) - start);
}

}  // namespace

TextStatistics statisticsOfString(std::u16string_view text) {
  const CharacterSetRep& white = *whiteCharacterSetRep();
  TextStatistics statistics;
  bool afterWhite = true;
  for (const char16_t c : text) {
    if (white.contains(c)) {
      ++statistics.spaces;
      afterWhite = true;
    } else {
      ++statistics.characters;
      statistics.words += afterWhite;
      afterWhite = false;
    }
  }
  statistics.lines = numberOfLines(text);
  return statistics;
}

std::u16string statisticsMessage(const TextStatistics& statistics) {
  return formatString(u"%@%@\n%@%@\n%@%@\n\n%@%@\n%@%@\n",
                      {localizedStringForKey("Characters:"), decimal(statistics.characters),
                       localizedStringForKey("Spaces:"), decimal(statistics.spaces),
                       localizedStringForKey("Total:"), decimal(statistics.total()),
                       localizedStringForKey("Words:"), decimal(statistics.words),
                       localizedStringForKey("Lines:"), decimal(statistics.lines)});
}

std::u16string statisticsTitle() {
  return localizedStringForKey("Statistics");
}

}  // namespace textrix
