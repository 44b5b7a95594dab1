// SPDX-License-Identifier: MIT
// End-to-end tests of the textrix command: each runs the built program with its own settings file.
#include <gtest/gtest.h>

#include <filesystem>
#include <fstream>
#include <string>
#include <vector>

#include "rich/rtf.h"
#include "support/process.h"
#include "text/encodings.h"

namespace {

using textrix::Outcome;
using textrix::slurp;

class Command : public textrix::CommandTest {
 protected:
  Outcome run(std::vector<std::string> arguments, const std::string& input = {}) const {
    return runCommand(std::move(arguments), input);
  }
  // Runs the command in a language, with the catalogs of the build tree.
  Outcome runIn(const std::string& language, std::vector<std::string> arguments,
                const std::string& input = {}) const {
    std::vector<std::string> environment = baseEnvironment();
    environment.push_back("LANGUAGE=" + language);
    environment.push_back("TEXTRIX_LOCALEDIR=" TEXTRIX_BUILD_LOCALEDIR);
    return runCommand(std::move(arguments), input, std::move(environment));
  }
};

// The lines of text longer than width characters.
std::vector<std::string> linesLongerThan(const std::string& text, std::size_t width) {
  std::vector<std::string> longer;
  std::size_t start = 0;
  while (start < text.size()) {
    const std::size_t end = std::min(text.find('\n', start), text.size());
    const std::string line = text.substr(start, end - start);
    if (textrix::utf16FromUtf8(line).size() > width) longer.push_back(line);
    start = end + 1;
  }
  return longer;
}

TEST_F(Command, FiltersStandardInputOrAFileToStandardOutput) {
  const auto file = (directory_ / "in.rtf").string();
  std::ofstream(file) << "{\\rtf1\\ansi {\\b bold} text}";
  const struct {
    std::vector<std::string> arguments;
    std::string input;
    std::string out;
  } cases[] = {
      {{"upper"}, "straße\n", "STRASSE\n"},  // no newline added
      {{"upper"}, "", ""},
      {{"upper", file, "--type=plain"}, "", "{\\RTF1\\ANSI {\\B BOLD} TEXT}"},
      {{"statistics"},
       "hello world",
       "Statistics\nCharacters:10\nSpaces:1\nTotal:11\n\nWords:2\nLines:1\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const Outcome result = run(c.arguments, c.input);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.out, c.out);
  }
}

// More than the command keeps in memory of a pipe, so that it goes through a temporary file too.
TEST_F(Command, StreamsALongTextFromAFileOrAPipeAlike) {
  const std::string line = "a straße, \xF0\x9F\x98\x80 Σ\r\n";
  const std::string upperLine = "A STRASSE, \xF0\x9F\x98\x80 Σ\r\n";
  const std::size_t count = (std::size_t{20} << 20) / line.size();
  std::string text, upper;
  for (std::size_t i = 0; i < count; ++i) text += line, upper += upperLine;
  const std::string invalid = text + "\xC3(";
  const auto file = directory_ / "long.txt";
  const std::vector<std::string> piped = {"/bin/sh", "-c", "cat \"$0\" | \"$1\" upper",
                                          file.string(), TEXTRIX_COMMAND};
  std::ofstream(file, std::ios::binary) << text;
  EXPECT_EQ(run({"upper", file.string()}).out, upper);
  EXPECT_EQ(execute(piped, "", baseEnvironment()).out, upper);

  std::ofstream(file, std::ios::binary) << invalid;
  const std::string error = "textrix: invalid UTF-8 at byte " + std::to_string(text.size()) + "\n";
  for (const Outcome& result : {run({"upper"}, invalid), execute(piped, "", baseEnvironment())}) {
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.out, "");
    EXPECT_EQ(result.err, error);
  }
}

// A service on the whole text reads it in blocks: a character cut by the end of the first block,
// and a byte that is not UTF-8 far after it.
TEST_F(Command, ReadsAWholeTextInBlocksAcrossTheirEdges) {
  const std::string text = std::string((std::size_t{1} << 18) - 1, 'x') + "\xC3\xA9\ntail\n";
  const std::string invalid = text + "\xC3(";
  const auto file = directory_ / "whole.txt";
  std::ofstream(file, std::ios::binary) << text;
  EXPECT_EQ(run({"remove-multiple-feeds", file.string()}).out, text);
  EXPECT_EQ(run({"remove-multiple-feeds"}, text).out, text);
  const Outcome result = run({"remove-multiple-feeds"}, invalid);
  EXPECT_EQ(result.status, 2);
  EXPECT_EQ(result.err, "textrix: invalid UTF-8 at byte " + std::to_string(text.size()) + "\n");
}

TEST_F(Command, ReportsAnOutputThatCannotBeWritten) {
  const std::vector<std::string> full = {"/bin/sh", "-c", "\"$0\" \"$1\" >/dev/full",
                                         TEXTRIX_COMMAND};
  for (const std::string service : {"upper", "sort-ascending"}) {
    const Outcome result =
        execute({full[0], full[1], full[2], full[3], service}, "some text\n", baseEnvironment());
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, "textrix: cannot write standard output: No space left on device\n");
  }
}

TEST_F(Command, TheTabWidthIsClampedAndWrittenBack) {
  std::ofstream(settings()) << "TabulatorWidth=1\n";
  const Outcome result = run({"detab"}, "\tx");
  EXPECT_EQ(result.out, "  x");
  EXPECT_EQ(run({"defaults", "read", "TabulatorWidth"}).out, "2\n");
}

TEST_F(Command, DefaultsWriteRefusesUnknownKeysAndBadValuesAndKeepsTheFile) {
  std::ofstream(settings()) << "# my settings\nTabulatorWidth=8\n";
  struct Case {
    std::vector<std::string> arguments;
    std::string message;
  };
  const Case cases[] = {
      {{"defaults", "write", "TabulatorWidth", "abc"},
       "textrix: TabulatorWidth takes a whole number from 2 to 99, not \"abc\"\n"},
      {{"defaults", "write", "TabulatorWidth", "100"},
       "textrix: TabulatorWidth takes a whole number from 2 to 99, not \"100\"\n"},
      {{"defaults", "write", "NSDateFormatString", ""},
       "textrix: NSDateFormatString takes a date format such as %A, %e %B %Y, not \"\"\n"},
      {{"defaults", "write", "tabulatorwidth", "8"},
       "textrix: no setting is called tabulatorwidth; did you mean TabulatorWidth? The settings "
       "are TabulatorWidth, NSShortDateFormatString, NSDateFormatString and NSTimeFormatString.\n"},
      {{"defaults", "write", "a=b", "c"},
       "textrix: no setting is called a=b. The settings are TabulatorWidth, "
       "NSShortDateFormatString, NSDateFormatString and NSTimeFormatString.\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const Outcome result = run(c.arguments);
    EXPECT_EQ(result.status, 2);
    EXPECT_EQ(result.err, c.message);
  }
  EXPECT_EQ(slurp(settings()), "# my settings\nTabulatorWidth=8\n");
}

TEST_F(Command, DefaultsReadWriteAndDeleteKeepingTheUsersCommentsAndOrder) {
  std::ofstream(settings()) << "# tabs\nTabulatorWidth=8\n\n# dates\nNSDateFormatString=%d\n";
  EXPECT_EQ(run({"defaults", "write", "TabulatorWidth", "3"}).status, 0);
  EXPECT_EQ(run({"defaults", "write", "NSTimeFormatString", "%H.%M"}).status, 0);
  EXPECT_EQ(run({"detab"}, "\tx").out, "   x");
  EXPECT_EQ(slurp(settings()),
            "# tabs\nTabulatorWidth=3\n\n# dates\nNSDateFormatString=%d\n"
            "NSTimeFormatString=%H.%M\n");
  EXPECT_EQ(run({"defaults", "read"}).out,
            "NSDateFormatString=%d\nNSTimeFormatString=%H.%M\nTabulatorWidth=3\n");
  EXPECT_EQ(run({"defaults", "delete", "NSTimeFormatString"}).status, 0);
  EXPECT_EQ(run({"defaults", "read"}).out, "NSDateFormatString=%d\nTabulatorWidth=3\n");
}

TEST_F(Command, RemovesAttachmentsOfAnRtfdFileAndWritesRtf) {
  const Outcome detached = run({"remove-attachments", TEXTRIX_FIXTURES_DIR "/attachment.rtfd"});
  ASSERT_EQ(detached.status, 0) << detached.err;
  EXPECT_TRUE(detached.out.starts_with("{\\rtf")) << "no attachment left, so RTF";
  EXPECT_FALSE(textrix::readRtf(detached.out).text.containsAttachments());
}

TEST_F(Command, RecordsSpeechInsteadOfSpeaking) {
  const auto wav = directory_ / "speech.wav";
  const Outcome recorded = run({"speak-native", "--wav", wav.string()}, "hello");
  EXPECT_EQ(recorded.status, 0) << recorded.err;
  EXPECT_EQ(recorded.out, "");
  const std::string bytes = slurp(wav);
  EXPECT_TRUE(bytes.starts_with("RIFF") && bytes.size() > 1000) << bytes.size();
}

TEST_F(Command, ListsEveryServiceWithItsTitleAndOnAskItsSummary) {
  const struct {
    std::vector<std::string> arguments;
    std::string line;
  } cases[] = {
      {{"list"}, "upper\tUpper Case\n"},
      {{"list", "--long"}, "upper\tUpper Case\tChanges every letter to its capital form.\n"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const Outcome result = run(c.arguments);
    EXPECT_EQ(result.status, 0);
    EXPECT_EQ(std::count(result.out.begin(), result.out.end(), '\n'), 38);
    EXPECT_NE(result.out.find(c.line), std::string::npos) << result.out;
  }
}

// A command line or an input that cannot be used is refused with status 2 (a setting that is not
// there with 1), on standard error alone.
TEST_F(Command, RefusesBadCommandLinesWithAClearMessage) {
  struct Case {
    std::vector<std::string> arguments;
    std::string error;  // the first lines on standard error
    int status = 2;
    std::string input = "speech";
  };
  const std::string usage =
      "\nUsage: textrix SERVICE [FILE] [--type plain|rtf|rtfd] [--wav FILE] [--print]";
  const Case cases[] = {
      {{}, "textrix: no service given" + usage},
      {{"no-such-service"}, "textrix: unknown service no-such-service"},
      {{"upper", "--type", "html"}, "textrix: --type needs plain, rtf or rtfd"},
      {{"upper", "a", "b"}, "textrix: more than one file given"},
      {{"upper", "/nonexistent/file"},
       "textrix: cannot read /nonexistent/file: No such file or directory"},
      {{"upper"}, "textrix: invalid UTF-8 at byte 3", 2, "ok \xC3\x28 bad"},
      {{"defaults", "read", "Missing"}, "textrix: no setting Missing", 1},
      {{"defaults", "frobnicate"},
       "textrix: defaults read [KEY] | write KEY VALUE | delete KEY" + usage},
      {{"upper", "--bogus"}, "textrix: unknown option --bogus"},
      {{"uper"}, "textrix: unknown service uper; did you mean upper?"},
      {{"lst"}, "textrix: unknown service lst; did you mean list?"},
      {{"pick", "uper"}, "textrix: unknown service uper; did you mean upper?"},
      {{"pick", "upper", "--bogus"}, "textrix: unknown option --bogus"},
      {{"list", "--lng"}, "textrix: unknown option --lng; did you mean --long?"},
      {{"--bogus"}, "textrix: unknown option --bogus"},
      {{"upper", "--type"}, "textrix: --type needs plain, rtf or rtfd"},
      {{"upper", "--wav", "x.wav"}, "textrix: --wav is only for speak-native and speak-german"},
      {{"upper", "--print"}, "textrix: --print is only for speak-native and speak-german"},
      {{"speak-native", "--wav"}, "textrix: --wav needs a file name"},
      {{"speak-native", "--wav", "--print"}, "textrix: --wav needs a file name, not --print"},
      {{"speak-native", "--wav", "x.wav", "--print"},
       "textrix: --wav and --print exclude each other"},
      {{"speak-native", "--wav", "/nonexistent/x.wav"},
       "textrix: cannot write /nonexistent/x.wav: No such file or directory"},
      {{"serve", "--slice", "0"}, "textrix: --slice needs a number of seconds, more than 0"},
      {{"serve", "--slice=-1"}, "textrix: --slice needs a number of seconds, more than 0"},
      {{"pick", "--chooser"}, "textrix: --chooser needs a command"},
      {{"pick", "upper", "lower"}, "textrix: pick takes one service"},
      {{"pick", "--repeat", "upper"}, "textrix: pick --repeat takes no service"},
      {{"list", "x"}, "textrix: list takes no arguments"},
      {{"call"}, "textrix: call needs a service"},
      {{"call", "upper", "--application"}, "textrix: --application needs a name"},
      {{"help", "upper", "lower"}, "textrix: help takes one command"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const Outcome result = run(c.arguments, c.input);
    EXPECT_EQ(result.status, c.status);
    EXPECT_EQ(result.out, "");
    EXPECT_TRUE(result.err.starts_with(c.error + "\n")) << result.err;
  }
  EXPECT_FALSE(std::filesystem::exists(directory_ / "x.wav"));
}

TEST_F(Command, EveryServiceAndSubcommandHasItsHelp) {
  struct Case {
    std::vector<std::string> arguments;
    std::vector<std::string> contains;
  };
  const Case cases[] = {
      {{"detab", "--help"},
       {"Usage: textrix detab", "printf 'a\\tb' | textrix detab", "Takes: NSStringPboardType",
        "Error: Couldn't de/encode tabs of string."}},
      {{"help", "mac2windows"}, {"Repair Mac Text for Windows: Repairs text whose Mac OS"}},
      {{"speak-native", "-h"}, {"--wav FILE", "--print"}},
      {{"upper", "a", "b", "--help"}, {"Usage: textrix upper"}},
      {{"call", "--help"}, {"Usage: textrix call", "--application NAME"}},
      {{"pick", "--help"}, {"--repeat", "--clipboard", "--chooser COMMAND"}},
      {{"defaults", "--help"}, {"TabulatorWidth", "NSTimeFormatString"}},
      {{"serve", "--help"}, {"--slice SECONDS"}},
      {{"list", "--help"}, {"--long"}},
      {{"--help"},
       {"--wav FILE", "--print", "--slice", "--application", "--clipboard", "--chooser", "--repeat",
        "Exit status", "NSDateFormatString", "actions", "Repairs Mac text read as Windows text",
        "remove-multiple-feeds"}},
      {{"help"}, {"Usage: textrix SERVICE"}},
      {{"-V"}, {"textrix "}},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const Outcome result = run(c.arguments);
    EXPECT_EQ(result.status, 0) << result.err;
    EXPECT_EQ(result.err, "");
    for (const std::string& part : c.contains) {
      EXPECT_NE(result.out.find(part), std::string::npos) << part << "\n" << result.out;
    }
  }
}

TEST_F(Command, EveryHelpFitsATerminalInEveryLanguage) {
  std::vector<std::vector<std::string>> helps = {
      {"--help"},          {"list", "--help"}, {"defaults", "--help"},
      {"serve", "--help"}, {"call", "--help"}, {"pick", "--help"}};
  const std::string list = run({"list"}).out;
  for (std::size_t start = 0; start < list.size(); start = list.find('\n', start) + 1) {
    helps.push_back({list.substr(start, list.find('\t', start) - start), "--help"});
  }
  ASSERT_EQ(helps.size(), 6u + 38u);
  for (const char* language : {"en", "de", "fr"}) {
    for (const std::vector<std::string>& arguments : helps) {
      SCOPED_TRACE(language + (" " + arguments.front()));
      const Outcome result = runIn(language, arguments);
      EXPECT_EQ(result.status, 0) << result.err;
      EXPECT_EQ(linesLongerThan(result.out, 79), std::vector<std::string>{});
    }
  }
}

TEST_F(Command, SpeaksTheUsersLanguageButKeepsTheServicesMessages) {
  struct Case {
    const char* language;
    std::vector<std::string> arguments;
    std::string input;
    int status;
    std::string outContains, errContains;
  };
  const Case cases[] = {
      {"de", {"uper"}, "", 2, "", "textrix: unbekannter Dienst uper; meinten Sie upper?\nAufruf:"},
      {"fr", {"uper"}, "", 2, "", "service inconnu uper\u00a0; vouliez-vous dire upper\u00a0?"},
      {"de", {"list"}, "", 0, "upper\tGro\u00dfbuchstaben\n", ""},
      {"fr", {"upper", "--help"}, "", 0, "Utilisation: textrix upper [OPTIONS] [FILE]", ""},
      {"de", {"upper"}, "ok \xC3\x28", 2, "", "ung\u00fcltiges UTF-8 bei Byte 3"},
      {"fr", {"defaults", "write", "TabulatorWidth", "1"}, "", 2, "", "TabulatorWidth accepte"},
      {"de", {"statistics"}, "a b", 0, "Statistik\nZeichen:2\n", ""},
      // A service's own message is the same in every language.
      {"de",
       {"upper", "--type", "rtf"},
       "{\\rtf1 {",
       1,
       "",
       "Error: Couldn't upper case string.\n"},
      {"fr",
       {"upper", "--type", "rtf"},
       "{\\rtf1 {",
       1,
       "",
       "Error: Couldn't upper case string.\n"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.language + (" " + testing::PrintToString(c.arguments)));
    const Outcome result = runIn(c.language, c.arguments, c.input);
    EXPECT_EQ(result.status, c.status);
    EXPECT_NE(result.out.find(c.outContains), std::string::npos) << result.out;
    EXPECT_NE(result.err.find(c.errContains), std::string::npos) << result.err;
  }
}

TEST_F(Command, TakesAFileNamedLikeAnOptionAfterTheOptionsEnd) {
  const std::filesystem::path file = directory_ / "-x";
  std::ofstream(file) << "dash";
  const std::filesystem::path previous = std::filesystem::current_path();
  std::filesystem::current_path(directory_);
  const Outcome result = run({"upper", "--", "-x"});
  const Outcome asOption = run({"upper", "-x"});
  std::filesystem::current_path(previous);
  EXPECT_EQ(result.status, 0) << result.err;
  EXPECT_EQ(result.out, "DASH");
  EXPECT_EQ(asOption.status, 2);
  EXPECT_EQ(run({"upper", "--type=plain", "-"}, "x").out, "X");
}

TEST_F(Command, KeepsTheFormattingOfAWordProcessorsRtf) {
  const std::string fixture = TEXTRIX_FIXTURES_DIR "/libreoffice_formatted.rtf";
  const textrix::RichTextReading original = textrix::readRtf(slurp(fixture));
  ASSERT_TRUE(original.ok());
  for (const char* service : {"upper", "lower", "capitalize-words", "remove-multiple-spaces"}) {
    SCOPED_TRACE(service);
    const Outcome result = run({service, fixture});
    ASSERT_EQ(result.status, 0) << result.err;
    const textrix::RichTextReading changed = textrix::readRtf(result.out);
    ASSERT_TRUE(changed.ok()) << result.out.substr(0, 200);
    ASSERT_EQ(changed.text.length(), original.text.length());
    for (std::size_t i = 0; i < original.text.length(); ++i) {
      ASSERT_EQ(changed.text.attributesAtIndex(i), original.text.attributesAtIndex(i)) << i;
    }
  }
  const Outcome plain = run({"rotate", fixture});
  EXPECT_EQ(textrix::utf16FromUtf8(plain.out).size(), original.text.length())
      << "a plain-text service gives plain text";
}

}  // namespace
