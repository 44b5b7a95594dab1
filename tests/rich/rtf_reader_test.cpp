// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <optional>
#include <string>

#include "rich/rtf.h"
#include "support/files.h"
#include "text/encodings.h"

namespace textrix {
namespace {

AttributedText read(std::string_view rtf, const AttachmentFiles* files = nullptr) {
  RichTextReading reading = readRtf(rtf, files);
  EXPECT_TRUE(reading.ok()) << reading.error.message() << " at " << reading.error.offset;
  return reading.text;
}

// The range of the run of attributes around the first occurrence of word.
Range runAround(const AttributedText& text, std::u16string_view word) {
  const std::size_t at = text.string().find(word);
  EXPECT_NE(at, std::u16string::npos) << encodeUtf8(word);
  if (at == std::u16string::npos) return {};
  Range range;
  text.attributesAtIndex(at, &range, Range{0, text.length()});
  return range;
}

// The attribute of type T under name at index, if there is one.
template <class T>
std::optional<T> at(const AttributedText& text, std::size_t index, std::string_view name) {
  const T* value = text.attributesAtIndex(index).get<T>(name);
  return value ? std::optional<T>(*value) : std::nullopt;
}

const Font& fontAt(const AttributedText& text, std::u16string_view word) {
  static const Font kNone{"(none)"};
  const Font* font =
      text.attributesAtIndex(runAround(text, word).location).get<Font>(kFontAttributeName);
  return font ? *font : kNone;
}

struct FixtureCase {
  const char* file;
  double headingSize;
  bool hasColors;
  bool emojiInPlace;  // the writer puts the emoji where the source had it
};

class RtfReaderFixtures : public testing::TestWithParam<FixtureCase> {};

TEST_P(RtfReaderFixtures, ReadsCharactersAndRuns) {
  const FixtureCase& c = GetParam();
  const AttributedText text = read(fixture(c.file));
  const std::u16string& s = text.string();
  EXPECT_EQ(s.substr(0, 12), u"Heading One\n");
  EXPECT_NE(
      s.find(u"Greek \u0391\u03BB\u03C6\u03B1, Cyrillic \u041F\u0440\u0438\u0432\u0435\u0442"),
      std::u16string::npos);
  EXPECT_NE(s.find(u"\u6F22\u5B57\u304B\u306A"), std::u16string::npos);
  EXPECT_NE(s.find(c.emojiInPlace ? u"emoji \xD83D\xDE00 end." : u"\xD83D\xDE00"),
            std::u16string::npos);

  EXPECT_EQ(fontAt(text, u"Heading").pointSize, c.headingSize);
  EXPECT_TRUE(fontAt(text, u"Heading").bold);
  EXPECT_EQ(runAround(text, u"bold"), (Range{s.find(u"bold"), 4}));
  EXPECT_TRUE(fontAt(text, u"bold").bold);
  EXPECT_FALSE(fontAt(text, u"bold").italic);
  EXPECT_EQ(runAround(text, u"italic"), (Range{s.find(u"italic"), 6}));
  EXPECT_TRUE(fontAt(text, u"italic").italic);
  EXPECT_FALSE(fontAt(text, u"Plain").bold);

  const std::size_t link = s.find(u"link here");
  EXPECT_EQ(at<Link>(text, link, kLinkAttributeName), Link{u"https://example.com/path?q=1"});
  EXPECT_EQ(at<Link>(text, link - 1, kLinkAttributeName), std::nullopt);
  EXPECT_EQ(runAround(text, u"link here").length, 9u);

  if (c.hasColors) {
    EXPECT_EQ(at<Color>(text, s.find(u"red"), kForegroundColorAttributeName), (Color{1, 0, 0, 1}));
    EXPECT_EQ(at<Color>(text, s.find(u"blue"), kForegroundColorAttributeName), (Color{0, 0, 1, 1}));
    EXPECT_EQ(text.attributesAtIndex(0).find(kForegroundColorAttributeName), nullptr);
  }
}

INSTANTIATE_TEST_SUITE_P(Writers, RtfReaderFixtures,
                         testing::Values(FixtureCase{"libreoffice_formatted.rtf", 24, true, true},
                                         FixtureCase{"pandoc_formatted.rtf", 18, false, true},
                                         FixtureCase{"abiword_formatted.rtf", 17, true, false}));

TEST(RtfReader, ReadsParagraphSpacingOfWordProcessors) {
  const AttributedText text = read(fixture("libreoffice_formatted.rtf"));
  const auto style = at<ParagraphStyle>(text, 0, kParagraphStyleAttributeName);
  const auto body =
      at<ParagraphStyle>(text, text.string().find(u"Plain"), kParagraphStyleAttributeName);
  ASSERT_TRUE(style && body);
  EXPECT_EQ(style->paragraphSpacingBefore, 12);
  EXPECT_EQ(style->paragraphSpacing, 6);
  EXPECT_EQ(body->lineHeightMultiple, 276 / 240.0);
  EXPECT_EQ(body->paragraphSpacing, 18);
}

TEST(RtfReader, DecodesCharactersToUnits) {
  const struct {
    const char* rtf;
    std::u16string_view expected;
  } rows[] = {
      {R"({\rtf1 a\par b\line c\tab d\page e})", u"a\nb\u2028c\td\fe"},
      {"{\\rtf1 a\\\nb\\\r\nc}", u"a\nb\nc"},
      {R"({\rtf1 \emdash\endash\bullet\lquote\rquote\ldblquote\rdblquote\~\-\_})",
       u"\u2014\u2013\u2022\u2018\u2019\u201C\u201D\u00A0\u00AD\u2011"},
      {R"({\rtf1 \\\{\}})", u"\\{}"},
      {"{\\rtf1 line\r\nbreaks\nignored}", u"linebreaksignored"},
      {R"({\rtf1\uc0\u8232 x})", u"\u2028x"},
      {R"({\rtf1 \u-10179?\u-8704?})", u"\xD83D\xDE00"},
      {R"({\rtf1\uc0 \u55357\u56832 })", u"\xD83D\xDE00"},
      {R"({\rtf1\uc2 \u946\'e2\'e2b{\uc1\u947 gc}\u948 xxd})", u"\u03B2b\u03B3c\u03B4d"},
      {R"({\rtf1\uc1\u946{x}})", u"\u03B2x"},
      {R"({\rtf1 \'93q\'94 \'80})", u"\u201Cq\u201D \u20AC"},
      {R"({\rtf1\ansi\ansicpg1251 \'cf\'f0\'e8})", u"\u041F\u0440\u0438"},
      {R"({\rtf1\mac \'a5\'d2})", u"\u2022\u201C"},
      {R"({\rtf1\pc \'82})", u"\u00E9"},
      {R"({\rtf1{\fonttbl{\f0 A;}{\f1\fcharset204 B;}{\f2\fcharset128 C;}})"
       R"(\'e9\f1\'e9\f2\'93\'fa\'96\'7b\'8c\'ea})",
       u"\u00E9\u0439\u65E5\u672C\u8A9E"},
      {R"({\rtf1{\fonttbl{\f0\fcharset128 C;}}\f0 \'82\'a0A})", u"\u3042A"},
      {"{\\rtf1 a\\bin3 }{}b}", u"ab"},
      {R"({\rtf1 a{\*\unknown x{y}z}b{\*\fldinst q}c})", u"abc"},
      {R"({\rtf1{\stylesheet{\s1 Normal;}}{\info{\title T}}{\header h}a})", u"a"},
      {R"({\rtf1 {\field{\*\fldinst PAGE}{\fldrslt 7}}})", u"7"},
      {R"({\rtf1 x{\*\shppict{\pict\wmetafile8 0102}}{\nonshppict{\pict 01}}y})", u"x\uFFFCy"},
      {R"({\rtf1 a}trailing)", u"a"},
  };
  for (const auto& row : rows) EXPECT_EQ(read(row.rtf).string(), row.expected) << row.rtf;
}

TEST(RtfReader, ReadsCocoaStyleTables) {
  const AttributedText text =
      read(R"({\rtf1\ansi\ansicpg1252\cocoartf2761)"
           R"({\fonttbl\f0\fswiss\fcharset0 Helvetica;\f1\fnil\fcharset0 Menlo-Regular;})"
           R"({\colortbl;\red255\green255\blue255;\red0\green128\blue255;})"
           R"({\*\expandedcolortbl;;\cssrgb\c0\c50\c100;})"
           "\n\\pard\\tx560\\pardirnatural\\partightenfactor0\n"
           R"(\f0\fs24 \cf0 a\f1\fs25 \fsmilli12500 \cf2 b})");
  ASSERT_EQ(text.string(), u"ab");
  EXPECT_EQ(at<Font>(text, 0, kFontAttributeName), (Font{"Helvetica", 12}));
  EXPECT_EQ(at<Color>(text, 0, kForegroundColorAttributeName), std::nullopt);
  EXPECT_EQ(at<Font>(text, 1, kFontAttributeName), (Font{"Menlo-Regular", 12.5}));
  EXPECT_EQ(at<Color>(text, 1, kForegroundColorAttributeName), (Color{0, 128 / 255.0, 1, 1}));
}

TEST(RtfReader, AppliesAndResetsCharacterFormatting) {
  const AttributedText text =
      read(R"({\rtf1\deff1{\fonttbl{\f0 Zero;}{\f1 One;}}{\colortbl;\red255\green0\blue0;;})"
           R"(a\f0\fs30\b\i\ul\cf1\cb1 b\b0\i0\ulnone\cf2\highlight9 c\plain d\ul e\ul0 f})");
  ASSERT_EQ(text.string(), u"abcdef");
  EXPECT_EQ(at<Font>(text, 1, kFontAttributeName), (Font{"Zero", 15, true, true}));
  EXPECT_EQ(at<std::int64_t>(text, 1, kUnderlineStyleAttributeName), kUnderlineStyleSingle);
  EXPECT_EQ(at<Color>(text, 1, kBackgroundColorAttributeName), (Color{1, 0, 0, 1}));
  EXPECT_EQ(at<Font>(text, 2, kFontAttributeName), (Font{"Zero", 15}));
  EXPECT_EQ(text.attributesAtIndex(2).size(), 1u)
      << "empty and missing colour entries are automatic";
  EXPECT_EQ(text.attributesAtIndex(3), text.attributesAtIndex(0));
  EXPECT_EQ(at<Font>(text, 3, kFontAttributeName), (Font{"One", 12}));
  EXPECT_NE(text.attributesAtIndex(4).find(kUnderlineStyleAttributeName), nullptr);
  EXPECT_EQ(text.attributesAtIndex(5).find(kUnderlineStyleAttributeName), nullptr);
}

TEST(RtfReader, ReadsParagraphAndDocumentProperties) {
  const RichTextReading reading = readRtf(
      R"({\rtf1\paperw12240\paperh15840\margl1440\margr1800\margt720\margb360 )"
      R"(\pard\qc\li720\fi-360\ri200\sb120\sa240\sl-300\slmult0\slleading40 a\par\pard b})");
  ASSERT_TRUE(reading.ok());
  EXPECT_EQ(reading.documentAttributes, (DocumentAttributes{612.0, 792.0, 72.0, 90.0, 36.0, 18.0}));
  // The paragraph's end carries its style.
  EXPECT_EQ(at<ParagraphStyle>(reading.text, 1, kParagraphStyleAttributeName),
            (ParagraphStyle{TextAlignment::center, 18, 36, -10, 2, 12, 6, 0, 15, 15}));
  EXPECT_EQ(reading.text.attributesAtIndex(2).find(kParagraphStyleAttributeName), nullptr);
}

TEST(RtfReader, GivesALinkFieldsResultTheUrl) {
  const struct {
    const char* field;
    std::u16string_view url;
  } rows[] = {
      {R"({\field{\*\fldinst{HYPERLINK "http://a.b/"}}{\fldrslt{\ul link}}})", u"http://a.b/"},
      {R"({\field{\*\fldinst HYPERLINK "http://a.b/" }{\fldrslt link}})", u"http://a.b/"},
      {R"({\field{\*\fldinst { hyperlink http://x/ }}{\*\fldrslt link}})", u"http://x/"},
      {R"({\field{\*\fldinst{HYPERLINK "doc.html" \\l "part" \\o "tip"}}{\fldrslt link}})",
       u"doc.html#part"},
      {R"({\field{\*\fldinst{HYPERLINK \\l "top"}}{\fldrslt link}})", u"#top"},
      {R"({\field{\*\fldinst{HYPERLINK "q\\"u\\\\o"}}{\fldrslt link}})", u"q\"u\\o"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.field);
    const AttributedText text = read(std::string("{\\rtf1 a") + row.field + "b}");
    ASSERT_EQ(text.string(), u"alinkb");
    EXPECT_EQ(at<Link>(text, 1, kLinkAttributeName), Link{std::u16string(row.url)});
    EXPECT_EQ(runAround(text, u"link"), (Range{1, 4}));
  }
}

// A font's name is what its entry in the document's own table says, without line breaks.
TEST(RtfReader, NamesFontsByTheDocumentsTableAlone) {
  const struct {
    const char* rtf;
    std::string family;
  } rows[] = {
      {"{\\rtf1{\\fonttbl{\\f0 Times\\\nNew\\par Roman;}}\\f0 x}", "TimesNewRoman"},
      {R"({\rtf1{\fonttbl{\f0 Times;}}{\field{\*\fldinst{\fonttbl{\f0 Courier;}} X}{\fldrslt r}})"
       R"(\f0 x})",
       "Times"},
      {R"({\rtf1{\fonttbl{\f0 Times;}}{\pict{\fonttbl{\f0 Courier;}}0102}\f0 x})", "Times"},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.rtf);
    const AttributedText text = read(row.rtf);
    ASSERT_EQ(text.string().back(), u'x');
    EXPECT_EQ(at<Font>(text, text.length() - 1, kFontAttributeName).value().family, row.family);
  }
}

// A result belongs to the field whose group holds it: one that a broken document puts after its
// field closed, or deeper, is ordinary text.
TEST(RtfReader, GivesNoLinkToAResultOutsideItsField) {
  const char* const rows[] = {
      R"({\rtf1 {\field{\*\fldinst{HYPERLINK "http://a.b/"}}}{\fldrslt link}})",
      R"({\rtf1 {\field{\*\fldinst{HYPERLINK "http://a.b/"}}{\b{\fldrslt link}}}})",
  };
  for (const char* rtf : rows) {
    SCOPED_TRACE(rtf);
    const AttributedText text = read(rtf);
    ASSERT_EQ(text.string(), u"link");
    EXPECT_EQ(text.attributesAtIndex(0).find(kLinkAttributeName), nullptr);
  }
}

TEST(RtfReader, ReadsNamedAttachments) {
  AttachmentFiles files;
  files["my picture.png"] = std::make_shared<const std::string>("PNG");
  const AttributedText text = read(
      "{\\rtf1 a{{\\NeXTGraphic my picture.png \\width200 \\height100\n}\xAC}"
      "{{\\NeXTGraphic missing.tiff \\width0 \\height0}\\'ac}b}",
      &files);
  ASSERT_EQ(text.string(), u"a\uFFFC\uFFFCb");
  Attachment expected{"my picture.png", files["my picture.png"]};
  expected.size.width = 200;
  expected.size.height = 100;
  EXPECT_EQ(at<Attachment>(text, 1, kAttachmentAttributeName), expected);
  const Attachment* missing = text.attributesAtIndex(2).get<Attachment>(kAttachmentAttributeName);
  ASSERT_NE(missing, nullptr);
  EXPECT_EQ(missing->fileName, "missing.tiff");
  EXPECT_EQ(*missing->contents, "");
  EXPECT_NE(text.attributesAtIndex(1).find(kFontAttributeName), nullptr);
}

// Every picture format is kept with its bytes, its format and the sizes stated; the picture that
// stands in for another (\nonshppict) is not a second picture.
TEST(RtfReader, ReadsPicturesOfEveryFormatAsAttachments) {
  const AttributedText text =
      read(R"({\rtf1 {\*\shppict{\pict{\*\picprop x}\picw1\pngblip 89504e)"
           "\n"
           R"(470d0a}}{\nonshppict{\pict\wmetafile8 00}}{\pict\jpegblip\bin2 )"
           "\xFF\xD8}{\\pict\\emfblip\\picwgoal300\\pichgoal200\\picscalex50 0102}"
           R"({\pict\wmetafile8\picw1000\pich500 0a}{\pict\dibitmap0 0b}{\pict\macpict 0c})"
           R"({\pict\wbitmap0\wbmbitspixel1\wbmplanes1\wbmwidthbytes2 0d}{\pict\pmmetafile3 0e}})");
  const struct {
    const char* name;
    std::string bytes;
    PictureFormat format;
    std::int32_t parameter;
    AttachmentSize size;
  } expected[] = {
      {"image1.png", "\x89PNG\r\n", PictureFormat::png, 0, {.pictureWidth = 1}},
      {"image2.jpg", "\xFF\xD8", PictureFormat::jpeg, 0, {}},
      {"image3.emf",
       "\x01\x02",
       PictureFormat::emf,
       0,
       {.goalWidth = 300, .goalHeight = 200, .scaleX = 50}},
      {"image4.wmf", "\x0a", PictureFormat::wmf, 8, {.pictureWidth = 1000, .pictureHeight = 500}},
      {"image5.dib", "\x0b", PictureFormat::dib, 0, {}},
      {"image6.pict", "\x0c", PictureFormat::macPict, 0, {}},
      {"image7.ddb",
       "\x0d",
       PictureFormat::ddb,
       0,
       {.bitsPerPixel = 1, .planes = 1, .bytesPerRow = 2}},
      {"image8.met", "\x0e", PictureFormat::os2Metafile, 3, {}},
  };
  ASSERT_EQ(text.length(), std::size(expected));
  for (std::size_t i = 0; i < std::size(expected); ++i) {
    SCOPED_TRACE(expected[i].name);
    const Attachment* picture = text.attributesAtIndex(i).get<Attachment>(kAttachmentAttributeName);
    ASSERT_NE(picture, nullptr);
    EXPECT_EQ(picture->fileName, expected[i].name);
    EXPECT_EQ(*picture->contents, expected[i].bytes);
    EXPECT_EQ(picture->format, expected[i].format);
    EXPECT_EQ(picture->formatParameter, expected[i].parameter);
    EXPECT_EQ(picture->size, expected[i].size);
  }
}

TEST(RtfReader, ReportsFailuresWithKindAndOffset) {
  using enum RichTextErrorKind;
  const struct {
    std::string rtf;
    RichTextErrorKind kind;
    std::size_t offset;
  } rows[] = {
      {"", notRtf, 0},
      {"plain text", notRtf, 0},
      {" {\\rtf1}", notRtf, 0},
      {"{\\rtf1 {\\b x}", unclosedGroup, 13},
      {"{\\rtf1 {\\*\\x {}", unclosedGroup, 15},
      {"{\\rtf1 \\bin99 }", unclosedGroup, 15},
      {"{\\rtf1" + std::string(20000, '{'), tooDeep, 10005},
      {"{\\rtf1{\\*\\x" + std::string(20000, '{'), tooDeep, 10009},
  };
  for (const auto& row : rows) {
    SCOPED_TRACE(row.rtf.substr(0, 20));
    const RichTextReading reading = readRtf(row.rtf);
    EXPECT_EQ(reading.error.kind, row.kind);
    EXPECT_EQ(reading.error.offset, row.offset);
    EXPECT_FALSE(reading.error.message().empty());
  }
}

TEST(RtfReader, ReadsEveryPrefixOfAFixtureOrReportsTheOpenGroup) {
  const std::string rtf = fixture("libreoffice_formatted.rtf");
  for (std::size_t length = 5; length < rtf.size(); ++length) {
    const RichTextReading reading = readRtf(std::string_view(rtf).substr(0, length));
    EXPECT_EQ(reading.error.kind, RichTextErrorKind::unclosedGroup) << length;
  }
}

}  // namespace
}  // namespace textrix
