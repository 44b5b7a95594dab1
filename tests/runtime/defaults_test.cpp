// SPDX-License-Identifier: MIT
#include "runtime/defaults.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/files.h"
#include "support/scratch.h"

namespace textrix {
namespace {

class UserDefaultsTest : public ScratchTest {
 protected:
  std::filesystem::path file() const { return directory_ / "config" / "defaults"; }
};

TEST_F(UserDefaultsTest, TypedReadingsOfStoredText) {
  struct Case {
    const char* value;
    std::int64_t integer;
    bool boolean;
    double real;
  };
  const Case cases[] = {
      {"12", 12, true, 12.0},
      {"  -7", -7, true, -7.0},
      {"+3.9x", 3, true, 3.9},
      {"abc", 0, false, 0.0},
      {"", 0, false, 0.0},
      {"YES", 0, true, 0.0},
      {"true", 0, true, 0.0},
      {"00", 0, false, 0.0},
      {"0.5", 0, false, 0.5},
      {"99999999999999999999999", INT64_MAX, true, 1e23},
      {"-99999999999999999999999", -INT64_MAX, true, -1e23},
  };
  UserDefaults defaults(file());
  for (const Case& c : cases) {
    SCOPED_TRACE(c.value);
    defaults.setString(c.value, "key");
    EXPECT_EQ(defaults.integerForKey("key", 42), c.integer);
    EXPECT_EQ(defaults.boolForKey("key", true), c.boolean);
    EXPECT_DOUBLE_EQ(defaults.doubleForKey("key", 42.0), c.real);
  }
}

TEST_F(UserDefaultsTest, DefaultsApplyOnlyToMissingKeys) {
  UserDefaults defaults(file());
  EXPECT_EQ(defaults.integerForKey("absent", 4), 4);
  EXPECT_EQ(defaults.stringForKey("absent", "fallback"), "fallback");
  EXPECT_FALSE(defaults.stringForKey("absent"));
  defaults.setString("", "empty");
  EXPECT_EQ(defaults.integerForKey("empty", 4), 0);
  EXPECT_EQ(defaults.stringForKey("empty", "fallback"), "");
}

TEST_F(UserDefaultsTest, SetOrRemoveRemovesOnlyMissingOrEmptyValues) {
  UserDefaults defaults(file());
  defaults.setString("x", "string");
  defaults.setOrRemoveString("", "string");
  EXPECT_FALSE(defaults.objectForKey("string"));
  defaults.setString("x", "object");
  defaults.setOrRemoveObject("", "object");
  EXPECT_EQ(defaults.objectForKey("object"), "");
  defaults.setOrRemoveObject(std::nullopt, "object");
  EXPECT_FALSE(defaults.objectForKey("object"));
}

TEST_F(UserDefaultsTest, SynchronizeWritesAFileThatReadsBackTheSame) {
  UserDefaults defaults(file());
  defaults.setInteger(8, "TabulatorWidth");
  defaults.setDouble(0.1, "Ratio");
  defaults.setString("two\nlines \\ and = sign", "Text");
  ASSERT_EQ(defaults.synchronize(), "");

  UserDefaults again(file());
  EXPECT_EQ(again.dictionaryRepresentation(), defaults.dictionaryRepresentation());
  EXPECT_EQ(again.doubleForKey("Ratio"), 0.1);
  EXPECT_EQ(std::distance(std::filesystem::directory_iterator(file().parent_path()), {}), 1)
      << "no temporary file is left behind";
}

TEST_F(UserDefaultsTest, SynchronizeLeavesTheFileAloneWhenNothingChanged) {
  UserDefaults nothingSet(file());
  EXPECT_EQ(nothingSet.synchronize(), "");
  EXPECT_FALSE(std::filesystem::exists(file())) << "nothing to write, so no file";

  std::filesystem::create_directories(file().parent_path());
  std::ofstream(file()) << "Name=x\nTabulatorWidth=8\n# kept as it is\n";
  const ino_t inode = inodeOf(file());
  UserDefaults defaults(file());
  defaults.setInteger(8, "TabulatorWidth");
  defaults.setString("x", "Name");
  defaults.setOrRemoveObject(std::nullopt, "Absent");
  defaults.removeObjectForKey("Absent");
  EXPECT_EQ(defaults.synchronize(), "");
  EXPECT_EQ(inodeOf(file()), inode);
  EXPECT_EQ(slurp(file()), "Name=x\nTabulatorWidth=8\n# kept as it is\n");
}

TEST_F(UserDefaultsTest, SynchronizeWritesAChangedAddedOrRemovedValue) {
  std::filesystem::create_directories(file().parent_path());
  std::ofstream(file()) << "Gone=1\nTabulatorWidth=8\n";
  struct Change {
    const char* what;
    void (*make)(UserDefaults&);
    const char* contents;
  };
  const Change changes[] = {
      {"changed", [](UserDefaults& d) { d.setInteger(9, "TabulatorWidth"); },
       "Gone=1\nTabulatorWidth=9\n"},
      {"added", [](UserDefaults& d) { d.setString("", "Empty"); },
       "Gone=1\nTabulatorWidth=9\nEmpty=\n"},
      {"removed", [](UserDefaults& d) { d.removeObjectForKey("Gone"); },
       "TabulatorWidth=9\nEmpty=\n"},
  };
  for (const Change& change : changes) {
    SCOPED_TRACE(change.what);
    const ino_t before = inodeOf(file());
    UserDefaults defaults(file());
    change.make(defaults);
    EXPECT_EQ(defaults.synchronize(), "");
    EXPECT_EQ(slurp(file()), change.contents);
    EXPECT_NE(inodeOf(file()), before);
  }
}

TEST_F(UserDefaultsTest, SynchronizeKeepsEveryLineThatIsNotASettingAndEachSettingsPlace) {
  std::filesystem::create_directories(file().parent_path());
  struct Case {
    const char* what;
    const char* before;
    void (*make)(UserDefaults&);
    const char* after;
  };
  const Case cases[] = {
      {"comments and blank lines", "# mine\n\nB=1\n# about A\nA=1\nnot a setting\n",
       [](UserDefaults& d) { d.setInteger(2, "A"); },
       "# mine\n\nB=1\n# about A\nA=2\nnot a setting\n"},
      {"a commented-out setting", "#A=1\nA=5\n", [](UserDefaults& d) { d.setInteger(6, "A"); },
       "#A=1\nA=6\n"},
      {"a key held twice keeps its first line", "A=1\nB=1\nA=2\n",
       [](UserDefaults& d) { d.setInteger(3, "B"); }, "A=2\nB=3\n"},
      {"a removed key loses all its lines", "A=1\n# x\nA=2\n",
       [](UserDefaults& d) { d.removeObjectForKey("A"); }, "# x\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.what);
    std::ofstream(file(), std::ios::trunc) << c.before;
    UserDefaults defaults(file());
    c.make(defaults);
    ASSERT_EQ(defaults.synchronize(), "");
    EXPECT_EQ(slurp(file()), c.after);
    EXPECT_EQ(UserDefaults(file()).dictionaryRepresentation(), defaults.dictionaryRepresentation());
  }
}

TEST_F(UserDefaultsTest, AnUnreadableFileIsNeverOverwritten) {
  std::filesystem::create_directories(file() / "kept");
  UserDefaults defaults(file());
  EXPECT_TRUE(defaults.unreadable());
  defaults.setInteger(4, "TabulatorWidth");
  EXPECT_NE(defaults.synchronize(), "");
  EXPECT_TRUE(std::filesystem::exists(file() / "kept"));
}

TEST(UserDefaultsKeys, RejectKeysThatCannotBeStoredOnOneLine) {
  EXPECT_TRUE(UserDefaults::isValidKey("TabulatorWidth"));
  for (std::string_view key : {std::string_view(""), std::string_view("a=b"),
                               std::string_view("a\nb"), std::string_view("a\0b", 3)}) {
    EXPECT_FALSE(UserDefaults::isValidKey(key));
  }
}

}  // namespace
}  // namespace textrix
