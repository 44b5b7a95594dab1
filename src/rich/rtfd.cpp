// SPDX-License-Identifier: MIT
#include "rich/rtfd.h"

#include <dirent.h>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdint>
#include <memory>
#include <optional>
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

// A name a file or folder of a package may have: at the top of the package TXT.rtf is the text.
bool isAttachmentName(std::string_view name, bool top) {
  return isSafeFileName(name) && !isMetadataName(name) && !(top && name == kTextFileName);
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
    AttachedDirectory top;
    if (!readHeader() || !readDirectory(0, top)) return {{}, error_};
    if (position_ != bytes_.size()) return {{}, {RichTextErrorKind::malformedRtfd, position_}};
    if (!textFound_) return {{}, {RichTextErrorKind::missingText, bytes_.size()}};
    package_.attachments = std::move(top.files);
    package_.directories = std::move(top.directories);
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

  // Reads the directory at depth (0: the package's own) into folder.
  bool readDirectory(int depth, AttachedDirectory& folder) {
    if (depth > kMaxRtfdNesting) return fail(RichTextErrorKind::tooDeep, position_);
    std::vector<Entry> entries;
    return readEntries(entries) &&
           std::all_of(entries.begin(), entries.end(),
                       [&](const Entry& entry) { return readRecord(entry, depth, folder); });
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

  bool readRecord(const Entry& entry, int depth, AttachedDirectory& folder) {
    const std::size_t start = position_;
    if (entry.recordSize < 4) return fail(RichTextErrorKind::malformedRtfd, start);
    if (entry.recordSize > bytesLeft()) return fail(RichTextErrorKind::truncatedRtfd, start);
    std::uint32_t type = 0;
    readWord(type);  // the record's four bytes are there: its size was checked just now
    std::string_view data;
    auto inner = std::make_shared<AttachedDirectory>();
    const bool isData = type == kDataRecord;
    if (isData) {
      if (!readData(data)) return false;
    } else if (type == kDirectoryRecord) {
      if (!readDirectory(depth + 1, *inner)) return false;
    } else {
      return fail(RichTextErrorKind::malformedRtfd, start);
    }
    if (position_ != start + entry.recordSize) {
      return fail(RichTextErrorKind::malformedRtfd, position_);
    }
    const bool top = depth == 0;
    if (isData && top && entry.name == kTextFileName) {
      package_.rtf = data;
      textFound_ = true;
    } else if (isAttachmentName(entry.name, top)) {
      if (isData) {
        folder.files.emplace(entry.name, std::make_shared<const std::string>(data));
      } else {
        folder.directories.emplace(entry.name, std::move(inner));
      }
    } else if (!isMetadataName(entry.name) && entry.name != kTextFileName) {
      return fail(RichTextErrorKind::malformedRtfd, entry.nameOffset);
    }
    return true;
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

  std::string_view bytes_;
  std::size_t position_ = 0;
  RichTextError error_;
  RtfdPackage package_;
  bool textFound_ = false;
};

std::string_view contentsOf(const std::shared_ptr<const std::string>& contents) {
  return contents ? std::string_view(*contents) : std::string_view();
}

// One entry of a directory as written: a file's bytes, or a folder.
struct WrittenEntry {
  std::string_view name;
  std::string_view contents;
  const AttachedDirectory* folder = nullptr;
};

// The entries of a directory in the order they are written: the text (at the top of a package),
// the files by name, then the folders by name. Throws for a name the reader would refuse.
std::vector<WrittenEntry> entriesOf(const AttachmentFiles& files,
                                    const AttachmentDirectories& folders, const std::string* text) {
  std::vector<WrittenEntry> entries;
  entries.reserve(files.size() + folders.size() + 1);
  if (text) entries.push_back({kTextFileName, *text});
  for (const auto& [name, contents] : files) entries.push_back({name, contentsOf(contents)});
  for (const auto& [name, folder] : folders) {
    if (files.count(name) != 0) {
      throw std::invalid_argument("RTFD name is both a file and a directory");
    }
    static const AttachedDirectory kEmpty;
    entries.push_back({name, {}, folder ? folder.get() : &kEmpty});
  }
  for (std::size_t i = text ? 1 : 0; i < entries.size(); ++i) {
    if (!isAttachmentName(entries[i].name, text != nullptr)) {
      throw std::invalid_argument("RTFD attachment name is not a plain file name");
    }
    if (entries[i].name.size() > kMaxRecordSize) {
      throw std::length_error("RTFD name too long for the flat form");
    }
  }
  return entries;
}

// Writes the flat form of a directory's records; each nested directory's size is counted before
// it is written, so every level is visited once per level above it, a bounded number of times.
class FlatPackageWriter {
 public:
  std::string write(const RtfdPackage& package) {
    const auto entries = textrix::entriesOf(package.attachments, package.directories, &package.rtf);
    out_.reserve(kMagic.size() + 8 + directorySize(entries));
    out_ += kMagic;
    appendLittleEndian32(out_, kVersion);
    appendLittleEndian32(out_, kDirectoryRecord);
    appendDirectory(entries, 0);
    return std::move(out_);
  }

 private:
  static std::vector<WrittenEntry> entriesOf(const AttachedDirectory& folder) {
    return textrix::entriesOf(folder.files, folder.directories, nullptr);
  }

  // The bytes of a directory after its record type: count, names, sizes, records.
  static std::size_t directorySize(const std::vector<WrittenEntry>& entries) {
    std::size_t size = 4;
    for (const WrittenEntry& entry : entries) size += 4 + entry.name.size() + 4 + recordSize(entry);
    return size;
  }

  static std::size_t recordSize(const WrittenEntry& entry) {
    const std::size_t size = entry.folder ? 4 + directorySize(entriesOf(*entry.folder))
                                          : kDataRecordOverhead + entry.contents.size();
    if (size > kMaxRecordSize) throw std::length_error("RTFD file too long for the flat form");
    return size;
  }

  void appendDirectory(const std::vector<WrittenEntry>& entries, int depth) {
    if (depth > kMaxRtfdNesting) throw std::length_error("RTFD directories nested too deep");
    appendLittleEndian32(out_, entries.size());
    for (const WrittenEntry& entry : entries) {
      appendLittleEndian32(out_, entry.name.size());
      out_ += entry.name;
    }
    for (const WrittenEntry& entry : entries) appendLittleEndian32(out_, recordSize(entry));
    for (const WrittenEntry& entry : entries) {
      if (entry.folder) {
        appendLittleEndian32(out_, kDirectoryRecord);
        appendDirectory(entriesOf(*entry.folder), depth + 1);
      } else {
        appendLittleEndian32(out_, kDataRecord);
        appendLittleEndian32(out_, entry.contents.size());
        out_ += entry.contents;
      }
    }
  }

  std::string out_;
};

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
  // Hands the descriptor over to the caller.
  int release() { return std::exchange(fd_, -1); }

 private:
  int fd_;
};

struct DirectoryCloser {
  void operator()(DIR* directory) const { closedir(directory); }
};
using OpenDirectory = std::unique_ptr<DIR, DirectoryCloser>;

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

constexpr RichTextError kUnreadable{RichTextErrorKind::unreadableFile, 0};

// Reads the regular files and folders of the open directory into folder, and at the top of the
// package (text given) TXT.rtf into text. A symbolic link, a device or a pipe is skipped, so no
// name leads out of the folder.
RichTextError readBundleFolder(DIR* directory, int depth, AttachedDirectory& folder,
                               std::optional<std::string>* text) {
  for (;;) {
    errno = 0;
    const dirent* entry = readdir(directory);
    if (!entry) break;
    const std::string_view name = entry->d_name;
    if (!isSafeFileName(name) || isMetadataName(name)) continue;
    FileDescriptor file(openat(dirfd(directory), entry->d_name,
                               O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_NOCTTY | O_CLOEXEC));
    if (!file) {
      if (errno == ELOOP || errno == ENXIO) continue;
      return kUnreadable;
    }
    struct stat status;
    if (fstat(file.get(), &status) != 0) return kUnreadable;
    if (S_ISDIR(status.st_mode)) {
      if (depth >= kMaxRtfdNesting) return {RichTextErrorKind::tooDeep, 0};
      const OpenDirectory inner(fdopendir(file.release()));
      if (!inner) return kUnreadable;
      auto innerFolder = std::make_shared<AttachedDirectory>();
      if (RichTextError error = readBundleFolder(inner.get(), depth + 1, *innerFolder, nullptr);
          error.kind != RichTextErrorKind::none) {
        return error;
      }
      if (isAttachmentName(name, text != nullptr)) {
        folder.directories.emplace(name, std::move(innerFolder));
      }
      continue;
    }
    if (!S_ISREG(status.st_mode)) continue;
    std::string contents;
    if (!readAll(file.get(), static_cast<std::size_t>(status.st_size), contents)) {
      return kUnreadable;
    }
    if (text && name == kTextFileName) {
      *text = std::move(contents);
    } else {
      folder.files.emplace(name, std::make_shared<const std::string>(std::move(contents)));
    }
  }
  if (errno != 0) return kUnreadable;
  return {};
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
  return FlatPackageWriter().write(package);
}

RtfdPackageReading readRtfdBundle(const std::filesystem::path& directory) {
  const OpenDirectory folder(opendir(directory.c_str()));
  if (!folder) return {{}, kUnreadable};
  AttachedDirectory top;
  std::optional<std::string> text;
  if (RichTextError error = readBundleFolder(folder.get(), 0, top, &text);
      error.kind != RichTextErrorKind::none) {
    return {{}, error};
  }
  if (!text) return {{}, {RichTextErrorKind::missingText, 0}};
  return {{std::move(*text), std::move(top.files), std::move(top.directories)}, {}};
}

namespace {

// Writes files and folders into the open folder, each folder's own the same way; false when a
// name is not a plain file name or a write fails.
bool writeBundleFolder(int folderFd, const AttachmentFiles& files,
                       const AttachmentDirectories& folders, int depth, bool top) {
  if (depth > kMaxRtfdNesting) return false;
  for (const auto& [name, contents] : files) {
    if (!isAttachmentName(name, top) || !writeFileAt(folderFd, name, contentsOf(contents))) {
      return false;
    }
  }
  for (const auto& [name, folder] : folders) {
    if (!isAttachmentName(name, top)) return false;
    const std::string path(name);
    if (mkdirat(folderFd, path.c_str(), 0777) != 0 && errno != EEXIST) return false;
    const FileDescriptor inner(
        openat(folderFd, path.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    if (!inner) return false;
    if (folder && !writeBundleFolder(inner.get(), folder->files, folder->directories, depth + 1,
                                     /*top=*/false)) {
      return false;
    }
  }
  return true;
}

}  // namespace

RichTextError writeRtfdBundle(const RtfdPackage& package, const std::filesystem::path& directory) {
  constexpr RichTextError kUnwritable{RichTextErrorKind::unreadableFile, 0};
  const auto unsafe = [](const auto& entry) { return !isAttachmentName(entry.first, true); };
  if (std::any_of(package.attachments.begin(), package.attachments.end(), unsafe) ||
      std::any_of(package.directories.begin(), package.directories.end(), unsafe)) {
    return kUnwritable;
  }
  std::error_code error;
  std::filesystem::create_directories(directory, error);
  if (error) return kUnwritable;
  const FileDescriptor folder(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
  if (!folder) return kUnwritable;
  // TXT.rtf goes last: once it is there, so are the files it names.
  if (!writeBundleFolder(folder.get(), package.attachments, package.directories, 0, true) ||
      !writeFileAt(folder.get(), kTextFileName, package.rtf)) {
    return kUnwritable;
  }
  return {};
}

namespace {

RichTextReading textOfPackage(const RtfdPackageReading& reading) {
  if (!reading.ok()) {
    RichTextReading failed;
    failed.error = reading.error;
    return failed;
  }
  return readRtf(reading.package.rtf, &reading.package.attachments, &reading.package.directories);
}

RtfdPackage packageOfText(const AttributedText& text,
                          const DocumentAttributes* documentAttributes) {
  RtfWriting writing = writeRtfWithAttachments(text, documentAttributes);
  return {std::move(writing.rtf), std::move(writing.attachments), std::move(writing.directories)};
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
