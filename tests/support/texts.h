// Attributed texts that several tests build: coloured runs, compared by their attributes.
#pragma once

#include <string_view>

#include "text/attributed_text.h"

namespace textrix::testing_texts {

// A foreground colour of the given red component.
inline AttributeDictionary colored(double red) {
  AttributeDictionary attributes;
  attributes.setObject(Color{red, 0, 0, 1}, kForegroundColorAttributeName);
  return attributes;
}

// Characters in a red run followed by a blue run.
inline AttributedText redThenBlue(std::u16string_view red, std::u16string_view blue) {
  AttributedText text(red, colored(1));
  AttributeDictionary blueColour;
  blueColour.setObject(Color{0, 0, 1, 1}, kForegroundColorAttributeName);
  text.appendString(blue, blueColour);
  return text;
}

}  // namespace textrix::testing_texts
