// SPDX-License-Identifier: MIT
// The RTF reader and writer: attributed text to and from the Rich Text Format that word processors
// and the pasteboard exchange.
//
// The codec covers what AttributedText carries: font family, size, bold and italic; foreground and
// background colour; underline and strikethrough with their styles, superscript, subscript and
// baseline offset, character spacing, capitals and hidden text; links (\field with HYPERLINK);
// paragraph alignment, indents, spacing, tab stops, direction, outline level and keeping; line and
// paragraph separators; every UTF-16 code unit; and attachments. RTF names an attachment of an
// RTFD package with a \NeXTGraphic group, whose file (or folder) comes from the package, and
// embeds a picture of any format in a \pict group; either keeps the sizes the document stated.
//
//   textrix::RichTextReading in = textrix::readRtf(bytes);
//   if (!in.ok()) report(in.error.message(), in.error.offset);
//   std::string out = textrix::writeRtf(in.text);
//
// Characters and control words correspond one to one: \par is U+000A, \line U+2028, \tab U+0009,
// \page U+000C; every other character outside printable ASCII is written as \uN.
//
// What a word processor's RTF holds beyond that travels as Markup (text/attributes.h) on the
// characters it belongs to, and is written back where it was: the lists and the headers and footers
// at the head of the document, footnotes, bookmarks, comments, shapes and the literal numbers of
// list items before the character that follows them, a table row's layout before its first
// character, \cell and \row on the tab and line end they read as (kStructureAttributeName), a list
// item's and a table cell's paragraph words, and the instruction of a field other than a link
// around its result. A service that changes characters inside a table or a field changes only them;
// one that removes the character a piece of markup is on removes the markup with it.
#pragma once

#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rich/rich_text_error.h"
#include "text/attributed_text.h"

namespace textrix {

// The attributes that carry RTF markup, each a Markup.
// On every character: what sat at the head of the document (list tables, headers, footers).
inline constexpr std::string_view kRtfDocumentMarkupAttributeName = "TextrixRtfDocument";
// Written before the characters: what sat in the text before the first of them.
inline constexpr std::string_view kRtfMarkupBeforeAttributeName = kMarkupBeforeAttributeName;
// Written after the characters: what followed the last character of the document.
inline constexpr std::string_view kRtfMarkupAfterAttributeName = "TextrixRtfAfter";
// Written with the paragraph's own words: the list it is an item of, the table it is a cell of.
inline constexpr std::string_view kRtfParagraphMarkupAttributeName = "TextrixRtfParagraph";
// Written around the characters: the instruction of the field whose result they are.
inline constexpr std::string_view kRtfFieldAttributeName = "TextrixRtfField";

// The page layout of a document, in points, as far as the RTF states it (\paperw, \paperh,
// \margl, \margr, \margt, \margb). An absent value was not stated.
struct DocumentAttributes {
  std::optional<double> paperWidth;
  std::optional<double> paperHeight;
  std::optional<double> leftMargin;
  std::optional<double> rightMargin;
  std::optional<double> topMargin;
  std::optional<double> bottomMargin;

  bool operator==(const DocumentAttributes&) const = default;
};

// The result of reading rich text: the text and its document attributes, or the error.
struct RichTextReading {
  AttributedText text;
  DocumentAttributes documentAttributes;
  RichTextError error;

  bool ok() const { return error.kind == RichTextErrorKind::none; }
};

// The files of an RTFD package other than its TXT.rtf: name to bytes. Names are plain file names,
// never paths.
using AttachmentFiles = std::map<std::string, std::shared_ptr<const std::string>, std::less<>>;
// The folders of an RTFD package other than its own: name to the folder's files.
using AttachmentDirectories =
    std::map<std::string, std::shared_ptr<const AttachedDirectory>, std::less<>>;

// Reads RTF bytes. A \NeXTGraphic group becomes one attachment character whose Attachment holds the
// named file from attachments, or the named folder from directories (empty bytes when neither has
// it), with the \width and \height the group states. A \pict group becomes one named image1.png,
// image2.wmf, ... by its format, with the picture's bytes, format and stated sizes. Never reads
// outside the bytes; fails only as RichTextErrorKind says, and then the text is empty.
RichTextReading readRtf(std::string_view rtf, const AttachmentFiles* attachments = nullptr,
                        const AttachmentDirectories* directories = nullptr);

// The RTF text of an attributed text and the attachment files it names.
struct RtfWriting {
  std::string rtf;
  AttachmentFiles attachments;        // one file per attachment (characters that carry the same
                                      // attachment share it), under the name the RTF uses
  AttachmentDirectories directories;  // the same for attached folders
};

// Writes an attributed text as RTF, with the page layout when given. Attachment characters are
// written as \NeXTGraphic groups naming files (or folders) that the result holds; names are made
// unique and safe as file names. A group states the attachment's size as it was read, else as the
// picture's desired size, else from a PNG's pixels.
RtfWriting writeRtfWithAttachments(const AttributedText& text,
                                   const DocumentAttributes* documentAttributes = nullptr);

// Writes an attributed text as RTF alone. A picture that came from a \pict group is written back as
// one, with its bytes in hexadecimal, its format and its sizes; other attachment characters are
// still written as \NeXTGraphic groups, but their files are dropped.
std::string writeRtf(const AttributedText& text,
                     const DocumentAttributes* documentAttributes = nullptr);

}  // namespace textrix
