// SPDX-License-Identifier: MIT
// The insert services: the current date and time in the user's formats, and the deep listing of a
// directory whose path is selected.
//
// A date format is in the calendar-format syntax: %% (a percent sign), %a and %A (abbreviated and
// full weekday name), %b and %B (month name), %c, %x and %X (the locale's date and time, date, and
// time), %d (day of month, 01-31), %e (day of month, 1-31), %F (milliseconds, 000-999), %H (hour,
// 00-23), %I (hour, 01-12), %j (day of year, 001-366), %m (month, 01-12), %M (minute), %p (AM or
// PM), %S (second), %w (weekday, 0 for Sunday), %y (year in the century, 00-99), %Y (year), %Z
// (time-zone abbreviation), %z (offset from UTC, +hhmm). Names come from the C library's LC_TIME,
// so they are in the user's language; any other character is copied, and so is a % that starts no
// conversion ("%q" stays "%q").
//
//   textrix::DateFormatter formatter(u"%H:%M");
//   formatter.stringForObjectValue(std::chrono::system_clock::now());   // "14:05"
//
// The listing walks the tree depth first, each entry before its contents, in the order the file
// system lists each directory; hidden entries are kept. Symbolic links are followed for the test of
// what an entry is but kept in the listed path; an entry whose target is missing is left out.
//
//   textrix::deepDirectoryContentsAtPath(u"/tmp/D", false);
//   // "/tmp/D/f", "/tmp/D/s", "/tmp/D/s/g"
//
// Paths are UTF-8 bytes on the file system and UTF-16 here: a file name that is not valid UTF-8
// is listed with U+FFFD for each invalid sequence, while the walk goes on below it by its bytes.
#pragma once

#include <chrono>
#include <cstddef>
#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace textrix {

// Formats dates with one calendar format, in the process's local time zone (TZ).
class DateFormatter {
 public:
  explicit DateFormatter(std::u16string dateFormat) : dateFormat_(std::move(dateFormat)) {}

  const std::u16string& dateFormat() const { return dateFormat_; }
  // date rendered by the format in local time, to the millisecond (earlier dates rounded down);
  // the empty text for a date the C library cannot break down into local time.
  std::u16string stringForObjectValue(std::chrono::system_clock::time_point date) const;

 private:
  std::u16string dateFormat_;
};

// The insert-date and insert-time services: the current date and time rendered by format; a
// missing format renders as the text of a missing object, as a missing part of a composed format.
std::u16string stringFromCurrentDate(const std::optional<std::u16string>& format);
// The insert-path service: path, a leading "~" expanded but nothing trimmed, listed deeply with
// links followed, one entry a line without a final line end; the empty text for a path that names
// no directory.
std::u16string directoryListing(std::u16string_view path);

// Bounds of the walk, so that a listing is answered in seconds and the provider is free for the
// next request: a tree with links looping back into it, or a tree as large as /usr, is listed up to
// a bound and no further. One link to an ancestor brings the walk back to each directory of the
// loop once per level, and the kernel refuses a path with more than 40 links in it, so such a loop
// is walked as deep as the file system allows. Two or more such links would give 2^depth paths:
// there a directory reached more than kMaxDirectoryVisits times is still listed but no longer
// walked. The whole walk stops after kMaxDeepDirectoryEntries entries or kMaxDeepDirectoryTime,
// whichever comes first, with what it has listed so far.
inline constexpr std::size_t kMaxDirectoryVisits = 64;
inline constexpr std::size_t kMaxDeepDirectoryEntries = 100'000;
inline constexpr std::chrono::milliseconds kMaxDeepDirectoryTime{5000};

// path with a leading "~" (alone or before a "/") replaced by the home directory ($HOME, else the
// password database's), or a leading "~user" by that user's home; unchanged otherwise, and when
// there is no such user or home.
std::u16string stringByExpandingTildeInPath(std::u16string_view path);
// path and component joined with exactly one "/": the trailing slashes of path are dropped first.
// An empty path gives the component.
std::u16string stringByAppendingPathComponent(std::u16string_view path,
                                              std::u16string_view component);
// path with its symbolic links, "." and ".." resolved (realpath), or path itself when it cannot be
// resolved (nothing there, a loop, no permission).
std::u16string resolveLink(std::u16string_view path);

// Every file and directory below the directory at path, at any depth, as paths that begin with
// path; resolveLinks resolves the start path and every entry path first. Empty when path is not a
// directory that can be listed. Within the bounds above.
std::vector<std::u16string> deepDirectoryContentsAtPath(std::u16string_view path,
                                                        bool resolveLinks);
// As deepDirectoryContentsAtPath, only the entries that are not directories.
std::vector<std::u16string> deepDirectoryFilesAtPath(std::u16string_view path, bool resolveLinks);
// As deepDirectoryContentsAtPath, only the directories (all of them walked all the same).
std::vector<std::u16string> deepDirectoryFoldersAtPath(std::u16string_view path, bool resolveLinks);
// Appends to list the entries below path (path itself not resolved): directories when folders is
// set, other entries when files is set. Every directory is walked either way.
void _deepDirectoryContents(std::vector<std::u16string>& list, std::u16string_view path,
                            bool resolveLinks, bool files, bool folders);

namespace detail {
struct WalkBounds {
  std::size_t maxEntries = kMaxDeepDirectoryEntries;  // entries looked at, missing targets included
  std::size_t maxVisits = kMaxDirectoryVisits;        // walks of one directory (device and inode)
  std::chrono::milliseconds maxTime = kMaxDeepDirectoryTime;  // from the start of the walk
};
// The walk of _deepDirectoryContents on the bytes of a path: hands each listed entry path to emit.
// Returns false when a bound left something out.
bool walkDirectoryTree(std::string path, bool resolveLinks, bool files, bool folders,
                       WalkBounds bounds, const std::function<void(std::string_view)>& emit);
}  // namespace detail

}  // namespace textrix
