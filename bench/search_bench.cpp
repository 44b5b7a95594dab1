// SPDX-License-Identifier: MIT
// Throughput of the single-unit searches and removals on long texts.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <string>
#include <string_view>

#include "text/search.h"

namespace {

// Letters for the words; the searches look for '#' and 'q', which never occur.
constexpr std::u16string_view kLetters =
    u"abcdefghijklmnoprstuvwxyzABCDEFGHIJKLMNOPRSTUVWXYZäöüéèçñÄÖÜß";

// Three-letter words, each followed by a space, so that a quarter of the units are spaces.
std::u16string makeText(std::size_t units) {
  std::u16string text(units, u' ');
  std::uint32_t seed = 12345;
  for (std::size_t i = 0; i < units; ++i) {
    if (i % 4 == 3) continue;
    seed = seed * 1664525u + 1013904223u;
    text[i] = kLetters[(seed >> 16) % kLetters.size()];
  }
  return text;
}

// N MiB of UTF-16 storage, built once per size.
const std::u16string& textOfMiB(std::int64_t mebibytes) {
  static const std::u16string small = makeText(64u << 19);
  static const std::u16string large = makeText(256u << 19);
  return mebibytes == 64 ? small : large;
}

void setThroughput(benchmark::State& state, const std::u16string& text) {
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}

void BM_FindCharacter(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::findCharacter(text, u'#'));
  setThroughput(state, text);
}

void BM_FindCharacterCaseInsensitive(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::findCharacter(text, u'q', true));
  setThroughput(state, text);
}

void BM_CountCharacter(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::countCharacter(text, u'E'));
  setThroughput(state, text);
}

void BM_CountCharacterCaseInsensitive(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  for (auto _ : state) benchmark::DoNotOptimize(textrix::countCharacter(text, u'e', true));
  setThroughput(state, text);
}

// Each run edits a fresh copy; the copy is not timed.
void BM_RemoveCharacters(benchmark::State& state) {
  const std::u16string& text = textOfMiB(state.range(0));
  std::u16string edited;
  for (auto _ : state) {
    state.PauseTiming();
    edited = text;
    state.ResumeTiming();
    textrix::removeCharacters(edited, u' ');
    benchmark::DoNotOptimize(edited.data());
  }
  setThroughput(state, text);
}

}  // namespace

BENCHMARK(BM_FindCharacter)->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_FindCharacterCaseInsensitive)->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CountCharacter)->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_CountCharacterCaseInsensitive)->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_RemoveCharacters)->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);
