// SPDX-License-Identifier: MIT
// Attributed texts that several tests build: coloured runs, compared by their attributes.
#pragma once

#include <initializer_list>
#include <string_view>

#include "text/attributed_text.h"

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

}  // namespace textrix::testing_texts
