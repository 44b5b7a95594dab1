// SPDX-License-Identifier: MIT
#include "services/shift_and_tabs.h"

#include <span>

#include "text/charsets.h"
#include "text/lines.h"
#include "text/mutable_string.h"

namespace textrix {
namespace {

constexpr std::size_t kNoRun = static_cast<std::size_t>(-1);

// The column after a blank at column: a tab moves to the next stop, any other blank one on.
std::size_t columnAfterBlank(char16_t blank, std::size_t column, std::size_t width) {
  return blank == u'\t' ? column + width - column % width : column + 1;
}

// The number of leading units that one indentation step takes from line: blanks until they
// reach width columns, or all of them when nothing else follows.
std::size_t indentationStep(std::u16string_view line, std::size_t width) {
  const CharacterSetRep* space = spaceCharacterSetRep();
  std::size_t column = 0;
  std::size_t taken = 0;
  while (taken < line.size() && space->contains(line[taken]) && column < width) {
    column = columnAfterBlank(line[taken], column, width);
    ++taken;
  }
  return taken;
}

// Columns start again after every plain feed. A line's terminator comes last in it and counts as
// one more column, which changes nothing.

// Reports every tab of text, replaced by the spaces up to the next stop. One scan finds the tabs
// and the feeds, where the columns start again, many at a time.
void scanTabDecoding(std::u16string_view text, std::size_t width, EditSink& out) {
  const std::u16string spaces(width, u' ');
  std::size_t lineStart = 0;
  std::size_t widened = 0;  // the columns that the line's tabs so far took beyond one each
  std::size_t found[kFoundAtOnce];
  for (std::size_t from = 0, count; (count = findFeedsOrUnit(text, from, u'\t', found)) > 0;
       from = found[count - 1] + 1) {
    for (const std::size_t at : std::span(found, count)) {
      if (text[at] != u'\t') {
        lineStart = at + 1;
        widened = 0;
        continue;
      }
      const std::size_t tabWidth = width - (at - lineStart + widened) % width;
      out.replace(at, 1, std::u16string_view(spaces).substr(0, tabWidth));
      widened += tabWidth - 1;
    }
  }
}

// Reports every run of blanks that ends on a tab stop, replaced by one tab. A tab that is such a
// run by itself is left alone, since it would be replaced by itself.
void scanTabEncoding(std::u16string_view text, std::size_t width, EditSink& out) {
  const CharacterSetRep* space = spaceCharacterSetRep();
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start);
    std::size_t column = 0;
    std::size_t run = kNoRun;
    for (std::size_t i = start; i < end; ++i) {
      const char16_t c = text[i];
      if (!space->contains(c)) {
        ++column;
        run = kNoRun;
        continue;
      }
      if (run == kNoRun) run = i;
      column = columnAfterBlank(c, column, width);
      if (column % width != 0) continue;
      if (run != i || c != u'\t') out.replace(run, i + 1 - run, u"\t");
      run = kNoRun;
    }
  }
}

using TabScan = void (*)(std::u16string_view text, std::size_t width, EditSink& out);

std::u16string_view charactersOf(const std::u16string& text) {
  return text;
}

std::u16string_view charactersOf(const AttributedText& text) {
  return text.string();
}

// Rewrites text with the edits that scan reports at width; a width below 1 changes nothing.
template <class Rewriter, class Text>
void convertTabs(Text& text, int width, TabScan scan) {
  if (width < 1) return;
  Rewriter out(text);
  scan(charactersOf(text), static_cast<std::size_t>(width), out);
  if (out.edited()) text = out.finish();
}

}  // namespace

std::u16string stringByShiftingLinesLeft(std::u16string_view text, int width) {
  if (width < 1) return std::u16string(text);
  std::u16string result;
  result.reserve(text.size());
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start);
    const std::u16string_view line = text.substr(start, end - start);
    result.append(line.substr(indentationStep(line, static_cast<std::size_t>(width))));
  }
  return result;
}

std::u16string stringByShiftingLinesRight(std::u16string_view text) {
  std::u16string result;
  result.reserve(text.size() + text.size() / 16);
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start);
    result.push_back(u'\t');
    result.append(text.substr(start, end - start));
  }
  return result;
}

void decodeTabs(std::u16string& text, int width) {
  convertTabs<StringRewriter>(text, width, scanTabDecoding);
}

void encodeTabs(std::u16string& text, int width) {
  convertTabs<StringRewriter>(text, width, scanTabEncoding);
}

void decodeTabs(AttributedText& text, int width) {
  convertTabs<AttributedText::Rewriter>(text, width, scanTabDecoding);
}

void encodeTabs(AttributedText& text, int width) {
  convertTabs<AttributedText::Rewriter>(text, width, scanTabEncoding);
}

std::u16string stringByConvertingTabs(std::u16string_view text, int width, bool encode) {
  if (width < 1) return std::u16string(text);
  const auto stop = static_cast<std::size_t>(width);
  StringRewriter out(text);
  (encode ? scanTabEncoding : scanTabDecoding)(text, stop, out);
  return out.finish();
}

AttributedLinesAndEmptyText getEmptyMutableStringAndLines(const AttributedText& text) {
  return {text.lines(), {}};
}

void convertTabsOfLines(AttributedLinesAndEmptyText& selection, int width, bool encode) {
  for (const AttributedText& line : selection.lines) {
    AttributedText copy(line);
    encode ? encodeTabs(copy, width) : decodeTabs(copy, width);
    selection.result.appendString(copy);
  }
}

}  // namespace textrix
