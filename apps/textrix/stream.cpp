// SPDX-License-Identifier: MIT
#include "stream.h"

#include <fcntl.h>
#include <malloc.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <string>

#include "runtime/localization.h"
#include "services/line_stream.h"

namespace textrix::command {
namespace {

// Blocks of this size keep a block's text, its UTF-16 form and its result in the processor's
// caches.
constexpr std::size_t kBlockBytes = std::size_t{1} << 18;
// Input that cannot be read again is kept in memory up to this size.
constexpr std::size_t kKeptInMemory = std::size_t{1} << 24;
// Allocations up to this size stay in the process when freed.
constexpr int kReusedAllocationBytes = 1 << 24;

// The services make their results anew for each block. By the allocator's own measure a block's
// buffers, of some hundreds of kilobytes, may go back to the system when freed and come back for
// the next block as fresh pages, cleared again; kept in the process, they are reused as they are.
void keepBlockBuffersForReuse() {
  mallopt(M_MMAP_THRESHOLD, kReusedAllocationBytes);
  mallopt(M_TRIM_THRESHOLD, 2 * kReusedAllocationBytes);
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
  KeptInput* keep = input.canRewind() ? nullptr : &kept;
  BlockVisitor keepBlock;
  if (keep) {
    keepBlock = [&kept](std::string_view bytes) -> std::optional<CommandError> {
      if (kept.keep(bytes)) return std::nullopt;
      const std::string reason = std::strerror(errno);
      return CommandError{ErrorKind::input,
                          localizedFormat("cannot keep standard input: {0}", {reason})};
    };
  }
  if (std::optional<CommandError> error = readUtf8Blocks(input, keepBlock, {}, kBlockBytes)) {
    return error;
  }
  if (keep ? !kept.rewind() : !input.rewind()) return input.readError();

  ByteSource source = [&](std::span<char> buffer) {
    return keep ? kept.read(buffer) : input.read(buffer);
  };
  keepBlockBuffersForReuse();
  LineStream stream(provider, entry);
  if (std::fflush(stdout) != 0) return writeError();
  return errorOfStream(streamLines(stream, source, writeOut, kBlockBytes), input);
}

}  // namespace textrix::command
