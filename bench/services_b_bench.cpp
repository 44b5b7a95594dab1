// SPDX-License-Identifier: MIT
// Rotate, Unix line endings, remove multiple spaces and sort ascending on 64 MiB of UTF-16 (32 Mi
// code units): mixed text of ASCII with some accented letters and emoji, lines of 20 to 100 units,
// some indented with spaces and tabs, most ending in LF and some in CR LF.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <optional>
#include <random>
#include <string>

#include "services/rotate_and_encodings.h"
#include "services/sort.h"
#include "services/spaces_and_line_endings.h"

namespace textrix {
namespace {

constexpr std::size_t kUnits = std::size_t{32} << 20;

constexpr std::u16string_view kWords[] = {
    u"the",  u"Quick", u"brown",      u"fox",        u"jumps", u"over",   u"lazy",  u"dog",
    u"and",  u"café",  u"Ölfass",     u"naïve",      u"über",  u"Straße", u"text",  u"service",
    u"Line", u"sort",  u"\U0001F600", u"\U0001F44D", u"42",    u"end.",   u"word,", u"Zebra",
};

std::u16string_view indentation(std::mt19937& random) {
  constexpr std::u16string_view kIndents[] = {u"    ", u"\t", u"  \t ", u"\t\t"};
  return random() % 4 == 0 ? kIndents[random() % 4] : u"";
}

std::u16string makeText() {
  std::mt19937 random(1);
  std::u16string text;
  text.reserve(kUnits + 128);
  while (text.size() < kUnits) {
    const std::size_t length = 20 + random() % 81;
    const std::size_t lineStart = text.size();
    text += indentation(random);
    while (text.size() - lineStart < length) {
      text += kWords[random() % std::size(kWords)];
      text += random() % 16 == 0 ? u"  " : u" ";
    }
    text += random() % 8 == 0 ? u"\r\n" : u"\n";
  }
  text.resize(kUnits);
  return text;
}

const std::u16string& sample() {
  static const std::u16string text = makeText();
  return text;
}

void setThroughput(benchmark::State& state) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(sample().size() * sizeof(char16_t)));
}

// Times edit on a fresh copy of the sample; making the copy and freeing the previous one stay
// outside the measured time.
template <class Edit>
void measureOnFreshCopies(benchmark::State& state, Edit edit) {
  std::optional<std::u16string> copy;
  for (auto _ : state) {
    state.PauseTiming();
    copy.emplace(sample());
    state.ResumeTiming();
    edit(*copy);
    benchmark::DoNotOptimize(copy->data());
  }
  setThroughput(state);
}

void BM_Rotate13(benchmark::State& state) {
  measureOnFreshCopies(state,
                       [](std::u16string& text) { text = stringByRotating13(std::move(text)); });
}
BENCHMARK(BM_Rotate13)->Unit(benchmark::kMillisecond);

void BM_UnixLineEndings(benchmark::State& state) {
  for (auto _ : state) benchmark::DoNotOptimize(replaceLineEndings(sample(), u"\n"));
  setThroughput(state);
}
BENCHMARK(BM_UnixLineEndings)->Unit(benchmark::kMillisecond);

void BM_RemoveMultipleSpaces(benchmark::State& state) {
  measureOnFreshCopies(state, [](std::u16string& text) { removeMultipleSpaces(text); });
}
BENCHMARK(BM_RemoveMultipleSpaces)->Unit(benchmark::kMillisecond);

void BM_SortAscending(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(sortLines(sample(), sortCaseInsensitiveAscending));
  }
  setThroughput(state);
}
BENCHMARK(BM_SortAscending)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace textrix
