// SPDX-License-Identifier: MIT
#include "text/lines.h"

#include <bit>
#include <cstdint>
#include <cstring>

namespace textrix {
namespace {

// The feeds below U+0020, one bit each: U+0003, U+000A, U+000C, U+000D.
constexpr std::uint32_t kControlFeeds = 1u << 0x03 | 1u << 0x0A | 1u << 0x0C | 1u << 0x0D;

constexpr char16_t kFirstPrintable = 0x0020;
constexpr char16_t kLineSeparator = 0x2028;
constexpr char16_t kParagraphSeparator = 0x2029;
constexpr char16_t kObjectReplacement = 0xFFFC;
constexpr char16_t kByteOrderMark = 0xFEFF;

// Every feed lies below U+0020 or at or after U+2028, so two comparisons settle most units.
template <FeedSet feeds>
constexpr bool isFeed(char16_t c) {
  if (c < kFirstPrintable) return (kControlFeeds >> c) & 1u;
  if (c < kLineSeparator) return false;
  // U+FFFC ends a line only in plain text: in attributed text it is an attachment.
  return c <= kParagraphSeparator || c == kByteOrderMark ||
         (feeds == FeedSet::plain && c == kObjectReplacement);
}

// Eight units tested at once in a vector register (SSE2, NEON), through the compiler's portable
// vector extension: most lines hold no feed until their end.
using UnitVector = std::uint16_t __attribute__((vector_size(16)));
constexpr std::size_t kBlock = sizeof(UnitVector) / sizeof(char16_t);

// The lanes of a vector comparison are all ones or all zeros; read as two 64-bit halves, the first
// set bit tells the first lane that holds a feed.
static_assert(std::endian::native == std::endian::little, "lane 0 must be the low bits");
constexpr int kBitsPerLane = 16;
constexpr std::size_t kLanesPerHalf = 4;

// The index of the first feed among the kBlock units at units, or kBlock when there is none.
template <FeedSet feeds>
std::size_t firstFeedInBlock(const char16_t* units) {
  UnitVector u;
  std::memcpy(&u, units, sizeof u);
  // Each unit is compared as the lane type: clang 14 crashes on a char16_t compared to a vector.
  const auto lanesEqual = [&u](char16_t c) { return u == static_cast<std::uint16_t>(c); };
  auto lanes = lanesEqual(u'\n') | lanesEqual(u'\r') | lanesEqual(u'\f') | lanesEqual(0x0003) |
               lanesEqual(kLineSeparator) | lanesEqual(kParagraphSeparator) |
               lanesEqual(kByteOrderMark);
  if constexpr (feeds == FeedSet::plain) lanes |= lanesEqual(kObjectReplacement);
  std::uint64_t halves[2];
  std::memcpy(halves, &lanes, sizeof halves);
  if (halves[0] != 0) return std::countr_zero(halves[0]) / kBitsPerLane;
  if (halves[1] != 0) return kLanesPerHalf + std::countr_zero(halves[1]) / kBitsPerLane;
  return kBlock;
}

// The index of the first feed at or after i, or text.size().
template <FeedSet feeds>
std::size_t firstFeedFrom(std::u16string_view text, std::size_t i) {
  for (; i + kBlock <= text.size(); i += kBlock) {
    const std::size_t lane = firstFeedInBlock<feeds>(text.data() + i);
    if (lane < kBlock) return i + lane;
  }
  while (i < text.size() && !isFeed<feeds>(text[i])) ++i;
  return i;
}

template <FeedSet feeds>
std::size_t lineEndWith(std::u16string_view text, std::size_t start) {
  const std::size_t feed = firstFeedFrom<feeds>(text, start);
  if (feed == text.size()) return feed;
  const bool crLf = text[feed] == u'\r' && feed + 1 < text.size() && text[feed + 1] == u'\n';
  return feed + (crLf ? 2 : 1);
}

}  // namespace

bool isFeedCharacter(char16_t c, FeedSet feeds) {
  return feeds == FeedSet::plain ? isFeed<FeedSet::plain>(c) : isFeed<FeedSet::attributed>(c);
}

std::size_t lineEnd(std::u16string_view text, std::size_t start, FeedSet feeds) {
  return feeds == FeedSet::plain ? lineEndWith<FeedSet::plain>(text, start)
                                 : lineEndWith<FeedSet::attributed>(text, start);
}

std::vector<std::u16string_view> lines(std::u16string_view text) {
  std::vector<std::u16string_view> result;
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = lineEnd(text, start);
    result.push_back(text.substr(start, end - start));
  }
  return result;
}

std::size_t numberOfLines(std::u16string_view text) {
  std::size_t count = 0;
  for (std::size_t start = 0; start < text.size(); start = lineEnd(text, start)) ++count;
  return count;
}

bool hasFeedOfLine(std::u16string_view text, FeedSet feeds) {
  return !text.empty() && isFeedCharacter(text.back(), feeds);
}

std::u16string_view feedOfLine(std::u16string_view text, FeedSet feeds) {
  std::size_t start = text.size();
  while (start > 0 && isFeedCharacter(text[start - 1], feeds)) --start;
  return text.substr(start);
}

std::u16string_view firstLine(std::u16string_view text, FeedSet feeds) {
  const std::size_t feed = feeds == FeedSet::plain ? firstFeedFrom<FeedSet::plain>(text, 0)
                                                   : firstFeedFrom<FeedSet::attributed>(text, 0);
  return text.substr(0, feed);
}

}  // namespace textrix
