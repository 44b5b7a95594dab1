// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string_view>

namespace textrix::command {

// textrix pick [SERVICE | --repeat] [--clipboard] [--chooser COMMAND]: applies a service to the
// selected text of any application and leaves the result on the clipboard, for a desktop key
// binding.
//
//   textrix pick                        choose a service in fuzzel, wofi, rofi, dmenu or zenity
//   textrix pick upper --clipboard      the clipboard's text rather than what is selected now
//   textrix pick --repeat               the service that pick applied last, without a chooser
//
// The chooser shows each service's title and summary, those applied lately first (the history of
// runtime/recent_services.h). The selection is read in its richest form (RTF, else UTF-8 text)
// from PRIMARY or CLIPBOARD and sent to the provider on the session bus. The result goes to
// CLIPBOARD only: on X11 this process leaves behind an owner that offers a rich result as RTF and
// as plain text; on Wayland wl-copy offers one type. A service's message becomes a desktop
// notification and changes nothing.
int pick(std::span<const std::string_view> arguments);

}  // namespace textrix::command
