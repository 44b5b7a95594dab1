// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "rich/rtf.h"
#include "support/files.h"

namespace textrix {
namespace {

using namespace std::string_literals;

RichTextReading readBack(const RtfWriting& writing) {
  RichTextReading reading = readRtf(writing.rtf, &writing.attachments);
  EXPECT_TRUE(reading.ok()) << reading.error.message() << "\n" << writing.rtf;
  return reading;
}

class RtfWriterFixtures : public testing::TestWithParam<const char*> {};

TEST_P(RtfWriterFixtures, WritesWhatReadsBackTheSame) {
  const RichTextReading original = readRtf(fixture(GetParam()));
  ASSERT_TRUE(original.ok());
  const RichTextReading again =
      readBack(writeRtfWithAttachments(original.text, &original.documentAttributes));
  EXPECT_TRUE(again.text == original.text);
  EXPECT_EQ(again.documentAttributes, original.documentAttributes);
}

INSTANTIATE_TEST_SUITE_P(Writers, RtfWriterFixtures,
                         testing::Values("libreoffice_formatted.rtf", "pandoc_formatted.rtf",
                                         "abiword_formatted.rtf"));

// Written as RTF alone, the pictures go back inline and every attribute reads back the same.
TEST(RtfWriterFixtures, KeepPicturesInRtfAlone) {
  const RichTextReading original = readRtf(fixture("word_processor_effects.rtf"));
  ASSERT_TRUE(original.ok());
  ASSERT_TRUE(original.text.containsAttachments());
  const RichTextReading again = readRtf(writeRtf(original.text, &original.documentAttributes));
  ASSERT_TRUE(again.ok());
  ASSERT_EQ(again.text.string(), original.text.string());
  const std::vector<AttributedText::Run> before = original.text.runs();
  const std::vector<AttributedText::Run> after = again.text.runs();
  ASSERT_EQ(before.size(), after.size());
  for (std::size_t i = 0; i < before.size(); ++i) {
    AttributeDictionary expected = before[i].attributes;
    if (const Attachment* picture = expected.get<Attachment>(kAttachmentAttributeName)) {
      const Attachment* read = after[i].attributes.get<Attachment>(kAttachmentAttributeName);
      ASSERT_NE(read, nullptr);
      EXPECT_EQ(*read->contents, *picture->contents);
      Attachment same = *picture;
      same.contents = read->contents;
      expected.setObject(same, kAttachmentAttributeName);
    }
    EXPECT_EQ(after[i].range, before[i].range);
    EXPECT_TRUE(after[i].attributes == expected) << i;
  }
}

struct ControlCase {
  std::u16string_view characters;
  const char* written;  // the body as written, after the header
};

class RtfWriterCharacters : public testing::TestWithParam<ControlCase> {};

TEST_P(RtfWriterCharacters, WritesOneControlWordPerCharacter) {
  const AttributedText text(GetParam().characters, {});
  const std::string rtf = writeRtf(text);
  const std::string body = rtf.substr(rtf.find("\\pard"));
  EXPECT_EQ(body, std::string("\\pard") + GetParam().written + "}\n");
  EXPECT_EQ(readRtf(rtf).text.string(), GetParam().characters);
}

INSTANTIATE_TEST_SUITE_P(
    Cases, RtfWriterCharacters,
    testing::Values(ControlCase{u"a\nb", " a\\par\n\\pard b"},
                    ControlCase{u"a\u2028b\tc\fd", " a\\line b\\tab c\\page d"},
                    ControlCase{u"\\{x}", "\\\\\\{x\\}"},
                    ControlCase{u"\u2029\u00E91", "\\u8233\\u233 1"},
                    ControlCase{u"\xD83D\xDE00\xFFFF", "\\u-10179\\u-8704\\u-1"},
                    ControlCase{u"\r\x01", "\\u13\\u1"}));

AttributeDictionary attributes(Font font, std::optional<Color> foreground = {},
                               std::optional<Color> background = {}) {
  AttributeDictionary result;
  result.setObject(std::move(font), kFontAttributeName);
  result.setOrRemoveObject(foreground, kForegroundColorAttributeName);
  result.setOrRemoveObject(background, kBackgroundColorAttributeName);
  return result;
}

TEST(RtfWriter, KeepsFontsColorsUnderlineAndParagraphStyles) {
  AttributedText text;
  text.appendString(u"plain ", attributes(Font{"Times New Roman", 12}));
  text.appendString(u"big",
                    attributes(Font{"Semi;colon \u00C9", 12.5, true}, Color{1, 128 / 255.0, 0}));
  text.appendString(u"odd", attributes(Font{"Times New Roman", 10.3, false, true}, std::nullopt,
                                       Color{0, 0, 128 / 255.0}));
  AttributeDictionary styled = attributes(Font{"Times New Roman", 9});
  styled.setObject(ParagraphStyle{TextAlignment::justified, 10, 20.5, -3, 1, 6, 4, 1.15},
                   kParagraphStyleAttributeName);
  styled.setObject(kUnderlineStyleSingle, kUnderlineStyleAttributeName);
  text.appendString(u"\nstyled\n", styled);
  text.appendString(u"after", attributes(Font{"Times New Roman", 12}));
  EXPECT_TRUE(readBack(writeRtfWithAttachments(text)).text == text);
}

TEST(RtfWriter, WritesLinksAsFieldsThatKeepQuotesInUrls) {
  AttributedText text;
  const AttributeDictionary plain = attributes(Font{"Helvetica", 12});
  AttributeDictionary link = attributes(Font{"Helvetica", 12, true}, Color{0, 0, 1});
  link.setObject(Link{u"http://x/?q=\"a\\b\"&\u00E9"}, kLinkAttributeName);
  text.appendString(u"see ", plain);
  text.appendString(u"this", link);
  text.appendString(u" now", plain);
  const std::string rtf = writeRtf(text);
  EXPECT_NE(rtf.find(R"({\field{\*\fldinst{HYPERLINK "http://x/?q=\\"a\\\\b\\"&\u233"}})"),
            std::string::npos)
      << rtf;
  EXPECT_TRUE(readRtf(rtf).text == text);
}

TEST(RtfWriter, WritesPageLayoutWhenGiven) {
  const DocumentAttributes layout{612, 792, 72, 72.5, std::nullopt, 36};
  const AttributedText text(u"x", attributes(Font{"Helvetica", 12}));
  const std::string rtf = writeRtf(text, &layout);
  EXPECT_NE(rtf.find("\\paperw12240\\paperh15840\\margl1440\\margr1450\\margb720"),
            std::string::npos);
  EXPECT_EQ(readRtf(rtf).documentAttributes, layout);
  EXPECT_EQ(writeRtf(text).find("\\paperw"), std::string::npos);
}

AttributeDictionary attachment(const std::string& name, std::shared_ptr<const std::string> bytes) {
  AttributeDictionary result = attributes(Font{"Helvetica", 12});
  result.setObject(Attachment{name, std::move(bytes)}, kAttachmentAttributeName);
  return result;
}

TEST(RtfWriter, NamesAttachmentFilesUniquelyAndSafely) {
  const std::vector<std::pair<std::string, std::string>> cases = {
      {"a.png", "a.png"},      {"a.png", "a 2.png"},
      {"a.png", "a 3.png"},    {"a/b\0c"s, "a_b_c"},
      {"", "Attachment"},      {"..", "Attachment 2"},
      {"TXT.rtf", "_TXT.rtf"}, {"__@UTF8PreferredName@__", "___@UTF8PreferredName@__"},
      {" pad ", "pad"},        {"README", "README"},
      {"README", "README 2"},
  };
  AttributedText text;
  for (const auto& [name, expected] : cases) {
    text.appendString(u"\uFFFC", attachment(name, std::make_shared<const std::string>(name)));
  }
  const RtfWriting writing = writeRtfWithAttachments(text);
  const RichTextReading again = readBack(writing);
  ASSERT_EQ(again.text.length(), cases.size());
  for (std::size_t i = 0; i < cases.size(); ++i) {
    const Attachment* read =
        again.text.attributesAtIndex(i).get<Attachment>(kAttachmentAttributeName);
    ASSERT_NE(read, nullptr);
    EXPECT_EQ(read->fileName, cases[i].second);
    EXPECT_EQ(*read->contents, cases[i].first);
  }
  EXPECT_EQ(writing.attachments.size(), cases.size());
}

TEST(RtfWriter, WritesPngSizeInTwipsAndSharesOneFileForOneAttachment) {
  std::string png("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x10\0\0\x01\0"s);
  const AttributeDictionary picture = attachment("p.png", std::make_shared<const std::string>(png));
  AttributedText text(u"\uFFFC\uFFFC", picture);
  const RtfWriting writing = writeRtfWithAttachments(text);
  EXPECT_NE(writing.rtf.find("{{\\NeXTGraphic p.png \\width320\\height5120}\\'ac}"),
            std::string::npos)
      << writing.rtf;
  EXPECT_EQ(writing.attachments.size(), 1u);
  const AttributedText again = readBack(writing).text;
  ASSERT_EQ(again.string(), text.string());
  const Attachment* read = again.attributesAtIndex(1).get<Attachment>(kAttachmentAttributeName);
  ASSERT_NE(read, nullptr);
  EXPECT_EQ(read->contents, writing.attachments.at("p.png"));
  EXPECT_EQ(read->size.width, 320);
  EXPECT_EQ(read->size.height, 5120);
}

struct StatedRow {
  const char* words;  // as read, and as the writer writes them back
  std::string_view name;
  AttributeValue value;
};

class RtfStatedAttributes : public testing::TestWithParam<StatedRow> {};

// What a word processor states about characters and paragraphs reads into its attribute and is
// written back with the same words, so that it reads back equal.
TEST_P(RtfStatedAttributes, ReadWriteAndReadBackEqual) {
  const RichTextReading original = readRtf(std::string("{\\rtf1 ") + GetParam().words + " x}");
  ASSERT_TRUE(original.ok());
  const AttributeValue* value = original.text.attributesAtIndex(0).find(GetParam().name);
  ASSERT_NE(value, nullptr);
  EXPECT_TRUE(*value == GetParam().value);
  const std::string rtf = writeRtf(original.text);
  EXPECT_EQ(rtf.substr(rtf.find("\\pard")), std::string("\\pard") + GetParam().words + " x}\n");
  EXPECT_TRUE(readRtf(rtf).text == original.text);
}

ParagraphStyle paragraph(std::vector<TabStop> tabs, WritingDirection direction = {},
                         int headerLevel = 0, bool keep = false) {
  ParagraphStyle style;
  style.tabStops = std::move(tabs);
  style.baseWritingDirection = direction;
  style.headerLevel = headerLevel;
  style.keepWithNext = style.keepTogether = keep;
  return style;
}

INSTANTIATE_TEST_SUITE_P(
    Words, RtfStatedAttributes,
    testing::Values(
        StatedRow{"\\strike", kStrikethroughStyleAttributeName, kUnderlineStyleSingle},
        StatedRow{"\\striked1", kStrikethroughStyleAttributeName, kUnderlineStyleDouble},
        StatedRow{"\\super", kSuperscriptAttributeName, std::int64_t{1}},
        StatedRow{"\\sub", kSuperscriptAttributeName, std::int64_t{-1}},
        StatedRow{"\\up6", kBaselineOffsetAttributeName, 3.0},
        StatedRow{"\\dn5", kBaselineOffsetAttributeName, -2.5},
        StatedRow{"\\expndtw-10", kKernAttributeName, -0.5},
        StatedRow{"\\caps", kCapitalsAttributeName, std::int64_t{kAllCapitals}},
        StatedRow{"\\scaps", kCapitalsAttributeName, std::int64_t{kSmallCapitals}},
        StatedRow{"\\v", kHiddenAttributeName, std::int64_t{1}},
        StatedRow{"\\ul", kUnderlineStyleAttributeName, kUnderlineStyleSingle},
        StatedRow{"\\uldb", kUnderlineStyleAttributeName, kUnderlineStyleDouble},
        StatedRow{"\\ulth", kUnderlineStyleAttributeName, kUnderlineStyleThick},
        StatedRow{"\\ulw", kUnderlineStyleAttributeName, kUnderlineStyleSingle | kUnderlineByWord},
        StatedRow{"\\uld", kUnderlineStyleAttributeName,
                  kUnderlineStyleSingle | kUnderlinePatternDot},
        StatedRow{"\\ulwave", kUnderlineStyleAttributeName,
                  kUnderlineStyleSingle | kUnderlinePatternWave},
        StatedRow{"\\ulthdashdd", kUnderlineStyleAttributeName,
                  kUnderlineStyleThick | kUnderlinePatternDashDotDot},
        StatedRow{"\\tqr\\tldot\\tx720\\tx1440", kParagraphStyleAttributeName,
                  paragraph({{36, TabAlignment::right, TabLeader::dots}, {72}})},
        StatedRow{"\\tqc\\tlhyph\\tx100\\tqdec\\tleq\\tx200\\tlmdot\\tb300\\tlth\\tx400",
                  kParagraphStyleAttributeName,
                  paragraph({{5, TabAlignment::center, TabLeader::hyphens},
                             {10, TabAlignment::decimal, TabLeader::equals},
                             {15, TabAlignment::bar, TabLeader::middleDots},
                             {20, TabAlignment::left, TabLeader::thickLine}})},
        StatedRow{"\\rtlpar", kParagraphStyleAttributeName,
                  paragraph({}, WritingDirection::rightToLeft)},
        StatedRow{"\\ltrpar", kParagraphStyleAttributeName,
                  paragraph({}, WritingDirection::leftToRight)},
        StatedRow{"\\outlinelevel0\\keepn\\keep", kParagraphStyleAttributeName,
                  paragraph({}, WritingDirection::natural, 1, true)}));

// Effects end with the words that turn each off, and the reader takes each back to nothing.
TEST(RtfWriter, EndsEachEffectWithItsOwnWord) {
  const RichTextReading original = readRtf(
      "{\\rtf1 {\\striked1\\super\\up4\\expndtw20\\scaps\\v\\ulwave a}"
      "{\\strike\\sub\\dn2\\caps b}c}");
  ASSERT_TRUE(original.ok());
  const std::string rtf = writeRtf(original.text);
  EXPECT_EQ(rtf.substr(rtf.find("\\pard")),
            "\\pard\\ulwave\\striked1\\super\\up4\\expndtw20\\scaps\\v a"
            "\\ulnone\\striked0\\strike\\sub\\dn2\\expndtw0\\scaps0\\caps\\v0 b"
            "\\strike0\\nosupersub\\up0\\caps0 c}\n");
  const AttributedText again = readRtf(rtf).text;
  EXPECT_TRUE(again == original.text);
  EXPECT_EQ(again.runs().back().attributes.size(), 1u);  // the font alone
}

Attachment attachmentAt(const AttributedText& text, std::size_t index) {
  const Attachment* attachment =
      text.attributesAtIndex(index).get<Attachment>(kAttachmentAttributeName);
  return attachment ? *attachment : Attachment{};
}

// A size stated by the document is written back as it was, whatever the picture's pixels; one it
// did not state comes from a picture's desired size, else a PNG's pixels, else 0.
TEST(RtfWriter, WritesAttachmentSizesAsRead) {
  const std::string png("\x89PNG\r\n\x1a\n\0\0\0\rIHDR\0\0\0\x01\0\0\0\x01"s);
  const AttachmentFiles files = {{"pic.png", std::make_shared<const std::string>(png)},
                                 {"photo.jpg", std::make_shared<const std::string>("\xFF\xD8")}};
  const RichTextReading original = readRtf(
      "{\\rtf1 {{\\NeXTGraphic pic.png \\width480 \\height480}\\'ac}"
      "{{\\NeXTGraphic photo.jpg \\width300 \\height200}\\'ac}"
      "{{\\NeXTGraphic pic.png}\\'ac}"
      "{\\pict\\jpegblip\\picwgoal400\\pichgoal300\\picscalex50 ffd8}}",
      &files);
  ASSERT_TRUE(original.ok());
  const RtfWriting writing = writeRtfWithAttachments(original.text);
  for (const char* group : {"{{\\NeXTGraphic pic.png \\width480\\height480}\\'ac}",
                            "{{\\NeXTGraphic photo.jpg \\width300\\height200}\\'ac}",
                            "{{\\NeXTGraphic pic.png \\width20\\height20}\\'ac}",
                            "{{\\NeXTGraphic image1.jpg \\width200\\height300}\\'ac}"}) {
    EXPECT_NE(writing.rtf.find(group), std::string::npos) << group << "\n" << writing.rtf;
  }
  const AttributedText again = readBack(writing).text;
  EXPECT_EQ(attachmentAt(again, 0).size, attachmentAt(original.text, 0).size);
  EXPECT_EQ(attachmentAt(again, 1).size, attachmentAt(original.text, 1).size);
}

// Written as RTF alone, a picture goes back into a picture group with its bytes in hexadecimal,
// its format and its sizes, so that no picture vanishes from a text without a package.
TEST(RtfWriter, WritesPicturesBackAsPictureGroups) {
  const RichTextReading original = readRtf(
      "{\\rtf1 a{\\pict\\wmetafile8\\picw10\\pich20\\picwgoal300\\pichgoal400 0102ff}"
      "{\\pict\\emfblip 00}{\\pict\\wbitmap0\\wbmbitspixel1\\wbmplanes1\\wbmwidthbytes2 0d}b}");
  ASSERT_TRUE(original.ok());
  const std::string rtf = writeRtf(original.text);
  EXPECT_EQ(rtf.substr(rtf.find("\\pard")),
            "\\pard a{\\pict\\wmetafile8\\picw10\\pich20\\picwgoal300\\pichgoal400\n0102ff}"
            "{\\pict\\emfblip\n00}"
            "{\\pict\\wbitmap0\\wbmbitspixel1\\wbmplanes1\\wbmwidthbytes2\n0d}b}\n");
  const AttributedText again = readRtf(rtf).text;
  ASSERT_EQ(again.string(), original.text.string());
  for (std::size_t i = 1; i <= 3; ++i) {
    Attachment read = attachmentAt(again, i);
    const Attachment expected = attachmentAt(original.text, i);
    EXPECT_EQ(*read.contents, *expected.contents);
    read.contents = expected.contents;
    EXPECT_EQ(read, expected);
  }
}

}  // namespace
}  // namespace textrix
