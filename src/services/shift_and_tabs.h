// SPDX-License-Identifier: MIT
// The shift and tab services: shift lines left or right by one indentation step, and convert
// between tabs and spaces at a tab width.
//
// Columns count code units from the start of a line; a tab moves to the next multiple of the
// width. Blanks are the space class (general category Zs, U+0009 and U+0000); lines and feeds are
// those of text/lines.h. The conversions count columns anew after every plain feed character,
// U+FFFC included, in attributed text as well.
//
//   textrix::stringByShiftingLinesLeft(u"\t\tx\n    y", 4);   // "\tx\ny"
//   std::u16string s = u"a\tb";
//   textrix::decodeTabs(s, 4);                             // "a   b"
//   textrix::encodeTabs(s, 4);                             // "a\tb"
//
// On attributed text, a tab or run of spaces put in takes the attributes of the first character it
// replaces, and every other character keeps its own.
#pragma once

#include <string>
#include <string_view>
#include <vector>

#include "text/attributed_text.h"

namespace textrix {

// The shift-left service: every line without one indentation step, its leading tab or its
// leading blanks up to width columns (blanks then the tab that reaches the first stop go
// together). A line of blanks only is left out whole, which can only be an unterminated last
// line. A width below 1 removes nothing.
std::u16string stringByShiftingLinesLeft(std::u16string_view text, int width);
// The shift-right service: a tab put in front of every line (none after a final terminator).
std::u16string stringByShiftingLinesRight(std::u16string_view text);

// Detab, in place: every tab becomes the spaces (U+0020) up to the next multiple of width. A
// width below 1 changes nothing.
void decodeTabs(std::u16string& text, int width);
// Entab, in place: every run of blanks that ends exactly on a tab stop becomes one tab, even a
// single space; blanks short of a stop stay. A width below 1 changes nothing.
void encodeTabs(std::u16string& text, int width);
void decodeTabs(AttributedText& text, int width);
void encodeTabs(AttributedText& text, int width);

// The tab services on plain text: the text with its tabs encoded (encode) or decoded at width, in
// one scan into a result of its final size; the same as converting it line by line.
std::u16string stringByConvertingTabs(std::u16string_view text, int width, bool encode);

// Rich text as the tab services work on it: its lines, and an empty text to collect the converted
// lines in.
struct AttributedLinesAndEmptyText {
  std::vector<AttributedText> lines;
  AttributedText result;
};
// The attributed lines of text (U+FFFC stays inside its line) and an empty attributed text.
AttributedLinesAndEmptyText getEmptyMutableStringAndLines(const AttributedText& text);
// Appends every line, its tabs encoded (encode) or decoded at width, to the selection's result.
void convertTabsOfLines(AttributedLinesAndEmptyText& selection, int width, bool encode);

}  // namespace textrix
