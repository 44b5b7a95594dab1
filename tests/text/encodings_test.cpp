#include "text/encodings.h"

#include <gtest/gtest.h>
#include <unicode/utypes.h>

#include <iterator>
#include <string>

namespace textrix {
namespace {

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
}

TEST(Encodings, StartsEachBufferConversionAfresh) {
  // What did not fit into the target last time must not come out at the start of the next call.
  std::size_t written = 0;
  char16_t units[4];
  EXPECT_EQ(convertUTF8ToUnicode("\xF0\x9F\x98\x80", 4, units, 1), U_BUFFER_OVERFLOW_ERROR);
  EXPECT_EQ(convertUTF8ToUnicode("a", 1, units, 4, &written), 0);
  EXPECT_EQ(std::u16string_view(units, written), u"a");
  char bytes[4];
  EXPECT_EQ(convertUnicodeToUTF8(u"\u20AC", 1, bytes, 1), U_BUFFER_OVERFLOW_ERROR);
  EXPECT_EQ(convertUnicodeToUTF8(u"a", 1, bytes, 4, &written), 0);
  EXPECT_EQ(std::string_view(bytes, written), "a");
}

TEST(Encodings, DecodesUtf8StrictlyAndNamesTheFirstInvalidByte) {
  const struct {
    std::string_view bytes;
    std::size_t errorOffset;
    std::u16string_view text;
  } cases[] = {
      {"", Utf8Decoding::kValid, u""},
      {"h\xC3\xA9\xF4\x8F\xBF\xBF", Utf8Decoding::kValid, u"h\u00E9\U0010FFFF"},
      {"\xEF\xBB\xBF"
       "a",
       Utf8Decoding::kValid, u"\uFEFFa"},  // a byte-order mark stays text
      {"ab\x80", 2, u""},
      {"a\xC0\x80", 1, u""},
      {"a\xE0\x80\x80", 1, u""},
      {"a\xF0\x80\x80\x80", 1, u""},
      {"ab\xED\xA0\x80", 2, u""},  // a surrogate
      {"\xF4\x90\x80\x80", 0, u""},
      {"abc\xE2\x82", 3, u""},
      {"a\xE2\x82z", 1, u""},
      {"\xF8\x88\x80\x80\x80", 0, u""},
  };
  for (std::size_t i = 0; i < std::size(cases); ++i) {
    SCOPED_TRACE(testing::Message() << "case " << i);
    const Utf8Decoding decoding = decodeUtf8(cases[i].bytes);
    EXPECT_EQ(decoding.errorOffset, cases[i].errorOffset);
    EXPECT_EQ(decoding.text, cases[i].text);
  }
}

TEST(Encodings, SubstitutesWhatIsNotUnicode) {
  EXPECT_EQ(utf16FromUtf8("a\xFF"
                          "b\xE2\x82z"),
            u"a\uFFFDb\uFFFDz");
  EXPECT_EQ(utf16FromUtf8("\xED\xA0\x80"), u"\uFFFD\uFFFD\uFFFD");
  EXPECT_EQ(encodeUtf8(u"\u00E9\U0001F600"), "\xC3\xA9\xF0\x9F\x98\x80");
  EXPECT_EQ(encodeUtf8(u"a\xD800"
                       u"b\xDC00\xD800"),
            "a\xEF\xBF\xBD"
            "b\xEF\xBF\xBD\xEF\xBF\xBD");
}

TEST(Encodings, EncodesLossilyWithFallbacksOrQuestionMarks) {
  const std::u16string text = u"\u00E9\u20AC\uFF21\u0100\U0001F600";
  EXPECT_EQ(encodeLossy(text, "windows-1252"),
            "\xE9\x80"
            "A??");
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

}  // namespace
}  // namespace textrix
