// Reads arbitrary bytes as RTF. The reader must never crash, and a text it reads must come back
// the same through the writer and the reader: same characters, same runs, same attribute values.
// Attachments are compared by their bytes object, as the writer may rename them to keep their
// file names unique and safe.

#include <cstdint>
#include <cstdlib>
#include <string_view>
#include <variant>
#include <vector>

#include "rich/rtf.h"

namespace {

bool sameValue(const textrix::AttributeValue& a, const textrix::AttributeValue& b) {
  const auto* first = std::get_if<textrix::Attachment>(&a);
  const auto* second = std::get_if<textrix::Attachment>(&b);
  if (first != nullptr && second != nullptr) return first->contents == second->contents;
  return a == b;
}

bool sameAttributes(const textrix::AttributeDictionary& a, const textrix::AttributeDictionary& b) {
  if (a.size() != b.size()) return false;
  for (auto i = a.begin(), j = b.begin(); i != a.end(); ++i, ++j) {
    if (i->name != j->name || !sameValue(i->value, j->value)) return false;
  }
  return true;
}

bool sameText(const textrix::AttributedText& a, const textrix::AttributedText& b) {
  if (a.string() != b.string()) return false;
  const std::vector<textrix::AttributedText::Run> first = a.runs();
  const std::vector<textrix::AttributedText::Run> second = b.runs();
  if (first.size() != second.size()) return false;
  for (std::size_t i = 0; i < first.size(); ++i) {
    if (!(first[i].range == second[i].range) ||
        !sameAttributes(first[i].attributes, second[i].attributes)) {
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
  const textrix::RichTextReading again = textrix::readRtf(writing.rtf, &writing.attachments);
  if (!again.ok() || !sameText(again.text, reading.text) ||
      !(again.documentAttributes == reading.documentAttributes)) {
    std::abort();
  }
  return 0;
}
