// SPDX-License-Identifier: MIT
// The German phoneme rewriting on 64 MiB of UTF-16 (32 Mi code units) of German prose with
// umlauts, digits and symbols, in lines of a few words.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <iterator>
#include <random>
#include <string>

#include "services/speech.h"

namespace textrix {
namespace {

constexpr std::size_t kUnits = std::size_t{32} << 20;

constexpr std::u16string_view kWords[] = {
    u"Ich",   u"kann",          u"nicht",      u"sehen", u"geschickt", u"Stra\u00DFe", u"\u00FCber",
    u"heute", u"Fr\u00E4ulein", u"sch\u00F6n", u"Hallo", u"der",       u"die",         u"das",
    u"Zeit",  u"Qualit\u00E4t", u"Version",    u"Bahn",  u"42",        u"3+4=7",       u"100%",
};

std::u16string makeText() {
  std::mt19937 random(1);
  std::u16string text;
  text.reserve(kUnits + 64);
  while (text.size() < kUnits) {
    for (std::size_t words = 3 + random() % 10; words > 0; --words) {
      text += kWords[random() % std::size(kWords)];
      text += u' ';
    }
    text.back() = u'\n';
  }
  text.resize(kUnits);
  return text;
}

void BM_GermanToEnglishPhonemes(benchmark::State& state) {
  static const std::u16string text = makeText();
  for (auto _ : state) {
    benchmark::DoNotOptimize(stringByConvertingGermanToEnglishPhonemes(text));
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}
BENCHMARK(BM_GermanToEnglishPhonemes)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace textrix
