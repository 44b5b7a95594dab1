#include <gtest/gtest.h>

#include <string>

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
  EXPECT_TRUE(readBack(writing).text == text);
}

}  // namespace
}  // namespace textrix
