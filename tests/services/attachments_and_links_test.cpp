#include "services/attachments_and_links.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "host/messages.h"
#include "host/textrix.h"
#include "rich/rtf.h"
#include "rich/rtfd.h"

namespace textrix {
namespace {

std::string fixture(const std::string& name) {
  std::ifstream file(std::string(TEXTRIX_FIXTURES_DIR) + "/" + name, std::ios::binary);
  return std::string(std::istreambuf_iterator<char>(file), {});
}

AttributeDictionary picture(const char* name) {
  AttributeDictionary attributes;
  attributes.setObject(Attachment{name, std::make_shared<const std::string>("PNG")},
                       kAttachmentAttributeName);
  return attributes;
}

AttributeDictionary styled(bool bold, std::optional<Color> color, bool underline,
                           std::optional<std::u16string> link = std::nullopt) {
  AttributeDictionary attributes;
  attributes.setObject(Font{"Times", 12, bold}, kFontAttributeName);
  if (color) attributes.setObject(*color, kForegroundColorAttributeName);
  if (underline) attributes.setObject(kUnderlineStyleSingle, kUnderlineStyleAttributeName);
  if (link) attributes.setObject(Link{*link}, kLinkAttributeName);
  return attributes;
}

constexpr Color kRed{1, 0, 0, 1};

TEST(RemoveLinks, TakesLinkUnderlineAndColourFromTheLinksCharactersOnly) {
  AttributedText text(u"see ", styled(false, std::nullopt, false));
  text.appendString(u"he", styled(false, kLinkColor, true, u"https://a.example"));
  text.appendString(u"re", styled(true, kLinkColor, true, u"https://a.example"));
  text.appendString(u".", styled(false, std::nullopt, false));
  text.appendString(u"red", styled(false, kRed, true));
  text.appendString(u"x", styled(false, kRed, false, u"https://b.example"));
  removeLinks(text);

  AttributedText expected(u"see he", styled(false, std::nullopt, false));
  expected.appendString(u"re", styled(true, std::nullopt, false));
  expected.appendString(u".", styled(false, std::nullopt, false));
  expected.appendString(u"red", styled(false, kRed, true));
  expected.appendString(u"x", styled(false, std::nullopt, false));
  EXPECT_EQ(text, expected);
}

TEST(RemoveAttachments, DeletesAttachmentCharactersThatCarryAnAttachment) {
  const AttributeDictionary onX = picture("x.png");
  AttributedText text(u"a ", {});
  text.appendString(u"\uFFFC", picture("one.png"));
  text.appendString(u" b", {});
  text.appendString(u"\uFFFC", picture("two.png"));
  text.appendString(u"\uFFFC", picture("three.png"));
  text.appendString(u"\uFFFC", {});  // no attachment: stays
  text.appendString(u"x", onX);      // not an attachment character: stays
  removeAttachments(text);

  AttributedText expected(u"a  b\uFFFC", {});
  expected.appendString(u"x", onX);
  EXPECT_EQ(text, expected);

  AttributedText none(u"\uFFFC plain", styled(true, kRed, false));
  const AttributedText before = none;
  removeAttachments(none);
  EXPECT_EQ(none, before);
}

TEST(AttachmentAndLinkServices, LeavePlainTextAsItIs) {
  Textrix provider;
  for (const auto handler :
       {&Textrix::doRemoveAttachmentsService, &Textrix::doRemoveLinksService}) {
    ServicePasteboard pasteboard("request");
    pasteboard.declareTypes({std::string(kStringPboardType)});
    pasteboard.setString(u"a \uFFFC https://x.example", kStringPboardType);
    std::string error;
    (provider.*handler)(pasteboard, "", error);
    EXPECT_EQ(error, "");
    EXPECT_EQ(pasteboard.stringForType(kStringPboardType), u"a \uFFFC https://x.example");
  }
}

TEST(AttachmentAndLinkServices, RemoveAttachmentsWritesRtfdWithoutPicturesAsRtf) {
  Textrix provider;
  ServicePasteboard pasteboard("request");
  pasteboard.declareTypes({std::string(kRTFDPboardType)});
  pasteboard.setData(fixture("attachment.rtfd"), kRTFDPboardType);
  std::string error;
  provider.doRemoveAttachmentsService(pasteboard, "", error);
  EXPECT_EQ(error, "");
  ASSERT_EQ(pasteboard.types(), std::vector<std::string>{std::string(kRTFPboardType)});
  EXPECT_EQ(readRtf(*pasteboard.dataForType(kRTFPboardType)).text.string(), u"A ");

  ServicePasteboard empty("request");
  provider.doRemoveAttachmentsService(empty, "", error);
  EXPECT_EQ(error, kRemoveAttachmentsMessage);
}

TEST(AttachmentAndLinkServices, RemoveLinksKeepsTheTextOfALink) {
  Textrix provider;
  ServicePasteboard pasteboard("request");
  pasteboard.declareTypes({std::string(kRTFPboardType)});
  const std::string rtf = fixture("pandoc_formatted.rtf");
  pasteboard.setData(rtf, kRTFPboardType);
  std::string error;
  provider.doRemoveLinksService(pasteboard, "", error);
  EXPECT_EQ(error, "");
  const AttributedText before = readRtf(rtf).text;
  const AttributedText after = readRtf(*pasteboard.dataForType(kRTFPboardType)).text;
  EXPECT_EQ(after.string(), before.string());
  const std::size_t link = before.string().find(u"link here");
  ASSERT_NE(link, std::u16string::npos);
  ASSERT_NE(before.attributesAtIndex(link).find(kLinkAttributeName), nullptr);
  for (const AttributedText::Run& run : after.runs()) {
    EXPECT_EQ(run.attributes.find(kLinkAttributeName), nullptr);
  }
  EXPECT_EQ(after.attributesAtIndex(link).find(kUnderlineStyleAttributeName), nullptr);
  EXPECT_EQ(after.attributesAtIndex(0), before.attributesAtIndex(0));

  ServicePasteboard empty("request");
  provider.doRemoveLinksService(empty, "", error);
  EXPECT_EQ(error, kRemoveLinksMessage);
}

}  // namespace
}  // namespace textrix
