// SPDX-License-Identifier: MIT
// The case-insensitive line sort on 64 and 256 MiB of UTF-16 (32 and 128 Mi code units): lines of
// 20 to 100 units made of a small vocabulary (accented letters, emoji and CJK among them), some
// indented with blanks and tabs and separated by single or double gaps, so that many lines share
// their first words; and the same lines behind beginnings of one text of some 300 units.
#include <benchmark/benchmark.h>

#include <cstdint>
#include <map>
#include <random>
#include <string>

#include "services/sort.h"

namespace textrix {
namespace {

constexpr std::size_t kUnitsPerMebibyte = (1u << 20) / sizeof(char16_t);

constexpr std::u16string_view kWords[] = {
    u"alpha",      u"Beta",       u"gamma",        u"Delta",      u"caf\u00E9",   u"na\u00EFve",
    u"\u00C4rger", u"\u00D6l",    u"\u00FCber",    u"se\u00F1or", u"fa\u00E7ade", u"x",
    u"to",         u"be",         u"or",           u"not",        u"Zebra",       u"quartz",
    u"\U0001F642", u"\U0001F600", u"\u65E5\u672C",
};
constexpr std::u16string_view kIndents[] = {u"", u"", u"", u"    ", u"\t", u"\t\t", u"  \t"};
constexpr std::u16string_view kGaps[] = {u" ", u" ", u" ", u"  ", u" \t "};

// Lines of words until each is at least 20 to 100 units long, each ending in LF, every line
// starting with a beginning of prefix as long as the text's random generator says.
std::u16string makeText(std::size_t units, std::u16string_view prefix) {
  std::mt19937 random(7);
  std::u16string text;
  text.reserve(units + 512);
  while (text.size() < units) {
    const std::size_t target = 20 + random() % 81;
    const std::size_t lineStart = text.size();
    text += prefix.substr(0, random() % (prefix.size() + 1));
    text += kIndents[random() % std::size(kIndents)];
    text += kWords[random() % std::size(kWords)];
    const std::u16string_view gap = kGaps[random() % std::size(kGaps)];
    while (text.size() - lineStart < target) {
      text += gap;
      text += kWords[random() % std::size(kWords)];
    }
    text += u'\n';
  }
  return text;
}

constexpr std::u16string_view kLongPrefix =
    u"2024-05-01 12:00:00 host service[1234]: the same long beginning of many lines, as in a log "
    u"file or a listing of paths such as /usr/share/doc/textrix/examples/sorting/lines/that/share/"
    u"their/beginnings/and/differ/only/near/their/ends, where comparing two lines reads most of "
    u"both of them before it finds where they diff";

const std::u16string& sampleText(std::size_t mebibytes, bool prefixed) {
  static std::map<std::pair<std::size_t, bool>, std::u16string> texts;
  auto [entry, isNew] = texts.try_emplace({mebibytes, prefixed});
  if (isNew) {
    entry->second = makeText(mebibytes * kUnitsPerMebibyte, prefixed ? kLongPrefix : u"");
  }
  return entry->second;
}

void measureSort(benchmark::State& state, StringComparator compare, bool prefixed) {
  const std::u16string& text = sampleText(static_cast<std::size_t>(state.range(0)), prefixed);
  for (auto _ : state) benchmark::DoNotOptimize(sortLines(text, compare));
  state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) *
                          static_cast<std::int64_t>(text.size() * sizeof(char16_t)));
}

void BM_SortAscending(benchmark::State& state) {
  measureSort(state, sortCaseInsensitiveAscending, false);
}
void BM_SortDescending(benchmark::State& state) {
  measureSort(state, sortCaseInsensitiveDescending, false);
}
void BM_SortAscendingSharedBeginnings(benchmark::State& state) {
  measureSort(state, sortCaseInsensitiveAscending, true);
}

BENCHMARK(BM_SortAscending)->ArgName("MiB")->Arg(64)->Arg(256)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SortDescending)->ArgName("MiB")->Arg(64)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_SortAscendingSharedBeginnings)->ArgName("MiB")->Arg(64)->Unit(benchmark::kMillisecond);

}  // namespace
}  // namespace textrix
