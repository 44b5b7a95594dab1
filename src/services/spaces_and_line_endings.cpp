// SPDX-License-Identifier: MIT
#include "services/spaces_and_line_endings.h"

#include <algorithm>

#include "text/attributed_text.h"
#include "text/charsets.h"
#include "text/lines.h"
#include "text/mutable_string.h"

namespace textrix {
namespace {

// Reports every maximal run of members of attributed text, up to the scan's end, as replaced by the
// one unit replacement.
//
// The attributed collapse keeps the end it had when it edited the text run by run: the end moved
// back by the length of each run replaced although the text shrank by one unit less, so, counted
// in units of the unedited text, it moves back one unit per run, and the last runs of a text may
// be left as they are. Plain text is collapsed to its end.
//
// A run that already is the replacement alone is counted but not reported: the edit would change
// neither the characters nor their attributes.
template <class IsMember>
void scanRunCollapses(std::u16string_view text, IsMember isMember, char16_t replacement,
                      EditSink& out) {
  const std::u16string_view replacementUnit(&replacement, 1);
  std::size_t end = text.size();
  for (std::size_t i = 0; i < end;) {
    if (!isMember(text[i])) {
      ++i;
      continue;
    }
    std::size_t runEnd = i + 1;
    while (runEnd < end && isMember(text[runEnd])) ++runEnd;
    if (runEnd - i > 1 || text[i] != replacement) out.replace(i, runEnd - i, replacementUnit);
    --end;
    i = runEnd;
  }
}

const CharacterSetRep* blanksOf(bool feeds) {
  return feeds ? whiteCharacterSetRep() : spaceCharacterSetRep();
}

// Collapses every maximal run of members to the one unit replacement, in place and in one pass:
// each unit is written where the result has got to, and the write pointer stays put on the second
// and later members of a run. No branch depends on the text, so mixed text goes at the speed of
// memory.
template <class IsMember>
void collapseRuns(std::u16string& text, IsMember isMember, char16_t replacement) {
  std::size_t written = 0;
  bool inRun = false;
  for (const char16_t c : text) {
    const bool member = isMember(c);
    text[written] = member ? replacement : c;
    written += static_cast<std::size_t>(!(member && inRun));
    inRun = member;
  }
  text.resize(written);
}

}  // namespace

void removeMultipleSpacesAndFeeds(std::u16string& text, bool feeds) {
  const CharacterSetRep* blanks = blanksOf(feeds);
  collapseRuns(
      text, [blanks](char16_t c) { return blanks->contains(c); }, u' ');
}

void removeMultipleSpaces(std::u16string& text) {
  removeMultipleSpacesAndFeeds(text, false);
}

void removeMultipleFeeds(std::u16string& text) {
  collapseRuns(
      text, [](char16_t c) { return isFeedCharacter(c, FeedSet::plain); }, u'\n');
}

void removeMultipleSpacesAndFeeds(AttributedText& text, bool feeds) {
  const CharacterSetRep* blanks = blanksOf(feeds);
  text.rewrite([&](EditSink& out) {
    scanRunCollapses(
        text.string(), [blanks](char16_t c) { return blanks->contains(c); }, u' ', out);
  });
}

void removeMultipleSpaces(AttributedText& text) {
  removeMultipleSpacesAndFeeds(text, false);
}

void removeMultipleFeeds(AttributedText& text) {
  text.rewrite([&](EditSink& out) {
    scanRunCollapses(
        text.string(), [](char16_t c) { return isFeedCharacter(c, FeedSet::attributed); }, u'\n',
        out);
  });
}

namespace {

template <class Char>
std::basic_string<Char> lineEndingsReplaced(std::basic_string_view<Char> text,
                                            std::basic_string_view<Char> substitute) {
  std::basic_string<Char> result;
  // Reserved for the longest result, one substitute per line, so that it never reallocates.
  std::size_t longest = text.size();
  if (substitute.size() > 1) {
    forEachTerminator(text, [&](std::size_t, std::size_t) { longest += substitute.size() - 1; });
  }
  result.reserve(longest);
  // Lines that already end in the substitute are copied together with the lines after them.
  std::size_t copied = 0;
  forEachTerminator(text, [&](std::size_t at, std::size_t length) {
    if (text.substr(at, length) == substitute) return;
    result.append(text.substr(copied, at - copied));
    result.append(substitute);
    copied = at + length;
  });
  result.append(text.substr(copied));
  return result;
}

}  // namespace

std::u16string replaceLineEndings(std::u16string_view text, std::u16string_view substitute) {
  return lineEndingsReplaced(text, substitute);
}

std::string replaceLineEndings(std::string_view validUtf8, std::string_view substitute) {
  return lineEndingsReplaced(validUtf8, substitute);
}

}  // namespace textrix
