// SPDX-License-Identifier: MIT
// Reads arbitrary bytes as RTF. The reader must never crash, and a text it reads must come back
// the same through the writer and the reader, both as a package and as RTF alone: same
// characters, same runs, same attribute values. In a package, attachments are compared by their
// bytes or folder object, as the writer may rename them to keep their file names unique and safe,
// and a picture becomes a file of it; written alone, a picture must come back with the same bytes,
// format and sizes. Markup (footnotes, tables, lists, fields) must come back saying the same.

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <variant>
#include <vector>

#include "rich/rtf.h"

namespace {

enum class Form { package, alone };

bool sameAttachment(const textrix::Attachment& a, const textrix::Attachment& b, Form form) {
  if (form == Form::package) return a.contents == b.contents && a.directory == b.directory;
  const bool sameBytes = (a.contents ? *a.contents : "") == (b.contents ? *b.contents : "");
  const bool picture = a.format != textrix::PictureFormat::none;
  return sameBytes && a.format == b.format && a.formatParameter == b.formatParameter &&
         (!picture || a.size == b.size);
}

bool sameValue(const textrix::AttributeValue& a, const textrix::AttributeValue& b, Form form) {
  // Markup read again sits at another place in the written document, but must say the same.
  const auto* firstMarkup = std::get_if<textrix::Markup>(&a);
  const auto* secondMarkup = std::get_if<textrix::Markup>(&b);
  if (firstMarkup != nullptr && secondMarkup != nullptr) {
    return firstMarkup->code == secondMarkup->code && firstMarkup->fonts == secondMarkup->fonts &&
           firstMarkup->colors == secondMarkup->colors;
  }
  const auto* first = std::get_if<textrix::Attachment>(&a);
  const auto* second = std::get_if<textrix::Attachment>(&b);
  if (first != nullptr && second != nullptr) return sameAttachment(*first, *second, form);
  return a == b;
}

bool sameAttributes(const textrix::AttributeDictionary& a, const textrix::AttributeDictionary& b,
                    Form form) {
  if (a.size() != b.size()) return false;
  for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
    if (i->name != j->name || !sameValue(i->value, j->value, form)) return false;
  }
  return true;
}

bool sameText(const textrix::AttributedText& a, const textrix::AttributedText& b, Form form) {
  if (a.string() != b.string()) return false;
  const std::vector<textrix::AttributedText::Run> first = a.runs();
  const std::vector<textrix::AttributedText::Run> second = b.runs();
  if (first.size() != second.size()) return false;
  for (std::size_t i = 0; i < first.size(); ++i) {
    if (!(first[i].range == second[i].range) ||
        !sameAttributes(first[i].attributes, second[i].attributes, form)) {
      return false;
    }
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const textrix::RichTextReading reading =
      textrix::readRtf(std::string_view(reinterpret_cast<const char*>(data), size));
  if (!reading.ok()) return 0;
  const textrix::RtfWriting writing =
      textrix::writeRtfWithAttachments(reading.text, &reading.documentAttributes);
  const textrix::RichTextReading again =
      textrix::readRtf(writing.rtf, &writing.attachments, &writing.directories);
  if (!again.ok() || !sameText(again.text, reading.text, Form::package) ||
      !(again.documentAttributes == reading.documentAttributes)) {
    std::abort();
  }
  const textrix::RichTextReading alone =
      textrix::readRtf(textrix::writeRtf(reading.text, &reading.documentAttributes));
  if (!alone.ok() || !sameText(alone.text, reading.text, Form::alone)) std::abort();
  return 0;
}
