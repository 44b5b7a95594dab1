// SPDX-License-Identifier: MIT
// Matches a string against a pattern, both read from the bytes, with the three wildcard matchers,
// and asks the matcher as the system describes it step by step: a "*" tries each split of the rest
// of the string in turn, by recursion. The set-of-positions matchers must answer exactly as it
// does, class corners included. The units are drawn from the pattern syntax and the units its
// rules single out, and the inputs are kept short, as the recursion is exponential in the stars.
#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>

#include "text/charsets.h"
#include "util/wildcard.h"

namespace {

using textrix::CharsTable;

bool referenceMatch(const char16_t* s, const char16_t* sEnd, const char16_t* p,
                    const char16_t* pEnd, bool classes, const CharsTable* table) {
  const auto map = [table](char16_t c) { return table ? (*table)[c] : c; };
  if (p == pEnd) return s == sEnd;
  while (true) {
    if (*p == u'*') {
      const char16_t* rest = p + 1;
      if (s == sEnd) return std::all_of(rest, pEnd, [](char16_t c) { return c == u'*'; });
      if (rest == pEnd) return true;
      for (; s < sEnd; ++s) {
        if (referenceMatch(s, sEnd, rest, pEnd, classes, table)) return true;
      }
      return false;
    }
    if (s == sEnd) return false;
    if (*p == u'?') {
      ++s;
      ++p;
    } else if (classes && *p == u'[') {
      if (p + 1 == pEnd) return false;
      const char16_t unit = map(*s++);
      const char16_t* q = p + 1;
      const bool negated = *q == u'^';
      if (negated) ++q;
      if (q == pEnd) return s == sEnd;
      bool matched = false;
      for (; q < pEnd && *q != u']'; ++q) {
        if (*q == u'-') {
          if (q + 1 == pEnd) continue;
          matched = q[-1] <= unit && unit <= q[1];
          ++q;  // to the upper bound: found, or stepped over by the loop
          if (matched) break;
        } else if (*q != u'|' && *q == unit) {
          matched = true;
          break;
        }
      }
      if (matched == negated) return false;
      if (matched) q = std::find(q, pEnd, u']');
      if (q == pEnd) return s == sEnd;
      p = q + 1;
    } else {
      if (map(*s) != *p) return false;
      ++s;
      ++p;
    }
    if (p == pEnd) return s == sEnd;
  }
}

bool referenceMatch(std::u16string_view string, std::u16string_view pattern, bool classes,
                    const CharsTable* table = nullptr) {
  return referenceMatch(string.data(), string.data() + string.size(), pattern.data(),
                        pattern.data() + pattern.size(), classes, table);
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  constexpr std::u16string_view kPatternUnits = u"ab*?[]^-|";
  constexpr std::u16string_view kStringUnits = u"ab]-^|[_*";
  if (size == 0 || size > 24) return 0;
  // The first byte splits the rest into the pattern and the string.
  const std::size_t patternLength = std::min<std::size_t>(data[0] % 16, size - 1);
  std::u16string pattern, string;
  for (std::size_t i = 1; i < size; ++i) {
    if (i <= patternLength) {
      pattern += kPatternUnits[data[i] % kPatternUnits.size()];
    } else {
      string += kStringUnits[data[i] % kStringUnits.size()];
    }
  }
  const CharsTable& upper = textrix::upperCharsTable();
  std::u16string upperPattern = pattern;
  for (char16_t& unit : upperPattern) unit = upper[unit];
  if (textrix::stringMatchesWildcard(string, pattern) != referenceMatch(string, pattern, false) ||
      textrix::stringMatchesUnixWildcard(string, pattern) !=
          referenceMatch(string, pattern, true) ||
      textrix::stringMatchesUnixWildcardUsingUnicharTable(string, upperPattern, upper) !=
          referenceMatch(string, upperPattern, true, &upper)) {
    std::abort();
  }
  return 0;
}
