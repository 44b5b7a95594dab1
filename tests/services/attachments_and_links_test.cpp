// SPDX-License-Identifier: MIT
#include "services/attachments_and_links.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>

#include "rich/rtf.h"

namespace textrix {
namespace {

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

}  // namespace
}  // namespace textrix
