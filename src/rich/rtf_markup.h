// SPDX-License-Identifier: MIT
// The font and colour numbers inside RTF markup that travels as Markup: the reader numbers them
// by the piece's own lists as it takes the piece, and the writer numbers them by the tables it
// writes, both through renumberReferences.
#pragma once

#include <functional>
#include <string>
#include <string_view>

namespace textrix::detail {

// The code with the number of every word that names a font (\f, \af) passed through font and of
// every word that names a colour (\cf, \cb, \highlight, a cell's or border's colour, ...) through
// color; the rest of the code, \bin data included, is kept byte for byte.
std::string renumberReferences(std::string_view code, const std::function<int(int)>& font,
                               const std::function<int(int)>& color);

// The code with \ucN set right after the group's first control word, where the group holds \u
// and unicodeSkip is not 0: the writer states \uc0 for the document, and the fallback characters
// after each \u would otherwise show.
std::string withUnicodeSkip(std::string_view group, int unicodeSkip);

// Whether code ends with a control word, which text after it must be kept apart from.
bool endsWithControlWord(std::string_view code);

}  // namespace textrix::detail
