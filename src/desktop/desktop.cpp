// SPDX-License-Identifier: MIT
#include "desktop/desktop.h"

#include <sdbus-c++/sdbus-c++.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <map>
#include <memory>

#include "desktop/wayland_clipboard.h"
#include "rich/rtf.h"
#include "rich/rtfd.h"
#include "text/encodings.h"

namespace textrix {
namespace {

std::string environmentVariable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
}

// Sends a notification from Textrix through org.freedesktop.Notifications, else through
// notify-send with its options for the icon and hints, else not at all.
void sendNotification(const Desktop& desktop, const std::string& icon, const std::string& summary,
                      const std::string& body, const std::map<std::string, sdbus::Variant>& hints,
                      std::vector<std::string> notifySendOptions) {
  try {
    std::unique_ptr<sdbus::IConnection> connection = sdbus::createSessionBusConnection();
    std::unique_ptr<sdbus::IProxy> proxy = sdbus::createProxy(
        *connection, "org.freedesktop.Notifications", "/org/freedesktop/Notifications");
    std::uint32_t id = 0;
    proxy->callMethod("Notify")
        .onInterface("org.freedesktop.Notifications")
        .withTimeout(std::chrono::seconds(5))
        .withArguments(std::string("Textrix"), std::uint32_t{0}, icon, summary, body,
                       std::vector<std::string>(), hints, std::int32_t{-1})
        .storeResultsTo(id);
    return;
  } catch (const sdbus::Error&) {
  }
  if (auto notifySend = desktop.findProgram("notify-send")) {
    notifySendOptions.push_back(summary);
    notifySendOptions.push_back(body);
    runProgram(*notifySend, notifySendOptions, {});
  }
}

}  // namespace

Desktop Desktop::current() {
  return {environmentVariable("PATH"), environmentVariable("WAYLAND_DISPLAY"),
          environmentVariable("DISPLAY")};
}

std::optional<std::string> Desktop::findProgram(std::string_view name) const {
  return findProgramOnPath(path, name);
}

std::optional<std::string_view> mimeTypeOfPasteboardType(std::string_view type) {
  if (type == kStringPboardType) return "text/plain;charset=utf-8";
  if (type == kRTFPboardType) return "text/rtf";
  if (type == kRTFDPboardType) return "application/x-rtfd";
  return std::nullopt;
}

std::vector<SelectionContent> clipboardContents(std::string_view type, std::string content) {
  std::optional<std::string> text;
  std::vector<SelectionContent> contents;
  if (type == kRTFPboardType || type == kRTFDPboardType) {
    const RichTextReading reading = type == kRTFPboardType ? readRtf(content) : readRtfd(content);
    if (reading.ok()) text = encodeUtf8(reading.text.string());
    contents.push_back({std::string(*mimeTypeOfPasteboardType(type)), std::move(content)});
  } else {
    text = std::move(content);
  }
  if (text) {
    contents.push_back({"text/plain;charset=utf-8", *text});
    contents.push_back({"UTF8_STRING", std::move(*text)});
  }
  return contents;
}

bool copyToDesktopClipboard(const Desktop& desktop, const ServicePasteboard& pasteboard) {
  if (pasteboard.types().empty()) return false;
  const std::string& type = pasteboard.types().front();
  std::optional<std::string_view> mimeType = mimeTypeOfPasteboardType(type);
  if (!mimeType) return false;
  std::string content;
  if (auto string = pasteboard.stringForType(type)) {
    content = encodeUtf8(*string);
  } else if (auto data = pasteboard.dataForType(type)) {
    content = *data;
  } else {
    return false;
  }
  if (!desktop.waylandDisplay.empty()) {
    // Through the compositor's data-control protocol a rich result is offered as its characters
    // too, which wl-copy, one type per call, cannot.
    if (serveWaylandClipboardInBackground(desktop.waylandDisplay, clipboardContents(type, content))
            .problem.empty()) {
      return true;
    }
    if (auto program = desktop.findProgram("wl-copy")) {
      return runProgram(*program, {"--type", std::string(*mimeType)}, content) == 0;
    }
  }
  if (!desktop.xDisplay.empty()) {
    if (auto program = desktop.findProgram("xclip")) {
      return runProgram(*program, {"-selection", "clipboard", "-t", std::string(*mimeType)},
                        content) == 0;
    }
  }
  return false;
}

void showAlert(const Desktop& desktop, std::u16string_view title, std::u16string_view message,
               const std::function<void(const std::string&)>& log) {
  const std::string title8 = encodeUtf8(title), message8 = encodeUtf8(message);
  if (desktop.hasDisplay()) {
    if (auto zenity = desktop.findProgram("zenity")) {
      if (runProgram(*zenity, {"--info", "--no-markup", "--title", title8, "--text", message8},
                     {}) >= 0) {
        return;
      }
    }
    if (auto kdialog = desktop.findProgram("kdialog")) {
      if (runProgram(*kdialog, {"--title", title8, "--msgbox", message8}, {}) >= 0) return;
    }
  }
  if (auto notifySend = desktop.findProgram("notify-send")) {
    if (runProgram(*notifySend, {"--urgency=normal", title8, message8}, {}) == 0) return;
  }
  log(title8 + ": " + message8);
}

void notify(const Desktop& desktop, const std::string& message) {
  sendNotification(desktop, "", "Textrix", message, {}, {});
}

void notifyInformation(const Desktop& desktop, const std::string& summary,
                       const std::string& body) {
  sendNotification(desktop, "dialog-information", summary, body,
                   {{"urgency", sdbus::Variant(std::uint8_t{1})}},
                   {"--urgency=normal", "--icon=dialog-information"});
}

}  // namespace textrix
