// SPDX-License-Identifier: MIT
// The user's actions: found in scratch directories standing for the user's and the shipped ones,
// and run as the real shell scripts they are.
#include "services/user_actions.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "services/textrix.h"
#include "support/files.h"
#include "support/pasteboards.h"
#include "support/scratch.h"
#include "text/encodings.h"

namespace textrix {
namespace {

namespace fs = std::filesystem;
using testing_pasteboards::plainPasteboard;
using testing_pasteboards::richPasteboard;
using testing_pasteboards::richResult;

class UserActions : public ScratchTest {
 protected:
  void SetUp() override {
    ScratchTest::SetUp();
    for (const fs::path& directory : directories()) fs::create_directories(directory);
  }

  // The user's directory, then two shipped ones.
  std::vector<fs::path> directories() const {
    return {directory_ / "config", directory_ / "local", directory_ / "share"};
  }
  fs::path user() const { return directories()[0]; }
  fs::path shipped() const { return directories()[1]; }

  // Writes the file, executable or not.
  fs::path write(const fs::path& directory, const std::string& name, const std::string& content,
                 bool executable = true) const {
    const fs::path file = directory / name;
    std::ofstream(file, std::ios::binary) << content;
    fs::permissions(
        file, executable ? fs::perms::owner_all : fs::perms::owner_read | fs::perms::owner_write);
    return file;
  }

  std::vector<UserAction> discover() const { return discoverUserActions(directories()); }

  std::optional<UserAction> discovered(std::string_view name) const {
    for (UserAction& action : discover()) {
      if (action.name == name) return std::move(action);
    }
    return std::nullopt;
  }

  std::vector<std::string> names() const {
    std::vector<std::string> found;
    for (const UserAction& action : discover()) found.push_back(action.name);
    return found;
  }
};

TEST_F(UserActions, TheFirstDirectoryHoldingANameWins) {
  write(user(), "greet.sh", "#!/bin/sh\n# Title: Mine\n");
  write(shipped(), "greet.py", "#!/bin/sh\n# Title: Shipped\n");
  write(shipped(), "other.sh", "#!/bin/sh\n# Title: Other\n");
  write(directories()[2], "other.sh", "#!/bin/sh\n# Title: Hidden\n");
  // A broken action of the user's own hides the shipped one rather than giving way to it.
  write(user(), "broken.sh", "#!/bin/sh\n# Accepts: html\n");
  write(shipped(), "broken.sh", "#!/bin/sh\n");
  // A file that is no action holds no name.
  write(user(), "later.sh", "#!/bin/sh\n# Title: Not executable\n", false);
  write(shipped(), "later.sh", "#!/bin/sh\n# Title: Later\n");

  const std::vector<UserAction> actions = discover();
  ASSERT_EQ(actions.size(), 3u);
  EXPECT_EQ(actions[0].name, "greet");
  EXPECT_EQ(actions[0].title, "Mine");
  EXPECT_EQ(actions[0].file, user() / "greet.sh");
  EXPECT_EQ(actions[1].title, "Later");
  EXPECT_EQ(actions[2].title, "Other");
}

TEST_F(UserActions, SkipsFilesThatAreNoAction) {
  for (const char* name :
       {"upper.sh", "sort-ascending", "list.sh", "call", "Caps.sh", "snake_case.sh", "-dash.sh",
        ".hidden.sh", "two.dots.sh", "backup.sh~", "sp ace.sh", "ok.sh"}) {
    write(user(), name, "#!/bin/sh\ncat\n");
  }
  write(user(), "plain.sh", "#!/bin/sh\ncat\n", false);
  fs::create_directories(user() / "folder");
  write(user(), "folder-link", "");
  fs::remove(user() / "folder-link");
  fs::create_directory_symlink(user() / "folder", user() / "folder-link");
  EXPECT_EQ(names(), std::vector<std::string>{"ok"});
}

TEST_F(UserActions, ReadsTheHeaderCommentWhateverItsLeader) {
  struct Case {
    std::string name;
    std::string content;
    std::string title, description;
    bool acceptsPlain, acceptsRtf, returnsRtf;
    std::string message;
  };
  const Case cases[] = {
      {"hash",
       "#!/bin/sh\n# Title: Hash Marks\n# Description: Reads the hash.\n# Accepts: plain; rtf\n"
       "# Returns: rtf\n",
       "Hash Marks", "Reads the hash.", true, true, true, "Error: Couldn't hash marks."},
      {"slashes", "#!/usr/bin/node\n// Title: Slashes\n//Accepts: RTF\n", "Slashes", "", false,
       true, false, "Error: Couldn't slashes."},
      {"dashes", "#!/usr/bin/lua\n  -- TITLE:  Dashes  \n-- accepts: rtf, plain\n", "Dashes", "",
       true, true, false, "Error: Couldn't dashes."},
      {"semis", "#!/usr/bin/guile\n;; Title: Semis\n; Message: Error: Semicolons.\n", "Semis", "",
       true, false, false, "Error: Semicolons."},
      {"first-wins", "#!/bin/sh\n# Title: First\n# Title: Second\n", "First", "", true, false,
       false, "Error: Couldn't first."},
      {"no-header", "#!/bin/sh\nexec cat\n", "No Header", "", true, false, false,
       "Error: Couldn't no header."},
      {"umlaut", "#!/bin/sh\n# Title: Größe Ändern\n", "Größe Ändern", "", true, false, false,
       "Error: Couldn't größe ändern."},
      {"not-comment", "#!/bin/sh\necho 'Title: Code'\n", "Not Comment", "", true, false, false,
       "Error: Couldn't not comment."},
  };
  for (const Case& c : cases) write(user(), c.name + ".sh", c.content);
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const std::optional<UserAction> action = discovered(c.name);
    ASSERT_TRUE(action);
    EXPECT_EQ(action->title, c.title);
    EXPECT_EQ(action->description, c.description);
    EXPECT_EQ(action->acceptsPlain, c.acceptsPlain);
    EXPECT_EQ(action->acceptsRtf, c.acceptsRtf);
    EXPECT_EQ(action->returnsRtf, c.returnsRtf);
    EXPECT_EQ(action->message, c.message);
    EXPECT_EQ(action->command, std::vector<std::string>{(user() / (c.name + ".sh")).string()});
  }
}

TEST_F(UserActions, ADescriptionFileDescribesAnActionAndCanRunAnyProgram) {
  write(
      user(), "query.action",
      "# An action of jq.\n[Other Group]\nTitle=Not this\n[Textrix Action]\n"
      "Title = Query\\sJSON\nTitle[de]=JSON abfragen\nDescription=Runs jq.\n"
      "Exec=jq --arg x \"a \\\\\"b\\\\\" $c\" .\t%f 100%% \"\"\nAccepts=plain;rtf;\nReturns=rtf\n",
      false);
  write(user(), "beside.action", "[Textrix Action]\nTitle=Beside\n");
  write(user(), "beside.py", "#!/bin/sh\n# Title: Header loses\n");
  write(user(), "open-quote.action", "[Textrix Action]\nExec=sh -c \"echo\n");
  write(user(), "no-group.action", "Exec=cat\n");
  write(user(), "no-program.action", "[Textrix Action]\nTitle=Nothing to run\n");
  write(user(), "bad-returns.action", "[Textrix Action]\nExec=cat\nReturns=plain;rtf\n");
  EXPECT_EQ(names(), (std::vector<std::string>{"beside", "query"}));

  const std::optional<UserAction> query = discovered("query");
  ASSERT_TRUE(query);
  EXPECT_EQ(query->title, "Query JSON");
  EXPECT_EQ(query->description, "Runs jq.");
  EXPECT_EQ(query->command,
            (std::vector<std::string>{"jq", "--arg", "x", "a \"b\" $c", ".", "100%", ""}));
  EXPECT_EQ(query->file, user() / "query.action");
  EXPECT_EQ(query->sendTypes(), (std::vector<std::string>{"NSStringPboardType", "NSRTFPboardType",
                                                          "NSRTFDPboardType"}));
  EXPECT_EQ(query->returnTypes(),
            (std::vector<std::string>{"NSRTFPboardType", "NSRTFDPboardType"}));

  const std::optional<UserAction> beside = discovered("beside");
  ASSERT_TRUE(beside);
  EXPECT_EQ(beside->title, "Beside");
  EXPECT_EQ(beside->command, std::vector<std::string>{(user() / "beside.py").string()});
  EXPECT_EQ(beside->sendTypes(), std::vector<std::string>{"NSStringPboardType"});
  EXPECT_EQ(beside->returnTypes(), std::vector<std::string>{"NSStringPboardType"});
}

TEST(UserActionDirectories, FollowTheBaseDirectoryRules) {
  const struct {
    const char *configHome, *home, *dataDirs;
    std::vector<std::string> directories;
  } cases[] = {
      {nullptr,
       "/home/u",
       nullptr,
       {"/home/u/.config/textrix/actions", "/usr/local/share/textrix/actions",
        "/usr/share/textrix/actions"}},
      {"/cfg",
       "/home/u",
       "",
       {"/cfg/textrix/actions", "/usr/local/share/textrix/actions", "/usr/share/textrix/actions"}},
      {"relative",
       "/home/u",
       "/a:relative::/b/",
       {"/home/u/.config/textrix/actions", "/a/textrix/actions", "/b/textrix/actions"}},
      {"", nullptr, "/a", {"/a/textrix/actions"}},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.directories));
    std::vector<std::string> directories;
    for (const fs::path& directory : actionDirectories(c.configHome, c.home, c.dataDirs)) {
      directories.push_back(directory.lexically_normal().string());
    }
    EXPECT_EQ(directories, c.directories);
  }
}

TEST(UserActionTimeLimit, IsTheVariableWhenItIsAPositiveNumber) {
  using std::chrono::milliseconds;
  const struct {
    const char* setting;
    milliseconds limit;
  } cases[] = {
      {nullptr, milliseconds(30'000)}, {"2", milliseconds(2000)},     {"0.25", milliseconds(250)},
      {"0", milliseconds(30'000)},     {"-1", milliseconds(30'000)},  {"5s", milliseconds(30'000)},
      {"", milliseconds(30'000)},      {"1e9", milliseconds(30'000)}, {"nan", milliseconds(30'000)},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.setting ? c.setting : "(unset)");
    if (c.setting) {
      setenv("TEXTRIX_ACTION_TIMEOUT", c.setting, 1);
    } else {
      unsetenv("TEXTRIX_ACTION_TIMEOUT");
    }
    EXPECT_EQ(actionTimeLimit(), c.limit);
  }
  unsetenv("TEXTRIX_ACTION_TIMEOUT");
}

TEST_F(UserActions, AreFoundInThisProcesssDirectoriesByNameOrFile) {
  const fs::path config = directory_ / "xdg-config", data = directory_ / "xdg-data";
  fs::create_directories(config / "textrix" / "actions");
  const fs::path file = write(config / "textrix" / "actions", "mine.sh", "#!/bin/sh\n");
  setenv("XDG_CONFIG_HOME", config.c_str(), 1);
  setenv("XDG_DATA_DIRS", data.c_str(), 1);
  EXPECT_EQ(userActions().size(), 1u);
  EXPECT_EQ(findUserAction("mine")->file, file);
  EXPECT_EQ(findUserAction(file.string())->name, "mine");
  EXPECT_FALSE(findUserAction("upper"));
  unsetenv("XDG_CONFIG_HOME");
  unsetenv("XDG_DATA_DIRS");
}

class UserActionRuns : public UserActions {
 protected:
  UserActionRuns() {
    environment_.log = [this](const std::string& line) { logged_.push_back(line); };
    environment_.activeApplicationName = [] { return std::string("Editor"); };
  }

  // The action of a shell script with the header lines.
  UserAction script(const std::string& name, const std::string& header, const std::string& body) {
    write(user(), name + ".sh", "#!/bin/sh\n" + header + body + "\n");
    std::optional<UserAction> action = discovered(name);
    EXPECT_TRUE(action) << name;
    return action.value_or(UserAction{});
  }

  std::string perform(const UserAction& action, ServicePasteboard& pasteboard) {
    Textrix provider(environment_);
    std::string error;
    performUserAction(provider, action, pasteboard, error);
    return error;
  }

  ServiceEnvironment environment_;
  std::vector<std::string> logged_;
};

TEST_F(UserActionRuns, ReplacesTheSelectionWithWhatTheActionPrints) {
  const UserAction action = script("shout", "",
                                   "tr a-z A-Z; printf ' %s %s %s' \"$TEXTRIX_TYPE\" "
                                   "\"$TEXTRIX_ACTION\" \"$TEXTRIX_APPLICATION\"");
  ServicePasteboard pasteboard = plainPasteboard(u"caf\u00e9 ok");
  EXPECT_EQ(perform(action, pasteboard), "");
  EXPECT_EQ(pasteboard.types(), std::vector<std::string>{"NSStringPboardType"});
  EXPECT_EQ(pasteboard.stringForType(kStringPboardType), u"CAF\u00e9 OK plain shout Editor");

  ServicePasteboard empty = plainPasteboard(u"");
  EXPECT_EQ(perform(script("nothing", "", "cat"), empty), "");
  EXPECT_EQ(empty.stringForType(kStringPboardType), u"");
  EXPECT_TRUE(logged_.empty()) << logged_.front();
}

TEST_F(UserActionRuns, AFailureLeavesThePasteboardAsItWasAndTellsOneMessage) {
  setenv("TEXTRIX_ACTION_TIMEOUT", "0.2", 1);
  const struct {
    const char* what;
    std::string header;
    std::string body;
    std::string message;
  } cases[] = {
      {"its error's last line", "# Title: Shout\n",
       "echo first >&2; printf 'the last line  \\n\\n \\n' >&2; exit 1", "the last line"},
      {"no error line", "# Title: Shout\n", "echo ' ' >&2; exit 2", "Error: Couldn't shout."},
      {"its own message", "# Message: Error: Custom.\n", "exit 1", "Error: Custom."},
      {"a signal", "# Title: Shout\n", "kill -9 $$", "Error: Couldn't shout."},
      {"the time limit", "# Title: Shout\n", "sleep 30", "Error: Couldn't shout."},
      {"output that is not UTF-8", "# Title: Shout\n", "printf 'ok \\377'",
       "Error: Couldn't shout."},
      {"bad output with a reason", "", "echo 'why it failed' >&2; printf '\\355\\240\\200'",
       "why it failed"},
      {"an error line that is no text", "", "printf 'bad \\377\\001 byte\\n' >&2; exit 1",
       "bad \xEF\xBF\xBD byte"},
      {"too much output", "# Title: Shout\n", "exec yes", "Error: Couldn't shout."},
      {"RTF that does not parse", "# Title: Shout\n# Returns: rtf\n", "printf '{\\\\rtf1 open'",
       "Error: Couldn't shout."},
      {"nothing it takes", "# Title: Shout\n# Accepts: rtf\n", "cat", "Error: Couldn't shout."},
  };
  int index = 0;
  for (const auto& c : cases) {
    SCOPED_TRACE(c.what);
    logged_.clear();
    const UserAction action = script("fails-" + std::to_string(index++), c.header, c.body);
    ServicePasteboard pasteboard = plainPasteboard(u"keep me");
    const int changeCount = pasteboard.changeCount();
    EXPECT_EQ(perform(action, pasteboard), c.message);
    EXPECT_EQ(pasteboard.changeCount(), changeCount);
    EXPECT_EQ(pasteboard.types(), std::vector<std::string>{"NSStringPboardType"});
    EXPECT_EQ(pasteboard.stringForType(kStringPboardType), u"keep me");
    ASSERT_EQ(logged_.size(), 1u);
    EXPECT_NE(logged_[0].find(action.name), std::string::npos) << logged_[0];
  }
  unsetenv("TEXTRIX_ACTION_TIMEOUT");
}

TEST_F(UserActionRuns, NoSelectionIsAFailure) {
  ServicePasteboard pasteboard("request");
  EXPECT_EQ(perform(script("cat", "# Title: Echo\n", "cat"), pasteboard), "Error: Couldn't echo.");
  EXPECT_TRUE(pasteboard.types().empty());
}

TEST_F(UserActionRuns, RichTextGoesAsRtfToActionsThatTakeIt) {
  AttributeDictionary bold;
  bold.setObject(Font{"Helvetica", 12, true, false}, kFontAttributeName);
  const AttributedText selection(u"bold words", bold);
  const fs::path got = directory_ / "got";
  const std::string record =
      "tee \"" + got.string() + "\"; printf %s \"$TEXTRIX_TYPE\" > \"" + got.string() + ".type\"";

  const UserAction rich = script("rich", "# Accepts: plain rtf\n# Returns: rtf\n", record);
  ServicePasteboard pasteboard = richPasteboard(selection);
  EXPECT_EQ(perform(rich, pasteboard), "");
  EXPECT_TRUE(slurp(got).starts_with("{\\rtf"));
  EXPECT_EQ(slurp(got.string() + ".type"), "rtf");
  EXPECT_EQ(pasteboard.types(), std::vector<std::string>{"NSRTFPboardType"});
  const std::optional<AttributedText> result = richResult(pasteboard);
  ASSERT_TRUE(result);
  EXPECT_EQ(result->string(), u"bold words");
  EXPECT_EQ(result->attributesAtIndex(0), selection.attributesAtIndex(0));

  // A plain selection goes to the same action as plain text, and its answer must still be RTF.
  ServicePasteboard plain = plainPasteboard(u"{\\rtf1 made {\\b rich}}");
  EXPECT_EQ(perform(rich, plain), "");
  EXPECT_EQ(slurp(got.string() + ".type"), "plain");
  EXPECT_EQ(plain.types(), std::vector<std::string>{"NSRTFPboardType"});

  // An action of plain text gets the characters of a rich selection.
  const UserAction characters = script("characters", "", record);
  ServicePasteboard fromRich = richPasteboard(selection);
  EXPECT_EQ(perform(characters, fromRich), "");
  EXPECT_EQ(slurp(got), "bold words");
  EXPECT_EQ(slurp(got.string() + ".type"), "plain");
  EXPECT_EQ(fromRich.stringForType(kStringPboardType), u"bold words");
}

TEST_F(UserActionRuns, RtfdIsGivenAsRtf) {
  AttributeDictionary attachment;
  attachment.setObject(Attachment{"image.png", std::make_shared<const std::string>("PNG")},
                       kAttachmentAttributeName);
  AttributedText selection(u"picture: ");
  selection.appendString(std::u16string(1, kAttachmentCharacter), attachment);
  const fs::path got = directory_ / "got";
  const UserAction action =
      script("rtfd", "# Accepts: rtf\n# Returns: plain\n", "cat > \"" + got.string() + "\"");
  ServicePasteboard pasteboard = richPasteboard(selection);
  ASSERT_EQ(pasteboard.types(), std::vector<std::string>{"NSRTFDPboardType"});
  EXPECT_EQ(perform(action, pasteboard), "");
  EXPECT_TRUE(slurp(got).starts_with("{\\rtf")) << slurp(got).substr(0, 40);
  EXPECT_EQ(pasteboard.stringForType(kStringPboardType), u"");
}

}  // namespace
}  // namespace textrix
