// SPDX-License-Identifier: MIT
// Throughput of the word and component scans and of the wildcard matcher on long texts.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "util/wildcard.h"
#include "util/words.h"

namespace {

constexpr std::u16string_view kLetters = u"abcdefghijklmnoprstuvwxyzABCDEFGHIJKLMNOPRSTUVWXYZäöüéß";
// Separators as prose has them: mostly spaces, some punctuation and line ends, and numbers.
constexpr std::u16string_view kSeparators = u"      ,.\n-";

// Words of 2 to 8 letters, now and then a number such as 3.14, each followed by a separator.
std::u16string makeText(std::size_t units) {
  std::u16string text;
  text.reserve(units + 16);
  std::uint32_t seed = 12345;
  const auto next = [&seed] { return (seed = seed * 1664525u + 1013904223u) >> 16; };
  while (text.size() < units) {
    if (next() % 16 == 0) {
      text += u"3.14";
    } else {
      for (std::uint32_t n = 2 + next() % 7; n > 0; --n) text += kLetters[next() % kLetters.size()];
    }
    text += kSeparators[next() % kSeparators.size()];
  }
  text.resize(units);
  return text;
}

// N MiB of UTF-16 storage, built once per size.
const std::u16string& textOfMiB(std::int64_t mebibytes) {
  static const std::u16string small = makeText(4u << 19);
  static const std::u16string large = makeText(64u << 19);
  return mebibytes == 4 ? small : large;
}

void setThroughput(benchmark::State& state, const std::u16string& text) {
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}

void BM_NumberOfWords(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(textrix::numberOfWordsUsingSeparators(text, nullptr, 1));
  }
  setThroughput(state, text);
}

void BM_WordRecordsWithSeparators(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  std::vector<textrix::RangeRecord> records;
  for (auto _ : state) {
    records.clear();
    benchmark::DoNotOptimize(textrix::wordsOfCharacters(text, nullptr, true, 1, &records));
  }
  setThroughput(state, text);
}

void BM_WordList(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::wordsUsingDefaultSeparation(text));
  setThroughput(state, text);
}

void BM_NumberOfParagraphs(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(textrix::numberOfParagraphs(text, {0, text.size()}, 1));
  }
  setThroughput(state, text);
}

// Patterns that never match, so every unit of the text is looked at.
void BM_IsLikeWildcard(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::isLikeWildcard(text, u"*the*q?x*end"));
  setThroughput(state, text);
}

void BM_IsCaseInsensitiveLikeUnixWildcard(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        textrix::isCaseInsensitiveLikeUnixWildcard(text, u"*[a-f]*3.14*[^a-z]qx"));
  }
  setThroughput(state, text);
}

}  // namespace

BENCHMARK(BM_NumberOfWords)->Arg(4)->Arg(64)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WordRecordsWithSeparators)->Arg(4)->Arg(64)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_WordList)->Arg(4)->Arg(64)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_NumberOfParagraphs)->Arg(4)->Arg(64)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IsLikeWildcard)->Arg(4)->Arg(64)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_IsCaseInsensitiveLikeUnixWildcard)->Arg(4)->Arg(64)->Unit(benchmark::kMillisecond);
