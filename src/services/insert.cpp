// SPDX-License-Identifier: MIT
#include "services/insert.h"

#include <dirent.h>
#include <langinfo.h>
#include <pwd.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <memory>
#include <optional>
#include <unordered_map>

#include "runtime/formats.h"
#include "text/encodings.h"

namespace textrix {
namespace {

// Dates.

bool isAscii(std::string_view bytes) {
  for (const char c : bytes) {
    if (static_cast<unsigned char>(c) > 0x7F) return false;
  }
  return true;
}

// Text of the C library in its locale's character set, as UTF-16.
std::u16string fromLocaleBytes(std::string_view bytes) {
  const char* codeset = nl_langinfo(CODESET);
  if (isAscii(bytes) || !codeset || !*codeset || std::strcmp(codeset, "UTF-8") == 0) {
    return utf16FromUtf8(bytes);
  }
  // No character set of the C library gives more than two UTF-16 units for one byte.
  std::u16string text(bytes.size() * 2, u'\0');
  std::size_t length = 0;
  if (convertEncodingToUnicode(bytes.data(), bytes.size(), codeset, text.data(), text.size(),
                               &length) != 1) {
    return utf16FromUtf8(bytes);
  }
  text.resize(length);
  return text;
}

// One conversion that depends on the locale (names, the locale's own formats, the zone), rendered
// by the C library.
void appendLocaleConversion(std::u16string& result, char conversion, const std::tm& time) {
  const char format[] = {'%', conversion, '\0'};
  // strftime answers 0 both for a result that does not fit and for an empty one (%p in many
  // locales), so a larger buffer is tried a few times before the result is taken as empty.
  for (std::size_t size = 256; size <= 16384; size *= 4) {
    const auto buffer = std::make_unique<char[]>(size);
    const std::size_t length = std::strftime(buffer.get(), size, format, &time);
    if (length > 0) {
      result += fromLocaleBytes(std::string_view(buffer.get(), length));
      return;
    }
  }
}

// value in decimal, with zeros in front up to width digits.
void appendNumber(std::u16string& result, long long value, int width) {
  if (value < 0) {
    result += u'-';
    value = -value;
  }
  char16_t digits[24];
  int count = 0;
  do {
    digits[count++] = static_cast<char16_t>(u'0' + value % 10);
    value /= 10;
  } while (value > 0);
  for (int i = count; i < width; ++i) result += u'0';
  while (count > 0) result += digits[--count];
}

// Appends one numeric conversion; false when conversion is none of them.
bool appendNumericConversion(std::u16string& result, char16_t conversion, const std::tm& time,
                             int milliseconds) {
  const long long year = static_cast<long long>(time.tm_year) + 1900;
  switch (conversion) {
    case u'd':
      appendNumber(result, time.tm_mday, 2);
      return true;
    case u'e':
      appendNumber(result, time.tm_mday, 1);
      return true;
    case u'F':
      appendNumber(result, milliseconds, 3);
      return true;
    case u'H':
      appendNumber(result, time.tm_hour, 2);
      return true;
    case u'I':
      appendNumber(result, time.tm_hour % 12 == 0 ? 12 : time.tm_hour % 12, 2);
      return true;
    case u'j':
      appendNumber(result, time.tm_yday + 1, 3);
      return true;
    case u'm':
      appendNumber(result, time.tm_mon + 1, 2);
      return true;
    case u'M':
      appendNumber(result, time.tm_min, 2);
      return true;
    case u'S':
      appendNumber(result, time.tm_sec, 2);
      return true;
    case u'w':
      appendNumber(result, time.tm_wday, 1);
      return true;
    case u'y':
      appendNumber(result, (year < 0 ? -year : year) % 100, 2);
      return true;
    case u'Y':
      appendNumber(result, year, 1);
      return true;
    case u'z': {
      const long offset = time.tm_gmtoff;
      const long magnitude = offset < 0 ? -offset : offset;
      result += offset < 0 ? u'-' : u'+';
      appendNumber(result, magnitude / 3600, 2);
      appendNumber(result, magnitude % 3600 / 60, 2);
      return true;
    }
    default:
      return false;
  }
}

bool isLocaleConversion(char16_t conversion) {
  return std::u16string_view(u"aAbBcpxXZ").find(conversion) != std::u16string_view::npos;
}

// Paths.

std::string utf8Path(std::u16string_view path) {
  return encodeUtf8(path);
}

// The home directory of user, or of this process's user when user is empty.
std::optional<std::string> homeDirectory(const std::string& user) {
  if (user.find('\0') != std::string::npos) return std::nullopt;
  if (user.empty()) {
    if (const char* home = std::getenv("HOME"); home && *home) return std::string(home);
  }
  const long size = sysconf(_SC_GETPW_R_SIZE_MAX);
  std::string buffer(size > 0 ? static_cast<std::size_t>(size) : 16384, '\0');
  passwd entry{};
  passwd* found = nullptr;
  const int status = user.empty()
                         ? getpwuid_r(getuid(), &entry, buffer.data(), buffer.size(), &found)
                         : getpwnam_r(user.c_str(), &entry, buffer.data(), buffer.size(), &found);
  if (status != 0 || !found || !found->pw_dir || !*found->pw_dir) return std::nullopt;
  return std::string(found->pw_dir);
}

// path and name joined with exactly one "/".
std::string appendPathComponent(std::string_view path, std::string_view name) {
  while (!path.empty() && path.back() == '/') path.remove_suffix(1);
  std::string joined;
  joined.reserve(path.size() + 1 + name.size());
  return joined.append(path).append(1, '/').append(name);
}

// path with its links resolved, or path itself when that fails.
std::string resolvedPath(const std::string& path) {
  if (path.find('\0') != std::string::npos) return path;
  std::unique_ptr<char, decltype(&std::free)> resolved(realpath(path.c_str(), nullptr), &std::free);
  return resolved ? std::string(resolved.get()) : path;
}

// A directory as the file system knows it, whatever path leads there.
struct DirectoryIdentity {
  dev_t device;
  ino_t inode;
  bool operator==(const DirectoryIdentity&) const = default;
};

struct DirectoryIdentityHash {
  std::size_t operator()(const DirectoryIdentity& identity) const {
    return std::hash<std::uint64_t>()(static_cast<std::uint64_t>(identity.inode) * 31 +
                                      static_cast<std::uint64_t>(identity.device));
  }
};

// The names in the directory at path, without "." and "..", in the order the file system gives
// them; none when it cannot be listed.
std::optional<std::vector<std::string>> directoryContentsAtPath(const std::string& path) {
  DIR* directory = opendir(path.c_str());
  if (!directory) return std::nullopt;
  std::vector<std::string> names;
  while (const dirent* entry = readdir(directory)) {
    const std::string_view name = entry->d_name;
    if (name != "." && name != "..") names.emplace_back(name);
  }
  closedir(directory);
  return names;
}

}  // namespace

std::u16string DateFormatter::stringForObjectValue(
    std::chrono::system_clock::time_point date) const {
  using std::chrono::milliseconds;
  const long long sinceEpoch = std::chrono::floor<milliseconds>(date.time_since_epoch()).count();
  long long seconds = sinceEpoch / 1000;
  long long millis = sinceEpoch % 1000;
  if (millis < 0) {
    millis += 1000;
    --seconds;
  }
  tzset();  // TZ may have changed since the last date
  const std::time_t clock = static_cast<std::time_t>(seconds);
  std::tm time{};
  if (!localtime_r(&clock, &time)) return {};

  std::u16string result;
  result.reserve(dateFormat_.size() + 16);
  for (std::size_t i = 0; i < dateFormat_.size(); ++i) {
    const char16_t c = dateFormat_[i];
    if (c != u'%' || i + 1 == dateFormat_.size()) {
      result += c;
      continue;
    }
    const char16_t conversion = dateFormat_[i + 1];
    if (conversion == u'%') {
      result += u'%';
    } else if (isLocaleConversion(conversion)) {
      appendLocaleConversion(result, static_cast<char>(conversion), time);
    } else if (!appendNumericConversion(result, conversion, time, static_cast<int>(millis))) {
      result += u'%';  // no conversion: both characters are copied
      result += conversion;
    }
    ++i;
  }
  return result;
}

std::u16string stringByExpandingTildeInPath(std::u16string_view path) {
  if (path.empty() || path.front() != u'~') return std::u16string(path);
  const std::size_t slash = std::min(path.find(u'/'), path.size());
  const std::optional<std::string> home = homeDirectory(utf8Path(path.substr(1, slash - 1)));
  if (!home) return std::u16string(path);
  std::u16string expanded = utf16FromUtf8(*home);
  const std::u16string_view rest = path.substr(slash);
  if (!rest.empty()) {
    while (!expanded.empty() && expanded.back() == u'/') expanded.pop_back();
  }
  return expanded.append(rest);
}

std::u16string stringByAppendingPathComponent(std::u16string_view path,
                                              std::u16string_view component) {
  while (!path.empty() && path.back() == u'/') path.remove_suffix(1);
  std::u16string joined;
  joined.reserve(path.size() + 1 + component.size());
  return joined.append(path).append(1, u'/').append(component);
}

std::u16string resolveLink(std::u16string_view path) {
  const std::string bytes = utf8Path(path);
  const std::string resolved = resolvedPath(bytes);
  return resolved == bytes ? std::u16string(path) : utf16FromUtf8(resolved);
}

bool detail::walkDirectoryTree(std::string path, bool resolveLinks, bool files, bool folders,
                               WalkBounds bounds,
                               const std::function<void(std::string_view)>& emit) {
  // A path with a NUL in it names nothing: the C library would read only the part before it.
  if (path.find('\0') != std::string::npos) return true;
  // One frame per directory being walked; its names are released when it is done.
  struct Frame {
    std::string path;
    std::vector<std::string> names;
    std::size_t next = 0;
  };
  std::vector<Frame> stack;
  std::unordered_map<DirectoryIdentity, std::size_t, DirectoryIdentityHash> visits;
  bool complete = true;
  const auto enter = [&](std::string directory, const struct stat& status) {
    if (++visits[DirectoryIdentity{status.st_dev, status.st_ino}] > bounds.maxVisits) {
      complete = false;
      return;
    }
    if (auto names = directoryContentsAtPath(directory)) {
      stack.push_back(Frame{std::move(directory), std::move(*names), 0});
    }
  };
  struct stat status;
  if (stat(path.c_str(), &status) != 0 || !S_ISDIR(status.st_mode)) return true;
  enter(std::move(path), status);
  std::size_t seen = 0;
  const auto deadline = std::chrono::steady_clock::now() + bounds.maxTime;
  while (!stack.empty()) {
    Frame& frame = stack.back();
    if (frame.next == frame.names.size()) {
      stack.pop_back();
      continue;
    }
    if (seen == bounds.maxEntries) return false;
    // The clock is read once every 256 entries: a stat costs far more than that reading.
    if (seen % 256 == 0 && std::chrono::steady_clock::now() >= deadline) return false;
    ++seen;
    std::string entry = appendPathComponent(frame.path, frame.names[frame.next++]);
    if (resolveLinks) entry = resolvedPath(entry);
    if (stat(entry.c_str(), &status) != 0) continue;  // nothing there, or the target is missing
    const bool directory = S_ISDIR(status.st_mode);
    if (directory ? folders : files) emit(entry);
    if (directory) enter(std::move(entry), status);  // frame is not used after this
  }
  return complete;
}

void _deepDirectoryContents(std::vector<std::u16string>& list, std::u16string_view path,
                            bool resolveLinks, bool files, bool folders) {
  detail::walkDirectoryTree(
      utf8Path(path), resolveLinks, files, folders, detail::WalkBounds{},
      [&list](std::string_view entry) { list.push_back(utf16FromUtf8(entry)); });
}

namespace {

std::vector<std::u16string> deepDirectory(std::u16string_view path, bool resolveLinks, bool files,
                                          bool folders) {
  std::vector<std::u16string> list;
  if (resolveLinks) {
    _deepDirectoryContents(list, resolveLink(path), resolveLinks, files, folders);
  } else {
    _deepDirectoryContents(list, path, resolveLinks, files, folders);
  }
  return list;
}

}  // namespace

std::vector<std::u16string> deepDirectoryContentsAtPath(std::u16string_view path,
                                                        bool resolveLinks) {
  return deepDirectory(path, resolveLinks, true, true);
}

std::vector<std::u16string> deepDirectoryFilesAtPath(std::u16string_view path, bool resolveLinks) {
  return deepDirectory(path, resolveLinks, true, false);
}

std::vector<std::u16string> deepDirectoryFoldersAtPath(std::u16string_view path,
                                                       bool resolveLinks) {
  return deepDirectory(path, resolveLinks, false, true);
}

std::u16string stringFromCurrentDate(const std::optional<std::u16string>& format) {
  const DateFormatter formatter(format.value_or(std::u16string(kMissingObjectText)));
  return formatter.stringForObjectValue(std::chrono::system_clock::now());
}

std::u16string directoryListing(std::u16string_view path) {
  std::u16string listing;
  bool first = true;
  detail::walkDirectoryTree(utf8Path(stringByExpandingTildeInPath(path)), false, true, true,
                            detail::WalkBounds{}, [&](std::string_view entry) {
                              if (!first) listing += u'\n';
                              first = false;
                              listing += utf16FromUtf8(entry);
                            });
  return listing;
}

}  // namespace textrix
