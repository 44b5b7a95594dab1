#include "services/insert.h"

#include <gtest/gtest.h>
#include <unistd.h>

#include <algorithm>
#include <clocale>
#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "host/defaults.h"
#include "host/messages.h"
#include "host/textrix.h"
#include "text/encodings.h"

namespace textrix {
namespace {

using namespace std::literals;
namespace fs = std::filesystem;

// 2024-03-05 12:05:09.042 UTC, a Tuesday: 14:05 in the zone XST, two hours east of UTC.
constexpr long long kTuesdayMillis = 1709640309042;

std::chrono::system_clock::time_point at(long long millisSinceEpoch) {
  return std::chrono::system_clock::time_point(std::chrono::milliseconds(millisSinceEpoch));
}

// Dates are rendered in the zone TZ names and with the names of the C locale.
void useZone(const char* zone) {
  setenv("TZ", zone, 1);
  std::setlocale(LC_ALL, "C");
}

TEST(DateFormatter, RendersEveryConversionInLocalTime) {
  useZone("XST-2");
  struct Row {
    std::u16string_view format;
    std::u16string_view text;
  };
  const Row rows[] = {
      {u"%H:%M", u"14:05"},
      {u"%I:%M:%S %p", u"02:05:09 PM"},
      {u"%S.%F", u"09.042"},
      {u"%d|%e|%m|%y|%Y", u"05|5|03|24|2024"},
      {u"%j %w", u"065 2"},
      {u"%a %A %b %B", u"Tue Tuesday Mar March"},
      {u"%x|%X|%c", u"03/05/24|14:05:09|Tue Mar  5 14:05:09 2024"},
      {u"%z %Z", u"+0200 XST"},
      {u"100%% %q %", u"100% %q %"},
      {u"%Y\u5E74\U0001F600", u"2024\u5E74\U0001F600"},
      {u"", u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(encodeUtf8(row.format));
    EXPECT_EQ(DateFormatter(std::u16string(row.format)).stringForObjectValue(at(kTuesdayMillis)),
              row.text);
  }
}

TEST(DateFormatter, TwelveHourClockAndZonesWestOfUtc) {
  useZone("NST3:30");
  struct Row {
    long long millis;
    std::u16string_view text;
  };
  const Row rows[] = {
      {0, u"08 PM 1969-12-31 20:30:00.000 -0330"},
      {(15 * 60 + 30) * 60000LL, u"12 PM 1970-01-01 12:00:00.000 -0330"},
      {-1, u"08 PM 1969-12-31 20:29:59.999 -0330"},
      {(3 * 60 + 40) * 60000LL, u"12 AM 1970-01-01 00:10:00.000 -0330"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.millis);
    EXPECT_EQ(DateFormatter(u"%I %p %Y-%m-%d %H:%M:%S.%F %z").stringForObjectValue(at(row.millis)),
              row.text);
  }
}

// A directory tree in the temporary directory, removed at the end of the test.
class TempTree {
 public:
  TempTree() {
    std::string pattern = (fs::temp_directory_path() / "textrix-insert-XXXXXX").string();
    root_ = mkdtemp(pattern.data());
  }
  ~TempTree() {
    std::error_code ignored;
    fs::permissions(root_, fs::perms::owner_all, fs::perm_options::add, ignored);
    fs::remove_all(root_, ignored);
  }
  const fs::path& root() const { return root_; }
  std::u16string path(std::string_view relative = {}) const {
    return utf16FromUtf8(relative.empty() ? root_.string() : (root_ / relative).string());
  }
  void file(std::string_view relative) const { std::ofstream(root_ / relative) << "x"; }
  void folder(std::string_view relative) const { fs::create_directories(root_ / relative); }
  void link(std::string_view target, std::string_view relative) const {
    fs::create_symlink(target, root_ / relative);
  }

 private:
  fs::path root_;
};

std::vector<std::u16string> below(const TempTree& tree,
                                  std::initializer_list<std::string_view> paths) {
  std::vector<std::u16string> list;
  for (std::string_view path : paths) list.push_back(tree.path(path));
  return list;
}

TEST(DeepDirectoryContents, ListsEachEntryBeforeItsContentsInListingOrder) {
  TempTree tree;
  tree.file("f");
  tree.folder("s");
  tree.file("s/g");
  const std::vector<std::u16string> listing = deepDirectoryContentsAtPath(tree.path(), false);
  // The file system decides whether f or s comes first; s/g always follows s at once.
  const auto fFirst = below(tree, {"f", "s", "s/g"});
  const auto sFirst = below(tree, {"s", "s/g", "f"});
  EXPECT_TRUE(listing == fFirst || listing == sFirst) << encodeUtf8(listing.front());
  EXPECT_EQ(deepDirectoryFilesAtPath(tree.path(), false).size(), 2u);
  EXPECT_EQ(deepDirectoryFoldersAtPath(tree.path(), false), below(tree, {"s"}));
}

TEST(DeepDirectoryContents, FollowsLinksForTheTestButKeepsTheirNames) {
  TempTree tree;
  tree.folder("real/inner");
  tree.link("real", "alias");
  tree.link("missing", "broken");
  tree.file(".hidden");
  std::vector<std::u16string> listing = deepDirectoryContentsAtPath(tree.path(), false);
  std::sort(listing.begin(), listing.end());
  EXPECT_EQ(listing, below(tree, {".hidden", "alias", "alias/inner", "real", "real/inner"}));
  EXPECT_EQ(deepDirectoryFoldersAtPath(tree.path("alias"), true), below(tree, {"real/inner"}));
  EXPECT_EQ(resolveLink(tree.path("alias")), tree.path("real"));
  EXPECT_EQ(resolveLink(tree.path("broken")), tree.path("broken"));
}

TEST(DeepDirectoryContents, ListsNamesThatAreNotUtf8AndWalksBelowThem) {
  TempTree tree;
  tree.folder(
      "\xFF"
      "dir");
  tree.file(
      "\xFF"
      "dir/child");
  EXPECT_EQ(deepDirectoryContentsAtPath(tree.path(), false),
            (std::vector<std::u16string>{tree.path() + u"/\uFFFDdir",
                                         tree.path() + u"/\uFFFDdir/child"}));
}

TEST(DeepDirectoryContents, UnreadableDirectoryIsListedWithNothingBelow) {
  if (geteuid() == 0) GTEST_SKIP() << "every directory is readable for root";
  TempTree tree;
  tree.folder("locked");
  tree.file("locked/secret");
  fs::permissions(tree.root() / "locked", fs::perms::none);
  EXPECT_EQ(deepDirectoryContentsAtPath(tree.path(), false), below(tree, {"locked"}));
}

TEST(DeepDirectoryContents, ALinkToAnAncestorIsFollowedUntilTheKernelRefuses) {
  TempTree tree;
  tree.folder("d");
  tree.link("..", "d/up");
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
  TempTree tree;
  tree.folder("d");
  tree.link("..", "d/up1");
  tree.link("..", "d/up2");
  const std::vector<std::u16string> listing = deepDirectoryContentsAtPath(tree.path(), false);
  // Each walk of the top lists d, each walk of d lists up1 and up2.
  EXPECT_LE(listing.size(), 3 * kMaxDirectoryVisits);
  EXPECT_GE(listing.size(), kMaxDirectoryVisits);
  for (const std::u16string& path : listing) {
    ASSERT_EQ(path.rfind(tree.path("d"), 0), 0u) << encodeUtf8(path);
  }
  // The walk goes through both links, in either order, and lists both at the top.
  const auto throughBoth = [](const std::u16string& path) {
    return path.find(u"/up1") != std::u16string::npos && path.find(u"/up2") != std::u16string::npos;
  };
  EXPECT_TRUE(std::any_of(listing.begin(), listing.end(), throughBoth));
  for (std::string_view path : {"d/up1", "d/up2"}) {
    EXPECT_NE(std::find(listing.begin(), listing.end(), tree.path(path)), listing.end()) << path;
  }
}

TEST(DeepDirectoryContents, StopsAtItsBounds) {
  TempTree tree;
  tree.folder("d");
  tree.link("..", "d/up1");
  tree.link("..", "d/up2");
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
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(row.listed);
    std::size_t listed = 0;
    EXPECT_FALSE(detail::walkDirectoryTree(tree.root().string(), false, true, true, row.bounds,
                                           [&](std::string_view) { ++listed; }));
    EXPECT_EQ(listed, row.listed);
  }
}

struct PathRow {
  std::u16string_view path;
  std::u16string_view expanded;
};

TEST(PathStrings, ExpandsALeadingTildeOnly) {
  setenv("HOME", "/home/someone/", 1);
  const PathRow rows[] = {
      {u"~", u"/home/someone/"},
      {u"~/a b/", u"/home/someone/a b/"},
      {u"~root", u"/root"},
      {u"~root/x", u"/root/x"},
      {u"~nobody-here/x", u"~nobody-here/x"},
      {u"a/~", u"a/~"},
      {u"", u""},
  };
  for (const PathRow& row : rows) {
    SCOPED_TRACE(encodeUtf8(row.path));
    EXPECT_EQ(stringByExpandingTildeInPath(row.path), row.expanded);
  }
  EXPECT_EQ(stringByAppendingPathComponent(u"/d//", u"x"), u"/d/x");
  EXPECT_EQ(stringByAppendingPathComponent(u"/", u"x"), u"/x");
  EXPECT_EQ(stringByAppendingPathComponent(u"d", u"x"), u"d/x");
}

// An environment whose alert records what it shows.
struct Recorder {
  std::vector<std::u16string> alerts;
  ServiceEnvironment environment() {
    ServiceEnvironment environment;
    environment.runAlertPanel = [this](std::u16string_view title, std::u16string_view message) {
      alerts.push_back(std::u16string(title) + u"|" + std::u16string(message));
    };
    return environment;
  }
};

ServicePasteboard plainPasteboard(std::u16string text) {
  ServicePasteboard pasteboard("request");
  pasteboard.declareTypes({std::string(kStringPboardType)});
  pasteboard.setString(std::move(text), kStringPboardType);
  return pasteboard;
}

std::u16string written(const ServicePasteboard& pasteboard) {
  EXPECT_EQ(pasteboard.types(), std::vector<std::string>{std::string(kStringPboardType)});
  return std::u16string(pasteboard.stringForType(kStringPboardType).value_or(u"<none>"));
}

// The lines of a listing in sorted order, so that the file system's order does not matter; a line
// end after the last path shows as an empty first line.
std::u16string inAnyOrder(std::u16string_view listing) {
  std::vector<std::u16string> lines(1);
  for (const char16_t c : listing) {
    if (c == u'\n') {
      lines.emplace_back();
    } else {
      lines.back() += c;
    }
  }
  std::sort(lines.begin(), lines.end());
  std::u16string joined;
  for (const std::u16string& line : lines) joined += (joined.empty() ? u"" : u"\n") + line;
  return joined;
}

TEST(InsertPathService, WritesTheListingOrTheEmptyText) {
  TempTree tree;
  tree.folder("holder/x");
  tree.file("file");
  Recorder recorder;
  Textrix provider(recorder.environment());
  struct Row {
    std::u16string selection;
    std::u16string listing;
  };
  const Row rows[] = {
      {tree.path("holder"), tree.path("holder/x")},
      {tree.path() + u"/",
       tree.path("file") + u"\n" + tree.path("holder") + u"\n" + tree.path("holder/x")},
      {tree.path("holder/x"), u""},
      {tree.path("holder") + u"\n", u""},
      {tree.path("file"), u""},
      {tree.path("holder") + u"\0"s + tree.path(), u""},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(encodeUtf8(row.selection));
    ServicePasteboard pasteboard = plainPasteboard(row.selection);
    std::string error;
    provider.doInsertPathService(pasteboard, "", error);
    EXPECT_EQ(error, "");
    EXPECT_EQ(inAnyOrder(written(pasteboard)), row.listing);
  }
  ServicePasteboard empty("request");
  std::string error;
  provider.doInsertPathService(empty, "", error);
  EXPECT_EQ(error, kInsertPathMessage);
  EXPECT_EQ(empty.changeCount(), 0);
  EXPECT_TRUE(recorder.alerts.empty());
}

TEST(InsertPathService, ListsTheHomeDirectoryForATilde) {
  TempTree tree;
  tree.folder("only");
  setenv("HOME", tree.root().c_str(), 1);
  Textrix provider;
  ServicePasteboard pasteboard = plainPasteboard(u"~");
  std::string error;
  provider.doInsertPathService(pasteboard, "", error);
  EXPECT_EQ(written(pasteboard), tree.path("only"));
}

TEST(InsertDateServices, WriteTheirFormatsOverTheSelection) {
  const fs::path store = fs::temp_directory_path() / "textrix-insert-test-absent" / "defaults";
  setenv("TEXTRIX_DEFAULTS", store.c_str(), 1);
  UserDefaults& defaults = UserDefaults::standardUserDefaults();
  defaults.setString("time %Z", "NSTimeFormatString");
  defaults.setString("short", "NSShortDateFormatString");
  defaults.setString("long", "NSDateFormatString");
  useZone("XST-2");
  Textrix provider;
  struct Row {
    Textrix::Handler handler;
    std::u16string_view text;
  };
  const Row rows[] = {
      {&Textrix::doInsertTimeService, u"time XST"},
      {&Textrix::doInsertShortDateService, u"short"},
      {&Textrix::doInsertLongDateService, u"long"},
      {&Textrix::doInsertShortDateTimeService, u"short time XST"},
      {&Textrix::doInsertLongDateTimeService, u"long time XST"},
  };
  for (const Row& row : rows) {
    SCOPED_TRACE(encodeUtf8(row.text));
    ServicePasteboard pasteboard("request");
    pasteboard.declareTypes({std::string(kRTFPboardType)});
    pasteboard.setData("{\\rtf1 selected}", kRTFPboardType);
    std::string error;
    (provider.*row.handler)(pasteboard, "", error);
    EXPECT_EQ(error, "");
    EXPECT_EQ(written(pasteboard), row.text);
  }
}

}  // namespace
}  // namespace textrix
