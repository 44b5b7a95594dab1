// SPDX-License-Identifier: MIT
#include "runtime/exchange.h"

#include <cxxabi.h>
#include <syslog.h>

#include <cstdlib>
#include <exception>
#include <memory>
#include <typeinfo>

#include "rich/rtfd.h"
#include "text/encodings.h"
#include "text/mutable_string.h"

namespace textrix {
namespace {

// The application whose requests also leave their result on the general pasteboard.
constexpr std::string_view kMailApplicationName = "Mail";

std::string readableTypeName(const std::type_info& type) {
  int status = 0;
  std::unique_ptr<char, void (*)(void*)> demangled(
      abi::__cxa_demangle(type.name(), nullptr, nullptr, &status), std::free);
  return status == 0 && demangled ? demangled.get() : type.name();
}

std::optional<RichTextReading> readRichText(const ServicePasteboard& pasteboard) {
  if (pasteboard.containsType(kRTFDPboardType)) {
    if (auto bytes = pasteboard.dataForType(kRTFDPboardType)) return readRtfd(*bytes);
  }
  if (pasteboard.containsType(kRTFPboardType)) {
    if (auto bytes = pasteboard.dataForType(kRTFPboardType)) return readRtf(*bytes);
  }
  return std::nullopt;
}

}  // namespace

void ServiceEnvironment::logToSystem(const std::string& message) {
  syslog(LOG_ERR, "%s", message.c_str());
}

Service::Service(ServiceEnvironment environment) : environment_(std::move(environment)) {}

std::optional<ServiceText> Service::getStringOfPboard(
    const ServicePasteboard& pasteboard, bool attributed,
    DocumentAttributes* documentAttributes) const {
  if (documentAttributes) *documentAttributes = {};
  if (std::optional<RichTextReading> rich = readRichText(pasteboard); rich && rich->ok()) {
    if (documentAttributes) *documentAttributes = rich->documentAttributes;
    if (attributed) return ServiceText(std::move(rich->text));
    return ServiceText(rich->text.string());
  }
  if (!pasteboard.containsType(kStringPboardType)) return std::nullopt;
  if (auto string = pasteboard.stringForType(kStringPboardType)) {
    return ServiceText(std::u16string(*string));
  }
  return std::nullopt;
}

std::optional<ServiceText> Service::getStringOfPboard(const ServicePasteboard& pasteboard,
                                                      bool attributed) const {
  return getStringOfPboard(pasteboard, attributed, nullptr);
}

std::optional<ServiceText> Service::getMutableStringOfPboard(
    const ServicePasteboard& pasteboard) const {
  // Every text handed out is already the caller's own copy.
  return getStringOfPboard(pasteboard, true);
}

std::optional<ServiceText> Service::mutableCopyOfPboardString(const ServiceText* object) {
  if (!object) return std::nullopt;
  return *object;
}

void Service::writeString(std::optional<ServiceText> result, ServicePasteboard& pasteboard) const {
  if (!result) return;
  if (isMailRequestOffGeneralPasteboard(pasteboard)) {
    ServicePasteboard& general = *environment_.generalPasteboard;
    const int changeCount = general.changeCount();
    _writeString(*result, general);
    if (general.changeCount() != changeCount) environment_.publishGeneralPasteboard(general);
  }
  _writeString(std::move(*result), pasteboard);
}

void Service::_writeString(ServiceText result, ServicePasteboard& pasteboard) const {
  const auto* attributed = std::get_if<AttributedText>(&result);
  if (!attributed) {
    pasteboard.declareTypes({std::string(kStringPboardType)});
    pasteboard.setString(std::get<std::u16string>(std::move(result)), kStringPboardType);
    return;
  }
  const bool withAttachments = attributed->containsAttachments();
  std::string bytes;
  try {
    bytes = withAttachments ? environment_.rtfdFromText(*attributed)
                            : environment_.rtfFromText(*attributed);
  } catch (const std::exception& exception) {
    logConversionFailure(readableTypeName(typeid(exception)), exception.what());
    return;
  }
  if (bytes.empty()) return;
  const std::string_view type = withAttachments ? kRTFDPboardType : kRTFPboardType;
  pasteboard.declareTypes({std::string(type)});
  pasteboard.setData(std::move(bytes), type);
}

std::optional<Image> Service::getImageOfPboard(const ServicePasteboard& pasteboard) const {
  auto type = pasteboard.availableTypeFromArray({kTIFFPboardType, kPICTPboardType, kPDFPboardType});
  if (!type || *type != kTIFFPboardType) return std::nullopt;
  auto bytes = pasteboard.dataForType(*type);
  if (!bytes) return std::nullopt;
  return imageFromTiff(*bytes);
}

void Service::writeImage(const Image& image, ServicePasteboard& pasteboard) const {
  pasteboard.declareTypes({std::string(kTIFFPboardType)});
  pasteboard.setData(tiffRepresentationUsingCompression(image, TiffCompression::lzw, 1.0f),
                     kStringPboardType);
}

bool Service::isMailRequestOffGeneralPasteboard(const ServicePasteboard& pasteboard) const {
  return pasteboard.name() != kGeneralPboard &&
         environment_.activeApplicationName() == kMailApplicationName;
}

void Service::logConversionFailure(std::string_view exceptionName, std::string_view reason) const {
  const std::u16string message =
      formatString(u"%@ (%@):\n%@\n%@",
                   {u"_writeString:toPboard:", utf16FromUtf8(readableTypeName(typeid(*this))),
                    utf16FromUtf8(exceptionName), utf16FromUtf8(reason)});
  environment_.log(encodeUtf8(message));
}

}  // namespace textrix
