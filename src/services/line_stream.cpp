// SPDX-License-Identifier: MIT
#include "services/line_stream.h"

#include <cstring>
#include <utility>
#include <variant>

#include "services/textrix.h"
#include "text/encodings.h"

namespace textrix {

LineStream::LineStream(Textrix& provider, const ServiceEntry& entry)
    : provider_(provider), entry_(entry) {}

namespace {

// Makes buffer at least size long, keeping what it holds; it never shrinks.
template <class Buffer>
void growTo(Buffer& buffer, std::size_t size) {
  if (buffer.size() < size) buffer.resize(size);
}

}  // namespace

std::optional<std::string_view> LineStream::transform(std::string_view lines) {
  if (firstInvalidUtf8Offset(lines) != Utf8Decoding::kValid) return std::nullopt;
  if (entry_.utf8Transform != nullptr) {
    utf8_ = entry_.utf8Transform(lines);
    return utf8_;
  }
  growTo(text_, lines.size());  // a unit a byte at most
  text_.resize(decodeValidUtf8(lines, text_.data()));
  // A service whose lines are independent has a result for any text; should one have none, its
  // lines go out as they came rather than be lost.
  if (const auto* plain = std::get_if<PlainTransform>(&entry_.transform)) {
    const std::optional<std::u16string> result = (*plain)(text_, provider_);
    return encoded(result ? *result : text_);
  }
  ServiceText edited(std::move(text_));
  std::get<TextTransform>(entry_.transform)(edited, provider_);
  text_ = std::get<std::u16string>(std::move(edited));
  return encoded(text_);
}

std::string_view LineStream::encoded(std::u16string_view text) {
  growTo(utf8_, 3 * text.size());
  return std::string_view(utf8_.data(), encodeUtf8(text, utf8_.data()));
}

namespace {

// Where the complete lines of bytes end: just past the last line feed at or after from, or none.
std::optional<std::size_t> endOfLastLine(std::string_view bytes, std::size_t from) {
  const std::size_t feed = bytes.rfind('\n');
  if (feed == std::string_view::npos || feed < from) return std::nullopt;
  return feed + 1;
}

}  // namespace

StreamStatus streamLines(LineStream& stream, const ByteSource& read, const ByteSink& write,
                         std::size_t blockBytes) {
  std::string buffer(blockBytes, '\0');
  std::size_t held = 0;  // the bytes of an unfinished line, at the start of buffer
  const auto emit = [&](std::size_t length) {
    const std::optional<std::string_view> result =
        stream.transform(std::string_view(buffer.data(), length));
    if (!result) return StreamStatus::invalidUtf8;
    return write(*result) ? StreamStatus::done : StreamStatus::writeFailed;
  };
  for (;;) {
    if (held == buffer.size()) buffer.resize(2 * buffer.size());  // a line longer than a block
    const std::optional<std::size_t> got = read(std::span(buffer).subspan(held));
    if (!got) return StreamStatus::readFailed;
    const std::size_t filled = held + *got;
    if (*got == 0) return filled == 0 ? StreamStatus::done : emit(filled);
    const std::optional<std::size_t> linesEnd =
        endOfLastLine(std::string_view(buffer.data(), filled), held);
    if (!linesEnd) {
      held = filled;
      continue;
    }
    if (const StreamStatus status = emit(*linesEnd); status != StreamStatus::done) return status;
    held = filled - *linesEnd;
    std::memmove(buffer.data(), buffer.data() + *linesEnd, held);
  }
}

}  // namespace textrix
