// SPDX-License-Identifier: MIT
#include "stream.h"

#include <fcntl.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "runtime/localization.h"
#include "services/line_stream.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

// Blocks of this size keep a block's text, its UTF-16 form and its result in the processor's
// caches.
constexpr std::size_t kBlockBytes = std::size_t{1} << 18;
// Input that cannot be read again is kept in memory up to this size.
constexpr std::size_t kKeptInMemory = std::size_t{1} << 24;

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

// An unnamed file in the temporary directory, gone when closed; -1 when none can be made.
int openUnnamedTemporaryFile() {
  const char* directory = std::getenv("TMPDIR");
  if (directory == nullptr || *directory == '\0') directory = "/tmp";
  return open(directory, O_TMPFILE | O_RDWR | O_EXCL | O_CLOEXEC, 0600);
}

// Input that cannot be read twice, kept as it is read for the second reading: in memory up to
// kKeptInMemory, then in an unnamed temporary file (or still in memory when no file can be made).
class KeptInput {
 public:
  KeptInput() = default;
  ~KeptInput() {
    if (file_ >= 0) close(file_);
  }
  KeptInput(const KeptInput&) = delete;
  KeptInput& operator=(const KeptInput&) = delete;

  // Keeps bytes after those kept before; false (errno set) when the temporary file fails.
  bool keep(std::string_view bytes) {
    if (file_ < 0 && memory_.size() + bytes.size() > kKeptInMemory) {
      file_ = openUnnamedTemporaryFile();
      if (file_ >= 0 && !writeAll(file_, memory_)) return false;
      if (file_ >= 0) std::string().swap(memory_);
    }
    if (file_ < 0) {
      memory_.append(bytes);
      return true;
    }
    return writeAll(file_, bytes);
  }

  // Makes what was kept readable from its start; false (errno set) when it cannot be.
  bool rewind() { return file_ < 0 || lseek(file_, 0, SEEK_SET) == 0; }

  // Reads the kept bytes back, as a ByteSource does.
  std::optional<std::size_t> read(std::span<char> buffer) {
    if (file_ < 0) {
      const std::size_t count = std::min(buffer.size(), memory_.size() - read_);
      std::memcpy(buffer.data(), memory_.data() + read_, count);
      read_ += count;
      return count;
    }
    return readUntilFull(file_, buffer);
  }

 private:
  std::string memory_;
  std::size_t read_ = 0;
  int file_ = -1;
};

// Reads all of input, block by block, and checks that it is UTF-8 across the edges of the blocks,
// handing each block read to keep when given. The offset of the first byte that is not UTF-8
// (Utf8Decoding::kValid when there is none), or the error when reading or keeping fails.
std::optional<CommandError> checkUtf8(SelectionInput& input, KeptInput* kept,
                                      std::size_t& invalidOffset) {
  std::string buffer(kBlockBytes, '\0');
  std::size_t pending = 0;  // bytes of a sequence cut short, at the start of buffer
  std::size_t checked = 0;
  for (;;) {
    const std::optional<std::size_t> got =
        input.read(std::span(buffer).subspan(pending, kBlockBytes - pending));
    if (!got) return input.readError();
    if (kept && !kept->keep(std::string_view(buffer.data() + pending, *got))) {
      const std::string reason = std::strerror(errno);
      return CommandError{ErrorKind::input,
                          localizedFormat("cannot keep standard input: {0}", {reason})};
    }
    const std::string_view bytes(buffer.data(), pending + *got);
    const bool end = *got == 0;
    const std::size_t whole = end ? bytes.size() : wholeSequencesLength(bytes);
    if (const std::size_t offset = firstInvalidUtf8Offset(bytes.substr(0, whole));
        offset != Utf8Decoding::kValid) {
      invalidOffset = checked + offset;
      return std::nullopt;
    }
    if (end) {
      invalidOffset = Utf8Decoding::kValid;
      return std::nullopt;
    }
    checked += whole;
    pending = bytes.size() - whole;
    std::memmove(buffer.data(), buffer.data() + whole, pending);
  }
}

std::optional<CommandError> errorOfStream(StreamStatus status, const SelectionInput& input) {
  switch (status) {
    case StreamStatus::done:
      return std::nullopt;
    case StreamStatus::readFailed:
      return input.readError();
    case StreamStatus::invalidUtf8:
      return CommandError{ErrorKind::input, localized("the input changed while it was read")};
    case StreamStatus::writeFailed:
      return writeError();
  }
  return std::nullopt;
}

}  // namespace

std::optional<CommandError> streamSelection(Textrix& provider, const ServiceEntry& entry,
                                            SelectionInput& input) {
  KeptInput kept;
  std::size_t invalidOffset = Utf8Decoding::kValid;
  KeptInput* keep = input.canRewind() ? nullptr : &kept;
  if (std::optional<CommandError> error = checkUtf8(input, keep, invalidOffset)) return error;
  if (invalidOffset != Utf8Decoding::kValid) return invalidUtf8At(invalidOffset);
  if (keep ? !kept.rewind() : !input.rewind()) return input.readError();

  ByteSource source = [&](std::span<char> buffer) {
    return keep ? kept.read(buffer) : input.read(buffer);
  };
  LineStream stream(provider, entry);
  if (std::fflush(stdout) != 0) return writeError();
  return errorOfStream(streamLines(stream, source, writeOut, kBlockBytes), input);
}

}  // namespace textrix::command
