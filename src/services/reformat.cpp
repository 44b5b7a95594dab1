// SPDX-License-Identifier: MIT
#include "services/reformat.h"

#include "services/trim.h"
#include "text/charsets.h"
#include "text/encodings.h"
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

// The units the plain reformatting does not copy as they are: the removed ones, and the white ones,
// which it trims at the ends of a line and collapses inside it when they are blanks. special holds
// both, so that one lookup finds the units copied as they are.
struct ContentClasses {
  ContentClasses(std::u16string_view characters, std::size_t textLength)
      : special(*whiteCharacterSetRep()), removed(characters, textLength) {
    for (const char16_t c : characters) special.add(c);
  }

  CharacterSetRep special;
  detail::UnitSet removed;
  bool spaceKept = !removed.contains(u' ');
  const CharacterSetRep& blanks = *spaceCharacterSetRep();
};

// The length of the run of units of line from start that go over as they are: units neither
// removed nor white, and each single U+0020 after one of them. Such runs are most of a line, so
// they are copied in one piece; the test of a unit has no branch, as the units mix without pattern.
std::size_t verbatimRunLength(std::u16string_view line, std::size_t start,
                              const ContentClasses& classes) {
  unsigned afterCopied = 0;  // the unit before is neither removed nor white
  std::size_t end = start;
  for (; end < line.size(); ++end) {
    const char16_t c = line[end];
    const unsigned copied = !classes.special.contains(c);
    const unsigned singleSpace = afterCopied & (c == u' ') & classes.spaceKept;
    if ((copied | singleSpace) == 0) break;
    afterCopied = copied;
  }
  return end - start;
}

// Appends to result the content of line, after separator: its units without the removed ones,
// without the white units at both ends, and with every run of blanks made one U+0020. Appends
// nothing and returns false when no content is left.
bool appendContent(std::u16string& result, std::u16string_view line, std::u16string_view separator,
                   const ContentClasses& classes) {
  const std::size_t start = result.size();
  std::size_t contentEnd = start;  // just past the last unit that is not white
  bool inBlanks = false;           // the last unit appended stands for a run of blanks
  for (std::size_t i = 0; i < line.size();) {
    if (const std::size_t run = verbatimRunLength(line, i, classes); run > 0) {
      if (contentEnd == start) result.append(separator);
      result.append(line.substr(i, run));
      i += run;
      // A run starts with a unit of content and may end with a space, which begins a run of
      // blanks.
      inBlanks = line[i - 1] == u' ';
      contentEnd = result.size() - inBlanks;
      continue;
    }
    const char16_t c = line[i++];
    // Removed units go before anything else looks at the line; white units before the content are
    // trimmed, and those after it are cut off below.
    if (classes.removed.contains(c) || contentEnd == start) continue;
    if (!classes.blanks.contains(c)) {
      result += c;
      inBlanks = false;
    } else if (!inBlanks) {
      result += u' ';
      inBlanks = true;
    }
  }
  result.resize(contentEnd);
  return contentEnd > start;
}

}  // namespace

std::u16string reformattedStringByRemovingCharactersOfString(std::u16string_view text,
                                                             std::u16string_view characters) {
  const ContentClasses classes(characters, text.size());
  std::u16string result;
  reserveText(result, text.size());
  bool joined = false;
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start);
    const std::u16string_view line = text.substr(start, end - start);
    if (appendContent(result, line, joined ? u" " : u"", classes)) {
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
