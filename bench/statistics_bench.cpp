// SPDX-License-Identifier: MIT
// The statistics counts on 64 MiB of UTF-16 (32 Mi code units): words of ASCII, accented letters
// and emoji between single and double spaces, lines ending in LF or CR LF.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <random>
#include <string>

#include "services/statistics.h"

namespace textrix {
namespace {

constexpr std::size_t kUnits = std::size_t{32} << 20;

std::u16string makeText() {
  constexpr std::u16string_view kWords[] = {u"the", u"Quick", u"café",  u"Straße", u"\U0001F600",
                                            u"42",  u"end.",  u"word,", u"naïve",  u"text"};
  std::mt19937 random(1);
  std::u16string text;
  text.reserve(kUnits + 64);
  while (text.size() < kUnits) {
    text += kWords[random() % std::size(kWords)];
    text += random() % 16 == 0 ? u"  " : random() % 12 == 0 ? u"\r\n" : u" ";
  }
  text.resize(kUnits);
  return text;
}

void BM_StatisticsOfString(benchmark::State& state) {
  static const std::u16string text = makeText();
  for (auto _ : state) benchmark::DoNotOptimize(statisticsOfString(text));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}
BENCHMARK(BM_StatisticsOfString)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace textrix
