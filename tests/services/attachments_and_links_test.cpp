#include "services/attachments_and_links.h"

#include <gtest/gtest.h>

#include <fstream>
#include <iterator>
#include <memory>
#include <string>

#include "rich/rtf.h"
#include "services/messages.h"
#include "services/textrix.h"
#include "support/perform.h"

namespace textrix {
namespace {

using testing_services::perform;

AttributeDictionary styled(bool bold, std::optional<Color> color, bool underline,
                           std::optional<std::u16string> link = std::nullopt) {
  AttributeDictionary attributes;
  attributes.setObject(Font{"Times", 12, bold}, kFontAttributeName);
  if (color) attributes.setObject(*color, kForegroundColorAttributeName);
  if (underline) attributes.setObject(kUnderlineStyleSingle, kUnderlineStyleAttributeName);
  if (link) attributes.setObject(Link{*link}, kLinkAttributeName);
  return attributes;
}

AttributeDictionary attachment(const char* name) {
  AttributeDictionary attributes;
  attributes.setObject(Attachment{name, std::make_shared<const std::string>("PNG")},
                       kAttachmentAttributeName);
  return attributes;
}

constexpr Color kRed{1, 0, 0, 1};

TEST(RemoveLinks, TakesLinkUnderlineAndColourFromTheLinksCharactersOnly) {
  AttributedText text(u"see ", styled(false, std::nullopt, false));
  text.appendString(u"he", styled(false, kLinkColor, true, u"https://a.example"));
  text.appendString(u"re", styled(true, kLinkColor, true, u"https://a.example"));
  text.appendString(u". ", styled(false, std::nullopt, false));
  text.appendString(u"red", styled(false, kRed, true));
  removeLinks(text);
  AttributedText expected(u"see he", styled(false, std::nullopt, false));
  expected.appendString(u"re", styled(true, std::nullopt, false));
  expected.appendString(u". ", styled(false, std::nullopt, false));
  expected.appendString(u"red", styled(false, kRed, true));
  EXPECT_EQ(text, expected);
}

TEST(RemoveAttachments, DeletesAttachmentCharactersThatCarryAnAttachment) {
  const AttributeDictionary onX = attachment("x.png");
  AttributedText text(u"a ");
  text.appendString(u"\uFFFC", attachment("one.png"));
  text.appendString(u" b", {});
  text.appendString(u"\uFFFC", attachment("two.png"));
  text.appendString(u"\uFFFC", attachment("three.png"));
  text.appendString(u"\uFFFC", {});  // no attachment: stays
  text.appendString(u"x", onX);      // not an attachment character: stays
  removeAttachments(text);
  AttributedText expected(u"a  b\uFFFC");
  expected.appendString(u"x", onX);
  EXPECT_EQ(text, expected);
}

TEST(AttachmentAndLinkServices, CleanRichTextAndLeavePlainTextAsItIs) {
  std::ifstream rtfd(TEXTRIX_FIXTURES_DIR "/attachment.rtfd", std::ios::binary);
  AttributedText link(u"a ");
  link.appendString(u"link", styled(false, kLinkColor, true, u"https://a.example"));
  struct Case {
    std::string_view handler;
    std::string_view message;
    std::string_view richType;
    std::string rich;
    std::u16string_view expected;
  };
  const Case cases[] = {
      {"remove-attachments", kRemoveAttachmentsMessage, kRTFDPboardType,
       std::string(std::istreambuf_iterator<char>(rtfd), {}), u"A "},
      {"remove-links", kRemoveLinksMessage, kRTFPboardType, writeRtf(link), u"a link"},
  };
  Textrix provider;
  for (const Case& test : cases) {
    SCOPED_TRACE(test.message);
    std::string error;
    ServicePasteboard rich("request");
    rich.declareTypes({std::string(test.richType)});
    rich.setData(test.rich, test.richType);
    perform(provider, test.handler, rich, error);
    EXPECT_EQ(error, "");
    ASSERT_EQ(rich.types(), std::vector<std::string>{std::string(kRTFPboardType)});
    const AttributedText result = readRtf(*rich.dataForType(kRTFPboardType)).text;
    EXPECT_EQ(result.string(), test.expected);
    for (const AttributedText::Run& run : result.runs()) {
      EXPECT_EQ(run.attributes.find(kLinkAttributeName), nullptr);
      EXPECT_EQ(run.attributes.find(kUnderlineStyleAttributeName), nullptr);
    }

    ServicePasteboard plain("request");
    plain.declareTypes({std::string(kStringPboardType)});
    plain.setString(u"a \uFFFC https://x.example", kStringPboardType);
    perform(provider, test.handler, plain, error);
    EXPECT_EQ(plain.stringForType(kStringPboardType), u"a \uFFFC https://x.example");

    ServicePasteboard empty("request");
    perform(provider, test.handler, empty, error);
    EXPECT_EQ(error, test.message);
  }
}

}  // namespace
}  // namespace textrix
