// SPDX-License-Identifier: MIT
// Texts that several tests build: coloured runs, compared by their attributes, and long plain texts
// of short lines, compared with their lines taken one by one.
#pragma once

#include <initializer_list>
#include <string>
#include <string_view>

#include "text/attributed_text.h"
#include "text/lines.h"

namespace textrix::testing_texts {

// A foreground colour of the given red (and blue) component.
inline AttributeDictionary colored(double red, double blue = 0) {
  AttributeDictionary attributes;
  attributes.setObject(Color{red, 0, blue, 1}, kForegroundColorAttributeName);
  return attributes;
}

// Characters in a red run followed by a blue run.
inline AttributedText redThenBlue(std::u16string_view red, std::u16string_view blue) {
  AttributedText text(red, colored(1));
  text.appendString(blue, colored(0, 1));
  return text;
}

// Pieces of text that alternate between a black regular and a red bold font, as written to RTF and
// read back.
inline AttributedText alternating(std::initializer_list<std::u16string_view> pieces) {
  AttributedText text;
  bool red = false;
  for (std::u16string_view piece : pieces) {
    AttributeDictionary attributes;
    attributes.setObject(Color{red ? 1.0 : 0.0, 0, 0, 1}, kForegroundColorAttributeName);
    attributes.setObject(Font{"Times", 14, red}, kFontAttributeName);
    text.appendString(piece, attributes);
    red = !red;
  }
  return text;
}

// Short lines of blanks, tabs and letters ending in every kind of terminator: more feeds and tabs
// than text/lines.h finds at once, with CR LF pairs among them.
inline std::u16string manyShortLines() {
  constexpr std::u16string_view kLines[] = {u"  a\tb \r\n", u"\t\tc\n", u"\r",       u" \t d\u2028",
                                            u"e\t\r\n",     u"\n",      u"\u00A0f\f"};
  std::u16string text;
  for (std::size_t i = 0; i < 1000; ++i) text += kLines[i * 7 % 11 % std::size(kLines)];
  return text + u"  \tlast";
}

// What transform makes of each line of text on its own, put together.
template <class Transform>
std::u16string eachLineAlone(std::u16string_view text, Transform transform) {
  std::u16string result;
  for (const std::u16string_view line : lines(text)) result += transform(line);
  return result;
}

}  // namespace textrix::testing_texts
