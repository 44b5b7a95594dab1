// SPDX-License-Identifier: MIT
// Service pasteboards as a requesting application fills them, and the text a service wrote back.
#pragma once

#include <optional>
#include <string>

#include "rich/rtf.h"
#include "rich/rtfd.h"
#include "runtime/pasteboard.h"
#include "text/attributed_text.h"

namespace textrix::testing_pasteboards {

// A request with the selection as plain text.
inline ServicePasteboard plainPasteboard(std::u16string text) {
  ServicePasteboard pasteboard("request");
  pasteboard.declareTypes({std::string(kStringPboardType)});
  pasteboard.setString(std::move(text), kStringPboardType);
  return pasteboard;
}

// A request with the selection as RTF, or as RTFD when it holds attachments.
inline ServicePasteboard richPasteboard(const AttributedText& text) {
  ServicePasteboard pasteboard("request");
  const bool rtfd = text.containsAttachments();
  const std::string_view type = rtfd ? kRTFDPboardType : kRTFPboardType;
  pasteboard.declareTypes({std::string(type)});
  pasteboard.setData(rtfd ? writeRtfd(text) : writeRtf(text), type);
  return pasteboard;
}

// A request with the bytes under the one type.
inline ServicePasteboard pasteboardWith(std::string_view type, std::string bytes) {
  ServicePasteboard pasteboard("request");
  pasteboard.declareTypes({std::string(type)});
  pasteboard.setData(std::move(bytes), type);
  return pasteboard;
}

// The rich text written back, RTFD or RTF; none when neither was written or it does not read.
inline std::optional<AttributedText> richResult(const ServicePasteboard& pasteboard) {
  if (auto rtfd = pasteboard.dataForType(kRTFDPboardType)) {
    RichTextReading reading = readRtfd(*rtfd);
    if (reading.ok()) return std::move(reading.text);
  }
  if (auto rtf = pasteboard.dataForType(kRTFPboardType)) {
    RichTextReading reading = readRtf(*rtf);
    if (reading.ok()) return std::move(reading.text);
  }
  return std::nullopt;
}

}  // namespace textrix::testing_pasteboards
