// SPDX-License-Identifier: MIT
#include "text/attributes.h"

#include <gtest/gtest.h>

namespace textrix {
namespace {

TEST(AttributeDictionary, KeepsOneValuePerNameInNameOrder) {
  AttributeDictionary attributes;
  attributes.setObject(Color{1, 0, 0, 1}, kForegroundColorAttributeName);
  attributes.setObject(Font{"Times", 12}, kFontAttributeName);
  attributes.setObject(Color{0, 1, 0, 1}, kForegroundColorAttributeName);
  ASSERT_EQ(attributes.size(), 2u);
  EXPECT_EQ(attributes.begin()->name, kForegroundColorAttributeName);  // "NSColor" < "NSFont"
  EXPECT_EQ(*attributes.get<Color>(kForegroundColorAttributeName), (Color{0, 1, 0, 1}));
  EXPECT_EQ(attributes.get<Font>(kForegroundColorAttributeName), nullptr);  // wrong type
  EXPECT_EQ(attributes.find(kLinkAttributeName), nullptr);
}

TEST(AttributeDictionary, ChangingACopyLeavesTheOriginal) {
  AttributeDictionary original;
  original.setObject(std::int64_t{1}, kUnderlineStyleAttributeName);
  AttributeDictionary copy = original;
  copy.removeObject(kUnderlineStyleAttributeName);
  copy.setOrRemoveObject(Link{u"x"}, kLinkAttributeName);
  EXPECT_EQ(original.size(), 1u);
  EXPECT_NE(original.find(kUnderlineStyleAttributeName), nullptr);
  EXPECT_EQ(copy.size(), 1u);
  copy.setOrRemoveObject(std::nullopt, kLinkAttributeName);
  EXPECT_TRUE(copy.empty());
  EXPECT_EQ(copy, AttributeDictionary());
}

TEST(AttributeDictionary, AddingEntriesReplacesSharedNames) {
  AttributeDictionary base;
  base.setObject(Color{}, kForegroundColorAttributeName);
  base.setObject(std::int64_t{1}, kUnderlineStyleAttributeName);
  AttributeDictionary more;
  more.setObject(std::int64_t{2}, kUnderlineStyleAttributeName);
  more.setObject(Link{u"u"}, kLinkAttributeName);
  base.addEntriesFromDictionary(more);
  EXPECT_EQ(base.size(), 3u);
  EXPECT_EQ(*base.get<std::int64_t>(kUnderlineStyleAttributeName), 2);
  AttributeDictionary empty;
  empty.addEntriesFromDictionary(more);
  EXPECT_EQ(empty, more);
}

TEST(AttributeDictionary, EqualityComparesValuesAndAttachmentsByIdentity) {
  const auto holding = [](std::shared_ptr<const std::string> bytes) {
    AttributeDictionary attributes;
    attributes.setObject(Attachment{"x.gif", std::move(bytes)}, kAttachmentAttributeName);
    return attributes;
  };
  const auto bytes = std::make_shared<const std::string>("GIF89a");
  EXPECT_EQ(holding(bytes), holding(bytes));
  EXPECT_NE(holding(bytes), holding(std::make_shared<const std::string>(*bytes)));
}

// Equal dictionaries built apart share one list once interned, and a change of an interned one
// leaves the shared list as it was.
TEST(AttributeDictionary, InterningSharesOneListPerContents) {
  const auto red = [] {
    AttributeDictionary attributes;
    attributes.setObject(Color{1, 0, 0, 1}, kForegroundColorAttributeName);
    attributes.setObject(Font{"Times", 12}, kFontAttributeName);
    return attributes;
  };
  const AttributeDictionary first = red().interned();
  const AttributeDictionary second = red().interned();
  EXPECT_EQ(first.begin(), second.begin());
  AttributeDictionary changed = second;
  changed.setObject(0.0, kKernAttributeName);
  EXPECT_EQ(first.size(), 2u);
  EXPECT_NE(changed.interned().begin(), first.begin());
  AttributeDictionary negativeZero = red();
  negativeZero.setObject(-0.0, kKernAttributeName);
  EXPECT_EQ(negativeZero.interned().begin(), changed.interned().begin());
  EXPECT_TRUE(AttributeDictionary().interned().empty());
}

}  // namespace
}  // namespace textrix
