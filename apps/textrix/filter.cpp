#include "filter.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include "text/encodings.h"

namespace textrix::command {
namespace {

// The bytes still to come from descriptor when it reads a regular file, else none.
std::optional<std::size_t> remainingBytesOfFile(int descriptor) {
  struct stat status;
  if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return std::nullopt;
  const off_t position = lseek(descriptor, 0, SEEK_CUR);
  if (position < 0 || position > status.st_size) return std::nullopt;
  return static_cast<std::size_t>(status.st_size - position);
}

// Reads into bytes from offset until it is full or the input ends; returns where it stopped, or
// none on a read error.
std::optional<std::size_t> readUntilFull(int descriptor, std::string& bytes, std::size_t offset) {
  while (offset < bytes.size()) {
    const ssize_t got = read(descriptor, bytes.data() + offset, bytes.size() - offset);
    if (got < 0 && errno == EINTR) continue;
    if (got < 0) return std::nullopt;
    if (got == 0) break;
    offset += static_cast<std::size_t>(got);
  }
  return offset;
}

// All bytes of the descriptor. A regular file is read in one go into a buffer of its size; other
// inputs, and a file that grew meanwhile, in doubling steps.
std::optional<std::string> readAll(int descriptor) {
  constexpr std::size_t kFirstStep = std::size_t{1} << 16;
  std::string bytes;
  std::size_t filled = 0;
  const std::optional<std::size_t> expected = remainingBytesOfFile(descriptor);
  // One byte more than the file holds shows without a second call whether the file grew.
  bytes.resize(expected ? *expected + 1 : kFirstStep);
  while (true) {
    const std::optional<std::size_t> reached = readUntilFull(descriptor, bytes, filled);
    if (!reached) return std::nullopt;
    if (*reached < bytes.size()) {
      bytes.resize(*reached);
      return bytes;
    }
    filled = *reached;
    bytes.resize(std::max(kFirstStep, 2 * bytes.size()));
  }
}

// Writes all of bytes to standard output; false when it cannot.
bool writeOut(std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t written = write(STDOUT_FILENO, bytes.data(), bytes.size());
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    bytes.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
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

// All bytes of the file, or of standard input for none or "-"; none (errno set) when they cannot be
// read.
std::optional<std::string> readFile(std::optional<std::string_view> file) {
  if (!file || *file == "-") return readAll(STDIN_FILENO);
  const int descriptor = open(std::string(*file).c_str(), O_RDONLY | O_CLOEXEC);
  if (descriptor < 0) return std::nullopt;
  std::optional<std::string> bytes = readAll(descriptor);
  const int readError = errno;
  close(descriptor);
  errno = readError;
  return bytes;
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

std::optional<CommandError> readInput(std::optional<std::string_view> file, std::string& bytes) {
  std::optional<std::string> read = readFile(file);
  if (!read) {
    const int readError = errno;
    const std::string name(file.value_or("standard input"));
    return CommandError{ErrorKind::input, "cannot read " + name + ": " + std::strerror(readError)};
  }
  bytes = std::move(*read);
  return std::nullopt;
}

std::string_view detectType(std::string_view bytes) {
  if (bytes.starts_with(std::string_view("rtfd\0\0\0\0", 8))) return kRTFDPboardType;
  if (bytes.starts_with("{\\rtf")) return kRTFPboardType;
  return kStringPboardType;
}

CommandError invalidUtf8At(std::size_t offset) {
  return {ErrorKind::input, "invalid UTF-8 at byte " + std::to_string(offset)};
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

std::optional<CommandError> writeResult(const ServicePasteboard& pasteboard) {
  if (writeFirstType(pasteboard)) return std::nullopt;
  return CommandError{ErrorKind::input,
                      "cannot write standard output: " + std::string(std::strerror(errno))};
}

}  // namespace textrix::command
