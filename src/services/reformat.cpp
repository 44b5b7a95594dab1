#include "services/reformat.h"

#include "services/spaces_and_line_endings.h"
#include "services/trim.h"
#include "text/charsets.h"
#include "text/lines.h"
#include "text/search.h"

namespace textrix {
namespace {

// A line longer than this (in code units, after trimForReformatting) is a paragraph of its own.
constexpr std::size_t kLongLineLength = 120;
// A line set this many points larger than the line before is a heading.
constexpr double kHeadingSizeStep = 2.0;
// A paragraph spacing above this (in points) ends the paragraph.
constexpr double kParagraphSpacingThreshold = 1.0;

constexpr char16_t kLineSeparator = u'\u2028';

bool isCollapsedBlank(const CharacterSetRep& spaces, char16_t c) {
  return c != kAttachmentCharacter && spaces.contains(c);
}

// Collapses every run of blanks to one U+0020 in one pass and returns how many runs were counted.
//
// The collapse keeps the bookkeeping of its edit-by-edit form: the scan's end started at the
// length and moved back by the whole length of every run replaced, although the text shrank by
// one unit less. Counted in units of the unedited text the end moves back one unit per run, so
// the last units of a text may not be looked at, and the working length after the collapse is
// the new length less the number of runs. A single U+0020 counts as a run but needs no edit.
std::size_t collapseBlanks(AttributedText& line, const CharacterSetRep& spaces) {
  const std::u16string& text = line.string();
  AttributedText::Rewriter out(line);
  std::size_t runs = 0;
  std::size_t end = text.size();
  for (std::size_t i = 0; i < end;) {
    if (!isCollapsedBlank(spaces, text[i])) {
      ++i;
      continue;
    }
    std::size_t runEnd = i + 1;
    while (runEnd < end && isCollapsedBlank(spaces, text[runEnd])) ++runEnd;
    if (runEnd - i > 1 || text[i] != u' ') out.replace(i, runEnd - i, u" ");
    ++runs;
    --end;
    i = runEnd;
  }
  if (out.edited()) line = out.finish();
  return runs;
}

// What the attributed reformatting remembers from line to line.
struct ReformatState {
  bool breakNext = false;     // the next non-blank line starts a new paragraph
  bool prevAppended = false;  // the line before was appended (not blank)
  bool anyAppended = false;   // something has been appended to the result
  float lastSize = 0.0f;      // point size of the font of the last appended line

  // The separator between the line about to be appended, set in a font of size points, and the
  // result so far.
  std::u16string_view separatorBefore(float size) const {
    if (!anyAppended) return {};
    if (breakNext) return u"\n\n";
    if (size == lastSize) return prevAppended ? u" " : u"";
    if (static_cast<double>(lastSize) + kHeadingSizeStep <= static_cast<double>(size)) {
      return u"\n\n";
    }
    return u"\n";
  }
};

// Sets the paragraph style of the line's first character, with both paragraph spacings 0, on the
// whole line (or removes the style when the first character has none); returns the paragraph
// spacing it had, 0 without a style.
double flattenParagraphSpacing(AttributedText& line) {
  const ParagraphStyle* style =
      line.attributesAtIndex(0).get<ParagraphStyle>(kParagraphStyleAttributeName);
  if (!style) {
    line.setAttribute(std::nullopt, kParagraphStyleAttributeName, Range{0, line.length()});
    return 0.0;
  }
  ParagraphStyle flattened = *style;
  const double spacing = flattened.paragraphSpacing;
  flattened.paragraphSpacingBefore = 0.0;
  flattened.paragraphSpacing = 0.0;
  line.setAttribute(flattened, kParagraphStyleAttributeName, Range{0, line.length()});
  return spacing;
}

float fontSizeAtStart(const AttributedText& line) {
  const Font* font = line.attributesAtIndex(0).get<Font>(kFontAttributeName);
  return font ? static_cast<float>(font->pointSize) : 0.0f;
}

}  // namespace

std::u16string reformattedStringByRemovingCharactersOfString(std::u16string_view text,
                                                             std::u16string_view characters) {
  std::u16string result;
  result.reserve(text.size());
  std::u16string kept;  // the current line without the removed characters
  bool joined = false;
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start);
    const std::u16string_view line = text.substr(start, end - start);
    kept.assign(line);
    removeCharactersOfString(kept, characters);
    const std::u16string_view content = stringByTrimmingWhiteSpaces(kept);
    if (!content.empty()) {
      if (joined) result += u' ';
      result.append(content);
      joined = true;
    } else if (joined) {
      // A blank last line without a terminator ends nothing.
      const std::u16string_view feed = feedOfLine(line);
      if (feed.empty()) continue;
      result.append(feed);
      if (end < text.size()) result.append(feed);
      joined = false;
    }
  }
  removeMultipleSpaces(result);
  return result;
}

AttributedText reformattedAttributedStringByRemovingCharactersOfString(
    const AttributedText& text, std::u16string_view characters) {
  AttributedText result;
  result.beginEditing();
  ReformatState state;
  const std::u16string& units = text.string();
  for (std::size_t start = 0, end; start < units.size(); start = end) {
    end = lineEnd(units, start, FeedSet::attributed);
    AttributedText line = text.attributedSubstringFromRange(Range{start, end - start});
    line.removeCharactersOfString(characters);
    if (!trimForReformatting(line)) {
      state.breakNext = true;
      state.prevAppended = false;
      continue;
    }
    const std::size_t length = line.length();
    const float size = fontSizeAtStart(line);
    const double spacing = flattenParagraphSpacing(line);
    result.appendString(state.separatorBefore(size));
    state.breakNext = spacing > kParagraphSpacingThreshold ||
                      (length > kLongLineLength && line.string().back() != kLineSeparator);
    trimWhiteSpaces(line);
    result.appendString(line);
    state.lastSize = size;
    state.prevAppended = true;
    state.anyAppended = true;
  }
  result.endEditing();
  return result;
}

bool trimForReformatting(AttributedText& line) {
  if (line.empty()) return false;
  const CharacterSetRep& spaces = *spaceCharacterSetRep();
  const std::size_t runs = collapseBlanks(line, spaces);
  const std::u16string& text = line.string();
  std::size_t length = text.size() > runs ? text.size() - runs : 0;
  if (length == 0) return false;

  std::size_t first = 0;
  while (first < length && isCollapsedBlank(spaces, text[first])) ++first;
  if (first == length) {
    line.deleteCharactersInRange(Range{0, length});
    return false;
  }
  if (first > 0) {
    line.deleteCharactersInRange(Range{0, first});
    length -= first;
  }

  const CharacterSetRep& white = *whiteCharacterSetRep();
  for (std::size_t i = 0; i < length; ++i) {
    if (text[i] == kAttachmentCharacter || !white.contains(text[i])) return true;
  }
  return false;
}

}  // namespace textrix
