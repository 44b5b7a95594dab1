// SPDX-License-Identifier: MIT
// The fields of RTF text: a \field group carries an instruction (\fldinst) and the text shown for
// it (\fldrslt). The reader keeps only HYPERLINK fields, whose result text becomes a link; the
// instruction is gathered as text first because it may be split over groups and escapes.
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "text/attributes.h"

namespace textrix::detail {

// One \field of the document; groups refer to it by its index among the document's fields.
struct Field {
  std::u16string instruction;
  std::optional<std::u16string> url;  // set when the instruction is a HYPERLINK
  bool parsed = false;                // the instruction is parsed once, at the first \fldrslt
  std::string instructionGroups;      // the \fldinst groups as written, kept for other fields
  std::optional<Markup> markup;       // made of them at the first \fldrslt of a field kept whole
  std::size_t start = 0;              // the offset of the field's group
};

// The URL of a HYPERLINK field instruction (the target, then "#" and the \l anchor when given),
// or none for other fields.
std::optional<std::u16string> hyperlinkUrl(std::u16string_view instruction);

}  // namespace textrix::detail
