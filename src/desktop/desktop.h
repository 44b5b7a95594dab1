// The desktop around the provider process: the clipboard that the mail application's double write
// fills, and the alert that a service shows. Each goes through a helper program found on PATH
// (wl-copy or xclip; zenity, kdialog or notify-send) and does without when none is there.
//
//   textrix::Desktop desktop = textrix::Desktop::current();
//   textrix::copyToDesktopClipboard(desktop, textrix::ServicePasteboard::generalPasteboard());
//   textrix::showAlert(desktop, u"Statistics", u"Characters:10\n", log);
#pragma once

#include <functional>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "runtime/pasteboard.h"

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

// Copies the content of the pasteboard's first type to the desktop clipboard: through wl-copy on a
// Wayland display, else through xclip -selection clipboard on an X display. False when neither
// program with its display is there, the pasteboard holds no text, or the program failed.
bool copyToDesktopClipboard(const Desktop& desktop, const ServicePasteboard& pasteboard);

// Shows an alert with a title and a message and returns when it is dismissed: a modal dialog
// (zenity --error, else kdialog --error) when a display is there, else a desktop notification
// (notify-send), else a line "title: message" given to log.
void showAlert(const Desktop& desktop, std::u16string_view title, std::u16string_view message,
               const std::function<void(const std::string&)>& log);

// Shows the message as a desktop notification from Textrix: through org.freedesktop.Notifications
// on the session bus, else through notify-send, else not at all.
void notify(const Desktop& desktop, const std::string& message);

// Runs the program with the arguments and the given standard input, its standard output
// discarded, and waits for it. Its exit status, or -1 when it could not run.
int runProgram(const std::string& program, const std::vector<std::string>& arguments,
               std::string_view input);

// What a program printed on its standard output and its exit status (-1 when it could not run
// or was killed by a signal).
struct ProgramOutput {
  int status = -1;
  std::string output;
};

// Runs the program like runProgram, collecting its standard output; its standard error is the
// caller's. Input and output flow at the same time, so a program that prints before it has read
// everything cannot block.
ProgramOutput runProgramForOutput(const std::string& program,
                                  const std::vector<std::string>& arguments,
                                  std::string_view input);

}  // namespace textrix
