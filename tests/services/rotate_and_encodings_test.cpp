// SPDX-License-Identifier: MIT
#include "services/rotate_and_encodings.h"

#include <gtest/gtest.h>

#include <array>

namespace textrix {
namespace {

TEST(Rotate, ShiftsOnlyLatinLettersWithinTheirAlphabet) {
  struct Case {
    std::u16string text;
    std::uint32_t amount;
    std::u16string expected;
  };
  const Case cases[] = {
      {u"Hello, World!", 13, u"Uryyb, Jbeyq!"},
      {u"zZ \u00E4 09 .,;", 13, u"mM \u00E4 09 .,;"},
      {u"abz", 27, u"bca"},
      {u"abz", 26, u"abz"},
      {u"abz", 0, u"abz"},
      {u"a", 0xFFFFFFFF, u"v"},  // 4294967295 is 21 modulo 26
  };
  for (const Case& test : cases) {
    EXPECT_EQ(stringByRotating(test.text, test.amount), test.expected);
  }
}

// Every code unit once, in order.
std::u16string allCodeUnits() {
  std::u16string text(0x10000, u'\0');
  for (std::size_t c = 0; c < text.size(); ++c) text[c] = static_cast<char16_t>(c);
  return text;
}

char16_t rotatedOneByOne(char16_t c, std::uint32_t shift) {
  if (c >= u'a' && c <= u'z') return static_cast<char16_t>(u'a' + (c - u'a' + shift) % 26);
  if (c >= u'A' && c <= u'Z') return static_cast<char16_t>(u'A' + (c - u'A' + shift) % 26);
  return c;
}

TEST(ExhaustiveRotate, MatchesAUnitByUnitReferenceOverTheWholeRange) {
  const std::u16string all = allCodeUnits();
  // From unit 1 on too: the length is then no multiple of the units rotated at once.
  for (const std::u16string& text : {all, all.substr(1)}) {
    for (std::uint32_t amount : {1u, 13u, 25u, 51u}) {
      SCOPED_TRACE(amount);
      const std::u16string rotated = stringByRotating(text, amount);
      for (std::size_t i = 0; i < text.size(); ++i) {
        ASSERT_EQ(rotated[i], rotatedOneByOne(text[i], amount % 26)) << i;
      }
    }
  }
  EXPECT_EQ(stringByRotating13(stringByRotating13(all)), all);
}

// The published tables: Mac OS Roman bytes 0x80 to 0xFF (0xDB is the euro sign) and code page
// 1252 bytes 0x80 to 0x9F, kUndefined where it leaves the byte undefined; both are ASCII below 0x80
// and code page 1252 is Latin-1 from 0xA0.
constexpr std::array<char16_t, 128> kMacRomanHigh = {
    0x00C4, 0x00C5, 0x00C7, 0x00C9, 0x00D1, 0x00D6, 0x00DC, 0x00E1, 0x00E0, 0x00E2, 0x00E4, 0x00E3,
    0x00E5, 0x00E7, 0x00E9, 0x00E8, 0x00EA, 0x00EB, 0x00ED, 0x00EC, 0x00EE, 0x00EF, 0x00F1, 0x00F3,
    0x00F2, 0x00F4, 0x00F6, 0x00F5, 0x00FA, 0x00F9, 0x00FB, 0x00FC, 0x2020, 0x00B0, 0x00A2, 0x00A3,
    0x00A7, 0x2022, 0x00B6, 0x00DF, 0x00AE, 0x00A9, 0x2122, 0x00B4, 0x00A8, 0x2260, 0x00C6, 0x00D8,
    0x221E, 0x00B1, 0x2264, 0x2265, 0x00A5, 0x00B5, 0x2202, 0x2211, 0x220F, 0x03C0, 0x222B, 0x00AA,
    0x00BA, 0x03A9, 0x00E6, 0x00F8, 0x00BF, 0x00A1, 0x00AC, 0x221A, 0x0192, 0x2248, 0x2206, 0x00AB,
    0x00BB, 0x2026, 0x00A0, 0x00C0, 0x00C3, 0x00D5, 0x0152, 0x0153, 0x2013, 0x2014, 0x201C, 0x201D,
    0x2018, 0x2019, 0x00F7, 0x25CA, 0x00FF, 0x0178, 0x2044, 0x20AC, 0x2039, 0x203A, 0xFB01, 0xFB02,
    0x2021, 0x00B7, 0x201A, 0x201E, 0x2030, 0x00C2, 0x00CA, 0x00C1, 0x00CB, 0x00C8, 0x00CD, 0x00CE,
    0x00CF, 0x00CC, 0x00D3, 0x00D4, 0xF8FF, 0x00D2, 0x00DA, 0x00DB, 0x00D9, 0x0131, 0x02C6, 0x02DC,
    0x00AF, 0x02D8, 0x02D9, 0x02DA, 0x00B8, 0x02DD, 0x02DB, 0x02C7,
};
constexpr char16_t kUndefined = 0xFFFF;
constexpr std::array<char16_t, 32> kWindowsLatin1Controls = {
    0x20AC,     kUndefined, 0x201A, 0x0192, 0x201E, 0x2026,     0x2020, 0x2021,
    0x02C6,     0x2030,     0x0160, 0x2039, 0x0152, kUndefined, 0x017D, kUndefined,
    kUndefined, 0x2018,     0x2019, 0x201C, 0x201D, 0x2022,     0x2013, 0x2014,
    0x02DC,     0x2122,     0x0161, 0x203A, 0x0153, kUndefined, 0x017E, 0x0178,
};

char16_t macRoman(unsigned byte) {
  return byte < 0x80 ? static_cast<char16_t>(byte) : kMacRomanHigh[byte - 0x80];
}

char16_t windowsLatin1(unsigned byte) {
  const bool control = byte >= 0x80 && byte < 0xA0;
  return control ? kWindowsLatin1Controls[byte - 0x80] : static_cast<char16_t>(byte);
}

// Byte by byte, then every character of both tables in one text.
TEST(Encodings, ReadEachByteInTheOtherPublishedTable) {
  std::u16string macTable, windowsTable;
  for (unsigned byte = 0; byte < 256; ++byte) {
    SCOPED_TRACE(byte);
    const char16_t mac = macRoman(byte);
    const char16_t windows = windowsLatin1(byte);
    if (windows != kUndefined) {
      EXPECT_EQ(mac2Windows(std::u16string(1, windows)), std::u16string(1, mac));
      EXPECT_EQ(windows2Mac(std::u16string(1, mac)), std::u16string(1, windows));
      macTable += mac;
      windowsTable += windows;
    } else {
      // The undefined bytes decode to the C1 controls of the same value.
      EXPECT_EQ(windows2Mac(std::u16string(1, mac)), std::u16string(1, char16_t(byte)));
    }
  }
  ASSERT_EQ(windowsTable.size(), 251u);
  EXPECT_EQ(mac2Windows(windowsTable), macTable);
  EXPECT_EQ(windows2Mac(macTable), windowsTable);
}

TEST(Encodings, ReplaceWhatTheSetCannotHoldWithoutFailing) {
  // A close character where the converter knows one: U+FF21 is "A" in code page 1252, and the
  // ohm sign the omega of Mac OS Roman, byte 0xBD.
  EXPECT_EQ(mac2Windows(u"a\U0001F600\u0100\uFF21"), u"a??A");
  EXPECT_EQ(windows2Mac(u"\u0160\u2126"), u"?\u00BD");
}

}  // namespace
}  // namespace textrix
