// SPDX-License-Identifier: MIT
// The reformat service, which turns hard-wrapped, mail-quoted text back into flowing paragraphs:
// it removes the quote markers from every line, drops the blanks at the line ends, joins the lines
// of a paragraph with single spaces and separates paragraphs by a blank line.
//
// Plain text ends a paragraph only at blank lines. Attributed text also ends one after a long line
// (more than 120 code units, unless it ends in U+2028) and after a line whose paragraph style has
// paragraph spacing, and tells headings from body text by their font size: a line 2 points or more
// larger than the line before gets a blank line before it, a smaller one a line break.
//
//   textrix::reformattedStringByRemovingCharactersOfString(u"> Hello\n> world.\n>\n> Bye\n",
//                                                          u"<>");   // "Hello world.\n\nBye"
//
// Positions and lengths are UTF-16 code units; lines and feeds are those of text/lines.h.
#pragma once

#include <string>
#include <string_view>

#include "text/attributed_text.h"

namespace textrix {

// The characters the reformat service removes from every line: the mail quote markers.
inline constexpr std::u16string_view kReformatRemovedCharacters = u"<>";

// The paragraphs of text: every line without the units of characters (none when it is empty) and
// without its leading and trailing white characters; the non-empty lines joined by one space, a
// paragraph ended by a blank line written as that line's terminator twice (once when the blank
// line is the last line), blank lines before the first paragraph and after the first of a row
// dropped; then every run of blanks made one space. The last paragraph has no terminator.
std::u16string reformattedStringByRemovingCharactersOfString(std::u16string_view text,
                                                             std::u16string_view characters);

// The paragraphs of attributed text: every line (U+FFFC, an attachment, stays inside its line)
// without the units of characters and trimmed by trimForReformatting, a blank line ending the
// paragraph. Lines are joined by " " when their fonts have the same size, by "\n\n" after a
// paragraph end or before a font 2 points or more larger, and by "\n" otherwise; a line of more
// than 120 units (counted after trimForReformatting) that does not end in U+2028, or one whose
// paragraph style has a paragraph spacing above 1 point, ends its paragraph. Each line keeps its
// attributes, takes the paragraph style of its first character with both paragraph spacings 0
// (no style at its first character removes the style from the line), and loses its white
// characters at both ends; the separators take the attributes of the character before them.
AttributedText reformattedAttributedStringByRemovingCharactersOfString(
    const AttributedText& text, std::u16string_view characters);

// In place, on one line: every run of blanks (the space class) collapsed to one U+0020 and the
// leading blank deleted; true when a unit other than a white character, or an attachment
// (U+FFFC), is left. The scan works on a length that shrinks by a whole run for every run
// collapsed, one unit more than the text does, so it never looks at the last units of a text:
// an unterminated "  x" becomes "x" and counts as blank (false), while "  x\n" becomes "x\n"
// (true).
bool trimForReformatting(AttributedText& line);

}  // namespace textrix
