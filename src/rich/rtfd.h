// SPDX-License-Identifier: MIT
// RTFD: rich text with attachments, as a package of files: TXT.rtf and one file (or folder, such as
// another document's package) per attachment.
//
// The package has two forms. The directory form is a folder holding those files. The flat form is
// the pasteboard's single-file serialization of that folder (all integers 32-bit little-endian):
//
//   "rtfd", 0, 3 (a directory), then the directory: entry count N; N names, each as (length,
//   UTF-8 bytes); N record sizes, each counting the record's 4-byte type; N records. A record is
//   type 1 = data: (length, bytes), where a length of 0x80000000 is followed by the real length, a
//   padding length and that many zero bytes before the data; or type 3 = a nested directory.
//
// Names ".", "__@PreferredName@__" and "__@UTF8PreferredName@__" are metadata, not files. A reader
// checks every length against the bytes left, that each record ends where its size says, and a
// nesting bound, and never takes a name as a path. Attached folders are kept, with their files and
// folders, in both forms.
//
//   textrix::RichTextReading in = textrix::readRtfd(flatBytes);
//   std::string out = textrix::writeRtfd(in.text);
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

#include "rich/rtf.h"

namespace textrix {

// The files of a package: its RTF text and its attachments.
struct RtfdPackage {
  std::string rtf;  // the bytes of TXT.rtf
  AttachmentFiles attachments;
  AttachmentDirectories directories = {};
};

struct RtfdPackageReading {
  RtfdPackage package;
  RichTextError error;

  bool ok() const { return error.kind == RichTextErrorKind::none; }
};

// How deep directories may nest inside a flat package; deeper is RichTextErrorKind::tooDeep.
inline constexpr int kMaxRtfdNesting = 16;

// Reads the flat form: TXT.rtf, the files, and the nested directories with what they hold.
// Metadata entries are skipped, and so is a directory named TXT.rtf. A name given twice in one
// directory, a name that is not a plain file name, bytes after the directory or a record of another
// type are malformedRtfd; a package without TXT.rtf is missingText. On failure the package is empty
// and the error holds the offset of the field at fault. Linear in the bytes; a count or length
// cannot make it allocate more than the bytes hold.
RtfdPackageReading readFlatRtfdPackage(std::string_view bytes);
// Writes the flat form: TXT.rtf first, then the attachments in name order, then the directories in
// name order (each the same way), unpadded; a null attachment is an empty file. Throws
// std::invalid_argument for an attachment name that the reader refuses (empty, ".", "..", with "/"
// or NUL, metadata, TXT.rtf at the top, or a name both a file and a directory), and
// std::length_error for a record or name of 2 GiB or more, whose length the form cannot hold below
// its padding mark.
std::string writeFlatRtfdPackage(const RtfdPackage& package);

// Reads the directory form: TXT.rtf, the regular files whose names are safe, and the folders with
// what they hold, to kMaxRtfdNesting levels (deeper is tooDeep). Symbolic links are not followed,
// so no name leads out of the directory. A directory or file that cannot be read is
// unreadableFile; a directory without TXT.rtf is missingText.
RtfdPackageReading readRtfdBundle(const std::filesystem::path& directory);
// Writes the directory form, creating the directory and its parents, and the attached folders in
// it; each file is written under a temporary name and then renamed, attachments before TXT.rtf,
// so a failure leaves no half-written file. An unsafe attachment name (as for the flat form) or a
// failed write is unreadableFile, with offset 0; files already written stay.
RichTextError writeRtfdBundle(const RtfdPackage& package, const std::filesystem::path& directory);

// Attributed text to and from the flat form.
RichTextReading readRtfd(std::string_view flatBytes);
std::string writeRtfd(const AttributedText& text,
                      const DocumentAttributes* documentAttributes = nullptr);

// Attributed text to and from the directory form.
RichTextReading readRtfdDirectory(const std::filesystem::path& directory);
RichTextError writeRtfdDirectory(const AttributedText& text, const std::filesystem::path& directory,
                                 const DocumentAttributes* documentAttributes = nullptr);

}  // namespace textrix
