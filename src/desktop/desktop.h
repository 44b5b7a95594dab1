// SPDX-License-Identifier: MIT
// The desktop around the provider process: the clipboard that the mail application's double write
// fills, and the alert that a service shows. Each goes through a helper program found on PATH
// (wl-copy or xclip; zenity, kdialog or notify-send) and does without when none is there. The
// programs run through util/child_process.h, which this header brings to its callers.
//
//   textrix::Desktop desktop = textrix::Desktop::current();
//   textrix::copyToDesktopClipboard(desktop, textrix::ServicePasteboard::generalPasteboard());
//   textrix::showAlert(desktop, u"Statistics", u"Characters:10\n", log);
//   textrix::notifyInformation(desktop, "Statistics", "Characters:10\n");
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "desktop/x11_selection.h"
#include "runtime/pasteboard.h"
#include "util/child_process.h"

namespace textrix {

// Where the helper programs are looked for and which display is there.
struct Desktop {
  std::string path;            // directories separated by ':', as $PATH
  std::string waylandDisplay;  // $WAYLAND_DISPLAY; empty without a Wayland display
  std::string xDisplay;        // $DISPLAY; empty without an X display

  // The desktop of this process, from its environment.
  static Desktop current();
  bool hasDisplay() const { return !waylandDisplay.empty() || !xDisplay.empty(); }
  // The executable file name in one of the path's directories, or none.
  std::optional<std::string> findProgram(std::string_view name) const;
};

// The MIME type under which the desktop clipboard offers a pasteboard type:
// text/plain;charset=utf-8, text/rtf or application/x-rtfd; none for the others.
std::optional<std::string_view> mimeTypeOfPasteboardType(std::string_view type);

// What the desktop clipboard offers for a content of the pasteboard type (text, RTF or RTFD): the
// content under its MIME type and, for rich text that reads, its characters; UTF-8 text under both
// of its names (text/plain;charset=utf-8 and UTF8_STRING), so that every kind of reader finds it.
std::vector<SelectionContent> clipboardContents(std::string_view type, std::string content);

// Copies the content of the pasteboard's first type to the desktop clipboard: on a Wayland display
// as clipboardContents offers it, through the compositor's data-control protocol, else through
// wl-copy; else through xclip -selection clipboard on an X display. False when none of them with
// its display is there, the pasteboard holds no text, or the program failed.
bool copyToDesktopClipboard(const Desktop& desktop, const ServicePasteboard& pasteboard);

// Shows an alert with a title and a message and returns when it is dismissed: a modal information
// dialog (zenity --info, else kdialog --msgbox) when a display is there, else a desktop
// notification of normal urgency (notify-send), else a line "title: message" given to log. The
// alerts are what a service reports (statistics), never errors, and are shown as such.
void showAlert(const Desktop& desktop, std::u16string_view title, std::u16string_view message,
               const std::function<void(const std::string&)>& log);

// Shows the message as a desktop notification from Textrix: through org.freedesktop.Notifications
// on the session bus, else through notify-send, else not at all.
void notify(const Desktop& desktop, const std::string& message);
// Shows an information notification from Textrix with the summary and the body, of normal urgency
// with the information icon: the way an alert panel reaches a user without a dialog.
void notifyInformation(const Desktop& desktop, const std::string& summary, const std::string& body);

}  // namespace textrix
