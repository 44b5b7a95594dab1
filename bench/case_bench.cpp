// SPDX-License-Identifier: MIT
// The case services on large plain texts: 64 MiB of UTF-16 (32 Mi code units) of mixed lines as
// the comparison with the standard tools makes them (accented Latin, emoji, Han, random indents),
// of English prose in ASCII and of Greek prose in both cases with its final sigmas.
#include <benchmark/benchmark.h>

#include <array>
#include <cstdint>
#include <initializer_list>
#include <string>
#include <string_view>

#include "services/case.h"

namespace textrix {
namespace {

constexpr std::size_t kUnits = 32u << 20;

// Lines of 20 to 100 code units of words from words, joined by gaps, after an indent.
std::u16string makeLines(std::initializer_list<std::u16string_view> words) {
  constexpr std::array<std::u16string_view, 7> kIndents = {u"",   u"",     u"",    u"    ",
                                                           u"\t", u"\t\t", u"  \t"};
  constexpr std::array<std::u16string_view, 5> kGaps = {u" ", u" ", u" ", u"  ", u" \t "};
  std::uint32_t seed = 7;
  const auto next = [&seed](std::size_t bound) {
    seed = seed * 1664525u + 1013904223u;
    return (seed >> 8) % bound;
  };
  std::u16string text;
  text.reserve(kUnits + 128);
  while (text.size() < kUnits) {
    const std::size_t lineLength = 20 + next(81);
    text += kIndents[next(kIndents.size())];
    const std::u16string_view gap = kGaps[next(kGaps.size())];
    for (std::size_t length = 0; length < lineLength;) {
      const std::u16string_view word = words.begin()[next(words.size())];
      if (length > 0) text += gap;
      text += word;
      length += word.size() + 1;
    }
    text += u'\n';
  }
  text.resize(kUnits);
  return text;
}

const std::u16string& mixedSample() {
  static const std::u16string text = makeLines(
      {u"alpha",      u"Beta",       u"gamma",       u"Delta",      u"caf\u00E9",   u"na\u00EFve",
       u"\u00C4rger", u"\u00D6l",    u"\u00FCber",   u"se\u00F1or", u"fa\u00E7ade", u"x",
       u"to",         u"be",         u"or",          u"not",        u"Zebra",       u"quartz",
       u"\U0001F642", u"\U0001F600", u"\u65E5\u672C"});
  return text;
}

const std::u16string& asciiSample() {
  static const std::u16string text = makeLines(
      {u"The", u"quick", u"brown", u"fox", u"jumps", u"over", u"the", u"lazy", u"dog;", u"it's",
       u"3.14", u"RESTS.", u"Plain", u"ASCII", u"text:", u"e.g.", u"snake_case"});
  return text;
}

const std::u16string& greekSample() {
  static const std::u16string text = makeLines({
      u"\u039F\u0394\u039F\u03A3",                           // ΟΔΟΣ
      u"\u03BB\u03CC\u03B3\u03BF\u03C2",                     // λόγος
      u"\u03A3\u03C9\u03BA\u03C1\u03AC\u03C4\u03B7\u03C2",   // Σωκράτης
      u"\u039A\u0391\u0399",                                 // ΚΑΙ
      u"\u03C3\u03BF\u03C6\u03AF\u03B1.",                    // σοφία.
      u"\u0391\u039D\u0398\u03A1\u03A9\u03A0\u039F\u03A3,",  // ΑΝΘΡΩΠΟΣ,
      u"\u03B8\u03B5\u03CC\u03C2",                           // θεός
      u"\u0390",                                             // ΐ
  });
  return text;
}

const std::u16string& sample(std::int64_t which) {
  switch (which) {
    case 0:
      return mixedSample();
    case 1:
      return asciiSample();
    default:
      return greekSample();
  }
}

// Times edit on a fresh copy of the sample; making the copy stays outside the measured time.
template <class Edit>
void measure(benchmark::State& state, Edit edit) {
  const std::u16string& source = sample(state.range(0));
  std::u16string copy;
  for (auto _ : state) {
    state.PauseTiming();
    copy = source;
    state.ResumeTiming();
    edit(copy);
    benchmark::DoNotOptimize(copy.data());
  }
  state.SetBytesProcessed(state.iterations() *
                          static_cast<std::int64_t>(kUnits * sizeof(char16_t)));
  state.SetLabel(state.range(0) == 0 ? "mixed" : state.range(0) == 1 ? "ascii" : "greek");
}

void BM_Upper(benchmark::State& state) {
  measure(state, [](std::u16string& text) { uppercase(text); });
}
BENCHMARK(BM_Upper)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

void BM_Lower(benchmark::State& state) {
  measure(state, [](std::u16string& text) { lowercase(text); });
}
BENCHMARK(BM_Lower)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

void BM_Capitalize(benchmark::State& state) {
  measure(state, [](std::u16string& text) { capitalize(text); });
}
BENCHMARK(BM_Capitalize)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

void BM_CapitalizeSentences(benchmark::State& state) {
  measure(state, [](std::u16string& text) { text = stringByCapitalizingSentences(text); });
}
BENCHMARK(BM_CapitalizeSentences)->DenseRange(0, 2)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace textrix
