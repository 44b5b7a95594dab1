// SPDX-License-Identifier: MIT
// Collapsing runs of blanks or line ends, and rewriting line endings.
//
// The collapses edit a text in place, plain or attributed: every maximal run of blanks (the space
// class of text/charsets.h) becomes one U+0020, every run of feeds (text/lines.h) one U+000A. The
// attributed forms keep the attributes of each run's first character on its replacement.
//
//   std::u16string text = u"a  b\t\tc";
//   textrix::removeMultipleSpaces(text);                      // "a b c"
//   textrix::replaceLineEndings(u"a\r\nb\rc", u"\n");         // "a\nb\nc"
//
// Positions and lengths are UTF-16 code units; every operation is one pass over the text.
#pragma once

#include <string>
#include <string_view>

#include "text/attributed_text.h"

namespace textrix {

// Replaces every maximal run of space-class units (feeds = false) or white-class units
// (feeds = true) with one U+0020; a lone tab, U+00A0 or NUL becomes a space too.
void removeMultipleSpacesAndFeeds(std::u16string& text, bool feeds);
// removeMultipleSpacesAndFeeds(text, false).
void removeMultipleSpaces(std::u16string& text);
// Replaces every maximal run of plain feed characters (U+FFFC included) with one U+000A, so every
// terminator becomes "\n" and empty lines go; lines of blanks stay.
void removeMultipleFeeds(std::u16string& text);

// The attributed collapses. Unlike the plain forms, the scan's end starts at the length and moves
// back by a whole run for every run replaced, one unit more than the text shrinks, so after n runs
// the last n units are never looked at: "a  b  c  d" becomes "a b c  d". Feeds are the attributed
// set: U+FFFC, an attachment, is not one.
void removeMultipleSpacesAndFeeds(AttributedText& text, bool feeds);
void removeMultipleSpaces(AttributedText& text);
void removeMultipleFeeds(AttributedText& text);

// The lines of text, each without its terminator and followed by substitute when it had one: each
// terminator (CR LF counted once, every plain feed character included) becomes one substitute.
std::u16string replaceLineEndings(std::u16string_view text, std::u16string_view substitute);
// The same over valid UTF-8, without decoding it.
std::string replaceLineEndings(std::string_view validUtf8, std::string_view substitute);

}  // namespace textrix
