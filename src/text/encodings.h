// SPDX-License-Identifier: MIT
// Conversions between UTF-8, UTF-16 and legacy byte encodings: UTF-8 by a converter of its own,
// the legacy encodings and the buffer conversions through ICU.
//
// The buffer functions keep the shape of a classic converter interface: caller-owned buffers with
// capacities, a status as the result. The string functions are what the rest of the system uses
// at its edges, where bytes come in and go out:
//
//   textrix::Utf8Decoding in = textrix::decodeUtf8(bytes);
//   if (!in.ok()) report("invalid UTF-8 at byte", in.errorOffset);
//   std::string out = textrix::encodeUtf8(in.text);
//
// A reader that streams validates each piece and decodes it into a buffer of its own:
//
//   const std::size_t bad = textrix::firstInvalidUtf8Offset(piece);
//   if (bad != textrix::Utf8Decoding::kValid) report("invalid UTF-8 at byte", bad);
//   units.resize(used + textrix::utf16Length(piece));
//   textrix::decodeValidUtf8(piece, units.data() + used);
//
// The UTF-8 conversions run vectorized (AVX2 where the processor has it, else SSE2 on x86-64) at
// several gigabytes a second over long texts.
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

namespace textrix {

// Status of the buffer conversions: 0 on success, else an ICU error code (UErrorCode, > 0).
using ConverterStatus = int;

// Opens, once, the converter between UTF-8 and UTF-16 that the two buffer conversions below share
// (so they are for one thread at a time); returns the status of opening it. Those conversions
// call it themselves.
ConverterStatus initUnicodeConverters();

// Converts sourceLength bytes of UTF-8 into at most targetCapacity UTF-16 code units; the number
// of units written goes to *written when given. Invalid input or too small a target is an error.
ConverterStatus convertUTF8ToUnicode(const char* source, std::size_t sourceLength, char16_t* target,
                                     std::size_t targetCapacity, std::size_t* written = nullptr);

// Converts sourceLength UTF-16 code units into at most targetCapacity bytes of UTF-8.
ConverterStatus convertUnicodeToUTF8(const char16_t* source, std::size_t sourceLength, char* target,
                                     std::size_t targetCapacity, std::size_t* written = nullptr);

// Converts bytes in the named encoding (an ICU converter name such as "windows-1252" or
// "macintosh") into UTF-16, storing the units produced in *outLength (0 when nothing was
// converted). Returns 1 on success, 0 when the conversion failed, and the nonzero status of
// opening the converter when no converter could be opened.
int convertEncodingToUnicode(const char* source, std::size_t sourceLength, const char* encoding,
                             char16_t* target, std::size_t targetCapacity, std::size_t* outLength);

// Encodes text in the named encoding (an ICU converter name such as "windows-1252" or
// "macintosh") without failing: a character the encoding cannot hold becomes the converter's
// fallback for it, a close character (U+FF21 FULLWIDTH A becomes "A"), or else "?", once for a
// surrogate pair. None when no converter has that name.
std::optional<std::string> encodeLossy(std::u16string_view text, const char* encoding);

// UTF-8 bytes decoded: the text, or the offset of the first byte that is not valid UTF-8.
struct Utf8Decoding {
  static constexpr std::size_t kValid = static_cast<std::size_t>(-1);

  std::u16string text;
  std::size_t errorOffset = kValid;

  bool ok() const { return errorOffset == kValid; }
};

// Decodes UTF-8 strictly (encoded surrogates and overlong forms are invalid): on invalid input the
// text is empty and errorOffset is the byte where the first ill-formed sequence begins.
Utf8Decoding decodeUtf8(std::string_view bytes);

// Decodes UTF-8 leniently: every invalid sequence becomes U+FFFD.
std::u16string utf16FromUtf8(std::string_view bytes);

// The offset of the byte where the first ill-formed sequence begins, as decodeUtf8 reports it, or
// Utf8Decoding::kValid when all of bytes is well-formed UTF-8. Validates only, the fastest way.
std::size_t firstInvalidUtf8Offset(std::string_view bytes);

// Makes room in text for units more units, backed by huge pages where the system grants them on
// request: a text of hundreds of megabytes then takes 512 times fewer page faults as it is written.
void reserveText(std::u16string& text, std::size_t units);

// The number of UTF-16 units that decoding the well-formed validUtf8 gives.
std::size_t utf16Length(std::string_view validUtf8);

// Decodes validUtf8, which must be well-formed (validated by firstInvalidUtf8Offset or known to
// be), into target, which has room for utf16Length(validUtf8) units (validUtf8.size() always
// suffices); returns the number of units written. No check and no output beyond them.
std::size_t decodeValidUtf8(std::string_view validUtf8, char16_t* target);

// Encodes UTF-16 as UTF-8; an unpaired surrogate becomes U+FFFD.
std::string encodeUtf8(std::u16string_view text);

// The number of bytes that encodeUtf8 makes of text.
std::size_t utf8Length(std::u16string_view text);

// Encodes text as UTF-8 into target, which has room for utf8Length(text) bytes; returns that
// number. A text cut into pieces between two units that are not a surrogate pair encodes piece by
// piece to the same bytes as a whole.
std::size_t encodeUtf8(std::u16string_view text, char* target);

}  // namespace textrix
