// SPDX-License-Identifier: MIT
// Cuts the bytes, read as UTF-16 units, into lines with both feed sets and compares the lines with
// a walk that looks at every unit on its own: a feed ends a line unless it is the CR of a CR LF.
// Every line must be a view into the text, one after the other.
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <string>
#include <string_view>
#include <vector>

#include "text/lines.h"

namespace {

using textrix::FeedSet;
using Lines = std::vector<std::u16string_view>;

bool isListedFeed(char16_t c, FeedSet feeds) {
  constexpr std::u16string_view kPlainFeeds = u"\n\r\f\u2028\u2029\u0003\uFFFC\uFEFF";
  constexpr std::u16string_view kAttributedFeeds = u"\n\r\f\u2028\u2029\u0003\uFEFF";
  return (feeds == FeedSet::plain ? kPlainFeeds : kAttributedFeeds).find(c) != std::u16string::npos;
}

Lines referenceLines(std::u16string_view text, FeedSet feeds) {
  Lines result;
  std::size_t start = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const bool crOfCrLf = text[i] == u'\r' && i + 1 < text.size() && text[i + 1] == u'\n';
    if (!isListedFeed(text[i], feeds) || crOfCrLf) continue;
    result.push_back(text.substr(start, i + 1 - start));
    start = i + 1;
  }
  if (start < text.size()) result.push_back(text.substr(start));
  return result;
}

Lines linesThroughLineEnd(std::u16string_view text, FeedSet feeds) {
  Lines result;
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = textrix::lineEnd(text, start, feeds);
    result.push_back(text.substr(start, end - start));
  }
  return result;
}

void check(bool condition) {
  if (!condition) std::abort();
}

}  // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
  // Feeds, CR LF in both orders, neighbours of feeds and surrogates: a byte below 0x30 picks one,
  // two other bytes are a unit of their own, and the rest are letters.
  constexpr std::u16string_view kAlphabet =
      u"ab \t\n\r\f\v\u0002\u0003\u0004\u0085\u2027\u2028\u2029\u202A\uFEFE\uFEFF\uFFFB\uFFFC"
      u"\uFFFD\U0001F600";
  std::u16string text;
  for (std::size_t i = 0; i < size; ++i) {
    if (data[i] < 0x30) {
      text.push_back(kAlphabet[data[i] % kAlphabet.size()]);
    } else if (data[i] >= 0xF0 && i + 2 < size) {
      text.push_back(static_cast<char16_t>(data[i + 1] | data[i + 2] << 8));
      i += 2;
    } else {
      text.push_back(u'a');
    }
  }
  const Lines plain = textrix::lines(text);
  check(plain == referenceLines(text, FeedSet::plain));
  check(textrix::numberOfLines(text) == plain.size());
  check(linesThroughLineEnd(text, FeedSet::attributed) ==
        referenceLines(text, FeedSet::attributed));
  std::size_t offset = 0;
  for (std::u16string_view line : plain) {
    check(line.data() == text.data() + offset);
    offset += line.size();
  }
  return 0;
}
