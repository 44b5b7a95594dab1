// SPDX-License-Identifier: MIT
// The case services: upper case, lower case, capitalize words and capitalize sentences.
//
// Upper, lower and capitalize apply the full Unicode case mapping of no locale to a whole text, so
// the length may change (U+00DF upper-cases to "SS"); word starts for capitalize are the Unicode
// word boundaries. On attributed text the same three operations map run by run: each run is mapped
// on its own and keeps its attributes, so a word whose tail is bold gets a capital at the start of
// the bold run too. The runs are walked as the text is edited, with the positions and the length
// they had before: after a run that grew, the walk maps the units it added once more and leaves as
// many units at the end unexamined ("stra\u00DFe " + bold "red" upper-cases to "STRASSE " + bold
// "REd").
//
//   std::u16string s = u"stra\u00DFe";
//   textrix::uppercase(s);                                  // "STRASSE"
//   textrix::stringByCapitalizingSentences(u"ONE. two");    // "One. Two"
//
// Positions and lengths are UTF-16 code units.
#pragma once

#include <string>
#include <string_view>

#include "text/attributed_text.h"

namespace textrix {

// The whole text in upper case (full mapping, no locale); the upper service on plain text.
void uppercase(std::u16string& text);
// The whole text in lower case (full mapping, no locale); the lower service on plain text.
void lowercase(std::u16string& text);
// The first cased letter of every word in title case and every other letter in lower case; the
// capitalize-words service on plain text.
void capitalize(std::u16string& text);
// The same three, run by run, for rich text, by the walk described above.
void uppercase(AttributedText& text);
void lowercase(AttributedText& text);
void capitalize(AttributedText& text);

// The capitalize-sentences service: text lower-cased, then the first letter with case after the
// start, after '.', ':' or ';' and after an opening straight double quote upper-cased ('!' and
// '?' end no sentence). Code units are examined one by one over the length of the lower-cased
// text; a capital that takes more units than its letter pushes as many units at the end past
// that length, and they stay as they are.
std::u16string stringByCapitalizingSentences(std::u16string_view text);

}  // namespace textrix
