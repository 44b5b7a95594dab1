#include "text/encodings.h"

#include <unicode/ucnv.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

namespace textrix {
namespace {

struct ConverterCloser {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

enum class OnInvalid { stop, substitute };

Converter openConverter(const char* name, OnInvalid onInvalid, UErrorCode& status) {
  Converter converter(ucnv_open(name, &status));
  if (U_SUCCESS(status) && onInvalid == OnInvalid::stop) {
    ucnv_setToUCallBack(converter.get(), UCNV_TO_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                        &status);
    ucnv_setFromUCallBack(converter.get(), UCNV_FROM_U_CALLBACK_STOP, nullptr, nullptr, nullptr,
                          &status);
  }
  return converter;
}

// ICU refuses more than about a gibibyte in one call, so texts go through in pieces; the converter
// carries a character cut between two pieces over to the next.
constexpr std::size_t kPiece = std::size_t{1} << 20;

// Runs ucnv_toUnicode or ucnv_fromUnicode over the whole source, into at most targetCapacity units.
template <typename Convert, typename From, typename To>
UErrorCode convertInPieces(Convert convert, UConverter* converter, const From* source,
                           std::size_t sourceLength, To* target, std::size_t targetCapacity,
                           std::size_t& written) {
  const From* const sourceEnd = source + sourceLength;
  To* const targetEnd = target + targetCapacity;
  To* out = target;
  UErrorCode status;
  bool pieceFilled;
  bool lastPiece;
  do {
    const From* const sourceStop = source + std::min<std::size_t>(kPiece, sourceEnd - source);
    To* const targetStop = out + std::min<std::size_t>(kPiece, targetEnd - out);
    lastPiece = sourceStop == sourceEnd;
    status = U_ZERO_ERROR;
    convert(converter, &out, targetStop, &source, sourceStop, nullptr, lastPiece, &status);
    pieceFilled = status == U_BUFFER_OVERFLOW_ERROR && targetStop != targetEnd;
  } while (pieceFilled || (U_SUCCESS(status) && !lastPiece));
  written = static_cast<std::size_t>(out - target);
  return status;
}

ConverterStatus statusOf(UErrorCode status) {
  return U_SUCCESS(status) ? 0 : status;
}

void store(std::size_t* out, std::size_t value) {
  if (out != nullptr) *out = value;
}

// One ICU converter holds a state for each direction, so one UTF-8 converter serves both.
struct SharedUtf8Converter {
  UErrorCode status = U_ZERO_ERROR;
  Converter converter = openConverter("UTF-8", OnInvalid::stop, status);
};

const SharedUtf8Converter& sharedUtf8Converter() {
  static const SharedUtf8Converter shared;
  return shared;
}

// Each call starts from a clean state: nothing of an earlier, failed call carries over.
template <typename Convert, typename Reset, typename From, typename To>
ConverterStatus convertShared(Convert convert, Reset reset, const From* source,
                              std::size_t sourceLength, To* target, std::size_t targetCapacity,
                              std::size_t* written) {
  const SharedUtf8Converter& shared = sharedUtf8Converter();
  std::size_t produced = 0;
  UErrorCode status = shared.status;
  if (U_SUCCESS(status)) {
    reset(shared.converter.get());
    status = convertInPieces(convert, shared.converter.get(), source, sourceLength, target,
                             targetCapacity, produced);
  }
  store(written, produced);
  return statusOf(status);
}

// UTF-8 and UTF-16 are converted here rather than by ICU: ICU's UTF-8 paths run at about 300 MB/s
// on mixed text, and the command must keep pace with the standard tools over files of hundreds of
// megabytes. ASCII goes through in blocks of 16 bytes that the compiler vectorizes; everything
// else one sequence at a time. Each conversion first counts its output, so the result is allocated
// once at its exact size. The tests hold it to ICU's conversion, unit for unit.

// Whether the byte continues a sequence (10xxxxxx).
constexpr bool isTrail(std::uint8_t byte) {
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
    if (available < 2 || !isTrail(bytes[1])) return {0, 1, false};
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
  if (available < 3 || !isTrail(bytes[2])) return {0, 2, false};
  if (lead < 0xF0) {
    return {(char32_t{lead} & 0x0F) << 12 | char32_t{bytes[1] & 0x3Fu} << 6 | (bytes[2] & 0x3F), 3,
            true};
  }
  if (available < 4 || !isTrail(bytes[3])) return {0, 3, false};
  return {(char32_t{lead} & 0x07) << 18 | char32_t{bytes[1] & 0x3Fu} << 12 |
              char32_t{bytes[2] & 0x3Fu} << 6 | (bytes[3] & 0x3F),
          4, true};
}

constexpr std::size_t kAsciiBlock = 16;

// Whether the 16 bytes of block are all ASCII.
inline bool isAsciiBlock(const std::uint8_t (&block)[kAsciiBlock]) {
  std::uint64_t first;
  std::uint64_t second;
  std::memcpy(&first, block, 8);
  std::memcpy(&second, block + 8, 8);
  return ((first | second) & 0x8080808080808080u) == 0;
}

// The counting loops go in blocks of a fixed number of steps, which the compiler vectorizes.
constexpr std::size_t kCountBlock = 32;

// The UTF-16 units of a byte of well-formed text: one for a byte that begins a sequence, one more
// for the lead byte of a four-byte sequence.
constexpr unsigned unitsOfByte(std::uint8_t byte) {
  return static_cast<unsigned>(!isTrail(byte)) + (byte >= 0xF0);
}

// The UTF-16 units of a well-formed text. Too few for ill-formed text, where lone continuation
// bytes count nothing.
std::size_t utf16LengthOfWellFormed(std::string_view bytes) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const std::size_t size = bytes.size();
  std::size_t units = 0;
  std::size_t i = 0;
  for (; size - i >= kCountBlock; i += kCountBlock) {
    unsigned blockUnits = 0;
    for (std::size_t k = 0; k < kCountBlock; ++k) blockUnits += unitsOfByte(data[i + k]);
    units += blockUnits;
  }
  for (; i < size; ++i) units += unitsOfByte(data[i]);
  return units;
}

// Decodes bytes into target when kWrite, else only counts the units. Strict decoding stops at the
// first ill-formed sequence and stores its byte offset in *errorOffset; lenient decoding writes
// U+FFFD for each maximal subpart. Returns the number of units written or counted.
template <bool kWrite, bool kStrict>
std::size_t decodeInto(std::string_view bytes, char16_t* target, std::size_t* errorOffset) {
  const auto* data = reinterpret_cast<const std::uint8_t*>(bytes.data());
  const std::size_t size = bytes.size();
  std::size_t units = 0;
  std::size_t i = 0;
  while (i < size) {
    if (size - i >= kAsciiBlock) {
      std::uint8_t block[kAsciiBlock];
      std::memcpy(block, data + i, kAsciiBlock);
      if (isAsciiBlock(block)) {
        if constexpr (kWrite) {
          char16_t wide[kAsciiBlock];
          for (std::size_t k = 0; k < kAsciiBlock; ++k) wide[k] = block[k];
          std::memcpy(target + units, wide, sizeof wide);
        }
        i += kAsciiBlock;
        units += kAsciiBlock;
        continue;
      }
    }
    // One sequence at a time to the end of the block, which is then not checked again at each byte.
    for (const std::size_t stop = std::min(size, i + kAsciiBlock); i < stop;) {
      if (data[i] < 0x80) {
        if constexpr (kWrite) target[units] = data[i];
        ++units;
        ++i;
        continue;
      }
      if (size - i >= 4) {
        // The well-formed sequences inline, without a look at the bytes available; the code point
        // shows an overlong form, a surrogate or a value above U+10FFFF.
        const std::uint32_t second = data[i + 1] & 0x3Fu;
        const std::uint32_t third = data[i + 2] & 0x3Fu;
        if ((data[i] & 0xE0) == 0xC0 && isTrail(data[i + 1]) && data[i] >= 0xC2) {
          if constexpr (kWrite)
            target[units] = static_cast<char16_t>((data[i] & 0x1Fu) << 6 | second);
          ++units;
          i += 2;
          continue;
        }
        if ((data[i] & 0xF0) == 0xE0 && isTrail(data[i + 1]) && isTrail(data[i + 2])) {
          const std::uint32_t c = (data[i] & 0x0Fu) << 12 | second << 6 | third;
          if (c >= 0x800 && (c & 0xF800) != 0xD800) {
            if constexpr (kWrite) target[units] = static_cast<char16_t>(c);
            ++units;
            i += 3;
            continue;
          }
        }
        if ((data[i] & 0xF8) == 0xF0 && isTrail(data[i + 1]) && isTrail(data[i + 2]) &&
            isTrail(data[i + 3])) {
          const std::uint32_t c =
              (data[i] & 0x07u) << 18 | second << 12 | third << 6 | (data[i + 3] & 0x3Fu);
          if (c >= 0x10000 && c <= 0x10FFFF) {
            if constexpr (kWrite) {
              target[units] = static_cast<char16_t>(0xD7C0 + (c >> 10));
              target[units + 1] = static_cast<char16_t>(0xDC00 | (c & 0x3FF));
            }
            units += 2;
            i += 4;
            continue;
          }
        }
      }
      // Near the end, and where the bytes are ill-formed.
      const Utf8Sequence sequence = nextUtf8Sequence(data + i, size - i);
      if (kStrict && !sequence.valid) {
        *errorOffset = i;
        return units;
      }
      const char32_t c = sequence.valid ? sequence.codePoint : 0xFFFD;
      if (c < 0x10000) {
        if constexpr (kWrite) target[units] = static_cast<char16_t>(c);
        ++units;
      } else {
        if constexpr (kWrite) {
          target[units] = static_cast<char16_t>(0xD7C0 + (c >> 10));
          target[units + 1] = static_cast<char16_t>(0xDC00 | (c & 0x3FF));
        }
        units += 2;
      }
      i += sequence.length;
    }
  }
  return units;
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

// The UTF-8 bytes of unit, given the unit after it: one to three, two for each half of a surrogate
// pair, and one more for an unpaired lead surrogate, or for a unit that is followed by an unpaired
// trail surrogate, since the U+FFFD of either takes three. A lead surrogate is unpaired where no
// trail surrogate follows it, a trail surrogate where no lead surrogate precedes it.
constexpr unsigned bytesOfUnit(char16_t unit, char16_t next) {
  return 1u + (unit >= 0x80) + (unit >= 0x800) - isSurrogate(unit) +
         (isLeadSurrogate(unit) != isTrailSurrogate(next));
}

constexpr std::size_t kAsciiUnits = 16;

// Whether the 16 units of block are all ASCII.
inline bool isAsciiUnits(const char16_t (&block)[kAsciiUnits]) {
  std::uint64_t lanes[4];
  std::memcpy(lanes, block, sizeof lanes);
  return ((lanes[0] | lanes[1] | lanes[2] | lanes[3]) & 0xFF80FF80FF80FF80u) == 0;
}

// Encodes text into target, which has room for utf8Length(text) bytes; an unpaired surrogate
// becomes U+FFFD. Returns the number of bytes written.
std::size_t encodeInto(std::u16string_view text, char* target) {
  const char16_t* units = text.data();
  const std::size_t size = text.size();
  auto put = [target](std::size_t at, std::uint32_t byte) {
    target[at] = static_cast<char>(static_cast<std::uint8_t>(byte));
  };
  std::size_t bytes = 0;
  std::size_t i = 0;
  while (i < size) {
    if (size - i >= kAsciiUnits) {
      char16_t block[kAsciiUnits];
      std::memcpy(block, units + i, sizeof block);
      if (isAsciiUnits(block)) {
        char narrow[kAsciiUnits];
        for (std::size_t k = 0; k < kAsciiUnits; ++k) narrow[k] = static_cast<char>(block[k]);
        std::memcpy(target + bytes, narrow, sizeof narrow);
        i += kAsciiUnits;
        bytes += kAsciiUnits;
        continue;
      }
    }
    // One character at a time to the end of the block, which is then not checked again at each
    // unit.
    for (const std::size_t stop = std::min(size, i + kAsciiUnits); i < stop;) {
      std::uint32_t c = units[i++];
      if (c < 0x80) {
        put(bytes++, c);
      } else if (c < 0x800) {
        put(bytes++, 0xC0 | c >> 6);
        put(bytes++, 0x80 | (c & 0x3F));
      } else if (isLeadSurrogate(static_cast<char16_t>(c)) && i < size &&
                 isTrailSurrogate(units[i])) {
        c = 0x10000 + ((c - 0xD800) << 10) + (units[i++] - 0xDC00u);
        put(bytes++, 0xF0 | c >> 18);
        put(bytes++, 0x80 | (c >> 12 & 0x3F));
        put(bytes++, 0x80 | (c >> 6 & 0x3F));
        put(bytes++, 0x80 | (c & 0x3F));
      } else {
        if (isSurrogate(static_cast<char16_t>(c))) c = 0xFFFD;
        put(bytes++, 0xE0 | c >> 12);
        put(bytes++, 0x80 | (c >> 6 & 0x3F));
        put(bytes++, 0x80 | (c & 0x3F));
      }
    }
  }
  return bytes;
}

}  // namespace

ConverterStatus initUnicodeConverters() {
  return statusOf(sharedUtf8Converter().status);
}

ConverterStatus convertUTF8ToUnicode(const char* source, std::size_t sourceLength, char16_t* target,
                                     std::size_t targetCapacity, std::size_t* written) {
  return convertShared(ucnv_toUnicode, ucnv_resetToUnicode, source, sourceLength, target,
                       targetCapacity, written);
}

ConverterStatus convertUnicodeToUTF8(const char16_t* source, std::size_t sourceLength, char* target,
                                     std::size_t targetCapacity, std::size_t* written) {
  return convertShared(ucnv_fromUnicode, ucnv_resetFromUnicode, source, sourceLength, target,
                       targetCapacity, written);
}

int convertEncodingToUnicode(const char* source, std::size_t sourceLength, const char* encoding,
                             char16_t* target, std::size_t targetCapacity, std::size_t* outLength) {
  store(outLength, 0);
  UErrorCode status = U_ZERO_ERROR;
  const Converter converter = openConverter(encoding, OnInvalid::stop, status);
  // Deliberately mixed: a converter that cannot be opened answers with its nonzero status, which
  // callers must tell apart from the 1 of a success.
  if (U_FAILURE(status)) return status;
  std::size_t produced = 0;
  status = convertInPieces(ucnv_toUnicode, converter.get(), source, sourceLength, target,
                           targetCapacity, produced);
  store(outLength, produced);
  return U_SUCCESS(status) ? 1 : 0;
}

std::optional<std::string> encodeLossy(std::u16string_view text, const char* encoding) {
  UErrorCode status = U_ZERO_ERROR;
  const Converter converter = openConverter(encoding, OnInvalid::substitute, status);
  if (U_FAILURE(status)) return std::nullopt;
  ucnv_setFallback(converter.get(), true);
  ucnv_setSubstChars(converter.get(), "?", 1, &status);
  std::string bytes(
      UCNV_GET_MAX_BYTES_FOR_STRING(text.size(), ucnv_getMaxCharSize(converter.get())), '\0');
  std::size_t produced = 0;
  convertInPieces(ucnv_fromUnicode, converter.get(), text.data(), text.size(), bytes.data(),
                  bytes.size(), produced);  // substitution does not fail
  bytes.resize(produced);
  return bytes;
}

Utf8Decoding decodeUtf8(std::string_view bytes) {
  Utf8Decoding decoding;
  // Counted for well-formed text, which the decoding checks as it goes: on ill-formed text it stops
  // before it has written more units than the well-formed part before the error counts.
  decoding.text.resize(utf16LengthOfWellFormed(bytes));
  decodeInto<true, true>(bytes, decoding.text.data(), &decoding.errorOffset);
  if (!decoding.ok()) std::u16string().swap(decoding.text);
  return decoding;
}

std::u16string utf16FromUtf8(std::string_view bytes) {
  std::u16string text(decodeInto<false, false>(bytes, nullptr, nullptr), u'\0');
  decodeInto<true, false>(bytes, text.data(), nullptr);
  return text;
}

std::size_t utf8Length(std::u16string_view text) {
  if (text.empty()) return 0;
  const char16_t* units = text.data();
  const std::size_t last = text.size() - 1;
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

std::size_t encodeUtf8(std::u16string_view text, char* target) {
  return encodeInto(text, target);
}

std::string encodeUtf8(std::u16string_view text) {
  std::string bytes(utf8Length(text), '\0');
  encodeInto(text, bytes.data());
  return bytes;
}

}  // namespace textrix
