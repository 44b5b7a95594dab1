// SPDX-License-Identifier: MIT
#include "services/insert.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "runtime/defaults.h"
#include "services/textrix.h"
#include "support/pasteboards.h"
#include "support/perform.h"
#include "text/encodings.h"

namespace textrix {
namespace {

using testing_services::perform;

using namespace std::literals;
namespace fs = std::filesystem;

// 2024-03-05 12:05:09.042 UTC, a Tuesday: 14:05 in the zone XST, two hours east of UTC.
constexpr long long kTuesday = 1709640309042;
constexpr long long kHour = 3600000;

// Dates are rendered in the zone TZ names and with the names of the C locale.
void useZone(const char* zone) {
  setenv("TZ", zone, 1);
  std::setlocale(LC_ALL, "C");
}

TEST(DateFormatter, RendersEveryConversionInLocalTime) {
  struct Row {
    const char* zone;
    long long millis;  // since 1970 UTC
    std::u16string_view format;
    std::u16string_view text;
  };
  const Row rows[] = {
      {"XST-2", kTuesday, u"%H:%M|%I:%M:%S.%F %p", u"14:05|02:05:09.042 PM"},
      {"XST-2", kTuesday, u"%d|%e|%m|%y|%Y|%j|%w", u"05|5|03|24|2024|065|2"},
      {"XST-2", kTuesday, u"%a %A %b %B %z %Z", u"Tue Tuesday Mar March +0200 XST"},
      {"XST-2", kTuesday, u"%x|%X|%c", u"03/05/24|14:05:09|Tue Mar  5 14:05:09 2024"},
      {"XST-2", kTuesday, u"100%% %q %", u"100% %q %"},
      {"XST-2", kTuesday, u"%Y\u5E74\U0001F600", u"2024\u5E74\U0001F600"},
      {"NST3:30", 0, u"%Y-%m-%d %I %p %z", u"1969-12-31 08 PM -0330"},
      {"NST3:30", -1, u"%H:%M:%S.%F", u"20:29:59.999"},
      {"NST3:30", 15 * kHour + kHour / 2, u"%I %p", u"12 PM"},
      {"NST3:30", 3 * kHour + kHour / 2, u"%I %p", u"12 AM"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(encodeUtf8(row.format));
    useZone(row.zone);
    const auto date = std::chrono::system_clock::time_point(std::chrono::milliseconds(row.millis));
    EXPECT_EQ(DateFormatter(std::u16string(row.format)).stringForObjectValue(date), row.text);
  }
}

// A directory tree in the temporary directory, removed at the end of the test. Entries are
// "name/" for a directory, "name->target" for a symbolic link and "name" for a file.
class TempTree {
 public:
  explicit TempTree(std::initializer_list<std::string_view> entries) {
    std::string pattern = (fs::temp_directory_path() / "textrix-insert-XXXXXX").string();
    root_ = mkdtemp(pattern.data());
    for (std::string_view entry : entries) {
      if (const std::size_t arrow = entry.find("->"); arrow != entry.npos) {
        fs::create_symlink(entry.substr(arrow + 2), root_ / entry.substr(0, arrow));
      } else if (entry.ends_with('/')) {
        fs::create_directories(root_ / entry);
      } else {
        std::ofstream(root_ / entry) << "x";
      }
    }
  }
  ~TempTree() { fs::remove_all(root_, ignored_); }
  const fs::path& root() const { return root_; }
  std::u16string path(std::string_view relative = {}) const {
    return utf16FromUtf8(relative.empty() ? root_.string() : (root_ / relative).string());
  }
  // The paths of a listing below the root, sorted, one space between two.
  std::string below(const std::vector<std::u16string>& listing) const {
    std::vector<std::string> names;
    for (const std::u16string& path : listing) {
      names.push_back(encodeUtf8(path).substr(root_.string().size() + 1));
    }
    std::sort(names.begin(), names.end());
    std::string joined;
    for (const std::string& name : names) joined += (joined.empty() ? "" : " ") + name;
    return joined;
  }

 private:
  fs::path root_;
  std::error_code ignored_;
};

TEST(DeepDirectoryContents, ListsEachEntryBeforeItsContentsAndFollowsLinksByTheirNames) {
  TempTree tree({"f", ".hidden", "s/", "s/g", "alias->s", "broken->missing", "\xFF/", "\xFF/c"});
  const std::vector<std::u16string> listing = deepDirectoryContentsAtPath(tree.path(), false);
  EXPECT_EQ(tree.below(listing), ".hidden alias alias/g f s s/g \xEF\xBF\xBD \xEF\xBF\xBD/c");
  const auto s = std::find(listing.begin(), listing.end(), tree.path("s"));
  ASSERT_LT(s + 1, listing.end());
  EXPECT_EQ(s[1], tree.path("s/g"));  // whatever order the file system gives
  EXPECT_EQ(tree.below(deepDirectoryFilesAtPath(tree.path("s"), false)), "s/g");
  EXPECT_EQ(tree.below(deepDirectoryFoldersAtPath(tree.path(), false)), "alias s \xEF\xBF\xBD");
  EXPECT_EQ(tree.below(deepDirectoryContentsAtPath(tree.path("alias"), true)), "s/g");
  EXPECT_EQ(resolveLink(tree.path("broken")), tree.path("broken"));
}

TEST(DeepDirectoryContents, UnreadableDirectoryIsListedWithNothingBelow) {
  if (geteuid() == 0) GTEST_SKIP() << "every directory is readable for root";
  TempTree tree({"locked/", "locked/secret"});
  fs::permissions(tree.root() / "locked", fs::perms::none);
  EXPECT_EQ(tree.below(deepDirectoryContentsAtPath(tree.path(), false)), "locked");
  fs::permissions(tree.root() / "locked", fs::perms::owner_all);
}

TEST(DeepDirectoryContents, ALinkToAnAncestorIsFollowedUntilTheKernelRefuses) {
  TempTree tree({"d/", "d/up->.."});
  const std::vector<std::u16string> listing = deepDirectoryContentsAtPath(tree.path(), false);
  // d, d/up, d/up/d, d/up/d/up, ... one link more at every second level.
  ASSERT_GT(listing.size(), 10u);
  ASSERT_LT(listing.size(), 200u);
  std::u16string expected = tree.path();
  for (std::size_t i = 0; i < listing.size(); ++i) {
    expected += i % 2 ? u"/up" : u"/d";
    EXPECT_EQ(listing[i], expected) << i;
  }
}

TEST(DeepDirectoryContents, TwoLinksToTheParentEndWhereDirectoriesRecur) {
  TempTree tree({"d/", "d/up1->..", "d/up2->.."});
  const std::vector<std::u16string> listing = deepDirectoryContentsAtPath(tree.path(), false);
  // Each walk of the top lists d, each walk of d lists up1 and up2.
  EXPECT_LE(listing.size(), 3 * kMaxDirectoryVisits);
  EXPECT_GE(listing.size(), kMaxDirectoryVisits);

  struct Row {
    detail::WalkBounds bounds;
    std::size_t listed;
  };
  const Row rows[] = {
      // The first 50 entries seen are d, d/up1, d/up1/d, ...: all directories, all listed.
      {{50, kMaxDirectoryVisits}, 50},
      // d, d/up1, d/up2: the top is not walked a second time.
      {{kMaxDeepDirectoryEntries, 1}, 3},
      // d, d/up1, d/up1/d, d/up1/d/up1, d/up1/d/up2, d/up2.
      {{kMaxDeepDirectoryEntries, 2}, 6},
      // Out of time before the first entry.
      {{kMaxDeepDirectoryEntries, kMaxDirectoryVisits, std::chrono::milliseconds(0)}, 0},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.listed);
    std::size_t listed = 0;
    EXPECT_FALSE(detail::walkDirectoryTree(tree.root().string(), false, true, true, row.bounds,
                                           [&](std::string_view) { ++listed; }));
    EXPECT_EQ(listed, row.listed);
  }
}

TEST(PathStrings, ExpandsALeadingTildeOnly) {
  setenv("HOME", "/home/someone/", 1);
  const std::pair<std::u16string_view, std::u16string_view> rows[] = {
      {u"~", u"/home/someone/"}, {u"~/a b/", u"/home/someone/a b/"},
      {u"~root/x", u"/root/x"},  {u"~nobody-here/x", u"~nobody-here/x"},
      {u"a/~", u"a/~"},
  };
  for (const auto& [path, expanded] : rows) {
    EXPECT_EQ(stringByExpandingTildeInPath(path), expanded) << encodeUtf8(path);
  }
}

std::u16string written(const ServicePasteboard& pasteboard) {
  EXPECT_EQ(pasteboard.types(), std::vector<std::string>{std::string(kStringPboardType)});
  return std::u16string(pasteboard.stringForType(kStringPboardType).value_or(u"<none>"));
}

TEST(InsertPathService, WritesTheListingOrTheEmptyText) {
  TempTree tree({"holder/x/", "file"});
  setenv("HOME", tree.root().c_str(), 1);
  Textrix provider;
  const std::pair<std::u16string, std::u16string> rows[] = {
      {tree.path("holder"), tree.path("holder/x")},
      {tree.path("holder") + u"/", tree.path("holder/x")},
      {u"~/holder", tree.path("holder/x")},
      {tree.path("holder/x"), u""},
      {tree.path("holder") + u"\n", u""},
      {tree.path("file"), u""},
      {tree.path("holder") + u"\0"s + tree.path(), u""},
  };
  for (const auto& [selection, listing] : rows) {
    SCOPED_TRACE(encodeUtf8(selection));
    ServicePasteboard pasteboard = testing_pasteboards::plainPasteboard(selection);
    EXPECT_EQ(perform(provider, "insert-path", pasteboard), "");
    EXPECT_EQ(written(pasteboard), listing);
  }
}

TEST(InsertDateServices, WriteTheirFormatsOverTheSelection) {
  setenv("TEXTRIX_DEFAULTS", "/nonexistent/textrix-insert-test/defaults", 1);
  UserDefaults& defaults = UserDefaults::standardUserDefaults();
  defaults.setString("time %Z", "NSTimeFormatString");
  defaults.setString("short", "NSShortDateFormatString");
  defaults.setString("long", "NSDateFormatString");
  useZone("XST-2");
  Textrix provider;
  const std::pair<std::string_view, std::u16string_view> rows[] = {
      {"insert-time", u"time XST"},
      {"insert-short-date", u"short"},
      {"insert-long-date", u"long"},
      {"insert-short-date-time", u"short time XST"},
      {"insert-long-date-time", u"long time XST"},
  };
  for (const auto& [handler, text] : rows) {
    SCOPED_TRACE(encodeUtf8(text));
    ServicePasteboard pasteboard =
        testing_pasteboards::pasteboardWith(kRTFPboardType, "{\\rtf1 selected}");
    EXPECT_EQ(perform(provider, handler, pasteboard), "");
    EXPECT_EQ(written(pasteboard), text);
  }
}

}  // namespace
}  // namespace textrix
