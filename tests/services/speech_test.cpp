// SPDX-License-Identifier: MIT
#include "services/speech.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <thread>

#include "runtime/formats.h"
#include "services/german_phonemes.h"
#include "services/textrix.h"
#include "support/files.h"
#include "support/pasteboards.h"
#include "support/perform.h"
#include "support/unloadable_libraries.h"

namespace textrix {
namespace {

using testing_pasteboards::plainPasteboard;
using testing_services::perform;

struct Rewriting {
  std::u16string text;
  std::u16string expected;
};

TEST(GermanPhonemes, RespellsFromLeftToRightWithTheFirstMatchingRow) {
  const Rewriting cases[] = {
      {u"Ich kann 2 sehen", u"EEHSH KUN  TSwIGH  sAY HEN"},
      {u"schach", u"SHUCK"},         // "sch" is tried before "ch", and "ch" alone is "CK"
      {u"stra\u00DFe", u"strUSAI"},  // no row for s, t or r
      {u"ich", u"EEHSH"},            // the word before the letter
      {u"mein", u"mEYEN"},           // "ein" before "ei"
      {u"weil", u"wIGHl"},           // "ei" before "e"
      {u"habe", u"HARBAY"},          // the first "habe" row; the second never applies
      {u"ein", u"EYEN"},             // likewise "ein"
      {u"aber heute", u"UHBER HOI TE"},
      {u"gestern", u"gESStAIRn"},  // the "ge" prefix needs a space before it
      {u" gestern", u" GAYstAIRn"},
      {u"2gestern", u" TSwIGH GAYstAIRn"},  // the space after a character word is one
      {u"gehen", u"GAY UHn"},               // "gehe" is a whole row
      {u"ICH KANN", u"EEHSH KUN"},          // lower-cased first
      {u"kle", u"klAI"},                    // "klein" is longer than what is left
      {u"a\u0308u", u"U\u0308OO"},          // a decomposed umlaut is a letter and a mark
      {u"\xD800z", u"\xD800TS"},            // a lone surrogate stays
      {u"Qu\u00E4l \u00F6de", u"QUAIl OdAI"},
      {u"", u""},
      // Symbols and digits are German words; '<' is the word for greater and '>' for smaller.
      {u"<>", u" grOSAIR  CLYENAIR "},
      {u"1+1=2", u" EYENs  plOOs  EYENs  glIGHCK  TSwIGH "},
  };
  for (const Rewriting& test : cases) {
    EXPECT_EQ(stringByConvertingGermanToEnglishPhonemes(test.text), test.expected);
  }
}

TEST(GermanPhonemes, RewritesALongTextAsItsPartsSideBySide) {
  std::u16string text, expected;
  for (int i = 0; i < 50000; ++i) {
    text += u"Ich habe 5 \u00C4pfel\n";
    expected += u"EEHSH HARBAY  fOOnf  AIpfAIl\n";
  }
  EXPECT_EQ(stringByConvertingGermanToEnglishPhonemes(text), expected);
}

TEST(WavHeader, DescribesSixteenBitMonoPcm) {
  const std::array<std::uint8_t, 44> expected = {
      'R',  'I',  'F',  'F',  0x58, 0x12, 0x00, 0x00,               // 36 + 0x1234
      'W',  'A',  'V',  'E',  'f',  'm',  't',  ' ',  16, 0, 0, 0,  // format chunk size
      1,    0,    1,    0,                                          // PCM, one channel
      0x22, 0x56, 0x00, 0x00,                                       // 22050 samples a second
      0x44, 0xAC, 0x00, 0x00,                                       // 44100 bytes a second
      2,    0,    16,   0,                                          // two bytes a sample, 16 bits
      'd',  'a',  't',  'a',  0x34, 0x12, 0x00, 0x00,
  };
  EXPECT_EQ(wavHeader(0x1234, 22050), expected);
  const std::array<std::uint8_t, 44> largest = wavHeader(kMaxWavDataBytes, 22050);
  EXPECT_EQ(largest[4] | largest[5] << 8 | largest[6] << 16 | std::uint32_t{largest[7]} << 24,
            0xFFFFFFFEu);
}

// With no selection nothing is spoken and no message given.
TEST(SpeechServices, PrintTheTextThatWouldBeSpokenAndWriteNothing) {
  std::vector<std::u16string> printed;
  ServiceEnvironment environment;
  environment.speechOutput.kind = SpeechOutput::Kind::printedText;
  environment.speechOutput.printText = [&](std::u16string_view text) {
    printed.emplace_back(text);
  };
  Textrix provider(environment);
  ServicePasteboard pasteboard = plainPasteboard(u"Ich kann 2 sehen"), empty;
  for (const char* service : {"speak-german", "speak-native"}) {
    EXPECT_EQ(perform(provider, service, pasteboard), "");
    EXPECT_EQ(perform(provider, service, empty), "");
  }
  EXPECT_EQ(perform(provider, "stop-speaking", empty), "");
  EXPECT_EQ(printed,
            (std::vector<std::u16string>{u"EEHSH KUN  TSwIGH  sAY HEN", u"Ich kann 2 sehen"}));
  EXPECT_EQ(pasteboard.changeCount(), 1);
  EXPECT_TRUE(empty.types().empty());
  EXPECT_FALSE(Textrix::isSpeaking());
}

std::uint32_t littleEndianAt(const std::string& bytes, std::size_t at) {
  std::uint32_t value = 0;
  for (int b = 3; b >= 0; --b) value = value << 8 | static_cast<std::uint8_t>(bytes[at + b]);
  return value;
}

TEST(SpeechServices, WriteTheSpeechAsAPlayableWavFile) {
  const std::filesystem::path path =
      std::filesystem::temp_directory_path() / ("textrix_speech_" + std::to_string(getpid()));
  ServiceEnvironment environment;
  environment.speechOutput.kind = SpeechOutput::Kind::wavFile;
  environment.speechOutput.wavPath = path.string();
  Textrix provider(environment);
  ServicePasteboard pasteboard = plainPasteboard(u"Hallo, ich bin hier.");
  EXPECT_EQ(perform(provider, "speak-german", pasteboard), "");
  EXPECT_FALSE(Textrix::isSpeaking());

  const std::string bytes = slurp(path);
  std::filesystem::remove(path);
  ASSERT_GT(bytes.size(), 44u);
  const std::uint32_t dataBytes = littleEndianAt(bytes, 40);
  EXPECT_EQ(dataBytes, bytes.size() - 44);
  EXPECT_EQ(dataBytes % 2, 0u);
  std::array<std::uint8_t, 44> header;
  std::copy_n(bytes.begin(), 44, header.begin());
  EXPECT_EQ(header, wavHeader(dataBytes, detail::speechSampleRate()));
  EXPECT_NE(bytes.find_first_not_of('\0', 44), std::string::npos) << "only silence";
}

void waitUntilSilent() {
  while (Textrix::isSpeaking()) std::this_thread::sleep_for(std::chrono::milliseconds(10));
}

// Where no speech server answers and no sound output can be found, nothing is played; where one
// seems to be but cannot be opened (a sound server that is not there), the player gives up. Either
// way the service reports nothing and the provider stops speaking.
TEST(SpeechServices, FailSilentlyWithoutASoundDevice) {
  setenv("SPEECHD_ADDRESS", "unix_socket:/nonexistent/textrix", 1);
  for (const char* server : {static_cast<const char*>(nullptr), "unix:/nonexistent/textrix"}) {
    if (server != nullptr) {
      setenv("PULSE_SERVER", server, 1);
      EXPECT_TRUE(detail::hasSoundOutput());
    }
    Textrix provider;
    ServicePasteboard pasteboard = plainPasteboard(u"a");
    const int changes = pasteboard.changeCount();
    EXPECT_EQ(perform(provider, "speak-native", pasteboard), "");
    EXPECT_EQ(pasteboard.changeCount(), changes);
    waitUntilSilent();
    perform(provider, "stop-speaking", pasteboard);
    EXPECT_FALSE(Textrix::isSpeaking());
  }
  unsetenv("PULSE_SERVER");
  unsetenv("SPEECHD_ADDRESS");
}

// Without the speech engine's library (nor the speech server's), speaking into a file writes no
// file and speaking to a sound output (one that seems to be there) plays nothing; neither reports
// a message nor crashes.
TEST(SpeechServices, FailSilentlyWithoutTheSpeechEngine) {
  const std::filesystem::path path = std::filesystem::temp_directory_path() /
                                     ("textrix_speech_unloaded_" + std::to_string(getpid()));
  WithoutLoadedLibraries missing;
  EXPECT_EXIT(
      {
        ServiceEnvironment toFile;
        toFile.speechOutput.kind = SpeechOutput::Kind::wavFile;
        toFile.speechOutput.wavPath = path.string();
        Textrix fileProvider(toFile);
        ServicePasteboard pasteboard = plainPasteboard(u"Hallo");
        const std::string fileMessage = perform(fileProvider, "speak-german", pasteboard);
        setenv("PULSE_SERVER", "unix:/nonexistent/textrix", 1);
        Textrix deviceProvider;
        const std::string deviceMessage = perform(deviceProvider, "speak-native", pasteboard);
        std::fprintf(stderr, "file '%s' %d, device '%s' %d, rate %u\n", fileMessage.c_str(),
                     std::filesystem::exists(path), deviceMessage.c_str(), Textrix::isSpeaking(),
                     detail::speechSampleRate());
        std::exit(0);
      },
      testing::ExitedWithCode(0), "file '' 0, device '' 0, rate 0");
}

}  // namespace
}  // namespace textrix
