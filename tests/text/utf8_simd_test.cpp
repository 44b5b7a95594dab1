// SPDX-License-Identifier: MIT
// The UTF-8 conversions of text/encodings.h run through each build of the kernels that this
// machine can run (scalar, SSE2, AVX2), held to ICU on texts long enough for the kernels to take
// them: random mixed text, every kind of error at every offset modulo 64 and around the chunk
// edges, every length up to a few blocks, and every byte pair and sequence start inside a block.
#include "text/utf8_simd.h"

#include <gtest/gtest.h>

#include <ostream>
#include <random>
#include <string>
#include <string_view>
#include <vector>

#include "support/icu_utf8.h"
#include "text/encodings.h"

namespace textrix::detail {

// A build of the kernels by its name in the names of the tests, where its address would differ
// from run to run.
void PrintTo(const Utf8Kernels* kernels, std::ostream* out) {
  *out << kernels->name;
}

}  // namespace textrix::detail

namespace textrix {
namespace {

using namespace std::literals;
using testing_icu::icuDecode;
using testing_icu::icuEncode;
using testing_icu::icuFirstInvalidByte;

// Every UTF-8 function on bytes, against ICU.
void expectDecodesLikeIcu(std::string_view bytes) {
  SCOPED_TRACE(testing::Message() << bytes.size() << " bytes");
  const std::u16string lenient = icuDecode(bytes);
  const std::size_t invalid = icuFirstInvalidByte(bytes);
  ASSERT_EQ(utf16FromUtf8(bytes), lenient);
  const Utf8Decoding strict = decodeUtf8(bytes);
  ASSERT_EQ(strict.errorOffset, invalid);
  ASSERT_EQ(strict.text, strict.ok() ? lenient : u"");
  ASSERT_EQ(firstInvalidUtf8Offset(bytes), invalid);
  if (invalid == Utf8Decoding::kValid) {
    ASSERT_EQ(utf16Length(bytes), lenient.size());
    // Exactly the room the contract asks for, and guards after it that must stay.
    std::u16string buffer(lenient.size() + 32, u'#');
    ASSERT_EQ(decodeValidUtf8(bytes, buffer.data()), lenient.size());
    ASSERT_EQ(buffer, lenient + std::u16string(32, u'#'));
  }
}

// Every UTF-8 function on units, against ICU.
void expectEncodesLikeIcu(std::u16string_view text) {
  SCOPED_TRACE(testing::Message() << text.size() << " units");
  const std::string bytes = icuEncode(text);
  ASSERT_EQ(encodeUtf8(text), bytes);
  ASSERT_EQ(utf8Length(text), bytes.size());
  std::string buffer(bytes.size() + 32, '#');
  ASSERT_EQ(encodeUtf8(text, buffer.data()), bytes.size());
  ASSERT_EQ(buffer, bytes + std::string(32, '#'));
}

constexpr std::string_view kWords[] = {"alpha", "Beta", "gamma", "Delta",  "café", "naïve", "Ärger",
                                       "Öl",    "über", "señor", "façade", "x",    "to",    "be",
                                       "or",    "not",  "Zebra", "quartz", "🙂", "😀",     "日本"};

// Well-formed text of words from the list, cut at a character to at most size bytes and padded to
// exactly size with spaces.
std::string mixedText(std::mt19937& random, std::size_t size) {
  std::string text;
  while (text.size() < size) {
    text += kWords[random() % std::size(kWords)];
    text += random() % 8 == 0 ? "\n" : " ";
  }
  std::size_t cut = size;
  while (cut > 0 && cut < text.size() && (static_cast<unsigned char>(text[cut]) & 0xC0) == 0x80) {
    --cut;
  }
  text.resize(cut);
  text.resize(size, ' ');
  return text;
}

// The kinds of ill-formed bytes.
const std::string kErrors[] = {
    "\x80",
    "\xBF",  // lone continuations
    "\xC0\xAF",
    "\xC1\xBF",  // overlong, two bytes
    "\xE0\x80\x80",
    "\xE0\x9F\xBF",  // overlong, three bytes
    "\xF0\x80\x80\x80",
    "\xF0\x8F\xBF\xBF",  // overlong, four bytes
    "\xED\xA0\x80",
    "\xED\xBF\xBF",  // surrogates
    "\xF4\x90\x80\x80",
    "\xF5\x80\x80\x80",
    "\xF8\x88\x80\x80\x80",  // above U+10FFFF
    "\xFE",
    "\xFF",  // never in UTF-8
    "\xC3",
    "\xE2\x82",
    "\xF0\x9F\x98",  // truncated
    "\xE2\xC3\xA9",
    "\xF0\x9F\xE2\x82\xAC",  // truncated by another lead
    "\xC3\xA9\x80",
    "\xF0\x9F\x98\x80\xBF",  // one continuation too many
};

class Utf8KernelBuild : public testing::TestWithParam<const detail::Utf8Kernels*> {
 protected:
  void SetUp() override { previous_ = &detail::useUtf8Kernels(*GetParam()); }
  void TearDown() override { detail::useUtf8Kernels(*previous_); }

 private:
  const detail::Utf8Kernels* previous_ = nullptr;
};

std::vector<const detail::Utf8Kernels*> availableKernels() {
  const detail::Utf8KernelList list = detail::availableUtf8Kernels();
  return {list.kernels, list.kernels + list.size};
}

std::string kernelName(const testing::TestParamInfo<const detail::Utf8Kernels*>& info) {
  return info.param->name;
}

using Utf8Kernels = Utf8KernelBuild;
using ExhaustiveUtf8Kernels = Utf8KernelBuild;

INSTANTIATE_TEST_SUITE_P(EachBuild, Utf8Kernels, testing::ValuesIn(availableKernels()), kernelName);
INSTANTIATE_TEST_SUITE_P(EachBuild, ExhaustiveUtf8Kernels, testing::ValuesIn(availableKernels()),
                         kernelName);

TEST(Utf8KernelChoice, UsesTheLastOfTheAvailableBuilds) {
  const detail::Utf8KernelList list = detail::availableUtf8Kernels();
  ASSERT_GE(list.size, 1u);
  EXPECT_EQ(&detail::utf8Kernels(), list.kernels[list.size - 1]);
  EXPECT_EQ(list.kernels[0]->name, "scalar"sv);
#if defined(__x86_64__)
  EXPECT_EQ(list.kernels[1]->name, "sse2"sv);
#endif
}

TEST_P(Utf8Kernels, DecodesMixedTextOfEveryLengthUpToAFewBlocksLikeIcu) {
  std::mt19937 random(1);
  for (std::size_t size = 0; size <= 300; ++size) {
    const std::string text = mixedText(random, size);
    ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(text));
    ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(std::string(size % 37, 'a') + text));
  }
}

TEST_P(Utf8Kernels, DecodesLongMixedTextsAcrossChunksLikeIcu) {
  std::mt19937 random(2);
  for (std::size_t size : {4095, 4096, 4097, 8191, 8200, 12345, 100'000}) {
    ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(mixedText(random, size)));
  }
  ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(std::string(10'000, 'a')));
  std::string cjk;
  while (cjk.size() < 10'000) cjk += "日本語のテキスト";
  ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(cjk));
  std::string emoji;
  while (emoji.size() < 10'000) emoji += "🙂😀";
  ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(emoji));
}

TEST_P(Utf8Kernels, FindsEveryKindOfErrorAtEveryOffsetLikeIcu) {
  std::mt19937 random(3);
  for (const std::string& error : kErrors) {
    SCOPED_TRACE(testing::PrintToString(error));
    for (std::size_t offset = 0; offset < 140; ++offset) {
      SCOPED_TRACE(testing::Message() << "at " << offset);
      const std::string mixedBefore = mixedText(random, offset);
      const std::string asciiBefore(offset, 'a');
      const std::string after = mixedText(random, 100 + offset % 7);
      for (const std::string& before : {mixedBefore, asciiBefore}) {
        ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(before + error + after));
        ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(before + error));  // at the end
        ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(before + error + "z" + error + after));
      }
    }
  }
}

TEST_P(Utf8Kernels, FindsErrorsAroundTheEdgesOfAChunkLikeIcu) {
  std::mt19937 random(4);
  for (const std::string& error : kErrors) {
    SCOPED_TRACE(testing::PrintToString(error));
    for (std::size_t offset = 4096 - 80; offset < 4096 + 80; ++offset) {
      SCOPED_TRACE(testing::Message() << "at " << offset);
      ASSERT_NO_FATAL_FAILURE(
          expectDecodesLikeIcu(mixedText(random, offset) + error + mixedText(random, 200)));
    }
  }
}

TEST_P(Utf8Kernels, DecodesRandomlyDamagedTextLikeIcu) {
  std::mt19937 random(5);
  for (int round = 0; round < 3000; ++round) {
    std::string text = mixedText(random, random() % 700);
    const int damages = round % 4;
    for (int k = 0; k < damages && !text.empty(); ++k) {
      text[random() % text.size()] = static_cast<char>(random());
    }
    ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(text));
  }
}

// Random UTF-16 with characters of every length, and unpaired surrogates where unpaired is set.
std::u16string randomUnits(std::mt19937& random, std::size_t size, bool unpaired) {
  static constexpr char16_t kUnits[] = {u'a',  u' ',   u'z',   0xE9,  0x7FF,
                                        0x800, 0x20AC, 0x65E5, 0xFFFD};
  std::u16string text;
  while (text.size() < size) {
    const unsigned pick = random() % 16;
    if (pick < 9) {
      text += kUnits[pick];
    } else if (pick < 12) {
      text += {static_cast<char16_t>(0xD800 + random() % 0x400),
               static_cast<char16_t>(0xDC00 + random() % 0x400)};
    } else if (pick < 14 && unpaired) {
      text += static_cast<char16_t>(0xD800 + random() % 0x800);
    } else {
      text += std::u16string(random() % 20, u'x');
    }
  }
  text.resize(size);  // may cut a pair: an unpaired lead at the end
  return text;
}

TEST_P(Utf8Kernels, EncodesRandomTextOfEveryLengthUpToAFewBlocksLikeIcu) {
  std::mt19937 random(6);
  for (std::size_t size = 0; size <= 300; ++size) {
    ASSERT_NO_FATAL_FAILURE(expectEncodesLikeIcu(randomUnits(random, size, false)));
    ASSERT_NO_FATAL_FAILURE(expectEncodesLikeIcu(randomUnits(random, size, true)));
  }
  for (std::size_t size : {4095, 4096, 4097, 9000, 100'000}) {
    ASSERT_NO_FATAL_FAILURE(expectEncodesLikeIcu(randomUnits(random, size, true)));
    ASSERT_NO_FATAL_FAILURE(expectEncodesLikeIcu(std::u16string(size, u'a')));
  }
}

TEST_P(Utf8Kernels, EncodesUnpairedSurrogatesAtEveryOffsetLikeIcu) {
  std::mt19937 random(7);
  const std::u16string kinds[] = {u"\xD800",
                                  u"\xDBFF",
                                  u"\xDC00",
                                  u"\xDFFF",
                                  u"\xDC00\xD800",
                                  u"\xD83D\xD83D\xDE00",
                                  u"\xD83D\xDE00\xDE00"};
  for (const std::u16string& kind : kinds) {
    for (std::size_t offset = 0; offset < 100; ++offset) {
      SCOPED_TRACE(testing::Message() << "at " << offset);
      const std::u16string before = randomUnits(random, offset, false);
      const std::u16string after = randomUnits(random, 80, false);
      // A pair cut at the end of before would pair with kind: cut it off.
      const std::u16string head =
          !before.empty() && detail::isLeadSurrogate(before.back()) ? before + u'a' : before;
      ASSERT_NO_FATAL_FAILURE(expectEncodesLikeIcu(head + kind + after));
      ASSERT_NO_FATAL_FAILURE(expectEncodesLikeIcu(std::u16string(offset, u'a') + kind + after));
      ASSERT_NO_FATAL_FAILURE(expectEncodesLikeIcu(head + kind));
    }
  }
}

TEST_P(Utf8Kernels, EncodesLongTextsPieceByPieceToTheWhole) {
  std::mt19937 random(8);
  const std::u16string text = randomUnits(random, 20'000, true);
  const std::string whole = encodeUtf8(text);
  for (int round = 0; round < 200; ++round) {
    std::size_t cut = random() % (text.size() + 1);
    if (cut > 0 && cut < text.size() && detail::isLeadSurrogate(text[cut - 1]) &&
        detail::isTrailSurrogate(text[cut])) {
      ++cut;  // not inside a pair
    }
    const std::u16string_view view = text;
    std::string pieces(whole.size(), '\0');
    const std::size_t first = encodeUtf8(view.substr(0, cut), pieces.data());
    ASSERT_EQ(first + encodeUtf8(view.substr(cut), pieces.data() + first), whole.size());
    ASSERT_EQ(pieces, whole);
  }
}

TEST_P(ExhaustiveUtf8Kernels, DecodesEveryBytePairInsideABlockLikeIcu) {
  // At the end of one 32-byte register and of a 64-byte step, where a pair spans two.
  for (std::size_t at : {31, 63}) {
    for (int first = 0; first < 256; ++first) {
      for (int second = 0; second < 256; ++second) {
        std::string bytes(at, 'a');
        bytes += {static_cast<char>(first), static_cast<char>(second)};
        bytes += std::string(70, 'b');
        SCOPED_TRACE(testing::Message() << at << ": " << first << " " << second);
        ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(bytes));
      }
    }
  }
}

TEST_P(ExhaustiveUtf8Kernels, DecodesEverySequenceStartInsideABlockLikeIcu) {
  for (std::size_t at : {30, 62}) {
    for (int lead = 0xC0; lead < 256; ++lead) {
      for (int second = 0; second < 256; ++second) {
        for (int third : {int{'z'}, 0x80, 0xBF, 0xC3}) {
          std::string bytes(at, 'a');
          bytes += {static_cast<char>(lead), static_cast<char>(second), static_cast<char>(third),
                    '\x80', 'z'};
          bytes += std::string(70, 'b');
          SCOPED_TRACE(testing::PrintToString(bytes.substr(at, 5)));
          ASSERT_NO_FATAL_FAILURE(expectDecodesLikeIcu(bytes));
        }
      }
    }
  }
}

TEST_P(ExhaustiveUtf8Kernels, ConvertsEveryCodePointAtEveryPlaceInABlockLikeIcu) {
  std::u16string text;
  for (char32_t c = 0; c <= 0x10FFFF; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    if (c < 0x10000) {
      text += static_cast<char16_t>(c);
    } else {
      text +=
          {static_cast<char16_t>(0xD7C0 + (c >> 10)), static_cast<char16_t>(0xDC00 | (c & 0x3FF))};
    }
  }
  const std::string bytes = icuEncode(text);
  for (std::size_t shift = 0; shift < 16; ++shift) {
    SCOPED_TRACE(testing::Message() << "after " << shift);
    const std::string shifted = std::string(shift, 'a') + bytes;
    const std::u16string shiftedText = std::u16string(shift, u'a') + text;
    ASSERT_EQ(encodeUtf8(shiftedText), shifted);
    ASSERT_EQ(utf8Length(shiftedText), shifted.size());
    const Utf8Decoding decoding = decodeUtf8(shifted);
    ASSERT_TRUE(decoding.ok());
    ASSERT_EQ(decoding.text, shiftedText);
    ASSERT_EQ(firstInvalidUtf8Offset(shifted), Utf8Decoding::kValid);
    ASSERT_EQ(utf16Length(shifted), shiftedText.size());
    std::u16string units(shiftedText.size(), u'\0');
    ASSERT_EQ(decodeValidUtf8(shifted, units.data()), units.size());
    ASSERT_EQ(units, shiftedText);
  }
}

}  // namespace
}  // namespace textrix
