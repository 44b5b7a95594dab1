// SPDX-License-Identifier: MIT
#include "text/lines.h"

#include <bit>
#include <cstdint>
#include <cstring>

#include "text/processor_builds.h"

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

// Sixteen units tested at once through the compiler's portable vector extension: in one register
// where the processor has AVX2, in two (SSE2, NEON) elsewhere. Most lines hold no feed for dozens
// of units.
using UnitVector = std::uint16_t __attribute__((vector_size(32)));
constexpr std::size_t kBlock = sizeof(UnitVector) / sizeof(char16_t);

// The lanes of a vector comparison are all ones or all zeros; read as four 64-bit quarters, the low
// bit of each lane, gathered by a multiplication to the top of its quarter, makes one bit a lane.
static_assert(std::endian::native == std::endian::little, "lane 0 must be the low bits");
constexpr std::uint64_t kLowBitOfEachLane = 0x0001000100010001u;
constexpr std::uint64_t kGatherLowBits = 0x0001000200040008u;
constexpr int kGatheredShift = 48;
constexpr std::size_t kLanesPerQuarter = 4;

// Bit k set where lane k of the kBlock units at units holds a feed or the unit also. CR and FF, and
// the two separators, differ in their last bit alone, so one comparison takes each pair. Always
// inlined, so that it is built for the processor of its caller.
template <FeedSet feeds>
[[gnu::always_inline]] inline unsigned feedLanes(const char16_t* units, char16_t also) {
  UnitVector u;
  std::memcpy(&u, units, sizeof u);
  const UnitVector pairs = u | 1;
  // Each unit is compared as the lane type: clang 14 crashes on a char16_t compared to a vector.
  auto lanes = (pairs == std::uint16_t{u'\r'}) | (u == std::uint16_t{u'\n'}) |
               (u == std::uint16_t{0x0003}) | (pairs == std::uint16_t{kParagraphSeparator}) |
               (u == std::uint16_t{kByteOrderMark}) | (u == static_cast<std::uint16_t>(also));
  if constexpr (feeds == FeedSet::plain) lanes |= u == std::uint16_t{kObjectReplacement};
  std::uint64_t quarters[kBlock / kLanesPerQuarter];
  std::memcpy(quarters, &lanes, sizeof quarters);
  if ((quarters[0] | quarters[1] | quarters[2] | quarters[3]) == 0) return 0;  // most blocks
  unsigned bits = 0;
  for (std::size_t quarter = 0; quarter < std::size(quarters); ++quarter) {
    const std::uint64_t gathered =
        ((quarters[quarter] & kLowBitOfEachLane) * kGatherLowBits) >> kGatheredShift;
    bits |= static_cast<unsigned>(gathered) << (quarter * kLanesPerQuarter);
  }
  return bits;
}

// The index of the first feed at or after i, or text.size().
template <FeedSet feeds>
[[gnu::always_inline]] inline std::size_t scanToFeed(std::u16string_view text, std::size_t i) {
  for (; i + kBlock <= text.size(); i += kBlock) {
    const unsigned lanes = feedLanes<feeds>(text.data() + i, u'\n');
    if (lanes != 0) return i + static_cast<std::size_t>(std::countr_zero(lanes));
  }
  while (i < text.size() && !isFeed<feeds>(text[i])) ++i;
  return i;
}

// One function a feed set: a function built twice cannot be a template for every compiler.
TEXTRIX_ALSO_FOR_AVX2 std::size_t firstPlainFeedFrom(std::u16string_view text, std::size_t i) {
  return scanToFeed<FeedSet::plain>(text, i);
}

TEXTRIX_ALSO_FOR_AVX2 std::size_t firstAttributedFeedFrom(std::u16string_view text, std::size_t i) {
  return scanToFeed<FeedSet::attributed>(text, i);
}

template <FeedSet feeds>
std::size_t firstFeedFrom(std::u16string_view text, std::size_t i) {
  if constexpr (feeds == FeedSet::plain) return firstPlainFeedFrom(text, i);
  return firstAttributedFeedFrom(text, i);
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

// A block at a time while positions has room for a whole block.
TEXTRIX_ALSO_FOR_AVX2 std::size_t findFeedsOrUnit(std::u16string_view text, std::size_t from,
                                                  char16_t unit, std::span<std::size_t> positions) {
  std::size_t found = 0;
  std::size_t i = from;
  for (; i + kBlock <= text.size() && positions.size() - found >= kBlock; i += kBlock) {
    for (unsigned lanes = feedLanes<FeedSet::plain>(text.data() + i, unit); lanes != 0;
         lanes &= lanes - 1) {
      positions[found++] = i + static_cast<std::size_t>(std::countr_zero(lanes));
    }
  }
  if (i + kBlock > text.size()) {
    for (; i < text.size() && found < positions.size(); ++i) {
      if (isFeed<FeedSet::plain>(text[i]) || text[i] == unit) positions[found++] = i;
    }
  }
  return found;
}

namespace {

using ByteVector = std::uint8_t __attribute__((vector_size(32)));
constexpr std::size_t kByteBlock = sizeof(ByteVector);
constexpr std::uint64_t kLowBitOfEachByte = 0x0101010101010101u;
constexpr std::uint64_t kGatherByteBits = 0x0102040810204080u;
constexpr int kGatheredByteShift = 56;
constexpr std::size_t kBytesPerQuarter = 8;

// The first bytes of the plain feeds in UTF-8: U+0003, LF, FF and CR are bytes of their own; U+2028
// and U+2029 begin with E2, U+FEFF and U+FFFC with EF.
constexpr std::uint8_t kLeadOfSeparators = 0xE2;
constexpr std::uint8_t kLeadOfSpecials = 0xEF;

constexpr bool isFeedCandidate(std::uint8_t byte) {
  return (byte < kFirstPrintable && ((kControlFeeds >> byte) & 1u)) || byte == kLeadOfSeparators ||
         byte == kLeadOfSpecials;
}

// Bit k set where byte k of the kByteBlock at bytes is a feed candidate; CR and FF differ in their
// last bit alone. Always inlined, so that it is built for the processor of its caller.
[[gnu::always_inline]] inline std::uint32_t feedCandidateLanes(const char* bytes) {
  ByteVector b;
  std::memcpy(&b, bytes, sizeof b);
  const auto lanes = (b == std::uint8_t{0x03}) | (b == std::uint8_t{'\n'}) |
                     ((b | std::uint8_t{1}) == std::uint8_t{'\r'}) | (b == kLeadOfSeparators) |
                     (b == kLeadOfSpecials);
  std::uint64_t quarters[kByteBlock / kBytesPerQuarter];
  std::memcpy(quarters, &lanes, sizeof quarters);
  if ((quarters[0] | quarters[1] | quarters[2] | quarters[3]) == 0) return 0;  // most blocks
  std::uint32_t bits = 0;
  for (std::size_t quarter = 0; quarter < std::size(quarters); ++quarter) {
    const std::uint64_t gathered =
        ((quarters[quarter] & kLowBitOfEachByte) * kGatherByteBits) >> kGatheredByteShift;
    bits |= static_cast<std::uint32_t>(gathered) << (quarter * kBytesPerQuarter);
  }
  return bits;
}

}  // namespace

// A block at a time while positions has room for a whole block.
TEXTRIX_ALSO_FOR_AVX2 std::size_t findUtf8FeedCandidates(std::string_view validUtf8,
                                                         std::size_t from,
                                                         std::span<std::size_t> positions) {
  std::size_t found = 0;
  std::size_t i = from;
  for (; i + kByteBlock <= validUtf8.size() && positions.size() - found >= kByteBlock;
       i += kByteBlock) {
    for (std::uint32_t lanes = feedCandidateLanes(validUtf8.data() + i); lanes != 0;
         lanes &= lanes - 1) {
      positions[found++] = i + static_cast<std::size_t>(std::countr_zero(lanes));
    }
  }
  if (i + kByteBlock > validUtf8.size()) {
    for (; i < validUtf8.size() && found < positions.size(); ++i) {
      if (isFeedCandidate(static_cast<std::uint8_t>(validUtf8[i]))) positions[found++] = i;
    }
  }
  return found;
}

std::size_t terminatorLength(std::string_view validUtf8, std::size_t at) {
  const auto byte = [&](std::size_t i) {
    return i < validUtf8.size() ? static_cast<std::uint8_t>(validUtf8[i]) : std::uint8_t{0};
  };
  switch (byte(at)) {
    case kLeadOfSeparators:  // E2 80 A8 and E2 80 A9
      return byte(at + 1) == 0x80 && (byte(at + 2) | 1) == 0xA9 ? 3 : 0;
    case kLeadOfSpecials:  // EF BB BF and EF BF BC
      return (byte(at + 1) == 0xBB && byte(at + 2) == 0xBF) ||
                     (byte(at + 1) == 0xBF && byte(at + 2) == 0xBC)
                 ? 3
                 : 0;
    case '\r':
      return byte(at + 1) == '\n' ? 2 : 1;
    default:
      return 1;
  }
}

std::u16string_view firstLine(std::u16string_view text, FeedSet feeds) {
  const std::size_t feed = feeds == FeedSet::plain ? firstFeedFrom<FeedSet::plain>(text, 0)
                                                   : firstFeedFrom<FeedSet::attributed>(text, 0);
  return text.substr(0, feed);
}

}  // namespace textrix
