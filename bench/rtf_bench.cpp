// SPDX-License-Identifier: MIT
// Reading and writing a 16 MiB RTF document of 50,000 runs with varied fonts, sizes, colours,
// bold and italic, and a link every tenth run.

#include <benchmark/benchmark.h>

#include <string>

#include "rich/rtf.h"

namespace {

constexpr int kRuns = 50000;
constexpr std::size_t kTargetBytes = std::size_t{16} << 20;

textrix::AttributedText makeDocument() {
  const char* const families[] = {"Helvetica", "Times New Roman", "Menlo", "Georgia", "Avenir"};
  const std::u16string words =
      u"The quick brown fox jumps over the lazy dog; caf\u00E9 \u03B1\u03B2\u03B3 {braces} and "
      u"back\\slashes, \u201Cquotes\u201D.\n";
  // Each run's characters, so that the RTF comes to about the target size.
  const std::size_t runLength = kTargetBytes / kRuns * 9 / 10;
  textrix::AttributedText text;
  for (int i = 0; i < kRuns; ++i) {
    textrix::AttributeDictionary attributes;
    attributes.setObject(textrix::Font{families[i % 5], 10.0 + i % 7, i % 3 == 0, i % 4 == 1},
                         textrix::kFontAttributeName);
    attributes.setObject(textrix::Color{(i % 256) / 255.0, ((i * 7) % 256) / 255.0, 0.0, 1.0},
                         textrix::kForegroundColorAttributeName);
    if (i % 10 == 0) {
      attributes.setObject(
          textrix::Link{u"https://example.com/" + std::u16string(1, u'a' + i % 26)},
          textrix::kLinkAttributeName);
    }
    std::u16string chars;
    while (chars.size() < runLength) chars += words;
    chars.resize(runLength);
    text.appendString(chars, attributes);
  }
  return text;
}

const textrix::AttributedText& document() {
  static const textrix::AttributedText text = makeDocument();
  return text;
}

const std::string& documentRtf() {
  static const std::string rtf = textrix::writeRtf(document());
  return rtf;
}

void BM_ReadRtf(benchmark::State& state) {
  const std::string& rtf = documentRtf();
  for (auto _ : state) {
    textrix::RichTextReading reading = textrix::readRtf(rtf);
    benchmark::DoNotOptimize(reading.text.length());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * rtf.size()));
  state.counters["runs"] = static_cast<double>(textrix::readRtf(rtf).text.runs().size());
}
BENCHMARK(BM_ReadRtf)->Unit(benchmark::kMillisecond);

void BM_WriteRtf(benchmark::State& state) {
  const textrix::AttributedText& text = document();
  std::size_t bytes = 0;
  for (auto _ : state) {
    std::string rtf = textrix::writeRtf(text);
    bytes = rtf.size();
    benchmark::DoNotOptimize(rtf.data());
  }
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations() * bytes));
}
BENCHMARK(BM_WriteRtf)->Unit(benchmark::kMillisecond);

}  // namespace
