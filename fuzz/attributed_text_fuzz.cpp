// SPDX-License-Identifier: MIT
// Edits an attributed text by a sequence of operations read from the bytes, and the same edits on a
// slow model that keeps one dictionary per character and edits it one step at a time by the edit
// rule: replacing characters gives the new ones the attributes of the first one replaced, inserting
// gives them those of the character before, or of the first character at the start. After every
// step the text and the model must hold the same characters with the same attributes.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <vector>

#include "text/attributed_text.h"

namespace {

using textrix::AttributeDictionary;
using textrix::Range;

struct ReferenceText {
  std::u16string chars;
  std::vector<AttributeDictionary> attributes;

  void replace(Range range, std::u16string_view replacement) {
    AttributeDictionary inserted;
    if (range.length > 0) {
      inserted = attributes[range.location];
    } else if (range.location > 0) {
      inserted = attributes[range.location - 1];
    } else if (!chars.empty()) {
      inserted = attributes[0];
    }
    chars.replace(range.location, range.length, replacement);
    const auto at = attributes.begin() + static_cast<std::ptrdiff_t>(range.location);
    attributes.erase(at, at + static_cast<std::ptrdiff_t>(range.length));
    attributes.insert(attributes.begin() + static_cast<std::ptrdiff_t>(range.location),
                      replacement.size(), inserted);
  }
};

AttributeDictionary colored(double red) {
  AttributeDictionary attributes;
  attributes.setObject(textrix::Color{red, 0, 0, 1}, textrix::kForegroundColorAttributeName);
  return attributes;
}

void check(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const AttributeDictionary palette[] = {AttributeDictionary(), colored(1), colored(0.5)};
  std::size_t used = 0;
  // A number from 0 to bound taken from the next byte; 0 once the bytes run out.
  const auto pick = [&](std::size_t bound) -> std::size_t {
    return used < size ? data[used++] % (bound + 1) : 0;
  };
  textrix::AttributedText text;
  ReferenceText model;
  while (used < size) {
    const std::size_t length = model.chars.size();
    const std::size_t start = pick(length);
    const Range range{start, pick(length - start)};
    const std::u16string piece = std::u16string(pick(3), u"ab-\n"[pick(3)]);
    switch (pick(4)) {
      case 0:
        text.replaceCharactersInRange(range, piece);
        model.replace(range, piece);
        break;
      case 1: {
        const AttributeDictionary& attributes = palette[pick(2)];
        text.insertString(piece, start, attributes);
        model.replace(Range{start, 0}, piece);
        std::fill_n(model.attributes.begin() + static_cast<std::ptrdiff_t>(start), piece.size(),
                    attributes);
        break;
      }
      case 2:
        text.setAttribute(textrix::Color{0.5, 0, 0, 1}, textrix::kForegroundColorAttributeName,
                          range);
        for (std::size_t i = range.location; i < range.end(); ++i) {
          model.attributes[i].setObject(textrix::Color{0.5, 0, 0, 1},
                                        textrix::kForegroundColorAttributeName);
        }
        break;
      case 3:
        text.replaceString(u"a-", u"X", true);
        for (std::size_t at = model.chars.find(u"a-"); at != std::u16string::npos;
             at = model.chars.find(u"a-", at + 1)) {
          model.replace(Range{at, 2}, u"X");
        }
        break;
      case 4:
        text.removeCharacters(u'b');
        for (std::size_t at = model.chars.find(u'b'); at != std::u16string::npos;
             at = model.chars.find(u'b', at)) {
          model.replace(Range{at, 1}, u"");
        }
        break;
    }
    check(text.string() == model.chars);
    for (std::size_t i = 0; i < text.length(); ++i) {
      check(text.attributesAtIndex(i) == model.attributes[i]);
    }
  }
  return 0;
}
