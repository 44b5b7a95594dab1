// SPDX-License-Identifier: MIT
#include "text/encodings.h"

#include <sys/mman.h>
#include <unicode/ucnv.h>

#include <algorithm>
#include <cstdint>
#include <cstring>
#include <memory>

#include "text/utf8_simd.h"

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

// UTF-8 and UTF-16 are converted here rather than by ICU: ICU's UTF-8 paths run at about 500 MB/s
// on mixed text, and the command must keep pace with the standard tools over files of hundreds of
// megabytes. The kernels of text/utf8_simd.h take the long stretches: with AVX2, validation 64
// bytes a step, decoding 16 bytes and encoding 16 units a step, sequences of every length. The
// scalar decoder takes what they leave: the last bytes, and each ill-formed sequence, whose place
// and substitution it alone decides. The tests hold it all to ICU's conversion, unit for unit.

// Decoding validates a chunk of the bytes and then decodes it while it is in the cache.
constexpr std::ptrdiff_t kDecodeChunk = 4096;
// The kernels store 16 units or bytes at a time: room that a buffer keeps beyond its text.
constexpr std::ptrdiff_t kSlack = 16;
// Below this many bytes or units a text goes to the scalar code alone.
constexpr std::size_t kShort = 64;

const std::uint8_t* bytesAt(const char* p) {
  return reinterpret_cast<const std::uint8_t*>(p);
}

// A decoded string grows chunk by chunk through a buffer in the cache, with room for the kernels'
// stores: std::u16string::resize would fill it with zeros first, one unit at a time (C++20 has no
// resize_and_overwrite), and reserve and append write each unit once.
template <typename Char, std::size_t kCapacity>
class ChunkBuffer {
 public:
  // Appends to text what write puts into the buffer: write gets its start and returns where it
  // stopped.
  template <typename Write>
  void append(std::basic_string<Char>& text, Write write) {
    Char* const end = write(units_);
    text.append(units_, static_cast<std::size_t>(end - units_));
  }

 private:
  Char units_[kCapacity];
};

// Asks the system to back a large buffer with huge pages, where it grants them on request: a text
// of hundreds of megabytes then takes 512 times fewer page faults as it is written, and the
// services that visit its lines in any order (sorting) miss the processor's address cache far less.
void adviseHugePages(const void* data, std::size_t bytes) {
#if defined(__linux__)
  constexpr std::uintptr_t kHugePage = std::uintptr_t{2} << 20;
  const auto address = reinterpret_cast<std::uintptr_t>(data);
  const std::uintptr_t start = (address + kHugePage - 1) & ~(kHugePage - 1);
  const std::uintptr_t end = (address + bytes) & ~(kHugePage - 1);
  if (end > start) madvise(reinterpret_cast<void*>(start), end - start, MADV_HUGEPAGE);
#else
  (void)data;
  (void)bytes;
#endif
}

// Decodes bytes onto the end of text (empty), strictly or leniently (U+FFFD for each maximal
// subpart of an ill-formed sequence); returns the offset of the first ill-formed sequence, where
// strict decoding stops, or Utf8Decoding::kValid.
template <bool kStrict>
std::size_t decodeUtf8Into(std::string_view bytes, std::u16string& text) {
  const detail::Utf8Kernels& kernels = detail::utf8Kernels();
  const char* const begin = bytes.data();
  const char* const end = begin + bytes.size();
  const bool useKernels = bytes.size() >= kShort;
  reserveText(text, bytes.size());  // a unit a byte at most
  ChunkBuffer<char16_t, kDecodeChunk + kSlack> buffer;
  std::size_t errorOffset = Utf8Decoding::kValid;
  const char* p = begin;
  while (p != end) {
    const char* stop = end;
    if (useKernels) {
      const char* const chunkEnd = end - p > kDecodeChunk ? p + kDecodeChunk : end;
      const detail::ValidPrefix valid = kernels.validPrefix(p, chunkEnd);
      buffer.append(text, [&](char16_t* out) {
        out = kernels.decodeValid(p, valid.end, end, out);
        const std::uint8_t* at = bytesAt(p);
        while (at != bytesAt(valid.end)) out = detail::decodeValidSequence(at, out);
        p = valid.end;
        return out;
      });
      // The scalar decoder goes on where the kernel flagged an error, and at the end.
      if (valid.flagged) {
        stop = end - p > detail::kUtf8Recheck ? p + detail::kUtf8Recheck : end;
      } else if (chunkEnd != end) {
        continue;
      }
    }
    // Sequences that begin before stop, a unit a byte at most: within the buffer, since stop is
    // near p where the kernels go, and texts are short where they do not.
    buffer.append(text, [&](char16_t* out) {
      while (p < stop) {
        const detail::Utf8Sequence sequence =
            detail::nextUtf8Sequence(bytesAt(p), static_cast<std::size_t>(end - p));
        if (!sequence.valid && kStrict) {
          errorOffset = static_cast<std::size_t>(p - begin);
          break;
        }
        out = detail::putUtf16(sequence.valid ? sequence.codePoint : 0xFFFD, out);
        p += sequence.length;
      }
      return out;
    });
    if (errorOffset != Utf8Decoding::kValid) break;
  }
  return errorOffset;
}

}  // namespace

void reserveText(std::u16string& text, std::size_t units) {
  text.reserve(text.size() + units);
  adviseHugePages(text.data(), text.capacity() * sizeof(char16_t));
}

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
  decoding.errorOffset = decodeUtf8Into<true>(bytes, decoding.text);
  if (!decoding.ok()) std::u16string().swap(decoding.text);
  return decoding;
}

std::u16string utf16FromUtf8(std::string_view bytes) {
  std::u16string text;
  decodeUtf8Into<false>(bytes, text);
  return text;
}

std::size_t firstInvalidUtf8Offset(std::string_view bytes) {
  const detail::Utf8Kernels& kernels = detail::utf8Kernels();
  const char* const begin = bytes.data();
  const char* const end = begin + bytes.size();
  const char* p = begin;
  while (p != end) {
    const detail::ValidPrefix valid = kernels.validPrefix(p, end);
    p = valid.end;
    // Not flagged, the kernel stopped near the end.
    const char* const stop =
        valid.flagged && end - p > detail::kUtf8Recheck ? p + detail::kUtf8Recheck : end;
    while (p < stop) {
      const detail::Utf8Sequence sequence =
          detail::nextUtf8Sequence(bytesAt(p), static_cast<std::size_t>(end - p));
      if (!sequence.valid) return static_cast<std::size_t>(p - begin);
      p += sequence.length;
    }
  }
  return Utf8Decoding::kValid;
}

std::size_t utf16Length(std::string_view validUtf8) {
  return detail::utf8Kernels().utf16Length(validUtf8.data(), validUtf8.data() + validUtf8.size());
}

std::size_t decodeValidUtf8(std::string_view validUtf8, char16_t* target) {
  const char* p = validUtf8.data();
  const char* const end = p + validUtf8.size();
  char16_t* out = target;
  if (validUtf8.size() >= kShort) {
    // The kernel stops before the sequence that begins the last 64 bytes or less: they give at
    // least 21 units, more than the kernel stores beyond the units it gives.
    const std::uint8_t* limit = bytesAt(end - kShort);
    while (limit != bytesAt(end) && detail::isUtf8Trail(*limit)) ++limit;
    out = detail::utf8Kernels().decodeValid(p, reinterpret_cast<const char*>(limit), end, out);
  }
  const std::uint8_t* at = bytesAt(p);
  while (at != bytesAt(end)) out = detail::decodeValidSequence(at, out);
  return static_cast<std::size_t>(out - target);
}

std::size_t utf8Length(std::u16string_view text) {
  return detail::utf8Kernels().utf8Length(text.data(), text.data() + text.size());
}

std::size_t encodeUtf8(std::u16string_view text, char* target) {
  const char16_t* u = text.data();
  const char16_t* const end = u + text.size();
  char* out = target;
  if (text.size() >= kShort) {
    // The kernel stops before the last 16 units, which give at least 16 bytes: as many as it
    // stores beyond the bytes it gives.
    out = detail::utf8Kernels().encode(u, end - kSlack, end, out);
  }
  while (u != end) out = detail::encodeCharacter(u, end, out);
  return static_cast<std::size_t>(out - target);
}

std::string encodeUtf8(std::u16string_view text) {
  // resize fills a std::string with zeros by memset, a small cost beside the encoding.
  std::string bytes(utf8Length(text), '\0');
  encodeUtf8(text, bytes.data());
  return bytes;
}

}  // namespace textrix
