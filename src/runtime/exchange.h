// SPDX-License-Identifier: MIT
// The exchange of text between a service handler and its pasteboard. Every handler reads the
// selection through one of the reading operations and, on success, writes its result with
// writeString, which declares exactly one type: rich text with attachments (RTFD), rich text (RTF)
// or plain text, according to what the result is.
//
//   std::optional<textrix::ServiceText> text = service.getStringOfPboard(pasteboard, true);
//   if (!text) return reportError();
//   transform(*text);
//   service.writeString(*text, pasteboard);
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "rich/rtf.h"
#include "rich/rtfd.h"
#include "runtime/image.h"
#include "runtime/pasteboard.h"
#include "text/attributed_text.h"

namespace textrix {

// The text a handler works on: plain, or attributed when rich text was read.
using ServiceText = std::variant<std::u16string, AttributedText>;

// Where the speech services send speech: the sound device, a WAV file, or the text that would be
// spoken, handed to printText instead of being spoken.
struct SpeechOutput {
  enum class Kind { device, wavFile, printedText };
  Kind kind = Kind::device;
  std::string wavPath;
  std::function<void(std::u16string_view spokenText)> printText;
};

// What the exchange and the services need from the desktop and the process around them: the one
// set of hooks that the command, the provider and the tests fill.
struct ServiceEnvironment {
  // The general pasteboard that the double write for the mail application fills.
  ServicePasteboard* generalPasteboard = &ServicePasteboard::generalPasteboard();
  // Called with the general pasteboard each time the double write has written it, to hand it on
  // to the desktop clipboard.
  std::function<void(const ServicePasteboard&)> publishGeneralPasteboard =
      [](const ServicePasteboard&) {};
  // The name of the application that made the current request (empty when unknown).
  std::function<std::string()> activeApplicationName = [] { return std::string(); };
  // Where the exchange's one log message goes; the system log by default.
  std::function<void(const std::string&)> log = logToSystem;
  // Shows a modal alert with a title and a message and returns when it is dismissed: the command
  // prints it, the provider shows a dialog.
  std::function<void(std::u16string_view title, std::u16string_view message)> runAlertPanel =
      [](std::u16string_view, std::u16string_view) {};
  // Asks the process to end once the current request is answered.
  std::function<void()> terminate = [] {};
  SpeechOutput speechOutput;
  // The conversions of attributed text to RTF and to flat RTFD; either may throw.
  std::function<std::string(const AttributedText&)> rtfFromText = [](const AttributedText& text) {
    return writeRtf(text);
  };
  std::function<std::string(const AttributedText&)> rtfdFromText = [](const AttributedText& text) {
    return writeRtfd(text);
  };

  static void logToSystem(const std::string& message);
};

class Service {
 public:
  explicit Service(ServiceEnvironment environment = {});
  virtual ~Service() = default;
  Service(const Service&) = delete;
  Service& operator=(const Service&) = delete;

  // The selection: the first of RTFD, RTF and plain string that the pasteboard declares and
  // yields. Rich text is returned attributed when attributed is set, else as its characters. A
  // failed rich-text parse falls back to the plain string, never to the next rich type. None when
  // there is no text. The document attributes of rich text go to documentAttributes when given
  // (reset to empty first).
  std::optional<ServiceText> getStringOfPboard(const ServicePasteboard& pasteboard, bool attributed,
                                               DocumentAttributes* documentAttributes) const;
  std::optional<ServiceText> getStringOfPboard(const ServicePasteboard& pasteboard,
                                               bool attributed) const;
  // The selection read with attributes, as a copy the handler may edit.
  std::optional<ServiceText> getMutableStringOfPboard(const ServicePasteboard& pasteboard) const;
  // A copy of the object for the caller to own, or none when there is no object.
  static std::optional<ServiceText> mutableCopyOfPboardString(const ServiceText* object);

  // Writes a result onto the pasteboard; a request from the mail application on any pasteboard but
  // the general one also leaves the result on the general pasteboard, where that application reads
  // it. No result writes nothing.
  void writeString(std::optional<ServiceText> result, ServicePasteboard& pasteboard) const;
  // One write: attributed text as RTFD when it holds an attachment, else as RTF; plain text as
  // plain. Declares exactly that one type. A failed conversion is logged and writes nothing.
  void _writeString(ServiceText result, ServicePasteboard& pasteboard) const;

  // The first image of the TIFF, PICT and PDF types that the pasteboard declares, or none. Only
  // TIFF is decoded here; the other two give none.
  std::optional<Image> getImageOfPboard(const ServicePasteboard& pasteboard) const;
  // Declares the TIFF type and stores the image's LZW-compressed TIFF under the plain-string type,
  // not under the TIFF type: readers of an image written here take its bytes from the plain-string
  // entry, so the pairing stays.
  void writeImage(const Image& image, ServicePasteboard& pasteboard) const;

  // What the service needs from the desktop around it.
  const ServiceEnvironment& environment() const { return environment_; }

 private:
  bool isMailRequestOffGeneralPasteboard(const ServicePasteboard& pasteboard) const;
  void logConversionFailure(std::string_view exceptionName, std::string_view reason) const;

  ServiceEnvironment environment_;
};

}  // namespace textrix
