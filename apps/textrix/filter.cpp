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

std::optional<CommandError> putSelection(std::string bytes, std::string_view type,
                                         ServicePasteboard& pasteboard) {
  pasteboard.declareTypes({std::string(type)});
  if (type != kStringPboardType) {
    pasteboard.setData(std::move(bytes), type);
    return std::nullopt;
  }
  Utf8Decoding decoded = decodeUtf8(bytes);
  std::string().swap(bytes);
  if (!decoded.ok()) return invalidUtf8At(decoded.errorOffset);
  pasteboard.setString(std::move(decoded.text), type);
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
