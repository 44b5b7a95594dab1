// SPDX-License-Identifier: MIT
#include "runtime/pasteboard.h"

#include <gtest/gtest.h>

namespace textrix {
namespace {

TEST(ServicePasteboard, DeclaringTypesEmptiesThePasteboard) {
  ServicePasteboard pasteboard("request");
  pasteboard.declareTypes({std::string(kStringPboardType)});
  pasteboard.setString(u"old", kStringPboardType);
  pasteboard.declareTypes({std::string(kRTFPboardType)});
  EXPECT_EQ(pasteboard.types(), std::vector<std::string>{std::string(kRTFPboardType)});
  EXPECT_FALSE(pasteboard.stringForType(kStringPboardType));
}

TEST(ServicePasteboard, KeepsBytesAndStringsApart) {
  ServicePasteboard pasteboard;
  pasteboard.declareTypes({std::string(kStringPboardType), std::string(kRTFPboardType)});
  pasteboard.setString(u"text", kStringPboardType);
  pasteboard.setData("{\\rtf1 x}", kRTFPboardType);
  pasteboard.setData("{\\rtf1 y}", kRTFPboardType);
  EXPECT_EQ(pasteboard.stringForType(kStringPboardType), u"text");
  EXPECT_FALSE(pasteboard.dataForType(kStringPboardType));
  EXPECT_EQ(pasteboard.dataForType(kRTFPboardType), "{\\rtf1 y}");
  EXPECT_FALSE(pasteboard.stringForType(kRTFPboardType));
}

}  // namespace
}  // namespace textrix
