#include "services/spaces_and_line_endings.h"

#include <algorithm>

#include "text/attributed_text.h"
#include "text/charsets.h"
#include "text/lines.h"
#include "text/mutable_string.h"

namespace textrix {
namespace {

// Where a collapsing scan stops looking.
enum class ScanEnd {
  length,     // plain text: at the end of the text
  shortfall,  // attributed text: one unit earlier for every run replaced so far
};

// Reports every maximal run of members, up to the scan's end, as replaced by the one unit
// replacement.
//
// The attributed collapse keeps the end it had when it edited the text run by run: the end moved
// back by the length of each run replaced although the text shrank by one unit less, so, counted
// in units of the unedited text, it moves back one unit per run, and the last runs of a text may
// be left as they are.
//
// A run that already is the replacement alone is counted but not reported: the edit would change
// neither the characters nor their attributes.
template <class IsMember>
void scanRunCollapses(std::u16string_view text, IsMember isMember, char16_t replacement,
                      ScanEnd scanEnd, EditSink& out) {
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
    if (scanEnd == ScanEnd::shortfall) --end;
    i = runEnd;
  }
}

const CharacterSetRep* blanksOf(bool feeds) {
  return feeds ? whiteCharacterSetRep() : spaceCharacterSetRep();
}

// Applies edits that never lengthen the text to the text itself, moving the units after each edit
// down: a collapse needs no second copy of a long text.
class ShrinkingRewriter final : public EditSink {
 public:
  explicit ShrinkingRewriter(std::u16string& text) : text_(text) {}

  // replacement is no longer than length, and not part of the text.
  void replace(std::size_t start, std::size_t length, std::u16string_view replacement) override {
    moveDownTo(start);
    std::copy(replacement.begin(), replacement.end(), text_.begin() + written_);
    written_ += replacement.size();
    read_ = start + length;
  }

  void finish() {
    moveDownTo(text_.size());
    text_.resize(written_);
  }

 private:
  void moveDownTo(std::size_t position) {
    if (written_ != read_)
      std::copy(text_.begin() + read_, text_.begin() + position, text_.begin() + written_);
    written_ += position - read_;
    read_ = position;
  }

  std::u16string& text_;
  std::size_t read_ = 0;     // units of the text read so far
  std::size_t written_ = 0;  // units of the result written so far, at the start of the text
};

template <class IsMember>
void collapseRuns(std::u16string& text, IsMember isMember, char16_t replacement) {
  ShrinkingRewriter out(text);
  scanRunCollapses(text, isMember, replacement, ScanEnd::length, out);
  out.finish();
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
        text.string(), [blanks](char16_t c) { return blanks->contains(c); }, u' ',
        ScanEnd::shortfall, out);
  });
}

void removeMultipleSpaces(AttributedText& text) {
  removeMultipleSpacesAndFeeds(text, false);
}

void removeMultipleFeeds(AttributedText& text) {
  text.rewrite([&](EditSink& out) {
    scanRunCollapses(
        text.string(), [](char16_t c) { return isFeedCharacter(c, FeedSet::attributed); }, u'\n',
        ScanEnd::shortfall, out);
  });
}

std::u16string replaceLineEndings(std::u16string_view text, std::u16string_view substitute) {
  std::u16string result;
  // Reserved for the longest result, one substitute per line, so that it never reallocates.
  const std::size_t growth = substitute.size() > 1 ? substitute.size() - 1 : 0;
  result.reserve(text.size() + (growth > 0 ? numberOfLines(text) * growth : 0));
  // Lines that already end in the substitute are copied together with the lines after them.
  std::size_t copied = 0;
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start);
    const std::u16string_view feed = feedOfLine(text.substr(start, end - start));
    if (feed.empty() || feed == substitute) continue;
    result.append(text.substr(copied, end - feed.size() - copied));
    result.append(substitute);
    copied = end;
  }
  result.append(text.substr(copied));
  return result;
}

}  // namespace textrix
