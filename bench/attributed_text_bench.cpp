// SPDX-License-Identifier: MIT
// AttributedText on large texts: 64 MiB of UTF-16 (32 Mi code units) in 100,000 runs, through a
// removal of a set of characters and a run-wise attribute change over the whole text; and a
// run-wise change over 1 Mi and 16 Mi runs of four units that alternate between two colours, each
// run's dictionary built on its own, with the heap bytes the changed text holds per run: time and
// memory grow with the runs alone when equal dictionaries are shared.
#include <benchmark/benchmark.h>
#include <malloc.h>

#include <optional>
#include <string>

#include "text/attributed_text.h"

namespace textrix {
namespace {

constexpr std::size_t kRuns = 100'000;

// Mail-quoted lines of prose, every run coloured differently from its neighbours.
AttributedText makeText(std::size_t units) {
  const std::u16string line = u"> Quoted <text> with some words, and \u00E4ccents: line\n";
  std::u16string chars;
  chars.reserve(units);
  while (chars.size() < units) chars.append(line);
  chars.resize(units);
  AttributedText text;
  const std::size_t runLength = units / kRuns;
  for (std::size_t run = 0; run < kRuns; ++run) {
    AttributeDictionary colour;
    colour.setObject(Color{static_cast<double>(run % 2), 0, 0, 1}, kForegroundColorAttributeName);
    const std::size_t length = run + 1 < kRuns ? runLength : units - run * runLength;
    text.appendString(std::u16string_view(chars).substr(run * runLength, length), colour);
  }
  return text;
}

const AttributedText& sample(std::size_t mebibytes) {
  static const AttributedText k64 = makeText(32u << 20);
  static const AttributedText k256 = makeText(128u << 20);
  return mebibytes == 64 ? k64 : k256;
}

// Times edit on a fresh copy of the sample named by the benchmark's argument; making the copy and
// freeing the previous one stay outside the measured time.
template <class Edit>
void measureOnFreshCopies(benchmark::State& state, Edit edit) {
  const AttributedText& source = sample(static_cast<std::size_t>(state.range(0)));
  std::optional<AttributedText> copy;
  for (auto _ : state) {
    state.PauseTiming();
    copy.emplace(source);
    state.ResumeTiming();
    edit(*copy);
    benchmark::DoNotOptimize(copy->length());
  }
  state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(source.length() * 2));
}

void BM_RemoveCharactersOfString(benchmark::State& state) {
  measureOnFreshCopies(state, [](AttributedText& text) { text.removeCharactersOfString(u"<>"); });
}
BENCHMARK(BM_RemoveCharactersOfString)->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);

void BM_SetAttributeOverAllRuns(benchmark::State& state) {
  measureOnFreshCopies(state, [](AttributedText& text) {
    text.setAttribute(Font{"Helvetica", 12.0}, kFontAttributeName, Range{0, text.length()});
  });
}
BENCHMARK(BM_SetAttributeOverAllRuns)->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);

// Runs of four units alternating between two colours, every dictionary built apart.
AttributedText alternatingRuns(std::size_t runs) {
  AttributedText text;
  for (std::size_t run = 0; run < runs; ++run) {
    AttributeDictionary colour;
    colour.setObject(Color{static_cast<double>(run % 2), 0, 0, 1}, kForegroundColorAttributeName);
    text.appendString(u"word", colour);
  }
  return text;
}

std::size_t heapBytesInUse() {
  const struct mallinfo2 info = mallinfo2();
  return info.uordblks + info.hblkhd;  // small blocks and mapped ones
}

void BM_SetAttributeOverAlternatingRuns(benchmark::State& state) {
  const auto runs = static_cast<std::size_t>(state.range(0));
  std::optional<AttributedText> text;
  std::size_t heldPerRun = 0;
  for (auto _ : state) {
    state.PauseTiming();
    text.reset();
    const std::size_t before = heapBytesInUse();
    text.emplace(alternatingRuns(runs));
    state.ResumeTiming();
    text->setAttribute(Font{"Helvetica", 12.0}, kFontAttributeName, Range{0, text->length()});
    state.PauseTiming();
    heldPerRun = (heapBytesInUse() - before) / runs;
    state.ResumeTiming();
  }
  state.counters["heapBytesPerRun"] = static_cast<double>(heldPerRun);
  state.counters["timePerRun"] =
      benchmark::Counter(static_cast<double>(runs), benchmark::Counter::kIsIterationInvariantRate |
                                                        benchmark::Counter::kInvert);
}
BENCHMARK(BM_SetAttributeOverAlternatingRuns)
    ->Arg(1 << 20)
    ->Arg(16 << 20)
    ->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace textrix
