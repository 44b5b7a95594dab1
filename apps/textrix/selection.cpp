#include "selection.h"

#include <cstdio>

#include "text/encodings.h"

namespace textrix::command {

std::optional<std::string_view> pasteboardTypeNamed(std::string_view name) {
  if (name == "plain") return kStringPboardType;
  if (name == "rtf") return kRTFPboardType;
  if (name == "rtfd") return kRTFDPboardType;
  return std::nullopt;
}

std::optional<std::string> readInput(std::optional<std::string_view> file) {
  const bool standardInput = !file || *file == "-";
  std::FILE* stream = standardInput ? stdin : std::fopen(std::string(*file).c_str(), "rb");
  if (!stream) return std::nullopt;
  std::string bytes;
  char buffer[1 << 16];
  std::size_t got;
  while ((got = std::fread(buffer, 1, sizeof buffer, stream)) > 0) bytes.append(buffer, got);
  const bool failed = std::ferror(stream);
  if (!standardInput) std::fclose(stream);
  if (failed) return std::nullopt;
  return bytes;
}

std::string_view detectType(std::string_view bytes) {
  if (bytes.starts_with(std::string_view("rtfd\0\0\0\0", 8))) return kRTFDPboardType;
  if (bytes.starts_with("{\\rtf")) return kRTFPboardType;
  return kStringPboardType;
}

std::string putSelection(std::string bytes, std::string_view type, ServicePasteboard& pasteboard) {
  pasteboard.declareTypes({std::string(type)});
  if (type != kStringPboardType) {
    pasteboard.setData(std::move(bytes), type);
    return {};
  }
  Utf8Decoding decoded = decodeUtf8(bytes);
  if (!decoded.ok()) return "invalid UTF-8 at byte " + std::to_string(decoded.errorOffset);
  pasteboard.setString(std::move(decoded.text), type);
  return {};
}

void writeResult(const ServicePasteboard& pasteboard) {
  if (pasteboard.types().empty()) return;
  const std::string& type = pasteboard.types().front();
  std::string bytes;
  if (auto string = pasteboard.stringForType(type)) {
    bytes = encodeUtf8(*string);
  } else if (auto data = pasteboard.dataForType(type)) {
    bytes = *data;
  }
  std::fwrite(bytes.data(), 1, bytes.size(), stdout);
}

}  // namespace textrix::command
