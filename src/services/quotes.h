// SPDX-License-Identifier: MIT
// The quote services: remove the mail quote markers ">" and "<", turn typewriter quotes into
// typographic ones (smart quotes), and typographic quotes back into typewriter ones (straight
// quotes).
//
// Smart quotes make every U+0022 alternately an opening and a closing double quote, across line
// and paragraph ends, and every U+0027 the apostrophe U+2019. The double quotes are those of the
// user's language, from the provider's catalogs; without a catalog they are U+201E and U+201D.
// Straight quotes make U+00B4, U+0060, U+2018 and U+2019 a U+0027, and U+201C, U+201D, U+201E,
// U+00AB and U+00BB a U+0022.
//
//   std::u16string text = u"say \"hi\" it's";
//   textrix::convertToSmartQuotes(text, textrix::SmartQuotes{});   // "say „hi” it’s"
//   textrix::convertToStraightQuotes(text);                       // "say \"hi\" it's"
//
// Every operation edits its text in place, in one pass; the attributed forms keep the runs, and a
// replaced quote passes its attributes to its replacement.
#pragma once

#include <string>

#include "text/attributed_text.h"

namespace textrix {

// The marks smart quotes put in. Each should be one code unit: see convertToSmartQuotes.
struct SmartQuotes {
  std::u16string opening = u"\u201E";     // for the first, third, ... U+0022
  std::u16string closing = u"\u201D";     // for the second, fourth, ... U+0022
  std::u16string apostrophe = u"\u2019";  // for every U+0027
};

// The marks in the user's language: the catalogs' texts for the keys "„" (opening) and "”"
// (closing), each key itself when there is no entry; the apostrophe is always U+2019.
SmartQuotes localizedSmartQuotes();

// Removes every ">" and then every "<"; the blanks after them stay.
void removeQuotes(std::u16string& text);
void removeQuotes(AttributedText& text);

// Replaces every U+0022 by quotes.opening and quotes.closing in turn, starting with the opening
// one, and every U+0027 by quotes.apostrophe. The replacements are made one after the other at the
// index each quote had in the unedited text, so a mark of another length than one unit shifts
// every later replacement by the difference: it then lands on another unit (a unit of an earlier
// mark, possibly), and replacements that fall beyond the end of the text are left out.
void convertToSmartQuotes(std::u16string& text, const SmartQuotes& quotes);
void convertToSmartQuotes(AttributedText& text, const SmartQuotes& quotes);

// Replaces each of U+00B4, U+0060, U+2018 and U+2019 by U+0027, and each of U+201C, U+201D,
// U+201E, U+00AB and U+00BB by U+0022; every other unit (U+201A, U+2039, U+203A among them) stays.
void convertToStraightQuotes(std::u16string& text);
void convertToStraightQuotes(AttributedText& text);

}  // namespace textrix
