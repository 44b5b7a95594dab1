#include "rich/rtfd.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <stdexcept>
#include <system_error>
#include <unordered_set>
#include <utility>
#include <vector>

namespace textrix {
namespace {

constexpr std::string_view kMagic = "rtfd";
constexpr std::uint32_t kVersion = 0;
constexpr std::uint32_t kDataRecord = 1;
constexpr std::uint32_t kDirectoryRecord = 3;
// A data length with this value announces the padded form.
constexpr std::uint32_t kPaddedLength = 0x80000000;
constexpr std::string_view kTextFileName = "TXT.rtf";
// Lengths stay below the padding mark, so no reader takes a data length for it.
constexpr std::size_t kMaxRecordSize = 0x7FFFFFFF;
// A data record: its type, then its length, then the bytes.
constexpr std::size_t kDataRecordOverhead = 8;
// The least an entry of a directory takes: its name length, its record size, its record type.
constexpr std::size_t kMinEntrySize = 12;

bool isMetadataName(std::string_view name) {
  return name == "." || name == "__@PreferredName@__" || name == "__@UTF8PreferredName@__";
}

// A name that cannot lead out of the folder it names a file in.
bool isSafeFileName(std::string_view name) {
  return !name.empty() && name != "." && name != ".." &&
         name.find_first_of(std::string_view("/\0", 2)) == std::string_view::npos;
}

bool isAttachmentName(std::string_view name) {
  return isSafeFileName(name) && !isMetadataName(name) && name != kTextFileName;
}

std::uint32_t loadLittleEndian32(const char* bytes) {
  std::uint32_t value = 0;
  for (int i = 3; i >= 0; --i) value = (value << 8) | static_cast<unsigned char>(bytes[i]);
  return value;
}

void appendLittleEndian32(std::string& out, std::size_t value) {
  for (int i = 0; i < 4; ++i) out.push_back(static_cast<char>((value >> (8 * i)) & 0xFF));
}

// Reads the flat form front to back, each byte once. Fails at the first inconsistency, keeping the
// offset of the field that shows it.
class FlatPackageReader {
 public:
  explicit FlatPackageReader(std::string_view bytes) : bytes_(bytes) {}

  RtfdPackageReading read() {
    if (!readHeader() || !readDirectory(0, &package_)) return {{}, error_};
    if (position_ != bytes_.size()) return {{}, {RichTextErrorKind::malformedRtfd, position_}};
    if (!textFound_) return {{}, {RichTextErrorKind::missingText, bytes_.size()}};
    return {std::move(package_), {}};
  }

 private:
  struct Entry {
    std::string_view name;
    std::size_t nameOffset = 0;
    std::uint32_t recordSize = 0;
  };

  bool fail(RichTextErrorKind kind, std::size_t offset) {
    error_ = {kind, offset};
    return false;
  }

  std::size_t bytesLeft() const { return bytes_.size() - position_; }

  bool readWord(std::uint32_t& value) {
    if (bytesLeft() < 4) return fail(RichTextErrorKind::truncatedRtfd, position_);
    value = loadLittleEndian32(bytes_.data() + position_);
    position_ += 4;
    return true;
  }

  bool skipBytes(std::size_t length, std::size_t lengthOffset) {
    if (length > bytesLeft()) return fail(RichTextErrorKind::truncatedRtfd, lengthOffset);
    position_ += length;
    return true;
  }

  // A length, then that many bytes.
  bool readCounted(std::string_view& bytes) {
    const std::size_t lengthOffset = position_;
    std::uint32_t length = 0;
    if (!readWord(length) || !skipBytes(length, lengthOffset)) return false;
    bytes = bytes_.substr(position_ - length, length);
    return true;
  }

  bool readHeader() {
    if (!bytes_.starts_with(kMagic)) return fail(RichTextErrorKind::notRtfd, 0);
    position_ = kMagic.size();
    std::uint32_t version = 0;
    std::uint32_t type = 0;
    if (!readWord(version)) return false;
    if (version != kVersion) return fail(RichTextErrorKind::notRtfd, position_ - 4);
    if (!readWord(type)) return false;
    if (type != kDirectoryRecord) return fail(RichTextErrorKind::notRtfd, position_ - 4);
    return true;
  }

  // The files of the outermost directory go into package; a nested one is read for its
  // consistency alone (package is null).
  bool readDirectory(int depth, RtfdPackage* package) {
    if (depth > kMaxRtfdNesting) return fail(RichTextErrorKind::tooDeep, position_);
    std::vector<Entry> entries;
    return readEntries(entries) &&
           std::all_of(entries.begin(), entries.end(),
                       [&](const Entry& entry) { return readRecord(entry, depth, package); });
  }

  bool readEntries(std::vector<Entry>& entries) {
    const std::size_t countOffset = position_;
    std::uint32_t count = 0;
    if (!readWord(count)) return false;
    // Checked before allocating, so a huge count in a small package costs nothing.
    if (count > bytesLeft() / kMinEntrySize) {
      return fail(RichTextErrorKind::truncatedRtfd, countOffset);
    }
    entries.resize(count);
    std::unordered_set<std::string_view> names(count);
    for (Entry& entry : entries) {
      entry.nameOffset = position_;
      if (!readCounted(entry.name)) return false;
      if (!names.insert(entry.name).second) {
        return fail(RichTextErrorKind::malformedRtfd, entry.nameOffset);
      }
    }
    for (Entry& entry : entries) {
      if (!readWord(entry.recordSize)) return false;
    }
    return true;
  }

  bool readRecord(const Entry& entry, int depth, RtfdPackage* package) {
    const std::size_t start = position_;
    if (entry.recordSize < 4) return fail(RichTextErrorKind::malformedRtfd, start);
    if (entry.recordSize > bytesLeft()) return fail(RichTextErrorKind::truncatedRtfd, start);
    std::uint32_t type = 0;
    readWord(type);  // the record's four bytes are there: its size was checked just now
    std::string_view data;
    const bool isData = type == kDataRecord;
    if (isData) {
      if (!readData(data)) return false;
    } else if (type == kDirectoryRecord) {
      if (!readDirectory(depth + 1, nullptr)) return false;
    } else {
      return fail(RichTextErrorKind::malformedRtfd, start);
    }
    if (position_ != start + entry.recordSize) {
      return fail(RichTextErrorKind::malformedRtfd, position_);
    }
    return !isData || !package || keepFile(entry, data, *package);
  }

  bool readData(std::string_view& data) {
    const std::size_t lengthOffset = position_;
    std::uint32_t length = 0;
    if (!readWord(length)) return false;
    if (length == kPaddedLength) {
      std::uint32_t padding = 0;
      if (!readWord(length) || !readWord(padding)) return false;
      if (!skipBytes(padding, position_ - 4)) return false;
    }
    if (!skipBytes(length, lengthOffset)) return false;
    data = bytes_.substr(position_ - length, length);
    return true;
  }

  bool keepFile(const Entry& entry, std::string_view data, RtfdPackage& package) {
    if (entry.name == kTextFileName) {
      package.rtf = data;
      textFound_ = true;
    } else if (isAttachmentName(entry.name)) {
      package.attachments.emplace(entry.name, std::make_shared<const std::string>(data));
    } else if (!isMetadataName(entry.name)) {
      return fail(RichTextErrorKind::malformedRtfd, entry.nameOffset);
    }
    return true;
  }

  std::string_view bytes_;
  std::size_t position_ = 0;
  RichTextError error_;
  RtfdPackage package_;
  bool textFound_ = false;
};

std::string_view contentsOf(const std::shared_ptr<const std::string>& contents) {
  return contents ? std::string_view(*contents) : std::string_view();
}

// The files of a package in the order they are written: TXT.rtf, then the attachments by name.
std::vector<std::pair<std::string_view, std::string_view>> filesOf(const RtfdPackage& package) {
  std::vector<std::pair<std::string_view, std::string_view>> files;
  files.reserve(package.attachments.size() + 1);
  files.emplace_back(kTextFileName, package.rtf);
  for (const auto& [name, contents] : package.attachments) {
    files.emplace_back(name, contentsOf(contents));
  }
  return files;
}

void checkWritable(const std::vector<std::pair<std::string_view, std::string_view>>& files) {
  for (std::size_t i = 1; i < files.size(); ++i) {
    if (!isAttachmentName(files[i].first)) {
      throw std::invalid_argument("RTFD attachment name is not a plain file name");
    }
  }
  for (const auto& [name, contents] : files) {
    if (name.size() > kMaxRecordSize || contents.size() > kMaxRecordSize - kDataRecordOverhead) {
      throw std::length_error("RTFD file or name too long for the flat form");
    }
  }
}

// Owns a file descriptor and closes it at the end of its scope.
class FileDescriptor {
 public:
  explicit FileDescriptor(int fd) : fd_(fd) {}
  FileDescriptor(const FileDescriptor&) = delete;
  FileDescriptor& operator=(const FileDescriptor&) = delete;
  ~FileDescriptor() {
    if (fd_ >= 0) ::close(fd_);
  }

  explicit operator bool() const { return fd_ >= 0; }
  int get() const { return fd_; }
  // Closes now; false when the file system reports that earlier writes failed.
  bool close() { return ::close(std::exchange(fd_, -1)) == 0; }

 private:
  int fd_;
};

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};
using OpenDirectory = std::unique_ptr<DIR, DirectoryCloser>;

enum class FileReading { read, skipped, failed };

bool readAll(int fd, std::size_t sizeHint, std::string& contents) {
  // One byte past the expected size, so a file that has not grown ends in one pass.
  contents.resize(sizeHint + 1);
  std::size_t used = 0;
  for (;;) {
    if (used == contents.size()) contents.resize(2 * contents.size());
    const ssize_t count = read(fd, contents.data() + used, contents.size() - used);
    if (count == 0) break;
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) used += static_cast<std::size_t>(count);
  }
  contents.resize(used);
  return true;
}

// Reads the regular file name in the directory; a symbolic link, a device or a pipe is skipped,
// so no name leads out of the folder.
FileReading readRegularFileAt(int directoryFd, const char* name, std::string& contents) {
  const FileDescriptor file(
      openat(directoryFd, name, O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
  if (!file) return errno == ELOOP || errno == ENXIO ? FileReading::skipped : FileReading::failed;
  struct stat status;
  if (fstat(file.get(), &status) != 0) return FileReading::failed;
  if (!S_ISREG(status.st_mode)) return FileReading::skipped;
  return readAll(file.get(), static_cast<std::size_t>(status.st_size), contents)
             ? FileReading::read
             : FileReading::failed;
}

bool writeAll(int fd, std::string_view bytes) {
  while (!bytes.empty()) {
    const ssize_t count = write(fd, bytes.data(), bytes.size());
    if (count < 0 && errno != EINTR) return false;
    if (count > 0) bytes.remove_prefix(static_cast<std::size_t>(count));
  }
  return true;
}

// Creates a new file in the directory under a name no other file has; its descriptor, or -1.
int createTemporaryFileAt(int directoryFd, std::string& name) {
  static constexpr int kAttempts = 100;
  for (int attempt = 0; attempt < kAttempts; ++attempt) {
    name = ".textrix-" + std::to_string(getpid()) + "-" + std::to_string(attempt) + ".tmp";
    const int fd = openat(directoryFd, name.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0666);
    if (fd >= 0 || errno != EEXIST) return fd;
  }
  return -1;
}

// Writes a whole file under a temporary name and renames it, so a reader never sees it half
// written.
bool writeFileAt(int directoryFd, std::string_view name, std::string_view contents) {
  std::string temporaryName;
  FileDescriptor file(createTemporaryFileAt(directoryFd, temporaryName));
  if (!file) return false;
  const bool written = writeAll(file.get(), contents) && file.close();
  if (written &&
      renameat(directoryFd, temporaryName.c_str(), directoryFd, std::string(name).c_str()) == 0) {
    return true;
  }
  unlinkat(directoryFd, temporaryName.c_str(), 0);
  return false;
}

}  // namespace

RtfdPackageReading readFlatRtfdPackage(std::string_view bytes) {
  return FlatPackageReader(bytes).read();
}

std::string writeFlatRtfdPackage(const RtfdPackage& package) {
  const auto files = filesOf(package);
  checkWritable(files);
  std::size_t total = kMagic.size() + 12;
  for (const auto& [name, contents] : files) total += 4 + name.size() + 4 + 8 + contents.size();
  std::string out;
  out.reserve(total);
  out += kMagic;
  appendLittleEndian32(out, kVersion);
  appendLittleEndian32(out, kDirectoryRecord);
  appendLittleEndian32(out, files.size());
  for (const auto& file : files) {
    appendLittleEndian32(out, file.first.size());
    out += file.first;
  }
  for (const auto& file : files) {
    appendLittleEndian32(out, kDataRecordOverhead + file.second.size());
  }
  for (const auto& file : files) {
    appendLittleEndian32(out, kDataRecord);
    appendLittleEndian32(out, file.second.size());
    out += file.second;
  }
  return out;
}

RtfdPackageReading readRtfdBundle(const std::filesystem::path& directory) {
  constexpr RichTextError kUnreadable{RichTextErrorKind::unreadableFile, 0};
  const OpenDirectory folder(opendir(directory.c_str()));
  if (!folder) return {{}, kUnreadable};
  RtfdPackageReading reading;
  bool textFound = false;
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(folder.get());
    if (!entry) break;
    const std::string_view name = entry->d_name;
    if (!isSafeFileName(name) || isMetadataName(name)) continue;
    std::string contents;
    const FileReading result = readRegularFileAt(dirfd(folder.get()), entry->d_name, contents);
    if (result == FileReading::failed) return {{}, kUnreadable};
    if (result == FileReading::skipped) continue;
    if (name == kTextFileName) {
      reading.package.rtf = std::move(contents);
      textFound = true;
    } else {
      reading.package.attachments.emplace(name,
                                          std::make_shared<const std::string>(std::move(contents)));
    }
  }
  if (errno != 0) return {{}, kUnreadable};
  if (!textFound) return {{}, {RichTextErrorKind::missingText, 0}};
  return reading;
}

RichTextError writeRtfdBundle(const RtfdPackage& package, const std::filesystem::path& directory) {
  constexpr RichTextError kUnwritable{RichTextErrorKind::unreadableFile, 0};
  for (const auto& entry : package.attachments) {
    if (!isAttachmentName(entry.first)) return kUnwritable;
  }
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) return kUnwritable;
  const FileDescriptor folder(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return kUnwritable;
  // TXT.rtf goes last: once it is there, so are the files it names.
  for (const auto& [name, contents] : package.attachments) {
    if (!writeFileAt(folder.get(), name, contentsOf(contents))) return kUnwritable;
  }
  if (!writeFileAt(folder.get(), kTextFileName, package.rtf)) return kUnwritable;
  return {};
}

namespace {

RichTextReading textOfPackage(const RtfdPackageReading& reading) {
  if (!reading.ok()) {
    RichTextReading failed;
    failed.error = reading.error;
    return failed;
  }
  return readRtf(reading.package.rtf, &reading.package.attachments);
}

RtfdPackage packageOfText(const AttributedText& text,
                          const DocumentAttributes* documentAttributes) {
  RtfWriting writing = writeRtfWithAttachments(text, documentAttributes);
  return {std::move(writing.rtf), std::move(writing.attachments)};
}

}  // namespace

RichTextReading readRtfd(std::string_view flatBytes) {
  return textOfPackage(readFlatRtfdPackage(flatBytes));
}

std::string writeRtfd(const AttributedText& text, const DocumentAttributes* documentAttributes) {
  return writeFlatRtfdPackage(packageOfText(text, documentAttributes));
}

RichTextReading readRtfdDirectory(const std::filesystem::path& directory) {
  return textOfPackage(readRtfdBundle(directory));
}

RichTextError writeRtfdDirectory(const AttributedText& text, const std::filesystem::path& directory,
                                 const DocumentAttributes* documentAttributes) {
  return writeRtfdBundle(packageOfText(text, documentAttributes), directory);
}

}  // namespace textrix
