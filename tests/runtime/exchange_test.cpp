// SPDX-License-Identifier: MIT
#include "runtime/exchange.h"

#include <gtest/gtest.h>

#include <memory>
#include <stdexcept>

#include "rich/rtfd.h"
#include "support/pasteboards.h"
#include "text/encodings.h"

namespace textrix {
namespace {

constexpr std::string_view kRtf = "{\\rtf1\\ansi\\paperw12240 from {\\b rtf}}";
constexpr std::u16string_view kRtfCharacters = u"from rtf";

std::string rtfdBytes() {
  RtfdPackage package;
  package.rtf = "{\\rtf1\\ansi from rtfd {{\\NeXTGraphic a.png \\width20 \\height20}\\'ac}}";
  package.attachments.emplace("a.png", std::make_shared<const std::string>("PNG\0bytes"));
  return writeFlatRtfdPackage(package);
}

std::u16string characters(const ServiceText& text) {
  if (const auto* attributed = std::get_if<AttributedText>(&text)) return attributed->string();
  return std::get<std::u16string>(text);
}

struct Offer {
  std::string type;
  std::optional<std::string> bytes;  // stored as bytes, or for the string type as its text
};

ServicePasteboard pasteboardOffering(const std::vector<Offer>& offers) {
  ServicePasteboard pasteboard("request");
  std::vector<std::string> types;
  for (const Offer& offer : offers) types.push_back(offer.type);
  pasteboard.declareTypes(types);
  for (const Offer& offer : offers) {
    if (!offer.bytes) continue;
    if (offer.type == kStringPboardType) {
      pasteboard.setString(utf16FromUtf8(*offer.bytes), offer.type);
    } else {
      pasteboard.setData(*offer.bytes, offer.type);
    }
  }
  return pasteboard;
}

TEST(ServiceReading, PrefersRtfdThenRtfThenThePlainString) {
  const std::string rtfd = rtfdBytes(), rtf(kRtf), D(kRTFDPboardType), R(kRTFPboardType),
                    S(kStringPboardType);
  const std::u16string fromRtf(kRtfCharacters);
  struct Case {
    const char* name;
    std::vector<Offer> offers;
    std::optional<std::u16string> expected;
    bool rich;
  };
  const Case cases[] = {
      {"all three", {{D, rtfd}, {R, rtf}, {S, "plain"}}, u"from rtfd \uFFFC", true},
      {"rtf and string", {{R, rtf}, {S, "plain"}}, fromRtf, true},
      {"string only", {{S, "plain"}}, u"plain", false},
      {"rtfd without bytes", {{D, std::nullopt}, {R, rtf}}, fromRtf, true},
      {"failed rtfd skips rtf", {{D, "not a package"}, {R, rtf}, {S, "plain"}}, u"plain", false},
      {"failed rtf", {{R, "{\\rtf1 unclosed"}, {S, "plain"}}, u"plain", false},
      {"failed rtf, no string", {{R, "{\\rtf1 unclosed"}}, std::nullopt, false},
      {"string declared, nothing stored", {{S, std::nullopt}}, std::nullopt, false},
      {"nothing declared", {}, std::nullopt, false},
  };
  Service service;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    const ServicePasteboard pasteboard = pasteboardOffering(c.offers);
    for (bool attributed : {true, false}) {
      std::optional<ServiceText> text = service.getStringOfPboard(pasteboard, attributed);
      ASSERT_EQ(text.has_value(), c.expected.has_value());
      if (!text) continue;
      EXPECT_EQ(characters(*text), *c.expected);
      EXPECT_EQ(std::holds_alternative<AttributedText>(*text), attributed && c.rich);
    }
  }
}

TEST(ServiceReading, UndeclaredContentIsNotRead) {
  ServicePasteboard pasteboard;
  pasteboard.setString(u"hidden", kStringPboardType);
  EXPECT_FALSE(Service().getStringOfPboard(pasteboard, false));
}

TEST(ServiceReading, FillsDocumentAttributesOnlyFromRichText) {
  Service service;
  DocumentAttributes attributes;
  service.getStringOfPboard(pasteboardOffering({{std::string(kRTFPboardType), std::string(kRtf)}}),
                            true, &attributes);
  EXPECT_EQ(attributes.paperWidth, 612.0);
  service.getStringOfPboard(pasteboardOffering({{std::string(kStringPboardType), "plain"}}), true,
                            &attributes);
  EXPECT_EQ(attributes, DocumentAttributes{});
}

struct Recorder {
  ServicePasteboard general{std::string(kGeneralPboard)};
  std::string application;
  std::vector<std::string> logged;

  ServiceEnvironment environment() {
    ServiceEnvironment environment;
    environment.generalPasteboard = &general;
    environment.activeApplicationName = [this] { return application; };
    environment.log = [this](const std::string& message) { logged.push_back(message); };
    return environment;
  }
};

AttributedText boldText() {
  AttributeDictionary bold;
  bold.setObject(Font{"Helvetica", 12, true}, kFontAttributeName);
  return AttributedText(u"bold", bold);
}

TEST(ServiceWriting, DeclaresExactlyOneTypeForEachKindOfResult) {
  AttributedText withAttachment = boldText();
  AttributeDictionary attachment;
  attachment.setObject(Attachment{"a.bin", std::make_shared<const std::string>("\0\x01bytes", 7)},
                       kAttachmentAttributeName);
  withAttachment.appendString(u"\uFFFC", attachment);
  struct Case {
    const char* name;
    ServiceText result;
    std::string_view type;
  };
  const Case cases[] = {
      {"rich text", boldText(), kRTFPboardType},
      {"rich text with an attachment", withAttachment, kRTFDPboardType},
      {"plain text", std::u16string(u"plain"), kStringPboardType},
      {"empty plain text", std::u16string(), kStringPboardType},
  };
  Service service;
  for (const Case& c : cases) {
    SCOPED_TRACE(c.name);
    ServicePasteboard pasteboard("request");
    service.writeString(c.result, pasteboard);
    EXPECT_EQ(pasteboard.types(), std::vector<std::string>{std::string(c.type)});
    std::optional<ServiceText> back = service.getStringOfPboard(pasteboard, true);
    ASSERT_TRUE(back);
    EXPECT_EQ(characters(*back), characters(c.result));
    EXPECT_EQ(back->index(), c.result.index());
    if (c.type == kRTFDPboardType) {  // the attachment comes back byte for byte
      const Attachment* attachment =
          std::get<AttributedText>(*back).attributesAtIndex(4).get<Attachment>(
              kAttachmentAttributeName);
      ASSERT_TRUE(attachment && attachment->contents);
      EXPECT_EQ(attachment->fileName, "a.bin");
      EXPECT_EQ(*attachment->contents, std::string("\0\x01bytes", 7));
    }
  }
}

TEST(ServiceWriting, MailRequestsAlsoFillTheGeneralPasteboard) {
  struct Case {
    const char* application;
    const char* pasteboardName;
    bool general;
  };
  const Case cases[] = {
      {"Mail", "request", true},
      {"Mail", "NSGeneralPboard", false},
      {"Editor", "request", false},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.application) + " on " + c.pasteboardName);
    Recorder recorder;
    recorder.application = c.application;
    Service service(recorder.environment());
    ServicePasteboard pasteboard(c.pasteboardName);
    service.writeString(ServiceText(u"result"), pasteboard);
    EXPECT_EQ(pasteboard.stringForType(kStringPboardType), u"result");
    EXPECT_EQ(recorder.general.stringForType(kStringPboardType).has_value(), c.general);
  }
}

TEST(ServiceWriting, AFailedConversionIsLoggedAndLeavesThePasteboard) {
  Recorder recorder;
  ServiceEnvironment environment = recorder.environment();
  environment.rtfFromText = [](const AttributedText&) -> std::string {
    throw std::invalid_argument("no RTF for this text");
  };
  Service service(environment);
  ServicePasteboard pasteboard = testing_pasteboards::plainPasteboard(u"before");

  service.writeString(ServiceText(boldText()), pasteboard);

  EXPECT_EQ(pasteboard.stringForType(kStringPboardType), u"before");
  EXPECT_EQ(recorder.logged, std::vector<std::string>{"_writeString:toPboard: (textrix::Service):\n"
                                                      "std::invalid_argument\n"
                                                      "no RTF for this text"});
  // Other thrown objects pass through.
  environment.rtfFromText = [](const AttributedText&) -> std::string { throw 42; };
  EXPECT_THROW(Service(environment).writeString(ServiceText(boldText()), pasteboard), int);
}

TEST(ServiceImages, WritesLzwTiffUnderThePlainStringType) {
  const Image image{2, 1, {255, 0, 0, 255, 0, 0, 255, 255}};
  Service service;
  ServicePasteboard pasteboard;
  service.writeImage(image, pasteboard);
  EXPECT_EQ(pasteboard.types(), std::vector<std::string>{std::string(kTIFFPboardType)});
  EXPECT_FALSE(pasteboard.dataForType(kTIFFPboardType));
  std::optional<std::string_view> tiff = pasteboard.dataForType(kStringPboardType);
  ASSERT_TRUE(tiff);
  EXPECT_EQ(imageFromTiff(*tiff), image);
}

TEST(ServiceImages, ReadsTheFirstPreferredImageType) {
  const Image image{1, 1, {1, 2, 3, 255}};
  const std::string tiff = tiffRepresentationUsingCompression(image, TiffCompression::none, 1.0f);
  Service service;
  EXPECT_EQ(service.getImageOfPboard(pasteboardOffering(
                {{std::string(kPDFPboardType), "%PDF"}, {std::string(kTIFFPboardType), tiff}})),
            image);
  EXPECT_FALSE(
      service.getImageOfPboard(pasteboardOffering({{std::string(kPICTPboardType), "pict"}})));
  EXPECT_FALSE(service.getImageOfPboard(pasteboardOffering({{std::string(kTIFFPboardType), {}}})));
}

}  // namespace
}  // namespace textrix
