// SPDX-License-Identifier: MIT
#include "services/attachments_and_links.h"

#include <string>

namespace textrix {

void removeAttachments(AttributedText& text) {
  if (!text.containsAttachments()) return;
  const std::u16string& units = text.string();
  AttributedText::Rewriter out(text);
  for (const AttributedText::Run& run : text.runs()) {
    if (!run.attributes.find(kAttachmentAttributeName)) continue;
    // Adjacent attachment characters go with one edit.
    for (std::size_t i = run.range.location; i < run.range.end();) {
      if (units[i] != kAttachmentCharacter) {
        ++i;
        continue;
      }
      std::size_t end = i + 1;
      while (end < run.range.end() && units[end] == kAttachmentCharacter) ++end;
      out.replace(i, end - i, u"");
      i = end;
    }
  }
  if (out.edited()) text = out.finish();
}

void removeLinks(AttributedText& text) {
  text.beginEditing();
  const std::size_t length = text.length();
  for (std::size_t i = 0; i < length;) {
    Range range;
    const AttributeDictionary attributes = text.attributesAtIndex(i, &range, Range{i, length - i});
    if (range.length == 0) break;
    if (attributes.find(kLinkAttributeName)) {
      text.setAttribute(std::nullopt, kLinkAttributeName, range);
      text.setAttribute(std::nullopt, kUnderlineStyleAttributeName, range);
      text.setAttribute(std::nullopt, kForegroundColorAttributeName, range);
    }
    i = range.end();
  }
  text.endEditing();
}

}  // namespace textrix
