// SPDX-License-Identifier: MIT
// Reformat, smart and straight quotes and remove links on mail-quoted text of 16 Mi code units:
// lines of 20 to 100 units behind one or two quote markers, with quotes and apostrophes, blank
// lines between paragraphs. The attributed forms run on the same characters with a run of another
// font, colour or link every few words.
#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <random>
#include <string>

#include "services/attachments_and_links.h"
#include "services/quotes.h"
#include "services/reformat.h"

namespace textrix {
namespace {

constexpr std::size_t kUnits = std::size_t{16} << 20;

constexpr std::u16string_view kWords[] = {
    u"the",  u"\"quick\"", u"brown", u"fox's",     u"jumps", u"\u201Cover\u201D",
    u"lazy", u"dog",       u"and",   u"caf\u00E9", u"it's",  u"\u00ABnon\u00BB",
    u"text", u"service",   u"end.",  u"word,",
};

std::u16string makeText() {
  std::mt19937 random(1);
  std::u16string text;
  text.reserve(kUnits + 128);
  while (text.size() < kUnits) {
    const std::size_t length = 20 + random() % 81;
    const std::size_t lineStart = text.size();
    text += random() % 4 == 0 ? u">> " : u"> ";
    while (text.size() - lineStart < length) {
      text += kWords[random() % std::size(kWords)];
      text += u' ';
    }
    text += random() % 6 == 0 ? u"\n>\n" : u"\n";
  }
  text.resize(kUnits);
  return text;
}

const std::u16string& sample() {
  static const std::u16string text = makeText();
  return text;
}

const AttributedText& attributedSample() {
  static const AttributedText text = [] {
    AttributeDictionary styles[3];
    styles[0].setObject(Font{"Helvetica", 12}, kFontAttributeName);
    styles[1].setObject(Font{"Helvetica", 12, true}, kFontAttributeName);
    styles[1].setObject(Color{1, 0, 0, 1}, kForegroundColorAttributeName);
    styles[2] = styles[0];
    styles[2].setObject(Link{u"https://example.com"}, kLinkAttributeName);
    styles[2].setObject(kUnderlineStyleSingle, kUnderlineStyleAttributeName);
    AttributedText result;
    const std::u16string& units = sample();
    for (std::size_t start = 0, run = 0; start < units.size(); ++run) {
      const std::size_t length = std::min<std::size_t>(17 + run % 23, units.size() - start);
      result.appendString(std::u16string_view(units).substr(start, length), styles[run % 3]);
      start += length;
    }
    return result;
  }();
  return text;
}

template <class Text>
void setThroughput(benchmark::State& state, const Text& text) {
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}

// Times edit on a fresh copy of text; making the copy stays outside the measured time.
template <class Text, class Edit>
void measureOnFreshCopies(benchmark::State& state, const Text& text, Edit edit) {
  std::optional<Text> copy;
  for (auto _ : state) {
    state.PauseTiming();
    copy.emplace(text);
    state.ResumeTiming();
    edit(*copy);
  }
  setThroughput(state, text.string());
}

void BM_ReformatPlain(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(
        reformattedStringByRemovingCharactersOfString(sample(), kReformatRemovedCharacters));
  }
  setThroughput(state, sample());
}
BENCHMARK(BM_ReformatPlain)->Unit(benchmark::kMillisecond);

void BM_ReformatAttributed(benchmark::State& state) {
  for (auto _ : state) {
    benchmark::DoNotOptimize(reformattedAttributedStringByRemovingCharactersOfString(
        attributedSample(), kReformatRemovedCharacters));
  }
  setThroughput(state, sample());
}
BENCHMARK(BM_ReformatAttributed)->Unit(benchmark::kMillisecond);

void BM_SmartQuotesAttributed(benchmark::State& state) {
  const SmartQuotes quotes;
  measureOnFreshCopies(state, attributedSample(),
                       [&](AttributedText& text) { convertToSmartQuotes(text, quotes); });
}
BENCHMARK(BM_SmartQuotesAttributed)->Unit(benchmark::kMillisecond);

void BM_StraightQuotesAttributed(benchmark::State& state) {
  measureOnFreshCopies(state, attributedSample(),
                       [](AttributedText& text) { convertToStraightQuotes(text); });
}
BENCHMARK(BM_StraightQuotesAttributed)->Unit(benchmark::kMillisecond);

void BM_RemoveLinks(benchmark::State& state) {
  measureOnFreshCopies(state, attributedSample(), [](AttributedText& text) { removeLinks(text); });
}
BENCHMARK(BM_RemoveLinks)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace textrix
