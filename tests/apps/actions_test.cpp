// SPDX-License-Identifier: MIT
// End-to-end tests of the user's actions: the shipped examples (data/actions) and actions of the
// test's own, through the command and through a real provider on a private bus.
#include <gtest/gtest.h>

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <map>
#include <string>
#include <vector>

#include "private_bus.h"
#include "provider/bus_adaptor.h"
#include "services/catalogue.h"

namespace textrix {
namespace {

namespace fs = std::filesystem;

class Actions : public PrivateBusTest {
 protected:
  void SetUp() override {
    PrivateBusTest::SetUp();
    fs::create_directories(userActions());
    // The examples as an installation puts them: DIR/textrix/actions.
    fs::create_directories(dataDir() / "textrix");
    fs::create_directory_symlink(fs::path(TEXTRIX_DATA_DIR) / "actions",
                                 dataDir() / "textrix" / "actions");
  }
  fs::path configHome() const { return directory_ / "config"; }
  fs::path dataDir() const { return directory_ / "share"; }
  fs::path userActions() const { return configHome() / "textrix" / "actions"; }

  // The variables that point the command and the provider at the user's directory of this test
  // and at the shipped examples.
  std::map<std::string, std::string> actionVariables() const {
    return {{"XDG_CONFIG_HOME", configHome().string()},
            {"XDG_DATA_DIRS", dataDir().string()},
            {"TEXTRIX_ACTION_TIMEOUT", "1"}};
  }

  // Runs textrix in this process's place, with the action variables.
  Outcome runHere(std::vector<std::string> arguments, const std::string& input = {}) const {
    std::vector<std::string> environment = baseEnvironment();
    for (const auto& [name, value] : actionVariables()) environment.push_back(name + "=" + value);
    return runCommand(std::move(arguments), input, environment);
  }

  // Starts the private bus and gives it the action variables for the provider it will start.
  void startBusWithActions() {
    startBus("60");
    if (!HasFatalFailure()) updateActivationEnvironment(actionVariables());
  }

  void writeAction(const std::string& name, const std::string& content) const {
    const fs::path file = userActions() / name;
    std::ofstream(file) << content;
    fs::permissions(file, fs::perms::owner_all);
  }
};

TEST_F(Actions, TheShippedExamplesWork) {
  const struct {
    std::string action;
    std::string input;
    int status;
    std::string out, err;
  } cases[] = {
      {"json-pretty-print", "{\"a\":[1,2],\"b\":\"\xC3\xBC\"}\n", 0,
       "{\n  \"a\": [\n    1,\n    2\n  ],\n  \"b\": \"\xC3\xBC\"\n}\n", ""},
      {"json-pretty-print", "{\"a\":", 1, "",
       "Error: Not JSON: Expecting value at line 1, column 6.\n"},
      {"url-encode", "a b&c/\xC3\xBC~\n", 0, "a%20b%26c%2F%C3%BC~%0A", ""},
      {"url-decode", "a%20b%26c%2F%C3%BC~", 0, "a b&c/\xC3\xBC~", ""},
      {"url-decode", "%FF", 1, "", "Error: The decoded bytes are not UTF-8 text.\n"},
      {"base64-encode", "hello w\xC3\xB6rld", 0, "aGVsbG8gd8O2cmxk", ""},
      {"base64-decode", "aGVsbG8gd8O2cmxk\n", 0, "hello w\xC3\xB6rld", ""},
      {"base64-decode", "abc$", 1, "", "base64: invalid input\n"},
      {"base64-decode", "/w==", 1, "", "Error: Couldn't decode base64.\n"},
      {"camel-case", "Hello world\n  parse_HTTP-response \r\nx", 0,
       "helloWorld\n  parseHttpResponse \r\nx", ""},
      {"snake-case", "helloWorld\nparseHTTPResponse", 0, "hello_world\nparse_http_response", ""},
      {"kebab-case", "Hello World\n", 0, "hello-world\n", ""},
      {"sort-unique", "b\na\nb\nc", 0, "a\nb\nc", ""},
      {"sort-unique", "b\na\nb\n", 0, "a\nb\n", ""},
      {"natural-sort", "file10\nfile2\nfile1\n", 0, "file1\nfile2\nfile10\n", ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.action + " " + testing::PrintToString(c.input));
    const Outcome result = runHere({c.action}, c.input);
    EXPECT_EQ(result.status, c.status);
    EXPECT_EQ(result.out, c.out);
    EXPECT_EQ(result.err, c.err);
  }
}

TEST_F(Actions, AreListedAfterTheServicesAndTheUsersOwnWins) {
  writeAction("url-encode.sh", "#!/bin/sh\n# Title: My Encoding\ncat\n");
  writeAction("upper.sh", "#!/bin/sh\n# Title: Not Upper\ncat\n");
  const Outcome list = runHere({"list"});
  ASSERT_EQ(list.status, 0) << list.err;
  std::size_t actions = 0;
  for (std::size_t line = 0; line < serviceCatalogue().size(); ++line) {
    actions = list.out.find('\n', actions) + 1;
  }
  EXPECT_EQ(list.out.substr(actions),
            "base64-decode\tDecode Base64\n"
            "base64-encode\tEncode as Base64\n"
            "camel-case\tConvert to camelCase\n"
            "json-pretty-print\tPretty-Print JSON\n"
            "kebab-case\tConvert to kebab-case\n"
            "natural-sort\tSort Lines Naturally\n"
            "snake-case\tConvert to snake_case\n"
            "sort-unique\tSort Unique Lines\n"
            "url-decode\tURL-Decode\n"
            "url-encode\tMy Encoding\n");
  EXPECT_EQ(runHere({"upper"}, "up").out, "UP");
  EXPECT_EQ(runHere({"url-encode"}, "a b").out, "a b");

  const Outcome help = runHere({"--help"});
  EXPECT_NE(help.out.find("textrix/actions"), std::string::npos);
  const std::size_t listed = help.out.find("\nActions:\n  base64-decode ");
  EXPECT_NE(listed, std::string::npos) << help.out;
  EXPECT_NE(help.out.find("My Encoding\n", listed), std::string::npos);
}

// Failures included: the provider tells an action's message as the command does, and goes on.
TEST_F(Actions, TheProviderRunsActionsAsTheCommandDoes) {
  ASSERT_NO_FATAL_FAILURE(startBusWithActions());
  writeAction("grumble.sh", "#!/bin/sh\necho 'Error: No grumbling.' >&2\nexit 3\n");
  writeAction("stall.sh", "#!/bin/sh\n# Title: Stall\nsleep 30\n");
  ASSERT_EQ(run({"call", "upper"}, "wake up").out, "WAKE UP");
  const pid_t provider = providerPid();
  const struct {
    std::string action;
    std::string input;
    int status;
    std::string err;
  } cases[] = {
      {"url-encode", "a b/\xC3\xBC", 0, ""},
      {"json-pretty-print", "[1,{}]", 0, ""},
      {"base64-decode", "abc$", 1, "base64: invalid input\n"},
      {"grumble", "text", 1, "Error: No grumbling.\n"},
      {"stall", "text", 1, "Error: Couldn't stall.\n"},
      {"url-encode", "bad \xC3\x28", 2, "textrix: invalid UTF-8 at byte 4\n"},
      {"upper", "still here", 0, ""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.action);
    const Outcome local = runHere({c.action}, c.input);
    const Outcome called = run({"call", c.action}, c.input);
    EXPECT_EQ(local.status, c.status) << local.err;
    EXPECT_EQ(called.status, c.status) << called.err;
    EXPECT_EQ(local.err, c.err);
    EXPECT_EQ(called.err, local.err);
    EXPECT_EQ(called.out, local.out);
  }

  // An action added while the provider runs is there at the next request, served by the same
  // provider that served the failures.
  writeAction("late.sh", "#!/bin/sh\nprintf late\n");
  const Outcome late = run({"call", "late"}, "x");
  EXPECT_EQ(late.status, 0) << late.err;
  EXPECT_EQ(late.out, "late");
  EXPECT_EQ(providerPid(), provider);
}

TEST_F(Actions, ListServicesOffersThemAndPerformTakesTheirNameOrHandler) {
  ASSERT_NO_FATAL_FAILURE(startBusWithActions());
  writeAction("shout.sh", "#!/bin/sh\n# Accepts: plain; rtf\ntr a-z A-Z\n");
  const std::vector<BusServiceDescription> services = listServices();
  const std::size_t builtIn = serviceCatalogue().size();
  ASSERT_EQ(services.size(), builtIn + 11);
  EXPECT_EQ(services.front().get<0>(), "upper");
  EXPECT_EQ(services.front().get<1>(), "doUpperService:userData:error:");
  EXPECT_EQ(services[builtIn - 1].get<0>(), serviceCatalogue().back().name);
  EXPECT_EQ(services[builtIn].get<0>(), "base64-decode");
  const auto shout = std::find_if(
      services.begin(), services.end(),
      [](const BusServiceDescription& service) { return service.get<0>() == "shout"; });
  ASSERT_NE(shout, services.end());
  EXPECT_EQ(shout->get<1>(), (userActions() / "shout.sh").string());
  EXPECT_EQ(shout->get<2>(), (std::vector<std::string>{"NSStringPboardType", "NSRTFPboardType",
                                                       "NSRTFDPboardType"}));
  EXPECT_EQ(shout->get<3>(), std::vector<std::string>{"NSStringPboardType"});

  for (const std::string& name : {shout->get<0>(), shout->get<1>()}) {
    SCOPED_TRACE(name);
    EXPECT_EQ(perform(name, plainText("hi")), std::pair(answerText("HI"), std::string()));
  }
}

}  // namespace
}  // namespace textrix
