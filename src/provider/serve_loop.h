// SPDX-License-Identifier: MIT
// The provider process: one provider object, the tab width read once, registration on the session
// bus under org.textrix.Textrix, and the keep-alive loop, which serves requests one at a time on
// this thread in slices (30 s) and ends when a slice ends with nothing being spoken.
//
//   textrix::ServeOptions options;
//   options.slice = std::chrono::seconds(1);
//   if (std::optional<std::string> problem = textrix::serveOnSessionBus(options)) report(*problem);
#pragma once

#include <chrono>
#include <functional>
#include <optional>
#include <string>

#include "runtime/exchange.h"

namespace textrix {

// How long a slice lasts unless the process is told otherwise.
inline constexpr std::chrono::milliseconds kDefaultSlice{30'000};

struct ServeOptions {
  std::chrono::milliseconds slice = kDefaultSlice;
  // The desktop around the provider: where the log, the alerts and the general pasteboard go.
  ServiceEnvironment environment;
};

// Runs serveSlice until a slice ends while isSpeaking says no. An exception out of a slice ends the
// loop: its description (what()) goes to log, and the loop returns as after a normal end.
void runKeepAliveLoop(const std::function<void()>& serveSlice,
                      const std::function<bool()>& isSpeaking,
                      const std::function<void(const std::string&)>& log);

// The whole life of the provider on the session bus of $DBUS_SESSION_BUS_ADDRESS: provider, tabs,
// object, name, keep-alive loop, then the name released and the requests already sent to it
// answered. Speech in progress keeps the loop going. Returns the problem when no session bus can
// be reached or the name cannot be had ("a provider is already serving org.textrix.Textrix on
// this bus"), else none once the loop has ended, however it ended.
std::optional<std::string> serveOnSessionBus(const ServeOptions& options);

}  // namespace textrix
