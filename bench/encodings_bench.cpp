// SPDX-License-Identifier: MIT
// Throughput of the UTF-8 conversions over 64 MiB of mixed text made as bench/compare_tools.sh
// makes its input (ASCII words with accented letters, CJK and emoji among them, in indented lines
// of 20 to 100 characters) and over 64 MiB of plain ASCII, beside the ICU buffer conversions for
// comparison. Bytes per second count the UTF-8 side.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <random>
#include <string>
#include <string_view>

#include "text/encodings.h"

namespace {

constexpr std::size_t kBytes = std::size_t{64} << 20;

struct Word {
  std::string_view bytes;
  std::size_t characters;
};

// The recipe of compare_tools.sh with this generator (Python's random draws other numbers): words
// joined by a gap, lines of at least 20 to 100 characters, each with an indent, to kBytes bytes.
std::string makeBytes(bool asciiOnly) {
  constexpr Word kMixed[] = {{"alpha", 5},  {"Beta", 4},  {"gamma", 5},  {"Delta", 5}, {"café", 4},
                             {"naïve", 5},  {"Ärger", 5}, {"Öl", 2},     {"über", 4},  {"señor", 5},
                             {"façade", 6}, {"x", 1},     {"to", 2},     {"be", 2},    {"or", 2},
                             {"not", 3},    {"Zebra", 5}, {"quartz", 6}, {"🙂", 1},  {"😀", 1},
                             {"日本", 2}};
  constexpr Word kAscii[] = {{"alpha", 5}, {"Beta", 4},  {"gamma", 5}, {"Delta", 5},
                             {"to", 2},    {"be", 2},    {"or", 2},    {"not", 3},
                             {"x", 1},     {"Zebra", 5}, {"of", 2},    {"quartz", 6}};
  constexpr std::string_view kIndents[] = {"", "", "", "    ", "\t", "\t\t", "  \t"};
  constexpr std::string_view kGaps[] = {" ", " ", " ", "  ", " \t "};
  std::mt19937 random(7);
  auto pick = [&random](std::size_t count) {
    return std::uniform_int_distribution<std::size_t>(0, count - 1)(random);
  };
  std::string bytes;
  bytes.reserve(kBytes + 512);
  while (bytes.size() < kBytes) {
    const std::size_t target = std::uniform_int_distribution<std::size_t>(20, 100)(random);
    const std::string_view indent = kIndents[pick(std::size(kIndents))];
    const std::string_view gap = kGaps[pick(std::size(kGaps))];
    bytes += indent;
    for (std::size_t length = 0; length < target;) {
      const Word& word =
          asciiOnly ? kAscii[pick(std::size(kAscii))] : kMixed[pick(std::size(kMixed))];
      if (length > 0) bytes += gap;
      bytes += word.bytes;
      length += word.characters + 1;
    }
    bytes += '\n';
  }
  return bytes;
}

const std::string& sampleBytes(std::int64_t asciiOnly) {
  static const std::string mixed = makeBytes(false);
  static const std::string ascii = makeBytes(true);
  return asciiOnly ? ascii : mixed;
}

const std::u16string& sampleText(std::int64_t asciiOnly) {
  static const std::u16string mixed = textrix::decodeUtf8(sampleBytes(0)).text;
  static const std::u16string ascii = textrix::decodeUtf8(sampleBytes(1)).text;
  return asciiOnly ? ascii : mixed;
}

void setThroughput(benchmark::State& state, const std::string& bytes) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(bytes.size()));
}

void BM_DecodeUtf8(benchmark::State& state) {
  const std::string& bytes = sampleBytes(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::decodeUtf8(bytes));
  setThroughput(state, bytes);
}

void BM_Utf16FromUtf8(benchmark::State& state) {
  const std::string& bytes = sampleBytes(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::utf16FromUtf8(bytes));
  setThroughput(state, bytes);
}

// The text in pieces of 256 KiB cut between characters, as the command streams it: the strings
// come from memory used again, where a fresh string of 128 MiB costs a page fault every 4 KiB.
constexpr std::size_t kPiece = std::size_t{256} << 10;

void BM_DecodeUtf8InPieces(benchmark::State& state) {
  const std::string_view bytes = sampleBytes(state.range(0));
  for (auto _ : state) {
    for (std::size_t at = 0; at < bytes.size();) {
      std::size_t end = std::min(at + kPiece, bytes.size());
      while (end < bytes.size() && (static_cast<unsigned char>(bytes[end]) & 0xC0) == 0x80) ++end;
      benchmark::DoNotOptimize(textrix::decodeUtf8(bytes.substr(at, end - at)));
      at = end;
    }
  }
  setThroughput(state, sampleBytes(state.range(0)));
}

void BM_EncodeUtf8InPieces(benchmark::State& state) {
  const std::u16string_view text = sampleText(state.range(0));
  for (auto _ : state) {
    for (std::size_t at = 0; at < text.size();) {
      std::size_t end = std::min(at + kPiece / 2, text.size());
      if (end < text.size() && (text[end] & 0xFC00) == 0xDC00) ++end;
      benchmark::DoNotOptimize(textrix::encodeUtf8(text.substr(at, end - at)));
      at = end;
    }
  }
  setThroughput(state, sampleBytes(state.range(0)));
}

void BM_DecodeUtf8ThroughIcu(benchmark::State& state) {
  const std::string& bytes = sampleBytes(state.range(0));
  std::u16string text(sampleText(state.range(0)).size(), u'\0');
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        textrix::convertUTF8ToUnicode(bytes.data(), bytes.size(), text.data(), text.size()));
  }
  setThroughput(state, bytes);
}

void BM_EncodeUtf8(benchmark::State& state) {
  const std::u16string& text = sampleText(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::encodeUtf8(text));
  setThroughput(state, sampleBytes(state.range(0)));
}

void BM_EncodeUtf8IntoBuffer(benchmark::State& state) {
  const std::u16string& text = sampleText(state.range(0));
  std::string bytes(sampleBytes(state.range(0)).size(), '\0');
  for (auto _ : state) benchmark::DoNotOptimize(textrix::encodeUtf8(text, bytes.data()));
  setThroughput(state, bytes);
}

void BM_Utf8Length(benchmark::State& state) {
  const std::u16string& text = sampleText(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::utf8Length(text));
  setThroughput(state, sampleBytes(state.range(0)));
}

void BM_EncodeUtf8ThroughIcu(benchmark::State& state) {
  const std::u16string& text = sampleText(state.range(0));
  std::string bytes(sampleBytes(state.range(0)).size(), '\0');
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        textrix::convertUnicodeToUTF8(text.data(), text.size(), bytes.data(), bytes.size()));
  }
  setThroughput(state, bytes);
}

// The functions for a reader that streams: validation alone, the length, and decoding of bytes
// known to be valid into a buffer that is used again.
void BM_FirstInvalidUtf8Offset(benchmark::State& state) {
  const std::string& bytes = sampleBytes(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::firstInvalidUtf8Offset(bytes));
  setThroughput(state, bytes);
}

void BM_Utf16Length(benchmark::State& state) {
  const std::string& bytes = sampleBytes(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::utf16Length(bytes));
  setThroughput(state, bytes);
}

void BM_DecodeValidUtf8IntoBuffer(benchmark::State& state) {
  const std::string& bytes = sampleBytes(state.range(0));
  const auto units = std::make_unique_for_overwrite<char16_t[]>(bytes.size());
  for (auto _ : state) benchmark::DoNotOptimize(textrix::decodeValidUtf8(bytes, units.get()));
  setThroughput(state, bytes);
}

// Validation and decoding into a buffer used again, as a streaming reader does them.
void BM_ValidateAndDecodeIntoBuffer(benchmark::State& state) {
  const std::string& bytes = sampleBytes(state.range(0));
  const auto units = std::make_unique_for_overwrite<char16_t[]>(bytes.size());
  for (auto _ : state) {
    if (textrix::firstInvalidUtf8Offset(bytes) != textrix::Utf8Decoding::kValid) {
      state.SkipWithError("invalid");
    }
    benchmark::DoNotOptimize(textrix::decodeValidUtf8(bytes, units.get()));
  }
  setThroughput(state, bytes);
}

#define TEXTRIX_UTF8_BENCHMARK(name) \
  BENCHMARK(name)->ArgName("ascii")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)

TEXTRIX_UTF8_BENCHMARK(BM_FirstInvalidUtf8Offset);
TEXTRIX_UTF8_BENCHMARK(BM_DecodeUtf8);
TEXTRIX_UTF8_BENCHMARK(BM_Utf16FromUtf8);
TEXTRIX_UTF8_BENCHMARK(BM_DecodeUtf8InPieces);
TEXTRIX_UTF8_BENCHMARK(BM_DecodeValidUtf8IntoBuffer);
TEXTRIX_UTF8_BENCHMARK(BM_ValidateAndDecodeIntoBuffer);
TEXTRIX_UTF8_BENCHMARK(BM_Utf16Length);
TEXTRIX_UTF8_BENCHMARK(BM_DecodeUtf8ThroughIcu);
TEXTRIX_UTF8_BENCHMARK(BM_EncodeUtf8);
TEXTRIX_UTF8_BENCHMARK(BM_EncodeUtf8IntoBuffer);
TEXTRIX_UTF8_BENCHMARK(BM_EncodeUtf8InPieces);
TEXTRIX_UTF8_BENCHMARK(BM_Utf8Length);
TEXTRIX_UTF8_BENCHMARK(BM_EncodeUtf8ThroughIcu);

}  // namespace
