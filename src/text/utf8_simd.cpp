// SPDX-License-Identifier: MIT
#include "text/utf8_simd.h"

#include <algorithm>
#include <array>
#include <cstring>

#if defined(__x86_64__)
#include <immintrin.h>
#endif

namespace textrix::detail {
namespace {

using Bytes = const std::uint8_t*;

Bytes bytesAt(const char* p) {
  return reinterpret_cast<Bytes>(p);
}

// Portable scalar kernels, and the SSE2 ones, which differ only in how they look at a block of 16
// ASCII bytes or units: Block says whether a block is all ASCII and widens or narrows it. Whatever
// is not ASCII goes one sequence at a time to the end of its block.
constexpr std::ptrdiff_t kBlock = 16;

struct WordBlock {
  static bool isAscii(Bytes p) {
    std::uint64_t words[2];
    std::memcpy(words, p, sizeof words);
    return ((words[0] | words[1]) & 0x8080808080808080u) == 0;
  }
  static void widen(Bytes p, char16_t* out) {
    char16_t wide[kBlock];
    for (std::ptrdiff_t k = 0; k < kBlock; ++k) wide[k] = p[k];
    std::memcpy(out, wide, sizeof wide);
  }
  static bool isAscii(const char16_t* units) {
    std::uint64_t words[4];
    std::memcpy(words, units, sizeof words);
    return ((words[0] | words[1] | words[2] | words[3]) & 0xFF80FF80FF80FF80u) == 0;
  }
  static void narrow(const char16_t* units, char* out) {
    char narrow[kBlock];
    for (std::ptrdiff_t k = 0; k < kBlock; ++k) narrow[k] = static_cast<char>(units[k]);
    std::memcpy(out, narrow, sizeof narrow);
  }
};

template <typename Block>
ValidPrefix validPrefixByBlocks(const char* begin, const char* end) {
  Bytes p = bytesAt(begin);
  const Bytes stop = bytesAt(end);
  while (p != stop) {
    if (stop - p >= kBlock && Block::isAscii(p)) {
      p += kBlock;
      continue;
    }
    for (const Bytes blockEnd = stop - p > kBlock ? p + kBlock : stop; p < blockEnd;) {
      const Utf8Sequence sequence = nextUtf8Sequence(p, static_cast<std::size_t>(stop - p));
      if (!sequence.valid) {
        // A start cut by the end of the range is for the next range to judge.
        const bool cut = p + sequence.length == stop;
        return {reinterpret_cast<const char*>(p), !cut};
      }
      p += sequence.length;
    }
  }
  return {end, false};
}

template <typename Block>
char16_t* decodeValidByBlocks(const char*& begin, const char* limit, const char*, char16_t* out) {
  Bytes p = bytesAt(begin);
  const Bytes stop = bytesAt(limit);
  while (p < stop) {
    if (stop - p >= kBlock && Block::isAscii(p)) {
      Block::widen(p, out);
      p += kBlock;
      out += kBlock;
      continue;
    }
    for (const Bytes blockEnd = stop - p > kBlock ? p + kBlock : stop; p < blockEnd;) {
      out = decodeValidSequence(p, out);
    }
  }
  begin = reinterpret_cast<const char*>(p);
  return out;
}

template <typename Block>
char* encodeByBlocks(const char16_t*& begin, const char16_t* limit, const char16_t* readEnd,
                     char* out) {
  const char16_t* u = begin;
  while (u < limit) {
    if (limit - u >= kBlock && Block::isAscii(u)) {
      Block::narrow(u, out);
      u += kBlock;
      out += kBlock;
      continue;
    }
    for (const char16_t* blockEnd = limit - u > kBlock ? u + kBlock : limit; u < blockEnd;) {
      out = encodeCharacter(u, readEnd, out);
    }
  }
  begin = u;
  return out;
}

// The counting loops go in blocks of a fixed number of steps, which the compiler vectorizes.
constexpr std::size_t kCountBlock = 32;

// The UTF-16 units of a byte of well-formed text: one for a byte that begins a sequence, one more
// for the lead byte of a four-byte sequence.
constexpr unsigned unitsOfByte(std::uint8_t byte) {
  return static_cast<unsigned>(!isUtf8Trail(byte)) + (byte >= 0xF0);
}

std::size_t utf16LengthByBlocks(const char* begin, const char* end) {
  Bytes p = bytesAt(begin);
  const std::size_t size = static_cast<std::size_t>(end - begin);
  std::size_t units = 0;
  std::size_t i = 0;
  for (; size - i >= kCountBlock; i += kCountBlock) {
    unsigned blockUnits = 0;
    for (std::size_t k = 0; k < kCountBlock; ++k) blockUnits += unitsOfByte(p[i + k]);
    units += blockUnits;
  }
  for (; i < size; ++i) units += unitsOfByte(p[i]);
  return units;
}

// The UTF-8 bytes of unit, given the unit after it: one to three, two for each half of a surrogate
// pair, and one more for an unpaired lead surrogate, or for a unit that is followed by an unpaired
// trail surrogate, since the U+FFFD of either takes three. A lead surrogate is unpaired where no
// trail surrogate follows it, a trail surrogate where no lead surrogate precedes it.
constexpr unsigned bytesOfUnit(char16_t unit, char16_t next) {
  return 1u + (unit >= 0x80) + (unit >= 0x800) - isSurrogate(unit) +
         (isLeadSurrogate(unit) != isTrailSurrogate(next));
}

std::size_t utf8LengthByBlocks(const char16_t* units, const char16_t* end) {
  if (units == end) return 0;
  const std::size_t last = static_cast<std::size_t>(end - units) - 1;
  std::size_t bytes = isTrailSurrogate(units[0]);  // unpaired at the start
  std::size_t i = 0;
  for (; last - i >= kCountBlock; i += kCountBlock) {
    unsigned blockBytes = 0;
    for (std::size_t k = 0; k < kCountBlock; ++k) {
      blockBytes += bytesOfUnit(units[i + k], units[i + k + 1]);
    }
    bytes += blockBytes;
  }
  for (; i < last; ++i) bytes += bytesOfUnit(units[i], units[i + 1]);
  return bytes + bytesOfUnit(units[last], u'\0');
}

constexpr Utf8Kernels kScalarKernels = {
    "scalar",
    validPrefixByBlocks<WordBlock>,
    decodeValidByBlocks<WordBlock>,
    encodeByBlocks<WordBlock>,
    utf16LengthByBlocks,
    utf8LengthByBlocks,
};

#if defined(__x86_64__)

struct Sse2Block {
  static bool isAscii(Bytes p) {
    return _mm_movemask_epi8(_mm_loadu_si128(reinterpret_cast<const __m128i*>(p))) == 0;
  }
  static void widen(Bytes p, char16_t* out) {
    const __m128i bytes = _mm_loadu_si128(reinterpret_cast<const __m128i*>(p));
    const __m128i zero = _mm_setzero_si128();
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_unpacklo_epi8(bytes, zero));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out + 8), _mm_unpackhi_epi8(bytes, zero));
  }
  static bool isAscii(const char16_t* units) {
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units));
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + 8));
    const __m128i high = _mm_and_si128(_mm_or_si128(first, second), _mm_set1_epi16(-0x80));
    return _mm_movemask_epi8(_mm_cmpeq_epi8(high, _mm_setzero_si128())) == 0xFFFF;
  }
  static void narrow(const char16_t* units, char* out) {
    const __m128i first = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units));
    const __m128i second = _mm_loadu_si128(reinterpret_cast<const __m128i*>(units + 8));
    _mm_storeu_si128(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(first, second));
  }
};

constexpr Utf8Kernels kSse2Kernels = {
    "sse2",
    validPrefixByBlocks<Sse2Block>,
    decodeValidByBlocks<Sse2Block>,
    encodeByBlocks<Sse2Block>,
    utf16LengthByBlocks,
    utf8LengthByBlocks,
};

// ---------------------------------------------------------------------------------------------
// AVX2. Functions that use its instructions carry the target attribute; they are only called once
// the processor is known to have AVX2.
#define TEXTRIX_AVX2 __attribute__((target("avx2,popcnt")))

TEXTRIX_AVX2 inline __m256i load32(const void* p) {
  return _mm256_loadu_si256(static_cast<const __m256i*>(p));
}
TEXTRIX_AVX2 inline __m128i load16(const void* p) {
  return _mm_loadu_si128(static_cast<const __m128i*>(p));
}
TEXTRIX_AVX2 inline void store16(void* p, __m128i value) {
  _mm_storeu_si128(static_cast<__m128i*>(p), value);
}
TEXTRIX_AVX2 inline void store32(void* p, __m256i value) {
  _mm256_storeu_si256(static_cast<__m256i*>(p), value);
}
// The 16-entry table, in both halves of a vector, for _mm256_shuffle_epi8 to look up.
TEXTRIX_AVX2 inline __m256i table16(const std::array<std::uint8_t, 16>& table) {
  return _mm256_broadcastsi128_si256(load16(table.data()));
}

// Validation, after Keiser and Lemire, "Validating UTF-8 in less than one instruction per byte"
// (2021). Every error of UTF-8 shows in a pair of neighbouring bytes, apart from a missing or an
// extra third or fourth byte: the high nibble of the first byte, its low nibble and the high nibble
// of the second each look up the set of errors they allow, as bits, and an error is a bit that all
// three allow. A missing or extra third or fourth byte shows in whether the byte two or three
// places back is a lead of three or four bytes.
namespace error {
// A lead, then no continuation: 11______ 0_______ or 11______ 11______.
constexpr std::uint8_t kTooShort = 1 << 0;
// ASCII, then a continuation: 0_______ 10______.
constexpr std::uint8_t kTooLong = 1 << 1;
// Overlong forms: 11100000 100_____, 1100000_ 10______, 11110000 1000____.
constexpr std::uint8_t kOverlong3 = 1 << 2;
constexpr std::uint8_t kOverlong2 = 1 << 5;
constexpr std::uint8_t kOverlong4 = 1 << 6;
// Above U+10FFFF: 11110100 and above, then 1001____ or 101_____ (kTooLarge), or 11110101 and above,
// then 1000____ (kTooLarge1000, which shares its bit with kOverlong4: the low nibble of the first
// byte tells them apart).
constexpr std::uint8_t kTooLarge = 1 << 3;
constexpr std::uint8_t kTooLarge1000 = 1 << 6;
// A surrogate: 11101101 101_____.
constexpr std::uint8_t kSurrogate = 1 << 4;
// Two continuations: 10______ 10______, an error unless a third or fourth byte is due.
constexpr std::uint8_t kTwoContinuations = 1 << 7;
// The errors that do not depend on the low nibble of the first byte.
constexpr std::uint8_t kAnyLow = kTooShort | kTooLong | kTwoContinuations;
}  // namespace error

// Indexed by the high nibble of the first byte of a pair.
constexpr std::array<std::uint8_t, 16> kFirstHigh = [] {
  using namespace error;
  std::array<std::uint8_t, 16> table{};
  for (int nibble = 0x0; nibble <= 0x7; ++nibble) table[nibble] = kTooLong;
  for (int nibble = 0x8; nibble <= 0xB; ++nibble) table[nibble] = kTwoContinuations;
  table[0xC] = kTooShort | kOverlong2;
  table[0xD] = kTooShort;
  table[0xE] = kTooShort | kOverlong3 | kSurrogate;
  table[0xF] = kTooShort | kTooLarge | kTooLarge1000 | kOverlong4;
  return table;
}();

// Indexed by the low nibble of the first byte.
constexpr std::array<std::uint8_t, 16> kFirstLow = [] {
  using namespace error;
  std::array<std::uint8_t, 16> table{};
  for (int nibble = 0; nibble < 16; ++nibble) {
    std::uint8_t errors = kAnyLow;
    if (nibble == 0x0) errors |= kOverlong3 | kOverlong4;  // E0, F0
    if (nibble <= 0x1) errors |= kOverlong2;               // C0, C1
    if (nibble >= 0x4) errors |= kTooLarge;                // F4 and above
    if (nibble >= 0x5) errors |= kTooLarge1000;            // F5 and above
    if (nibble == 0xD) errors |= kSurrogate;               // ED
    table[nibble] = errors;
  }
  return table;
}();

// Indexed by the high nibble of the second byte.
constexpr std::array<std::uint8_t, 16> kSecondHigh = [] {
  using namespace error;
  std::array<std::uint8_t, 16> table{};
  constexpr std::uint8_t kContinuation = kTooLong | kOverlong2 | kTwoContinuations;
  for (int nibble = 0x0; nibble <= 0x7; ++nibble) table[nibble] = kTooShort;
  table[0x8] = kContinuation | kOverlong3 | kTooLarge1000 | kOverlong4;
  table[0x9] = kContinuation | kOverlong3 | kTooLarge;
  table[0xA] = kContinuation | kSurrogate | kTooLarge;
  table[0xB] = kContinuation | kSurrogate | kTooLarge;
  for (int nibble = 0xC; nibble <= 0xF; ++nibble) table[nibble] = kTooShort;
  return table;
}();

// The bytes of input moved on by n places, the last n of previous coming in at the start.
template <int n>
TEXTRIX_AVX2 inline __m256i bytesBefore(__m256i input, __m256i previous) {
  return _mm256_alignr_epi8(input, _mm256_permute2x128_si256(previous, input, 0x21), 16 - n);
}

TEXTRIX_AVX2 inline __m256i highNibbles(__m256i bytes) {
  return _mm256_and_si256(_mm256_srli_epi16(bytes, 4), _mm256_set1_epi8(0x0F));
}

// Nonzero bytes where the 32 bytes of input, which follow the 32 of previous, are not UTF-8.
TEXTRIX_AVX2 inline __m256i utf8Errors(__m256i input, __m256i previous) {
  const __m256i before1 = bytesBefore<1>(input, previous);
  const __m256i pairErrors = _mm256_and_si256(
      _mm256_and_si256(_mm256_shuffle_epi8(table16(kFirstHigh), highNibbles(before1)),
                       _mm256_shuffle_epi8(table16(kFirstLow),
                                           _mm256_and_si256(before1, _mm256_set1_epi8(0x0F)))),
      _mm256_shuffle_epi8(table16(kSecondHigh), highNibbles(input)));
  // The high bit set where a third byte (two after a lead of 1110____ or 1111____) or a fourth
  // (three after 1111____) is due; there the pair of continuations is right, anywhere else wrong.
  const __m256i thirdDue = _mm256_subs_epu8(bytesBefore<2>(input, previous),
                                            _mm256_set1_epi8(static_cast<char>(0xE0 - 0x80)));
  const __m256i fourthDue = _mm256_subs_epu8(bytesBefore<3>(input, previous),
                                             _mm256_set1_epi8(static_cast<char>(0xF0 - 0x80)));
  const __m256i due = _mm256_and_si256(_mm256_or_si256(thirdDue, fourthDue),
                                       _mm256_set1_epi8(static_cast<char>(0x80)));
  return _mm256_xor_si256(due, pairErrors);
}

// Nonzero where the last three bytes begin a sequence longer than the bytes left.
TEXTRIX_AVX2 inline __m256i incompleteAtEnd(__m256i input) {
  const __m256i maxima =
      _mm256_setr_epi8(-1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, -1,
                       -1, -1, -1, -1, -1, -1, -1, -1, -1, -1, static_cast<char>(0xF0 - 1),
                       static_cast<char>(0xE0 - 1), static_cast<char>(0xC0 - 1));
  return _mm256_subs_epu8(input, maxima);
}

// The start of the sequence that the byte before p belongs to, or p where that byte is ASCII: a
// place where sequences begin, in well-formed text.
Bytes startOfLastSequence(Bytes p, Bytes begin) {
  Bytes start = p;
  while (start > begin && p - start < 3 && isUtf8Trail(start[-1])) --start;
  if (start > begin && start[-1] >= 0xC0) --start;
  return start;
}

TEXTRIX_AVX2 ValidPrefix validPrefixAvx2(const char* begin, const char* end) {
  const Bytes first = bytesAt(begin);
  Bytes p = first;
  const Bytes stop = bytesAt(end);
  // The range begins a sequence, as after ASCII.
  __m256i previous = _mm256_setzero_si256();
  __m256i incomplete = _mm256_setzero_si256();
  // 64 bytes a step, checked at once.
  for (; stop - p >= 64; p += 64) {
    const __m256i low = load32(p);
    const __m256i high = load32(p + 32);
    if (_mm256_movemask_epi8(_mm256_or_si256(low, high)) == 0) {
      if (!_mm256_testz_si256(incomplete, incomplete)) {
        return {reinterpret_cast<const char*>(startOfLastSequence(p, first)), true};
      }
    } else {
      const __m256i errors = _mm256_or_si256(utf8Errors(low, previous), utf8Errors(high, low));
      if (!_mm256_testz_si256(errors, errors)) {
        return {reinterpret_cast<const char*>(startOfLastSequence(p, first)), true};
      }
      incomplete = incompleteAtEnd(high);
    }
    previous = high;
  }
  // The last sequence may go on after p: it is left to the next range.
  return {reinterpret_cast<const char*>(startOfLastSequence(p, first)), false};
}

// Decoding, 16 bytes a step: each byte, widened to 16 bits, is decoded as if it began a sequence,
// from itself and the two bytes after it. A four-byte sequence gives its lead surrogate at its
// first byte and its trail surrogate at its second, from the two bytes after that. The units at
// bytes that begin a sequence, and at second bytes of four-byte sequences, are then moved together,
// and the other bytes, continuations, dropped. The steps go on 16 bytes at a time whatever sequence
// their end cuts: the lanes of a sequence are all decoded from bytes at and after them.

// For each mask of eight 16-bit lanes, the shuffle that moves the lanes in it to the front.
constexpr auto kCompressLanes = [] {
  std::array<std::array<std::uint8_t, 16>, 256> table{};
  for (unsigned mask = 0; mask < 256; ++mask) {
    unsigned at = 0;
    for (unsigned lane = 0; lane < 8; ++lane) {
      if ((mask & (1u << lane)) == 0) continue;
      table[mask][at++] = static_cast<std::uint8_t>(2 * lane);
      table[mask][at++] = static_cast<std::uint8_t>(2 * lane + 1);
    }
    while (at < 16) table[mask][at++] = 0x80;
  }
  return table;
}();

TEXTRIX_AVX2 inline __m256i set16(int value) {
  return _mm256_set1_epi16(static_cast<short>(value));
}

// The bytes of a sequence that lead says it has: 1 to 4.
constexpr unsigned sequenceLength(std::uint8_t lead) {
  return 1u + (lead >= 0xC0) + (lead >= 0xE0) + (lead >= 0xF0);
}

// One step over the 16 bytes at p (of which two more are read), before holding the 16 bytes before
// them; returns the position after the units written.
TEXTRIX_AVX2 inline char16_t* decodeStep(Bytes p, __m128i& before, char16_t* out) {
  const __m128i bytes0 = load16(p);
  const __m128i bytes1 = load16(p + 1);
  const __m128i bytes2 = load16(p + 2);
  const __m128i fourLeads =
      _mm_cmpeq_epi8(_mm_max_epu8(bytes0, _mm_set1_epi8(static_cast<char>(0xF0))), bytes0);
  // Lanes whose byte follows the lead of a four-byte sequence: the trail surrogates.
  const __m128i trailLanes = _mm_alignr_epi8(
      fourLeads,
      _mm_cmpeq_epi8(_mm_max_epu8(before, _mm_set1_epi8(static_cast<char>(0xF0))), before), 15);
  // Bytes below 0xC0 as signed numbers are the continuations (and ASCII is not below).
  const unsigned starts = ~static_cast<unsigned>(_mm_movemask_epi8(
                              _mm_cmplt_epi8(bytes0, _mm_set1_epi8(static_cast<char>(0xC0))))) &
                          0xFFFF;
  const unsigned keep = starts | static_cast<unsigned>(_mm_movemask_epi8(trailLanes));
  before = bytes0;

  const __m256i b0 = _mm256_cvtepu8_epi16(bytes0);
  const __m256i b1 = _mm256_cvtepu8_epi16(bytes1);
  const __m256i b2 = _mm256_cvtepu8_epi16(bytes2);
  const __m256i t1 = _mm256_and_si256(b1, set16(0x3F));
  const __m256i t2 = _mm256_and_si256(b2, set16(0x3F));
  // The lead's bits and the next byte's six: 110aaaaa 10bbbbbb gives aaaaabbbbbb, 1110aaaa
  // 10bbbbbb gives aaaabbbbbb (and 10cccccc then aaaabbbbbbcccccc, the shift dropping the 1110),
  // 11110aaa 10bbbbbb 10cc____ gives the lead surrogate 0xD800 + (aaabbbbbbcc - 0x40).
  const __m256i lead6 = _mm256_or_si256(_mm256_slli_epi16(b0, 6), t1);
  const __m256i two = _mm256_and_si256(lead6, set16(0x7FF));
  const __m256i three = _mm256_or_si256(_mm256_slli_epi16(lead6, 6), t2);
  const __m256i leadSurrogate =
      _mm256_add_epi16(_mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(lead6, set16(0x1FF)), 2),
                                       _mm256_srli_epi16(t2, 4)),
                       set16(0xD800 - 0x40));
  // At the second byte, the third and fourth: 10____dd 10eeeeee, the trail surrogate
  // 0xDC00 + ddeeeeee
  const __m256i trailSurrogate = _mm256_or_si256(
      _mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(b1, set16(0x0F)), 6), t2), set16(0xDC00));
  __m256i units = _mm256_blendv_epi8(b0, two, _mm256_cmpgt_epi16(b0, set16(0xBF)));
  units = _mm256_blendv_epi8(units, three, _mm256_cmpgt_epi16(b0, set16(0xDF)));
  units = _mm256_blendv_epi8(units, leadSurrogate, _mm256_cmpgt_epi16(b0, set16(0xEF)));
  units = _mm256_blendv_epi8(units, trailSurrogate, _mm256_cvtepi8_epi16(trailLanes));

  const unsigned keepLow = keep & 0xFF;
  const unsigned keepHigh = keep >> 8;
  const __m256i shuffle =
      _mm256_inserti128_si256(_mm256_castsi128_si256(load16(kCompressLanes[keepLow].data())),
                              load16(kCompressLanes[keepHigh].data()), 1);
  const __m256i packed = _mm256_shuffle_epi8(units, shuffle);
  store16(out, _mm256_castsi256_si128(packed));
  out += __builtin_popcount(keepLow);
  store16(out, _mm256_extracti128_si256(packed, 1));
  out += __builtin_popcount(keepHigh);
  return out;
}

TEXTRIX_AVX2 char16_t* decodeValidAvx2(const char*& begin, const char* limit, const char* readEnd,
                                       char16_t* out) {
  const Bytes first = bytesAt(begin);
  Bytes p = first;
  const Bytes stop = bytesAt(limit);
  // The 16 bytes before p; begin starts a sequence, as after ASCII.
  __m128i before = _mm_setzero_si128();
  // Whole steps within limit, reading 18 bytes each: 64 bytes at once where they are all ASCII,
  // else in steps of 16 that take any sequence (a check on fewer bytes would guess wrong too often
  // in mixed text).
  const std::ptrdiff_t steps =
      std::max<std::ptrdiff_t>(std::min(stop - p, bytesAt(readEnd) - p - 2) / 16, 0);
  const Bytes end = p + 16 * steps;
  while (end - p >= 64) {
    const __m256i low = load32(p);
    const __m256i high = load32(p + 32);
    if (_mm256_movemask_epi8(_mm256_or_si256(low, high)) == 0) {
      store32(out, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(low)));
      store32(out + 16, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(low, 1)));
      store32(out + 32, _mm256_cvtepu8_epi16(_mm256_castsi256_si128(high)));
      store32(out + 48, _mm256_cvtepu8_epi16(_mm256_extracti128_si256(high, 1)));
      before = _mm256_extracti128_si256(high, 1);
      out += 64;
      p += 64;
      continue;
    }
    for (int k = 0; k < 4; ++k, p += 16) out = decodeStep(p, before, out);
  }
  for (; p != end; p += 16) out = decodeStep(p, before, out);
  // The last step may have cut a sequence: it goes back to its lead, taking back the units written
  // for it (its lead surrogate, and its trail surrogate when the second byte was in the step).
  if (p != first) {
    Bytes lead = p - 1;
    while (lead != first && isUtf8Trail(*lead)) --lead;
    const unsigned length = sequenceLength(*lead);
    if (lead + length > p) {
      out -= length == 4 && p - lead >= 2 ? 2 : 1;
      p = lead;
    }
  }
  begin = reinterpret_cast<const char*>(p);
  return out;
}

// Encoding, 16 units a step: each unit is encoded as if it were a character, in 16-bit lanes, as
// its first two bytes in one vector and its third in another; a surrogate pair as two bytes and two
// bytes, an unpaired surrogate as U+FFFD. The two vectors are interleaved into 32-bit lanes of
// three bytes, and the bytes that the units take, one to three, are moved together four lanes at a
// time by a table. A step whose last unit begins a pair ends before it.

// For each four lanes of (1 + a + b) bytes, a and b the bits k and k + 4 of the index for lane k,
// the shuffle that moves those bytes together.
constexpr auto kCompressBytes = [] {
  std::array<std::array<std::uint8_t, 16>, 256> table{};
  for (unsigned index = 0; index < 256; ++index) {
    unsigned at = 0;
    for (unsigned lane = 0; lane < 4; ++lane) {
      const unsigned length = 1 + (index >> lane & 1) + (index >> (lane + 4) & 1);
      for (unsigned byte = 0; byte < length; ++byte) {
        table[index][at++] = static_cast<std::uint8_t>(4 * lane + byte);
      }
    }
    while (at < 16) table[index][at++] = 0x80;
  }
  return table;
}();

TEXTRIX_AVX2 inline __m256i hasBits(__m256i units, int mask, int bits) {
  return _mm256_cmpeq_epi16(_mm256_and_si256(units, set16(mask)), set16(bits));
}

// The 16-bit lanes of x one lane on, lane 0 getting 0.
TEXTRIX_AVX2 inline __m256i lanesBefore(__m256i x) {
  return _mm256_alignr_epi8(x, _mm256_permute2x128_si256(x, x, 0x08), 14);
}

// Packs four lanes of three bytes, the lengths as kCompressBytes indexes them, and stores them.
TEXTRIX_AVX2 inline char* storeFour(__m128i bytes, unsigned index, char* out) {
  store16(out, _mm_shuffle_epi8(bytes, load16(kCompressBytes[index].data())));
  return out + 4 + __builtin_popcount(index);
}

// One step over the 16 units at u (of which one more is read), which do not begin with the trail
// surrogate of a pair; moves u past the units encoded, 15 or 16, and tells whether all were ASCII.
TEXTRIX_AVX2 inline char* encodeStep(const char16_t*& u, char* out, bool& allAscii) {
  __m256i units = load32(u);
  const __m256i next = load32(u + 1);
  const __m256i lead = hasBits(units, 0xFC00, 0xD800);
  const __m256i pairFirst = _mm256_and_si256(lead, hasBits(next, 0xFC00, 0xDC00));
  // A step never begins with the trail surrogate of a pair: lane 0 has no lead before it.
  const __m256i pairSecond = _mm256_and_si256(hasBits(units, 0xFC00, 0xDC00), lanesBefore(lead));
  const __m256i inPair = _mm256_or_si256(pairFirst, pairSecond);
  const __m256i ascii = hasBits(units, 0xFF80, 0);
  const __m256i belowThree = hasBits(units, 0xF800, 0);  // below 0x800
  // Lane k takes 1 + a + b bytes: a where it is not ASCII, b where it is neither below 0x800 nor in
  // a pair. Byte g of lengths has the a bits of the units 4g to 4g + 3, then their b bits.
  const __m256i ab =
      _mm256_packs_epi16(_mm256_xor_si256(ascii, set16(-1)),
                         _mm256_xor_si256(_mm256_or_si256(belowThree, inPair), set16(-1)));
  const unsigned lengths = static_cast<unsigned>(_mm256_movemask_epi8(_mm256_shuffle_epi8(
      ab, _mm256_setr_epi8(0, 1, 2, 3, 8, 9, 10, 11, 4, 5, 6, 7, 12, 13, 14, 15, 0, 1, 2, 3, 8, 9,
                           10, 11, 4, 5, 6, 7, 12, 13, 14, 15))));
  allAscii = lengths == 0;
  const __m256i before = lanesBefore(units);
  // An unpaired surrogate is U+FFFD.
  units = _mm256_blendv_epi8(units, set16(0xFFFD),
                             _mm256_andnot_si256(inPair, hasBits(units, 0xF800, 0xD800)));

  const __m256i low6 = _mm256_or_si256(_mm256_and_si256(units, set16(0x3F)), set16(0x80));
  const __m256i middle6 =
      _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi16(units, 6), set16(0x3F)), set16(0x80));
  // aaaabbbbbbcccccc: 1110aaaa 10bbbbbb, then 10cccccc in the third byte
  __m256i firstTwo = _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi16(units, 12), set16(0xE0)),
                                     _mm256_slli_epi16(middle6, 8));
  // 00000aaaaabbbbbb: 110aaaaa 10bbbbbb
  const __m256i two = _mm256_or_si256(_mm256_or_si256(_mm256_srli_epi16(units, 6), set16(0xC0)),
                                      _mm256_slli_epi16(low6, 8));
  // Lead surrogate 110110aaaabbbbcc, with uuuuu = aaaa + 1: 11110uuu 10uubbbb (then 10cc____)
  const __m256i plane = _mm256_add_epi16(_mm256_and_si256(units, set16(0x3FF)), set16(0x40));
  const __m256i first = _mm256_or_si256(
      _mm256_or_si256(_mm256_srli_epi16(plane, 8), set16(0xF0)),
      _mm256_slli_epi16(
          _mm256_or_si256(_mm256_and_si256(_mm256_srli_epi16(plane, 2), set16(0x3F)), set16(0x80)),
          8));
  // Trail surrogate 110111ddddeeeeee after the lead's cc: 10ccdddd 10eeeeee
  const __m256i second =
      _mm256_or_si256(_mm256_or_si256(_mm256_slli_epi16(_mm256_and_si256(before, set16(3)), 4),
                                      _mm256_and_si256(_mm256_srli_epi16(units, 6), set16(0x0F))),
                      _mm256_or_si256(set16(0x80), _mm256_slli_epi16(low6, 8)));
  firstTwo = _mm256_blendv_epi8(firstTwo, two, belowThree);
  firstTwo = _mm256_blendv_epi8(firstTwo, units, ascii);
  firstTwo = _mm256_blendv_epi8(firstTwo, first, pairFirst);
  firstTwo = _mm256_blendv_epi8(firstTwo, second, pairSecond);
  // Lanes of three bytes: units 0 to 3 and 8 to 11 in one vector, 4 to 7 and 12 to 15 in the
  // other.
  const __m256i lanesA = _mm256_unpacklo_epi16(firstTwo, low6);
  const __m256i lanesB = _mm256_unpackhi_epi16(firstTwo, low6);
  out = storeFour(_mm256_castsi256_si128(lanesA), lengths & 0xFF, out);
  out = storeFour(_mm256_castsi256_si128(lanesB), lengths >> 8 & 0xFF, out);
  out = storeFour(_mm256_extracti128_si256(lanesA, 1), lengths >> 16 & 0xFF, out);
  out = storeFour(_mm256_extracti128_si256(lanesB, 1), lengths >> 24, out);
  if (_mm256_movemask_epi8(pairFirst) & 0x80000000u) {
    // The pair that lane 15 begins goes to the next step: its two bytes here are written over.
    out -= 2;
    u += 15;
  } else {
    u += 16;
  }
  return out;
}

TEXTRIX_AVX2 char* encodeAvx2(const char16_t*& begin, const char16_t* limit,
                              const char16_t* readEnd, char* out) {
  const char16_t* u = begin;
  // Steps of 16 units that take any unit, reading 17; after two steps of ASCII alone, 32 units at
  // once while they are all ASCII. (Mixed text has too many short runs of ASCII for a guess on
  // less: each wrong guess costs about as much as a step.)
  unsigned asciiSteps = 0;
  while (limit - u >= 16 && readEnd - u >= 17) {
    bool ascii;
    out = encodeStep(u, out, ascii);
    asciiSteps = ascii ? asciiSteps + 1 : 0;
    if (asciiSteps < 2) continue;
    asciiSteps = 0;
    while (limit - u >= 32) {
      const __m256i low = load32(u);
      const __m256i high = load32(u + 16);
      if (!_mm256_testz_si256(_mm256_or_si256(low, high), set16(-0x80))) break;
      store32(out, _mm256_permute4x64_epi64(_mm256_packus_epi16(low, high), 0xD8));
      u += 32;
      out += 32;
    }
  }
  begin = u;
  return out;
}

// Adds the bytes of counts (each at most 255) to total.
TEXTRIX_AVX2 inline std::size_t sumBytes(__m256i counts) {
  const __m256i sums = _mm256_sad_epu8(counts, _mm256_setzero_si256());
  return static_cast<std::size_t>(_mm256_extract_epi64(sums, 0) + _mm256_extract_epi64(sums, 1) +
                                  _mm256_extract_epi64(sums, 2) + _mm256_extract_epi64(sums, 3));
}

TEXTRIX_AVX2 std::size_t utf16LengthAvx2(const char* begin, const char* end) {
  Bytes p = bytesAt(begin);
  const Bytes stop = bytesAt(end);
  std::size_t units = 0;
  while (stop - p >= 32) {
    // Each step adds at most 2 to a byte of counts: 127 steps fit.
    __m256i counts = _mm256_setzero_si256();
    for (int step = 0; step < 127 && stop - p >= 32; ++step, p += 32) {
      const __m256i bytes = load32(p);
      const __m256i starts = _mm256_cmpgt_epi8(bytes, _mm256_set1_epi8(static_cast<char>(0xBF)));
      const __m256i fourLeads = _mm256_cmpeq_epi8(
          _mm256_max_epu8(bytes, _mm256_set1_epi8(static_cast<char>(0xF0))), bytes);
      counts = _mm256_sub_epi8(_mm256_sub_epi8(counts, starts), fourLeads);
    }
    units += sumBytes(counts);
  }
  return units + utf16LengthByBlocks(reinterpret_cast<const char*>(p), end);
}

TEXTRIX_AVX2 std::size_t utf8LengthAvx2(const char16_t* begin, const char16_t* end) {
  const char16_t* u = begin;
  if (u == end) return 0;
  std::size_t bytes = isTrailSurrogate(*u);  // unpaired at the start
  // Each unit takes 1 byte and the extra counted (negated) in 16-bit lanes, at most 3 a step.
  while (end - u >= 17) {
    __m256i extra = _mm256_setzero_si256();
    std::size_t counted = 0;
    for (int step = 0; step < 8192 && end - u >= 17; ++step, u += 16, counted += 16) {
      const __m256i units = load32(u);
      const __m256i next = load32(u + 1);
      const __m256i high = set16(0xFC00);
      const __m256i atLeast80 = _mm256_xor_si256(
          _mm256_cmpeq_epi16(_mm256_and_si256(units, set16(0xFF80)), _mm256_setzero_si256()),
          set16(-1));
      const __m256i atLeast800 = _mm256_xor_si256(
          _mm256_cmpeq_epi16(_mm256_and_si256(units, set16(0xF800)), _mm256_setzero_si256()),
          set16(-1));
      const __m256i surrogate =
          _mm256_cmpeq_epi16(_mm256_and_si256(units, set16(0xF800)), set16(0xD800));
      const __m256i lead = _mm256_cmpeq_epi16(_mm256_and_si256(units, high), set16(0xD800));
      const __m256i trailNext = _mm256_cmpeq_epi16(_mm256_and_si256(next, high), set16(0xDC00));
      extra = _mm256_add_epi16(extra, _mm256_add_epi16(atLeast80, atLeast800));
      extra = _mm256_sub_epi16(extra, surrogate);
      extra = _mm256_add_epi16(extra, _mm256_xor_si256(lead, trailNext));
    }
    // Lanes of at most 8192 * 3 in magnitude; summed in pairs into 32-bit lanes.
    const __m256i pairs = _mm256_madd_epi16(extra, set16(-1));
    alignas(32) std::int32_t sums[8];
    _mm256_store_si256(reinterpret_cast<__m256i*>(sums), pairs);
    std::int64_t total = 0;
    for (std::int32_t sum : sums) total += sum;
    bytes += counted + static_cast<std::size_t>(total);
  }
  // The rest counts an unpaired trail surrogate at its start, which is counted already: at the
  // start of the text above, or else with the unit before it.
  return bytes + utf8LengthByBlocks(u, end) - isTrailSurrogate(*u);
}

constexpr Utf8Kernels kAvx2Kernels = {
    "avx2", validPrefixAvx2, decodeValidAvx2, encodeAvx2, utf16LengthAvx2, utf8LengthAvx2,
};

const Utf8Kernels* const kAvailable[] = {&kScalarKernels, &kSse2Kernels, &kAvx2Kernels};

std::size_t availableCount() {
  __builtin_cpu_init();
  const bool avx2 = __builtin_cpu_supports("avx2") && __builtin_cpu_supports("popcnt");
  return avx2 ? 3 : 2;
}

#else

const Utf8Kernels* const kAvailable[] = {&kScalarKernels};

std::size_t availableCount() {
  return 1;
}

#endif

const Utf8Kernels*& activeKernels() {
  static const Utf8Kernels* active = kAvailable[availableCount() - 1];
  return active;
}

}  // namespace

const Utf8Kernels& utf8Kernels() {
  return *activeKernels();
}

Utf8KernelList availableUtf8Kernels() {
  static const std::size_t count = availableCount();
  return {kAvailable, count};
}

const Utf8Kernels& useUtf8Kernels(const Utf8Kernels& kernels) {
  const Utf8Kernels& previous = *activeKernels();
  activeKernels() = &kernels;
  return previous;
}

}  // namespace textrix::detail
