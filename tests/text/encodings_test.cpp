// SPDX-License-Identifier: MIT
#include "text/encodings.h"

#include <gtest/gtest.h>
#include <unicode/utypes.h>

#include <algorithm>
#include <cstdint>
#include <iterator>
#include <string>
#include <vector>

#include "support/icu_utf8.h"

namespace textrix {
namespace {

using namespace std::literals;

// The slow, obviously correct reference for the UTF-8 conversions: ICU's UTF-8 converter, which
// substitutes U+FFFD in both directions, and ICU's macro for the first ill-formed sequence.
class IcuUtf8 {
 public:
  std::string encode(std::u16string_view text) const { return testing_icu::icuEncode(text); }

  // Checks both decodings of bytes, the validation and, for valid bytes, the length and the
  // decoding into a buffer against the reference.
  void expectDecodesLikeIcu(std::string_view bytes) const {
    const std::u16string lenient = testing_icu::icuDecode(bytes);
    EXPECT_EQ(utf16FromUtf8(bytes), lenient);
    const Utf8Decoding strict = decodeUtf8(bytes);
    EXPECT_EQ(strict.errorOffset, testing_icu::icuFirstInvalidByte(bytes));
    EXPECT_EQ(strict.text, strict.ok() ? lenient : u"");
    EXPECT_EQ(firstInvalidUtf8Offset(bytes), strict.errorOffset);
    if (strict.ok()) {
      EXPECT_EQ(utf16Length(bytes), lenient.size());
      std::u16string buffer(lenient.size() + 1, u'#');
      EXPECT_EQ(decodeValidUtf8(bytes, buffer.data()), lenient.size());
      EXPECT_EQ(buffer, lenient + u"#");
    }
  }

  // Checks the encoding of text, whole and through the buffer, against the reference.
  void expectEncodesLikeIcu(std::u16string_view text) const {
    const std::string bytes = encode(text);
    EXPECT_EQ(encodeUtf8(text), bytes);
    EXPECT_EQ(utf8Length(text), bytes.size());
    std::string buffer(bytes.size() + 1, '#');
    EXPECT_EQ(encodeUtf8(text, buffer.data()), bytes.size());
    EXPECT_EQ(buffer, bytes + "#");
  }
};

std::string bytesOf(std::initializer_list<int> values) {
  std::string bytes;
  for (int value : values) bytes.push_back(static_cast<char>(value));
  return bytes;
}

TEST(Encodings, ConvertsNamedEncodingsWithAMixedResult) {
  const struct {
    const char* encoding;
    std::string_view bytes;
    std::size_t capacity;
    int result;
    std::u16string_view text;
  } cases[] = {
      // The bytes that code page 1252 leaves undefined decode to the C1 controls of the same value.
      {"windows-1252", "\x81\x8D\x8F\x90\x9D\x80\x9F", 8, 1,
       u"\u0081\u008D\u008F\u0090\u009D\u20AC\u0178"},
      {"macintosh", "\x80\xA5\xDB", 8, 1, u"\u00C4\u2022\u20AC"},
      {"US-ASCII", "a\x80", 8, 0, u"a"},
      {"windows-1252", "abc", 2, 0, u"ab"},
      // Not a converter: the status of opening one, as nonzero as a success.
      {"no-such-encoding", "abc", 8, U_FILE_ACCESS_ERROR, u""},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.encoding);
    char16_t target[8];
    std::size_t length = 99;
    EXPECT_EQ(convertEncodingToUnicode(c.bytes.data(), c.bytes.size(), c.encoding, target,
                                       c.capacity, &length),
              c.result);
    EXPECT_EQ(std::u16string_view(target, length), c.text);
  }
}

TEST(Encodings, ConvertsUtf8IntoBuffersAndBack) {
  ASSERT_EQ(initUnicodeConverters(), 0);
  const std::string_view bytes = "h\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80";
  const std::u16string_view text = u"h\u00E9\u20AC\U0001F600";
  char16_t units[5];
  char utf8[10];
  std::size_t written = 0;
  EXPECT_EQ(convertUTF8ToUnicode(bytes.data(), bytes.size(), units, 5, &written), 0);
  EXPECT_EQ(std::u16string_view(units, written), text);
  EXPECT_EQ(convertUnicodeToUTF8(text.data(), text.size(), utf8, 10, &written), 0);
  EXPECT_EQ(std::string_view(utf8, written), bytes);

  EXPECT_EQ(convertUTF8ToUnicode(bytes.data(), bytes.size(), units, 4, &written),
            U_BUFFER_OVERFLOW_ERROR);
  EXPECT_EQ(convertUnicodeToUTF8(text.data(), text.size(), utf8, 9, &written),
            U_BUFFER_OVERFLOW_ERROR);
  EXPECT_GT(convertUTF8ToUnicode("a\xFF", 2, units, 5, &written), 0);
  EXPECT_GT(convertUnicodeToUTF8(u"a\xD800", 2, utf8, 10, &written), 0);

  // Each call starts afresh: what did not fit last time must not come out at the start of the next.
  EXPECT_EQ(convertUTF8ToUnicode("\xF0\x9F\x98\x80", 4, units, 1), U_BUFFER_OVERFLOW_ERROR);
  EXPECT_EQ(convertUTF8ToUnicode("a", 1, units, 4, &written), 0);
  EXPECT_EQ(std::u16string_view(units, written), u"a");
  EXPECT_EQ(convertUnicodeToUTF8(u"\u20AC", 1, utf8, 1), U_BUFFER_OVERFLOW_ERROR);
  EXPECT_EQ(convertUnicodeToUTF8(u"a", 1, utf8, 4, &written), 0);
  EXPECT_EQ(std::string_view(utf8, written), "a");
}

TEST(Encodings, EncodesLossilyWithFallbacksOrQuestionMarks) {
  const std::u16string text = u"\u00E9\u20AC\uFF21\u0100\U0001F600";
  EXPECT_EQ(encodeLossy(text, "windows-1252"), "\xE9\x80\x41??");
  EXPECT_EQ(encodeLossy(text, "macintosh"), "\x8E\xDB???");
  EXPECT_EQ(encodeLossy(text, "no-such-encoding"), std::nullopt);
  // Piece by piece, a pair cut between two pieces is still one character.
  const std::u16string longText = std::u16string((1 << 20) - 1, u'a') + u"\U0001F600";
  EXPECT_EQ(encodeLossy(longText, "windows-1252"), std::string((1 << 20) - 1, 'a') + "?");
}

TEST(Encodings, ConvertsTextsOfManyMebibytes) {
  std::u16string text;
  for (int i = 0; i < 300'000; ++i) text += u"a\u00E9\u20AC\U0001F600";
  const std::string bytes = encodeUtf8(text);  // characters of every length straddle the pieces
  EXPECT_EQ(bytes.size(), 3'000'000u);
  EXPECT_EQ(decodeUtf8(bytes).text, text);
  EXPECT_EQ(utf16FromUtf8(bytes), text);

  std::u16string units(text.size(), u'\0');
  EXPECT_EQ(convertUTF8ToUnicode(bytes.data(), bytes.size(), units.data(), units.size()), 0);
  EXPECT_EQ(units, text);

  std::string broken = bytes;
  broken.insert(2'500'000, "\xFF");
  EXPECT_EQ(decodeUtf8(broken).errorOffset, 2'500'000u);
}

TEST(ExhaustiveUtf8Conversion, EncodesAndDecodesEveryBmpCodePointLikeIcu) {
  const IcuUtf8 icu;
  // Alone, and behind 16 ASCII bytes so that the unit ends a block that is not all ASCII.
  const std::u16string ascii(16, u'a');
  for (char32_t c = 0; c < 0x10000; ++c) {
    if (c >= 0xD800 && c <= 0xDFFF) continue;
    SCOPED_TRACE(testing::Message() << "U+" << std::hex << static_cast<std::uint32_t>(c));
    const std::u16string text(1, static_cast<char16_t>(c));
    const std::string bytes = icu.encode(text);
    ASSERT_EQ(encodeUtf8(text), bytes);
    ASSERT_EQ(encodeUtf8(ascii + text), icu.encode(ascii + text));
    const Utf8Decoding decoding = decodeUtf8(bytes);
    ASSERT_TRUE(decoding.ok());
    ASSERT_EQ(decoding.text, text);
    ASSERT_EQ(utf16FromUtf8(bytes), text);
  }
}

TEST(ExhaustiveUtf8Conversion, EncodesAndDecodesEverySurrogatePairLikeIcu) {
  const IcuUtf8 icu;
  std::u16string pairs;
  for (char16_t lead = 0xD800; lead <= 0xDBFF; ++lead) {
    for (char16_t trail = 0xDC00; trail <= 0xDFFF; ++trail) pairs += {lead, trail};
  }
  const std::string bytes = icu.encode(pairs);
  ASSERT_EQ(bytes.size(), 4u << 20);
  EXPECT_EQ(encodeUtf8(pairs), bytes);
  EXPECT_EQ(utf8Length(pairs), bytes.size());
  EXPECT_EQ(decodeUtf8(bytes).text, pairs);
  EXPECT_EQ(utf16FromUtf8(bytes), pairs);
}

TEST(ExhaustiveUtf8Conversion, EncodesEveryCombinationOfSurrogatesLikeIcu) {
  // Every sequence of up to three units drawn from lead and trail surrogates of both ends of their
  // ranges and non-surrogates, alone and between ASCII runs of the block length and more; behind 32
  // to 48 units, in a text long enough for the vector steps, at each place in a step of 16.
  const char16_t kinds[] = {0xD800, 0xDBFF, 0xDC00, 0xDFFF, u'a', 0x00E9, 0xFFFD};
  std::vector<std::u16string> sequences = {u""};
  for (int length = 1; length <= 3; ++length) {
    std::vector<std::u16string> longer;
    for (const std::u16string& sequence : sequences) {
      if (sequence.size() + 1 != static_cast<std::size_t>(length)) continue;
      for (char16_t unit : kinds) longer.push_back(sequence + unit);
    }
    sequences.insert(sequences.end(), longer.begin(), longer.end());
  }
  const IcuUtf8 icu;
  std::vector<std::size_t> befores = {0, 7, 8, 15};
  for (std::size_t before = 32; before <= 48; ++before) befores.push_back(before);
  for (const std::u16string& sequence : sequences) {
    for (std::size_t before : befores) {
      const std::u16string after = before < 32 ? u"0123456789" : std::u16string(48, u'y');
      const std::u16string text = std::u16string(before, u'x') + sequence + after;
      SCOPED_TRACE(testing::Message() << "units " << testing::PrintToString(text));
      icu.expectEncodesLikeIcu(text);
    }
  }
}

TEST(Utf8Conversion, NamesTheFirstInvalidByteAndSubstitutesLikeIcu) {
  const struct {
    std::string bytes;
    std::size_t errorOffset;
    std::u16string_view substituted;
  } cases[] = {
      {"", Utf8Decoding::kValid, u""},
      // A byte-order mark stays text.
      {bytesOf({0xEF, 0xBB, 0xBF, 'a'}), Utf8Decoding::kValid, u"\uFEFFa"},
      // Truncated at the end and before another character.
      {bytesOf({0xC3}), 0, u"\uFFFD"},
      {bytesOf({0xE2, 0x82}), 0, u"\uFFFD"},
      {bytesOf({0xF0, 0x9F, 0x98}), 0, u"\uFFFD"},
      {bytesOf({0xF0, 0x9F, 0x98, 'a'}), 0, u"\uFFFDa"},
      {bytesOf({0xE2, 0xC3, 0xA9}), 0, u"\uFFFD\u00E9"},
      // Overlong forms: the lead byte alone is the maximal subpart.
      {bytesOf({0xC0, 0xAF}), 0, u"\uFFFD\uFFFD"},
      {bytesOf({0xE0, 0x9F, 0xBF}), 0, u"\uFFFD\uFFFD\uFFFD"},
      {bytesOf({0xF0, 0x8F, 0xBF, 0xBF}), 0, u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      // Surrogates encoded in UTF-8.
      {bytesOf({'a', 0xED, 0xA0, 0x80}), 1, u"a\uFFFD\uFFFD\uFFFD"},
      {bytesOf({0xED, 0x9F, 0xBF}), Utf8Decoding::kValid, u"\uD7FF"},
      // Above U+10FFFF, and bytes that never begin a sequence.
      {bytesOf({0xF4, 0x90, 0x80, 0x80}), 0, u"\uFFFD\uFFFD\uFFFD\uFFFD"},
      {bytesOf({0xFC, 0x84, 0x80, 0x80, 0x80, 0x80}), 0, u"\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD\uFFFD"},
      {bytesOf({0xFE, 0xFF}), 0, u"\uFFFD\uFFFD"},
      {bytesOf({0xF4, 0x8F, 0xBF, 0xBF}), Utf8Decoding::kValid, u"\U0010FFFF"},
      // Lone continuation bytes, one U+FFFD each.
      {bytesOf({'a', 'b', 0x80, 0xBF, 'c'}), 2, u"ab\uFFFD\uFFFDc"},
      // The error behind a full ASCII block, and in the middle of one.
      {"0123456789abcdef\x80", 16, u"0123456789abcdef\uFFFD"},
      {"0123456\xFF" + "89abcdefghijklmnop"s, 7, u"0123456\uFFFD89abcdefghijklmnop"},
  };
  const IcuUtf8 icu;
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(testing::Message() << "case " << i);
    const Utf8Decoding decoding = decodeUtf8(cases[i].bytes);
    EXPECT_EQ(decoding.errorOffset, cases[i].errorOffset);
    EXPECT_EQ(utf16FromUtf8(cases[i].bytes), cases[i].substituted);
    icu.expectDecodesLikeIcu(cases[i].bytes);
  }
}

TEST(ExhaustiveUtf8Conversion, DecodesEveryTwoByteStringLikeIcu) {
  const IcuUtf8 icu;
  for (int first = 0; first < 256; ++first) {
    for (int second = 0; second < 256; ++second) {
      SCOPED_TRACE(testing::Message() << first << " " << second);
      icu.expectDecodesLikeIcu(bytesOf({first, second}));
    }
  }
}

TEST(ExhaustiveUtf8Conversion, DecodesEveryThreeAndFourByteSequenceStartLikeIcu) {
  // Every lead byte from 0xC0 with every second byte, followed by each kind of third byte and by
  // one that is not there.
  const IcuUtf8 icu;
  for (int lead = 0xC0; lead < 256; ++lead) {
    for (int second = 0; second < 256; ++second) {
      for (int third : {-1, int{'z'}, 0x80, 0xBF, 0xC3}) {
        std::string bytes = bytesOf({lead, second});
        if (third >= 0) bytes += bytesOf({third, 0x80, 'z'});
        SCOPED_TRACE(testing::PrintToString(bytes));
        icu.expectDecodesLikeIcu(bytes);
      }
    }
  }
}

TEST(Utf8Conversion, ValidatesAndDecodesPiecesAsAStreamingReaderDoes) {
  std::string bytes;
  for (int i = 0; i < 1000; ++i)
    bytes += "caf\u00E9 \u65E5\u672C \U0001F642 line " + std::to_string(i) + "\n";
  // Pieces of 100 bytes or so, each ending where a sequence ends.
  std::u16string units;
  for (std::size_t at = 0; at < bytes.size();) {
    std::size_t end = std::min(at + 100, bytes.size());
    while (end < bytes.size() && (static_cast<unsigned char>(bytes[end]) & 0xC0) == 0x80) ++end;
    const std::string_view piece = std::string_view(bytes).substr(at, end - at);
    ASSERT_EQ(firstInvalidUtf8Offset(piece), Utf8Decoding::kValid);
    const std::size_t used = units.size();
    units.resize(used + utf16Length(piece));
    EXPECT_EQ(decodeValidUtf8(piece, units.data() + used), units.size() - used);
    at = end;
  }
  EXPECT_EQ(units, decodeUtf8(bytes).text);

  // The offset in the piece that validation names is the one that strict decoding names.
  const std::size_t bad = bytes.find("line", 3000);
  bytes[bad] = '\xC0';
  EXPECT_EQ(firstInvalidUtf8Offset(bytes), bad);
  EXPECT_EQ(decodeUtf8(bytes).errorOffset, bad);
}

TEST(Utf8Conversion, EncodesPiecesCutBetweenCharactersToTheWholeText) {
  const std::u16string text = u"ab\U0001F600\u00E9\xD800z\u20AC\xDC00\U0010FFFF";
  const std::string whole = encodeUtf8(text);
  for (std::size_t cut = 0; cut <= text.size(); ++cut) {
    if (cut > 0 && cut < text.size() && text[cut - 1] == 0xD83D) continue;  // inside 😀
    if (cut > 0 && cut < text.size() && text[cut - 1] == 0xDBFF) continue;  // inside U+10FFFF
    SCOPED_TRACE(testing::Message() << "cut at " << cut);
    std::string pieces(whole.size(), '\0');
    const std::u16string_view view = text;
    const std::size_t first = encodeUtf8(view.substr(0, cut), pieces.data());
    EXPECT_EQ(first + encodeUtf8(view.substr(cut), pieces.data() + first), whole.size());
    EXPECT_EQ(pieces, whole);
  }
}

}  // namespace
}  // namespace textrix
