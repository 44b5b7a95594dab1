// SPDX-License-Identifier: MIT
// The inner loops of the UTF-8 conversions of text/encodings.h, private to the text layer: the
// scalar sequence decoder and encoder, and kernels that run over long stretches of text in one of
// three builds, chosen once for the machine: portable scalar code (what a build for another
// processor than x86-64 has), SSE2 (the x86-64 baseline) and AVX2.
//
// A kernel does what it can in large steps and says where it stopped; encodings.cpp drives the
// kernels over a text and finishes with the scalar code what a kernel leaves: the last bytes, and
// the exact place and the substitution of an ill-formed sequence.
//
//   const detail::Utf8Kernels& kernels = detail::utf8Kernels();
//   const detail::ValidPrefix prefix = kernels.validPrefix(begin, end);
//   out = kernels.decodeValid(begin, prefix.end, end, out);  // then the scalar code from there
#pragma once

#include <cstddef>
#include <cstdint>

namespace textrix::detail {

// Whether the byte continues a sequence (10xxxxxx).
constexpr bool isUtf8Trail(std::uint8_t byte) {
  return (byte & 0xC0) == 0x80;
}

// One step through UTF-8: a well-formed sequence with its code point, or the maximal subpart of an
// ill-formed one (the longest start of a well-formed sequence, at least one byte), which the
// lenient decoding turns into one U+FFFD.
struct Utf8Sequence {
  char32_t codePoint;
  std::uint8_t length;  // bytes, 1 to 4
  bool valid;
};

// The sequence that begins at bytes[0], looking at most available (>= 1) bytes.
inline Utf8Sequence nextUtf8Sequence(const std::uint8_t* bytes, std::size_t available) {
  const std::uint8_t lead = bytes[0];
  if (lead < 0x80) return {lead, 1, true};
  if (lead < 0xC2 || lead > 0xF4) return {0, 1, false};
  if (lead < 0xE0) {
    if (available < 2 || !isUtf8Trail(bytes[1])) return {0, 1, false};
    return {(char32_t{lead} & 0x1F) << 6 | (bytes[1] & 0x3F), 2, true};
  }
  // The second byte's range excludes overlong forms, surrogates and values above U+10FFFF.
  std::uint8_t low = 0x80;
  std::uint8_t high = 0xBF;
  if (lead == 0xE0) low = 0xA0;
  if (lead == 0xED) high = 0x9F;
  if (lead == 0xF0) low = 0x90;
  if (lead == 0xF4) high = 0x8F;
  if (available < 2 || bytes[1] < low || bytes[1] > high) return {0, 1, false};
  if (available < 3 || !isUtf8Trail(bytes[2])) return {0, 2, false};
  if (lead < 0xF0) {
    return {(char32_t{lead} & 0x0F) << 12 | char32_t{bytes[1] & 0x3Fu} << 6 | (bytes[2] & 0x3F), 3,
            true};
  }
  if (available < 4 || !isUtf8Trail(bytes[3])) return {0, 3, false};
  return {(char32_t{lead} & 0x07) << 18 | char32_t{bytes[1] & 0x3Fu} << 12 |
              char32_t{bytes[2] & 0x3Fu} << 6 | (bytes[3] & 0x3F),
          4, true};
}

// Writes the UTF-16 of code point c to out; returns the position after it.
inline char16_t* putUtf16(char32_t c, char16_t* out) {
  if (c < 0x10000) {
    *out = static_cast<char16_t>(c);
    return out + 1;
  }
  out[0] = static_cast<char16_t>(0xD7C0 + (c >> 10));
  out[1] = static_cast<char16_t>(0xDC00 | (c & 0x3FF));
  return out + 2;
}

// Decodes the well-formed sequence at p, which ends before the end of the bytes, into out; moves p
// past it and returns the position after the units written. No check: for validated bytes.
inline char16_t* decodeValidSequence(const std::uint8_t*& p, char16_t* out) {
  const std::uint32_t lead = p[0];
  if (lead < 0x80) {
    *out = static_cast<char16_t>(lead);
    p += 1;
    return out + 1;
  }
  if (lead < 0xE0) {
    *out = static_cast<char16_t>((lead & 0x1F) << 6 | (p[1] & 0x3Fu));
    p += 2;
    return out + 1;
  }
  if (lead < 0xF0) {
    *out = static_cast<char16_t>((lead & 0x0F) << 12 | (p[1] & 0x3Fu) << 6 | (p[2] & 0x3Fu));
    p += 3;
    return out + 1;
  }
  const char32_t c =
      (lead & 0x07) << 18 | (p[1] & 0x3Fu) << 12 | (p[2] & 0x3Fu) << 6 | (p[3] & 0x3Fu);
  p += 4;
  return putUtf16(c, out);
}

constexpr bool isSurrogate(char16_t unit) {
  return (unit & 0xF800) == 0xD800;
}
constexpr bool isLeadSurrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xD800;
}
constexpr bool isTrailSurrogate(char16_t unit) {
  return (unit & 0xFC00) == 0xDC00;
}

// Encodes the character that begins at units[0] as UTF-8 into out (an unpaired surrogate as
// U+FFFD); moves units past it (one unit, two for a surrogate pair; end is where the text ends) and
// returns the position after the bytes written.
inline char* encodeCharacter(const char16_t*& units, const char16_t* end, char* out) {
  auto put = [&out](std::uint32_t byte) {
    *out++ = static_cast<char>(static_cast<std::uint8_t>(byte));
  };
  std::uint32_t c = *units++;
  if (c < 0x80) {
    put(c);
  } else if (c < 0x800) {
    put(0xC0 | c >> 6);
    put(0x80 | (c & 0x3F));
  } else if (isLeadSurrogate(static_cast<char16_t>(c)) && units != end &&
             isTrailSurrogate(*units)) {
    c = 0x10000 + ((c - 0xD800) << 10) + (*units++ - 0xDC00u);
    put(0xF0 | c >> 18);
    put(0x80 | (c >> 12 & 0x3F));
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  } else {
    if (isSurrogate(static_cast<char16_t>(c))) c = 0xFFFD;
    put(0xE0 | c >> 12);
    put(0x80 | (c >> 6 & 0x3F));
    put(0x80 | (c & 0x3F));
  }
  return out;
}

// What validPrefix found: [begin, end) is well-formed and end begins a sequence (or is the end of
// the bytes given). When flagged, an ill-formed sequence begins within kUtf8Recheck bytes of end;
// when not, end is within kUtf8Recheck bytes of the end of the bytes given.
struct ValidPrefix {
  const char* end;
  bool flagged;
};
constexpr std::ptrdiff_t kUtf8Recheck = 72;

// The kernels of one instruction set. Each takes a range of the text and may stop before its end:
// the caller finishes with the scalar code above. The decoding and encoding kernels store at most
// 16 units or bytes at a time, from the next one to write on, so the caller gives them that much
// room beyond what they produce.
struct Utf8Kernels {
  const char* name;
  // The longest well-formed prefix of [begin, end) that the kernel confirms, see ValidPrefix.
  ValidPrefix (*validPrefix)(const char* begin, const char* end);
  // Decodes the well-formed bytes from begin, whole sequences up to limit, which begins a sequence
  // or ends the bytes; may read up to readEnd (>= limit). Moves begin to where it stopped and
  // returns the position after the units written.
  char16_t* (*decodeValid)(const char*& begin, const char* limit, const char* readEnd,
                           char16_t* out);
  // Encodes units from begin, whole characters up to about limit (it may take the pair that limit
  // cuts); may read up to readEnd (>= limit), which ends the text. Moves begin to where it stopped
  // and returns the position after the bytes written.
  char* (*encode)(const char16_t*& begin, const char16_t* limit, const char16_t* readEnd,
                  char* out);
  // The UTF-16 units of well-formed bytes (too few for ill-formed bytes).
  std::size_t (*utf16Length)(const char* begin, const char* end);
  // The UTF-8 bytes of the units, an unpaired surrogate taking the three of U+FFFD.
  std::size_t (*utf8Length)(const char16_t* begin, const char16_t* end);
};

// The kernels in use: the best that the processor runs, chosen on the first call.
const Utf8Kernels& utf8Kernels();

// For the tests: the kernels of each build that this machine can run, the portable scalar ones
// first and the ones in use last; and a switch to other kernels (for one thread at a time, and only
// while no conversion runs). Returns the kernels that were in use.
struct Utf8KernelList {
  const Utf8Kernels* const* kernels;
  std::size_t size;
};
Utf8KernelList availableUtf8Kernels();
const Utf8Kernels& useUtf8Kernels(const Utf8Kernels& kernels);

}  // namespace textrix::detail
