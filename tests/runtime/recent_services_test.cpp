// SPDX-License-Identifier: MIT
#include "runtime/recent_services.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "support/files.h"
#include "support/scratch.h"

namespace textrix {
namespace {

using Names = std::vector<std::string>;

// Names "s0", "s1", ... "s<count - 1>".
Names numberedNames(std::size_t count) {
  Names names;
  for (std::size_t i = 0; i < count; ++i) names.push_back("s" + std::to_string(i));
  return names;
}

std::string linesOf(const Names& names) {
  std::string text;
  for (const std::string& name : names) text += name + "\n";
  return text;
}

class RecentServicesFile : public ScratchTest {
 protected:
  std::filesystem::path file() const { return directory_ / "recent"; }
  void write(const std::string& contents) const {
    std::ofstream(file(), std::ios::binary) << contents;
  }
};

TEST_F(RecentServicesFile, ReadsDistinctNonEmptyLinesUpToTheCapacity) {
  const Names tooMany = numberedNames(RecentServices::kCapacity + 5);
  const struct {
    const char* label;
    std::optional<std::string> contents;  // none: no file
    Names names;
  } rows[] = {
      {"no file", std::nullopt, {}},
      {"empty", "", {}},
      {"in order", "upper\nlower\n", {"upper", "lower"}},
      {"last line unterminated", "upper\nlower", {"upper", "lower"}},
      {"repeats keep their first place", "upper\nlower\nupper\nlower\n", {"upper", "lower"}},
      {"empty lines skipped", "\n\nupper\n\n", {"upper"}},
      // Whether a name still names a service is for the reader to judge.
      {"names of no service kept", "gone-service\nupper\n", {"gone-service", "upper"}},
      {"beyond the capacity dropped", linesOf(tooMany),
       Names(tooMany.begin(), tooMany.begin() + RecentServices::kCapacity)},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    std::filesystem::remove(file());
    if (row.contents) write(*row.contents);
    const RecentServices recent(file());
    EXPECT_EQ(recent.names(), row.names);
    EXPECT_FALSE(recent.unreadable());
  }
}

TEST_F(RecentServicesFile, UseMovesANameToTheTopAndDropsTheOldest) {
  const Names full = numberedNames(RecentServices::kCapacity);
  Names fullAfterNew = full;
  fullAfterNew.insert(fullAfterNew.begin(), "new");
  fullAfterNew.pop_back();
  const struct {
    const char* label;
    Names before;
    std::string used;
    Names after;
  } rows[] = {
      {"first use", {}, "upper", {"upper"}},
      {"new name on top", {"a", "b"}, "c", {"c", "a", "b"}},
      {"known name moves up", {"a", "b", "c"}, "c", {"c", "a", "b"}},
      {"top name stays", {"a", "b"}, "a", {"a", "b"}},
      {"oldest dropped when full", full, "new", fullAfterNew},
      // A name that cannot be one line of the file.
      {"empty name", {"a"}, "", {"a"}},
      {"line feed", {"a"}, "b\nc", {"a"}},
      {"NUL", {"a"}, std::string("b\0c", 3), {"a"}},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.label);
    write(linesOf(row.before));
    RecentServices recent(file());
    recent.recordUse(row.used);
    EXPECT_EQ(recent.names(), row.after);
    EXPECT_EQ(recent.save(), "");
    EXPECT_EQ(slurp(file()), linesOf(row.after));
    EXPECT_EQ(RecentServices(file()).names(), row.after);
  }
}

// The file is replaced only when the order changed: a use of the top name, or of nothing that
// can be recorded, leaves the very file (and whatever a person wrote in it) as it was.
TEST_F(RecentServicesFile, WritesOnlyWhenTheOrderChanges) {
  const std::string handWritten = "a\n\na\nb";
  write(handWritten);
  const ino_t original = inodeOf(file());
  {
    RecentServices recent(file());
    recent.recordUse("a");
    recent.recordUse("");
    EXPECT_EQ(recent.save(), "");
  }
  EXPECT_EQ(inodeOf(file()), original);
  EXPECT_EQ(slurp(file()), handWritten);

  RecentServices recent(file());
  recent.recordUse("b");
  EXPECT_EQ(recent.save(), "");
  EXPECT_NE(inodeOf(file()), original);
  EXPECT_EQ(slurp(file()), "b\na\n");
  // Once written, saving again writes nothing more.
  const ino_t written = inodeOf(file());
  EXPECT_EQ(recent.save(), "");
  EXPECT_EQ(inodeOf(file()), written);
}

// A file that cannot be read is neither read nor written over; a place that cannot be written
// is told, and no temporary file stays behind. Nothing throws.
TEST_F(RecentServicesFile, UnreadableOrUnwritableFileIsToldNotFatal) {
  std::filesystem::create_directory(file());  // a directory where the file should be
  RecentServices unreadable(file());
  EXPECT_TRUE(unreadable.unreadable());
  EXPECT_TRUE(unreadable.names().empty());
  unreadable.recordUse("upper");
  EXPECT_EQ(unreadable.names(), Names{"upper"});
  EXPECT_NE(unreadable.save(), "");
  EXPECT_TRUE(std::filesystem::is_directory(file()));
  std::filesystem::remove(file());

  // The place changes after the history was read: a directory comes to stand where the file
  // goes, or a file where its directory goes.
  RecentServices renameFails(file());
  std::filesystem::create_directories(file() / "inside");
  renameFails.recordUse("upper");
  EXPECT_NE(renameFails.save(), "");
  EXPECT_TRUE(std::filesystem::is_directory(file() / "inside"));

  const std::filesystem::path parent = directory_ / "state";
  RecentServices directoryFails(parent / "recent");
  std::ofstream(parent) << "not a directory";
  directoryFails.recordUse("upper");
  EXPECT_NE(directoryFails.save(), "");
  EXPECT_EQ(slurp(parent), "not a directory");

  for (const auto& entry : std::filesystem::directory_iterator(directory_)) {
    EXPECT_EQ(entry.path().filename().string().find(".tmp"), std::string::npos) << entry.path();
  }
}

// Sets or unsets an environment variable for as long as it lives.
class ScopedEnvironment {
 public:
  ScopedEnvironment(const char* name, const char* value) : name_(name) {
    if (const char* old = std::getenv(name)) old_ = old;
    if (value) {
      ::setenv(name, value, 1);
    } else {
      ::unsetenv(name);
    }
  }
  ~ScopedEnvironment() {
    if (old_) {
      ::setenv(name_, old_->c_str(), 1);
    } else {
      ::unsetenv(name_);
    }
  }

 private:
  const char* name_;
  std::optional<std::string> old_;
};

TEST(RecentServicesPath, FollowsXdgStateHomeElseHome) {
  const struct {
    const char* stateHome;
    const char* home;
    std::filesystem::path expected;
  } rows[] = {
      {"/state", "/home/u", "/state/textrix/recent"},
      {nullptr, "/home/u", "/home/u/.local/state/textrix/recent"},
      // A relative or empty XDG_STATE_HOME is not a place: HOME decides.
      {"relative/state", "/home/u", "/home/u/.local/state/textrix/recent"},
      {"", "/home/u", "/home/u/.local/state/textrix/recent"},
      {"/state", nullptr, "/state/textrix/recent"},
      {nullptr, nullptr, ""},
      {nullptr, "", ""},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(std::string(row.stateHome ? row.stateHome : "(unset)") + " " +
                 (row.home ? row.home : "(unset)"));
    const ScopedEnvironment state("XDG_STATE_HOME", row.stateHome);
    const ScopedEnvironment home("HOME", row.home);
    EXPECT_EQ(RecentServices::standardPath(), row.expected);
  }
}

TEST(RecentServicesPath, NoPathKeepsNoHistory) {
  RecentServices recent({});
  EXPECT_TRUE(recent.names().empty());
  recent.recordUse("upper");
  EXPECT_EQ(recent.names(), Names{"upper"});
  EXPECT_EQ(recent.save(), "");
  EXPECT_FALSE(std::filesystem::exists("recent"));
}

}  // namespace
}  // namespace textrix
