// Reads arbitrary bytes as a flat RTFD package and as the rich text it holds. Reading must never
// crash, and a package that reads must write and read back as the same files.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string_view>

#include "rich/rtfd.h"

namespace {

bool samePackage(const textrix::RtfdPackage& a, const textrix::RtfdPackage& b) {
  if (a.rtf != b.rtf || a.attachments.size() != b.attachments.size()) return false;
  for (auto i = a.attachments.begin(), j = b.attachments.begin(); i != a.attachments.end();
       ++i, ++j) {
    if (i->first != j->first || *i->second != *j->second) return false;
  }
  return true;
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  const std::string_view bytes(reinterpret_cast<const char*>(data), size);
  textrix::readRtfd(bytes);
  const textrix::RtfdPackageReading reading = textrix::readFlatRtfdPackage(bytes);
  if (!reading.ok()) return 0;
  const textrix::RtfdPackageReading again =
      textrix::readFlatRtfdPackage(textrix::writeFlatRtfdPackage(reading.package));
  if (!again.ok() || !samePackage(reading.package, again.package)) std::abort();
  return 0;
}
