#include "text/encodings.h"

#include <unicode/ucnv.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <memory>
#include <new>

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

// UTF-8 is built into ICU, so only a lack of memory keeps its converter from opening.
Converter openUtf8Converter(OnInvalid onInvalid) {
  UErrorCode status = U_ZERO_ERROR;
  Converter converter = openConverter("UTF-8", onInvalid, status);
  if (U_FAILURE(status)) throw std::bad_alloc();
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

std::size_t firstInvalidByte(std::string_view bytes) {
  const auto* units = reinterpret_cast<const std::uint8_t*>(bytes.data());
  for (std::size_t i = 0; i < bytes.size();) {
    const std::size_t start = i;
    UChar32 c;
    U8_NEXT(units, i, bytes.size(), c);
    if (c < 0) return start;
  }
  return Utf8Decoding::kValid;
}

// Each invalid sequence becomes at most one unit, so the text never has more units than bytes.
UErrorCode toUtf16(UConverter* converter, std::string_view bytes, std::u16string& text) {
  text.resize(bytes.size());
  std::size_t produced = 0;
  const UErrorCode status = convertInPieces(ucnv_toUnicode, converter, bytes.data(), bytes.size(),
                                            text.data(), text.size(), produced);
  text.resize(produced);
  return status;
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
  const Converter converter = openUtf8Converter(OnInvalid::stop);
  Utf8Decoding decoding;
  if (U_FAILURE(toUtf16(converter.get(), bytes, decoding.text))) {
    decoding.text.clear();
    decoding.errorOffset = firstInvalidByte(bytes);
  }
  return decoding;
}

std::u16string utf16FromUtf8(std::string_view bytes) {
  const Converter converter = openUtf8Converter(OnInvalid::substitute);
  std::u16string text;
  toUtf16(converter.get(), bytes, text);  // substitution does not fail
  return text;
}

std::string encodeUtf8(std::u16string_view text) {
  // Three bytes for every unit covers the worst case: a pair takes four, a lone surrogate's U+FFFD
  // three.
  std::string bytes(3 * text.size(), '\0');
  const Converter converter = openUtf8Converter(OnInvalid::substitute);
  std::size_t produced = 0;
  convertInPieces(ucnv_fromUnicode, converter.get(), text.data(), text.size(), bytes.data(),
                  bytes.size(), produced);  // substitution does not fail
  bytes.resize(produced);
  return bytes;
}

}  // namespace textrix
