// SPDX-License-Identifier: MIT
// The trim services, which trim blanks at the ends of every line and keep each line's
// terminator, and the trimming primitives that other services call on whole texts.
//
// Two classes of text/charsets.h decide what goes: the space class (blanks: general category Zs,
// U+0009, U+0000) where feeds are to stay, the white class (blanks, feeds, U+0003, U+FFFC,
// U+FEFF and the other Unicode white space) where they go too. The copying forms return views
// into their text, so trimming copies nothing.
//
//   textrix::stringByTrimmingLines(u"  a  \n\t b \r\n", true, true);   // "a\nb\r\n"
//   textrix::stringByTrimmingFeeds(u"a\n\n");                         // "a"
//   textrix::stringByTrimmingSpacesOfLeftSideAndFeeds(u" \na", false); // "\na"
//
// trimWhiteSpaces and trimFeeds also take attributed text; the removed characters take their
// attribute runs with them.
#pragma once

#include <string>
#include <string_view>

#include "text/attributed_text.h"

namespace textrix {

// text without its leading run of blanks, or of white characters when feeds is set. A view into
// text: empty when the whole text is in the run.
std::u16string_view stringByTrimmingSpacesOfLeftSideAndFeeds(std::u16string_view text, bool feeds);
// text without its trailing run of blanks, or of white characters when feeds is set. A view into
// text: empty when the whole text is in the run.
std::u16string_view stringByTrimmingSpacesOfRightSideAndFeeds(std::u16string_view text, bool feeds);
// text without its leading and trailing white characters. A view into text.
std::u16string_view stringByTrimmingWhiteSpaces(std::u16string_view text);
// text without its trailing run of plain feed characters (U+FFFC included); leading feeds stay.
// A view into text.
std::u16string_view stringByTrimmingFeeds(std::u16string_view text);

// In place: removes the leading and trailing white characters.
void trimWhiteSpaces(std::u16string& text);
void trimWhiteSpaces(AttributedText& text);
// In place: removes the trailing run of plain feed characters (U+FFFC included, so a trailing
// attachment goes too).
void trimFeeds(std::u16string& text);
void trimFeeds(AttributedText& text);

// The trim services: every line of text trimmed of its leading blanks (left), of its trailing
// white characters (right) or of both, followed by its own terminator again. A line of blanks
// becomes its bare terminator, so the number of lines stays, except that an unterminated last
// line of blanks becomes nothing. With neither flag the text is copied unchanged.
std::u16string stringByTrimmingLines(std::u16string_view text, bool left, bool right);
// stringByTrimmingLines(text, true, false) over valid UTF-8, without decoding it.
std::string stringByTrimmingLineStarts(std::string_view validUtf8);

}  // namespace textrix
