// SPDX-License-Identifier: MIT
// The errors of reading and writing rich text, shared by the RTF reader and the RTFD packages so
// that a caller reports either through one type: what went wrong and the byte where it did.
//
//   textrix::RichTextReading in = textrix::readRtf(bytes);
//   if (!in.ok()) report(in.error.message(), in.error.offset);
#pragma once

#include <cstddef>
#include <string>

namespace textrix {

// Why bytes could not be read as rich text.
enum class RichTextErrorKind {
  none,
  notRtf,          // the bytes do not begin with "{\rtf"
  unclosedGroup,   // the bytes end inside a group
  tooDeep,         // groups nest deeper than the reader allows
  notRtfd,         // the bytes are not a flat RTFD package
  truncatedRtfd,   // a length or size in the package points past its end
  malformedRtfd,   // a record does not end where its size says, or an entry is inconsistent
  missingText,     // the package holds no TXT.rtf
  unreadableFile,  // a file of an RTFD bundle could not be read or written
};

struct RichTextError {
  RichTextErrorKind kind = RichTextErrorKind::none;
  std::size_t offset = 0;  // byte offset where reading stopped

  // A short English description of the kind, for logs and the command's messages.
  std::string message() const;
};

}  // namespace textrix
