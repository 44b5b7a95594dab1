// SPDX-License-Identifier: MIT
// The attachment and link removal services, which clean rich text: remove attachments deletes the
// embedded pictures and files, remove links turns hyperlinks into ordinary text. Plain text has
// neither, and the services give it back unchanged.
//
//   textrix::AttributedText text = ...;   // "see here.", "here" a blue, underlined link
//   textrix::removeLinks(text);           // "see here.", no link, underline or colour on "here"
//   textrix::removeAttachments(text);     // every attachment character gone, the rest kept
//
// Both edit the text in place in one pass over its characters and runs.
#pragma once

#include "text/attributed_text.h"

namespace textrix {

// Deletes every attachment character (U+FFFC) that carries an attachment; a U+FFFC without one,
// and an attachment on any other character, stay. Text without attachments is not touched.
void removeAttachments(AttributedText& text);

// Removes the link, and with it the underline and the text colour, over the characters of every
// link; underline and colour elsewhere stay.
void removeLinks(AttributedText& text);

}  // namespace textrix
