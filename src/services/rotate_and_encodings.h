// SPDX-License-Identifier: MIT
// Rewriting the characters of a text without looking at its structure: ROT13 of the Latin letters,
// and repairing text that crossed between the Mac OS Roman and Windows code page 1252 character
// sets (each character is turned into its byte in one set and read back in the other).
//
//   textrix::stringByRotating13(u"Hello, World!");   // "Uryyb, Jbeyq!"
//   textrix::mac2Windows(u"\u00E9");                 // "\u00C8": byte 0xE9 read as Mac OS Roman
//   textrix::windows2Mac(u"\u00E9");                 // "\u017D": byte 0x8E read as code page 1252
//
// Positions and lengths are UTF-16 code units. The rotations take the text by value: a text moved
// in is rotated in place.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace textrix {

// text with A to Z and a to z each shifted by amount modulo 26 within their alphabet, wrapping
// round; every other code unit, accented and non-Latin letters included, stays. text itself,
// unchanged, when amount is a multiple of 26.
std::u16string stringByRotating(std::u16string text, std::uint32_t amount);
// stringByRotating(text, 13): applied twice it gives the text back.
std::u16string stringByRotating13(std::u16string text);
// The same over valid UTF-8, without decoding it.
std::string stringByRotating13(std::string validUtf8);

// text encoded as code page 1252 and the bytes read as Mac OS Roman. Characters below U+0080 stay;
// a character that code page 1252 cannot hold becomes a close one or "?" first.
std::u16string mac2Windows(std::u16string_view text);
// text encoded as Mac OS Roman and the bytes read as code page 1252, whose undefined bytes 0x81,
// 0x8D, 0x8F, 0x90 and 0x9D become U+0081, U+008D, U+008F, U+0090 and U+009D.
std::u16string windows2Mac(std::u16string_view text);

}  // namespace textrix
