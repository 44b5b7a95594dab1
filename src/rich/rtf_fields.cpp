// SPDX-License-Identifier: MIT
#include "rich/rtf_fields.h"

#include <algorithm>
#include <utility>
#include <vector>

namespace textrix::detail {
namespace {

// Splits a field instruction into its arguments: quoted strings (with \ escaping the next
// character) or words between spaces.
std::vector<std::pair<std::u16string, bool>> fieldArguments(std::u16string_view instruction) {
  std::vector<std::pair<std::u16string, bool>> arguments;  // text, quoted
  std::size_t pos = 0;
  while (pos < instruction.size()) {
    if (instruction[pos] == u' ' || instruction[pos] == u'\t' || instruction[pos] == u'\n') {
      ++pos;
      continue;
    }
    std::u16string argument;
    const bool quoted = instruction[pos] == u'"';
    if (quoted) {
      for (++pos; pos < instruction.size() && instruction[pos] != u'"'; ++pos) {
        if (instruction[pos] == u'\\' && pos + 1 < instruction.size()) ++pos;
        argument.push_back(instruction[pos]);
      }
      ++pos;
    } else {
      for (; pos < instruction.size() && instruction[pos] != u' ' && instruction[pos] != u'"';
           ++pos) {
        argument.push_back(instruction[pos]);
      }
    }
    arguments.emplace_back(std::move(argument), quoted);
  }
  return arguments;
}

// Whether text is the upper-case ASCII word upper in any case, as field names ignore case.
bool equalsIgnoringAsciiCase(std::u16string_view text, std::u16string_view upper) {
  return text.size() == upper.size() &&
         std::equal(text.begin(), text.end(), upper.begin(), [](char16_t a, char16_t b) {
           return (a >= u'a' && a <= u'z' ? a - u'a' + u'A' : a) == b;
         });
}

}  // namespace

std::optional<std::u16string> hyperlinkUrl(std::u16string_view instruction) {
  const auto arguments = fieldArguments(instruction);
  if (arguments.empty() || !equalsIgnoringAsciiCase(arguments[0].first, u"HYPERLINK")) {
    return std::nullopt;
  }
  std::u16string target;
  std::u16string anchor;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const auto& [text, quoted] = arguments[i];
    if (!quoted && text.size() == 2 && text[0] == u'\\') {
      // \l names an anchor; \o (tooltip), \t (frame) and \m take an argument we do not keep.
      const bool takesArgument = text[1] == u'l' || text[1] == u'o' || text[1] == u't';
      if (takesArgument && i + 1 < arguments.size()) {
        if (text[1] == u'l') anchor = arguments[i + 1].first;
        ++i;
      }
    } else if (target.empty()) {
      target = text;
    }
  }
  if (!anchor.empty()) target += u'#' + anchor;
  if (target.empty()) return std::nullopt;
  return target;
}

}  // namespace textrix::detail
