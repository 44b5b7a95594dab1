// SPDX-License-Identifier: MIT
// The code pages of RTF text: which legacy encoding \ansicpg, \fcharset and \cpg select, and the
// ICU converters that decode bytes written as \'xx or raw 8-bit bytes. The reader collects a run of
// such bytes and decodes it in one conversion, since a double-byte character may be split over two
// \'xx escapes and converting byte by byte would cost a call per byte.
#pragma once

#include <unicode/ucnv.h>

#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace textrix::detail {

// What bytes are when the document names no code page, or one that no converter opens.
inline constexpr int kDefaultCodePage = 1252;

// The code page of a font's \fcharset; 0 means the document's (\ansicpg).
int codePageOfCharset(int charset);

// Whether a byte of codePage may begin a two-byte character, so text cannot be split at any byte.
bool isDoubleByteCodePage(int codePage);

struct ConverterCloser {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

// Opens converters on first use and keeps them, so a document pays once per code page.
class ConverterCache {
 public:
  // The converter of codePage, else of the default code page; null when neither opens.
  UConverter* converterFor(int codePage);

 private:
  std::map<int, Converter> converters_;
};

// Appends the bytes decoded by converter; invalid bytes become substitution characters.
void decodeBytes(UConverter* converter, std::string_view bytes, std::u16string& out);

}  // namespace textrix::detail
