// SPDX-License-Identifier: MIT
// The case, shift and tab, and trim services on large texts: 64 MiB of UTF-16 (32 Mi code
// units) of indented prose lines, as plain text and as attributed text in 100,000 runs.
#include <benchmark/benchmark.h>

#include <initializer_list>
#include <iterator>
#include <optional>
#include <string>

#include "services/case.h"
#include "services/shift_and_tabs.h"
#include "services/trim.h"
#include "text/attributed_text.h"

namespace textrix {
namespace {

constexpr std::size_t kUnits = 32u << 20;
constexpr std::size_t kRuns = 100'000;

std::u16string repeatLines(std::initializer_list<std::u16string_view> lines) {
  std::u16string chars;
  chars.reserve(kUnits);
  for (auto line = lines.begin(); chars.size() < kUnits; line = std::next(line)) {
    if (line == lines.end()) line = lines.begin();
    chars.append(*line);
  }
  chars.resize(kUnits);
  return chars;
}

// Lines with leading tabs and spaces, blanks inside and at their ends, and accented letters.
const std::u16string& plainSample() {
  static const std::u16string text = repeatLines({
      u"\tindented with a tab, then words and\ttabs inside  \n",
      u"    four spaces, \u00E4ccents and a stra\u00DFe here\r\n",
      u"plain line with nothing to trim\n",
      u"  \t mixed blanks before   and after \t \n",
  });
  return text;
}

// English prose without a letter outside ASCII.
const std::u16string& asciiSample() {
  static const std::u16string text = repeatLines({
      u"The quick brown fox jumps over the lazy dog; then it rests.\n",
      u"Plain ASCII text: letters, digits 0123456789 and punctuation!\n",
  });
  return text;
}

const AttributedText& attributedSample() {
  static const AttributedText text = [] {
    const std::u16string_view chars = plainSample();
    AttributedText result;
    const std::size_t runLength = chars.size() / kRuns;
    for (std::size_t run = 0; run < kRuns; ++run) {
      AttributeDictionary colour;
      colour.setObject(Color{static_cast<double>(run % 2), 0, 0, 1}, kForegroundColorAttributeName);
      const std::size_t length = run + 1 < kRuns ? runLength : chars.size() - run * runLength;
      result.appendString(chars.substr(run * runLength, length), colour);
    }
    return result;
  }();
  return text;
}

void countBytes(benchmark::State& state) {
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(kUnits * sizeof(char16_t)));
}

// Times edit on a fresh copy of source; making the copy and freeing the previous one stay
// outside the measured time.
template <class Text, class Edit>
void measureOnFreshCopies(benchmark::State& state, const Text& source, Edit edit) {
  std::optional<Text> copy;
  for (auto _ : state) {
    state.PauseTiming();
    copy.emplace(source);
    state.ResumeTiming();
    edit(*copy);
    benchmark::DoNotOptimize(copy->size());
  }
  countBytes(state);
}

// Times transform, which makes a new text from the sample.
template <class Transform>
void measureTransform(benchmark::State& state, Transform transform) {
  for (auto _ : state) {
    std::u16string result = transform(plainSample());
    benchmark::DoNotOptimize(result.data());
    state.PauseTiming();
    result = {};
    state.ResumeTiming();
  }
  countBytes(state);
}

void BM_Uppercase(benchmark::State& state) {
  measureOnFreshCopies(state, plainSample(), [](std::u16string& text) { uppercase(text); });
}
BENCHMARK(BM_Uppercase)->Unit(benchmark::kMillisecond);

void BM_UppercaseAscii(benchmark::State& state) {
  measureOnFreshCopies(state, asciiSample(), [](std::u16string& text) { uppercase(text); });
}
BENCHMARK(BM_UppercaseAscii)->Unit(benchmark::kMillisecond);

void BM_UppercaseAttributed(benchmark::State& state) {
  std::optional<AttributedText> copy;
  for (auto _ : state) {
    state.PauseTiming();
    copy.emplace(attributedSample());
    state.ResumeTiming();
    uppercase(*copy);
    benchmark::DoNotOptimize(copy->length());
  }
  countBytes(state);
}
BENCHMARK(BM_UppercaseAttributed)->Unit(benchmark::kMillisecond);

void BM_Detab(benchmark::State& state) {
  measureOnFreshCopies(state, plainSample(), [](std::u16string& text) { decodeTabs(text, 4); });
}
BENCHMARK(BM_Detab)->Unit(benchmark::kMillisecond);

void BM_Entab(benchmark::State& state) {
  measureOnFreshCopies(state, plainSample(), [](std::u16string& text) { encodeTabs(text, 4); });
}
BENCHMARK(BM_Entab)->Unit(benchmark::kMillisecond);

void BM_ShiftRight(benchmark::State& state) {
  measureTransform(state,
                   [](std::u16string_view text) { return stringByShiftingLinesRight(text); });
}
BENCHMARK(BM_ShiftRight)->Unit(benchmark::kMillisecond);

void BM_Trim(benchmark::State& state) {
  measureTransform(
      state, [](std::u16string_view text) { return stringByTrimmingLines(text, true, true); });
}
BENCHMARK(BM_Trim)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace textrix
