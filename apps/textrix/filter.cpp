// SPDX-License-Identifier: MIT
#include "filter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "runtime/localization.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

// The first block read ahead: enough to tell the type, and the whole of most inputs.
constexpr std::size_t kAheadBytes = std::size_t{1} << 16;
// Plain text is read and decoded in blocks of this size, which stay in the processor's caches.
constexpr std::size_t kTextBlockBytes = std::size_t{1} << 18;

// The length of the start of bytes that holds whole UTF-8 sequences only: a sequence that the end
// of bytes cuts short is left for the next block.
std::size_t wholeSequencesLength(std::string_view bytes) {
  const std::size_t size = bytes.size();
  for (std::size_t back = 1; back <= std::min<std::size_t>(3, size); ++back) {
    const auto byte = static_cast<unsigned char>(bytes[size - back]);
    if ((byte & 0xC0) == 0x80) continue;  // a continuation byte
    const std::size_t length = byte >= 0xF0 ? 4 : byte >= 0xE0 ? 3 : byte >= 0xC0 ? 2 : 1;
    return length > back ? size - back : size;
  }
  return size;
}

// Where descriptor stands in a regular file, else none.
std::optional<long long> positionInRegularFile(int descriptor) {
  struct stat status;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  const off_t position = lseek(descriptor, 0, SEEK_CUR);
  if (position < 0) return std::nullopt;
  return position;
}

// The bytes still to come from descriptor when it reads a regular file, else none.
std::optional<std::size_t> remainingBytesOfFile(int descriptor) {
  const std::optional<long long> position = positionInRegularFile(descriptor);
  struct stat status;
  if (!position || fstat(descriptor, &status) != 0 || *position > status.st_size) {
    return std::nullopt;
  }
  return static_cast<std::size_t>(status.st_size - *position);
}

// All bytes of the descriptor after the ones already in bytes. A regular file is read in one go
// into a buffer of its size; other inputs, and a file that grew meanwhile, in doubling steps.
std::optional<std::string> readAll(int descriptor, std::string bytes) {
  std::size_t filled = bytes.size();
  const std::optional<std::size_t> expected = remainingBytesOfFile(descriptor);
  // One byte more than the file holds shows without a second call whether the file grew.
  bytes.resize(expected ? filled + *expected + 1 : std::max(kAheadBytes, 2 * filled));
  while (true) {
    const std::optional<std::size_t> got =
        readUntilFull(descriptor, std::span(bytes).subspan(filled));
    if (!got) return std::nullopt;
    filled += *got;
    if (filled < bytes.size()) {
      bytes.resize(filled);
      return bytes;
    }
    bytes.resize(std::max(kAheadBytes, 2 * bytes.size()));
  }
}

// Writes text as UTF-8 piece by piece through one small buffer, never cutting a surrogate pair.
bool writeUtf8(std::u16string_view text) {
  constexpr std::size_t kPieceUnits = std::size_t{1} << 16;
  std::string buffer(3 * kPieceUnits, '\0');
  while (!text.empty()) {
    std::size_t units = std::min(kPieceUnits, text.size());
    if (units < text.size() && (text[units - 1] & 0xFC00) == 0xD800) --units;  // a lead surrogate
    const std::size_t bytes = encodeUtf8(text.substr(0, units), buffer.data());
    if (!writeOut(std::string_view(buffer).substr(0, bytes))) return false;
    text.remove_prefix(units);
  }
  return true;
}

// Writes the content of the pasteboard's first type; false (errno set) when standard output fails.
bool writeFirstType(const ServicePasteboard& pasteboard) {
  if (std::fflush(stdout) != 0) return false;
  if (pasteboard.types().empty()) return true;
  const std::string& type = pasteboard.types().front();
  if (auto string = pasteboard.stringForType(type)) return writeUtf8(*string);
  if (auto data = pasteboard.dataForType(type)) return writeOut(*data);
  return true;
}

}  // namespace

std::optional<std::string_view> pasteboardTypeNamed(std::string_view name) {
  if (name == "plain") return kStringPboardType;
  if (name == "rtf") return kRTFPboardType;
  if (name == "rtfd") return kRTFDPboardType;
  return std::nullopt;
}

SelectionInput::~SelectionInput() {
  if (ownsDescriptor_) close(descriptor_);
}

std::optional<CommandError> SelectionInput::open(std::optional<std::string_view> file) {
  if (!file || *file == "-") {
    descriptor_ = STDIN_FILENO;
  } else {
    name_ = *file;
    descriptor_ = ::open(name_.c_str(), O_RDONLY | O_CLOEXEC);
    if (descriptor_ < 0) return readError();
    ownsDescriptor_ = true;
  }
  start_ = positionInRegularFile(descriptor_);
  ahead_.resize(kAheadBytes);
  const std::optional<std::size_t> got = readUntilFull(descriptor_, ahead_);
  if (!got) return readError();
  ahead_.resize(*got);
  aheadIsAll_ = *got < kAheadBytes;
  return std::nullopt;
}

std::optional<std::size_t> SelectionInput::remainingBytes() const {
  const std::size_t ahead = ahead_.size() - aheadTaken_;
  if (aheadIsAll_) return ahead;
  const std::optional<std::size_t> inFile = remainingBytesOfFile(descriptor_);
  if (!inFile) return std::nullopt;
  return ahead + *inFile;
}

std::optional<std::size_t> SelectionInput::read(std::span<char> buffer) {
  const std::size_t fromAhead = std::min(buffer.size(), ahead_.size() - aheadTaken_);
  std::memcpy(buffer.data(), ahead_.data() + aheadTaken_, fromAhead);
  aheadTaken_ += fromAhead;
  if (fromAhead == buffer.size() || aheadIsAll_) return fromAhead;
  const std::optional<std::size_t> got = readUntilFull(descriptor_, buffer.subspan(fromAhead));
  if (!got) return std::nullopt;
  return fromAhead + *got;
}

std::optional<CommandError> SelectionInput::readAll(std::string& bytes) {
  std::string start = ahead_.substr(aheadTaken_);
  aheadTaken_ = ahead_.size();
  std::optional<std::string> all =
      aheadIsAll_ ? std::move(start) : textrix::command::readAll(descriptor_, std::move(start));
  if (!all) return readError();
  bytes = std::move(*all);
  return std::nullopt;
}

bool SelectionInput::rewind() {
  if (!start_ || lseek(descriptor_, static_cast<off_t>(*start_), SEEK_SET) < 0) return false;
  // The bytes read ahead come again from the file.
  aheadTaken_ = 0;
  ahead_.clear();
  aheadIsAll_ = false;
  return true;
}

CommandError SelectionInput::readError() const {
  const std::string reason = std::strerror(errno);
  return CommandError{ErrorKind::input, localizedFormat("cannot read {0}: {1}", {name_, reason})};
}

void writePanel(std::string_view title, std::string_view message) {
  const std::string panel = std::string(title) + "\n" + std::string(message);
  std::fwrite(panel.data(), 1, panel.size(), stdout);
}

std::string_view detectType(std::string_view bytes) {
  if (bytes.starts_with(std::string_view("rtfd\0\0\0\0", 8))) return kRTFDPboardType;
  if (bytes.starts_with("{\\rtf")) return kRTFPboardType;
  return kStringPboardType;
}

CommandError invalidUtf8At(std::size_t offset) {
  return {ErrorKind::input, localizedFormat("invalid UTF-8 at byte {0}", {std::to_string(offset)})};
}

std::optional<CommandError> readUtf8Blocks(SelectionInput& input, const BlockVisitor& read,
                                           const BlockVisitor& checked, std::size_t blockBytes) {
  std::string buffer(blockBytes, '\0');
  std::size_t pending = 0;  // bytes of a sequence cut short, at the start of buffer
  std::size_t offset = 0;   // of the start of buffer in the input
  for (;;) {
    const std::optional<std::size_t> got =
        input.read(std::span(buffer).subspan(pending, blockBytes - pending));
    if (!got) return input.readError();
    const std::string_view bytes(buffer.data(), pending + *got);
    if (read) {
      if (std::optional<CommandError> error = read(bytes.substr(pending))) return error;
    }
    const bool end = *got == 0;
    const std::string_view whole =
        bytes.substr(0, end ? bytes.size() : wholeSequencesLength(bytes));
    if (const std::size_t invalid = firstInvalidUtf8Offset(whole);
        invalid != Utf8Decoding::kValid) {
      return invalidUtf8At(offset + invalid);
    }
    if (checked) {
      if (std::optional<CommandError> error = checked(whole)) return error;
    }
    if (end) return std::nullopt;
    offset += whole.size();
    pending = bytes.size() - whole.size();
    std::memmove(buffer.data(), buffer.data() + whole.size(), pending);
  }
}

std::optional<CommandError> readSelection(SelectionInput& input, std::string_view type,
                                          ServicePasteboard& pasteboard) {
  pasteboard.declareTypes({std::string(type)});
  if (type != kStringPboardType) {
    std::string bytes;
    if (std::optional<CommandError> error = input.readAll(bytes)) return error;
    pasteboard.setData(std::move(bytes), type);
    return std::nullopt;
  }
  std::u16string text;
  reserveText(text, input.remainingBytes().value_or(0));  // a unit a byte at most
  const BlockVisitor decode = [&text](std::string_view bytes) -> std::optional<CommandError> {
    const std::size_t used = text.size();
    if (text.capacity() - used < bytes.size()) reserveText(text, std::max(used, bytes.size()));
    text.resize(used + bytes.size());
    text.resize(used + decodeValidUtf8(bytes, text.data() + used));
    return std::nullopt;
  };
  if (std::optional<CommandError> error = readUtf8Blocks(input, {}, decode, kTextBlockBytes)) {
    return error;
  }
  pasteboard.setString(std::move(text), type);
  return std::nullopt;
}

std::optional<std::size_t> readUntilFull(int descriptor, std::span<char> buffer) {
  std::size_t offset = 0;
  while (offset < buffer.size()) {
    const ssize_t got = ::read(descriptor, buffer.data() + offset, buffer.size() - offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    offset += static_cast<std::size_t>(got);
  }
  return offset;
}

bool writeAll(int descriptor, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(descriptor, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

bool writeOut(std::string_view bytes) {
  return writeAll(STDOUT_FILENO, bytes);
}

CommandError writeError() {
  const std::string reason = std::strerror(errno);
  return CommandError{ErrorKind::input,
                      localizedFormat("cannot write standard output: {0}", {reason})};
}

std::optional<CommandError> writeResult(const ServicePasteboard& pasteboard) {
  if (writeFirstType(pasteboard)) return std::nullopt;
  return writeError();
}

}  // namespace textrix::command
