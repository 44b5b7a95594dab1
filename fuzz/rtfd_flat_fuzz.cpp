// SPDX-License-Identifier: MIT
// Reads arbitrary bytes as a flat RTFD package and as the rich text it holds. Reading must never
// crash, and a package that reads must write and read back as the same files and folders, nested
// folders included.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "rich/rtfd.h"

namespace {

bool sameFolder(const textrix::AttachmentFiles& filesA,
                const textrix::AttachmentDirectories& foldersA,
                const textrix::AttachmentFiles& filesB,
                const textrix::AttachmentDirectories& foldersB) {
  if (filesA.size() != filesB.size() || foldersA.size() != foldersB.size()) return false;
  for (auto i = filesA.begin(), j = filesB.begin(); i != filesA.end(); ++i, ++j) {
    if (i->first != j->first || *i->second != *j->second) return false;
  }
  for (auto i = foldersA.begin(), j = foldersB.begin(); i != foldersA.end(); ++i, ++j) {
    if (i->first != j->first || !sameFolder(i->second->files, i->second->directories,
                                            j->second->files, j->second->directories)) {
      return false;
    }
  }
  return true;
}

bool samePackage(const textrix::RtfdPackage& a, const textrix::RtfdPackage& b) {
  return a.rtf == b.rtf && sameFolder(a.attachments, a.directories, b.attachments, b.directories);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  const textrix::RichTextReading text = textrix::readRtfd(bytes);
  if (text.ok()) textrix::writeRtfd(text.text);
  const textrix::RtfdPackageReading reading = textrix::readFlatRtfdPackage(bytes);
  if (!reading.ok()) return 0;
  const textrix::RtfdPackageReading again =
      textrix::readFlatRtfdPackage(textrix::writeFlatRtfdPackage(reading.package));
  if (!again.ok() || !samePackage(reading.package, again.package)) std::abort();
  return 0;
}
