// Throughput of the UTF-8 conversions on mixed text (ASCII with accented letters, CJK and emoji, in
// lines like those of a source file or a letter) and on plain ASCII, beside the ICU buffer
// conversions for comparison. Bytes per second count the UTF-8 side.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "text/encodings.h"

namespace {

constexpr std::size_t kBytes = std::size_t{16} << 20;

// About kBytes of UTF-8: words from the list, separated by spaces, 12 to a line.
std::string makeBytes(bool asciiOnly) {
  constexpr std::string_view kMixed[] = {"alpha", "Beta",   "café", "naïve", "Ärger", "über",
                                         "señor", "façade", "to",   "be",    "🙂",  "日本"};
  constexpr std::string_view kAscii[] = {"alpha", "Beta", "gamma", "Delta", "to", "be",
                                         "or",    "not",  "x",     "Zebra", "of", "quartz"};
  std::string bytes;
  bytes.reserve(kBytes + 64);
  std::uint32_t seed = 12345;
  for (int word = 1; bytes.size() < kBytes; ++word) {
    seed = seed * 1664525u + 1013904223u;
    bytes += (asciiOnly ? kAscii : kMixed)[(seed >> 16) % 12];
    bytes += word % 12 == 0 ? '\n' : ' ';
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

#define TEXTRIX_UTF8_BENCHMARK(name) \
  BENCHMARK(name)->ArgName("ascii")->Arg(0)->Arg(1)->Unit(benchmark::kMillisecond)

TEXTRIX_UTF8_BENCHMARK(BM_DecodeUtf8);
TEXTRIX_UTF8_BENCHMARK(BM_Utf16FromUtf8);
TEXTRIX_UTF8_BENCHMARK(BM_DecodeUtf8ThroughIcu);
TEXTRIX_UTF8_BENCHMARK(BM_EncodeUtf8);
TEXTRIX_UTF8_BENCHMARK(BM_EncodeUtf8IntoBuffer);
TEXTRIX_UTF8_BENCHMARK(BM_Utf8Length);
TEXTRIX_UTF8_BENCHMARK(BM_EncodeUtf8ThroughIcu);

}  // namespace
