// SPDX-License-Identifier: MIT
// Collapses the runs of white characters and of feeds in an attributed text made from the bytes,
// and compares the result with the collapse as the service does it, one edit at a time on a
// string that shrinks while the end it looks up to does not move back by the run's full length:
// it stops one unit short for every run replaced.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "services/spaces_and_line_endings.h"
#include "text/attributed_text.h"
#include "text/charsets.h"
#include "text/lines.h"

namespace {

std::u16string collapsedEditByEdit(std::u16string text, bool (*isMember)(char16_t),
                                   char16_t replacement) {
  std::size_t limit = text.size();
  for (std::size_t i = 0; i < limit;) {
    std::size_t run = 0;
    while (i + run < limit && isMember(text[i + run])) ++run;
    if (run == 0) {
      ++i;
      continue;
    }
    text.replace(i, run, 1, replacement);
    limit -= run;
    i += 1;
  }
  return text;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::u16string_view kAlphabet = u"ab \t\n\r\u2028\uFFFC";
  std::u16string chars;
  for (std::size_t i = 0; i < size; ++i) chars += kAlphabet[data[i] % kAlphabet.size()];

  textrix::AttributedText spaces(chars);
  textrix::removeMultipleSpacesAndFeeds(spaces, true);
  textrix::AttributedText feeds(chars);
  textrix::removeMultipleFeeds(feeds);
  if (spaces.string() !=
          collapsedEditByEdit(
              chars, [](char16_t c) { return textrix::whiteCharacterSetRep()->contains(c); },
              u' ') ||
      feeds.string() !=
          collapsedEditByEdit(
              chars,
              [](char16_t c) { return textrix::isFeedCharacter(c, textrix::FeedSet::attributed); },
              u'\n')) {
    std::abort();
  }
  return 0;
}
