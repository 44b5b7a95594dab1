// SPDX-License-Identifier: MIT
#include "rich/rich_text_error.h"

namespace textrix {

std::string RichTextError::message() const {
  switch (kind) {
    case RichTextErrorKind::none:
      return "no error";
    case RichTextErrorKind::notRtf:
      return "the data is not RTF";
    case RichTextErrorKind::unclosedGroup:
      return "the RTF ends inside an unclosed group";
    case RichTextErrorKind::tooDeep:
      return "the RTF nests groups too deeply";
    case RichTextErrorKind::notRtfd:
      return "the data is not a flat RTFD package";
    case RichTextErrorKind::truncatedRtfd:
      return "the RTFD package is truncated";
    case RichTextErrorKind::malformedRtfd:
      return "the RTFD package is malformed";
    case RichTextErrorKind::missingText:
      return "the RTFD package holds no TXT.rtf";
    case RichTextErrorKind::unreadableFile:
      return "a file of the RTFD bundle could not be read or written";
  }
  return "unknown error";
}

}  // namespace textrix
