// SPDX-License-Identifier: MIT
#include "text/lines.h"

#include <benchmark/benchmark.h>

#include <cstddef>
#include <cstdint>
#include <map>
#include <random>
#include <string>

namespace {

constexpr std::size_t kUnitsPerMebibyte = (1u << 20) / sizeof(char16_t);

// Latin, accented, Greek and CJK letters, so that units fall on both sides of U+2028.
constexpr std::u16string_view kLetters =
    u"the quick brown fox jumps over the lazy dog, Ölfässer für Straßen; "
    u"λόγος καὶ ἔργον 文字列を行に分ける 0123456789 ";

std::u16string_view terminator(std::mt19937& random) {
  const unsigned draw = random() % 100;
  if (draw < 85) return u"\n";
  if (draw < 95) return u"\r\n";
  constexpr std::u16string_view kOtherFeeds[] = {u"\r", u"\f", u"\u2028", u"\u2029"};
  return kOtherFeeds[(draw - 95) % 4];
}

// Lines of 20 to 100 units, mostly ending in LF, some in CR LF, a few in other feeds.
std::u16string makeText(std::size_t units) {
  std::mt19937 random(1);
  std::u16string text;
  text.reserve(units + 100);
  while (text.size() < units) {
    const std::size_t length = 20 + random() % 81;
    const std::u16string_view feed = terminator(random);
    const std::size_t letters = length - feed.size();
    for (std::size_t at = random() % kLetters.size(), n = 0; n < letters; ++n) {
      text += kLetters[(at + n) % kLetters.size()];
    }
    text += feed;
  }
  text.resize(units);
  return text;
}

const std::u16string& sampleText(std::size_t mebibytes) {
  static std::map<std::size_t, std::u16string> texts;
  auto [entry, isNew] = texts.try_emplace(mebibytes);
  if (isNew) entry->second = makeText(mebibytes * kUnitsPerMebibyte);
  return entry->second;
}

void setThroughput(benchmark::State& state, const std::u16string& text) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}

void BM_Lines(benchmark::State& state) {
  const std::u16string& text = sampleText(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::lines(text));
  setThroughput(state, text);
}

void BM_NumberOfLines(benchmark::State& state) {
  const std::u16string& text = sampleText(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::numberOfLines(text));
  setThroughput(state, text);
}

// The terminators found many at a time, as the line services visit them.
void BM_ForEachTerminator(benchmark::State& state) {
  const std::u16string& text = sampleText(static_cast<std::size_t>(state.range(0)));
  for (auto _ : state) {
    std::size_t count = 0;
    textrix::forEachTerminator(text, [&count](std::size_t, std::size_t) { ++count; });
    benchmark::DoNotOptimize(count);
  }
  setThroughput(state, text);
}

BENCHMARK(BM_Lines)->ArgName("MiB")->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NumberOfLines)->ArgName("MiB")->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_ForEachTerminator)->ArgName("MiB")->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);

}  // namespace
