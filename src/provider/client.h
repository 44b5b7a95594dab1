// SPDX-License-Identifier: MIT
// The client of the provider on the session bus: one Perform request sent and its answer read,
// each content marshalled in one call each way (provider/bus_pasteboard.h). textrix call and
// textrix pick send their requests through it. A request larger than the provider takes is refused
// here, before anything is sent; an alert the service raises comes back to the client, which shows
// it where its user is.
//
//   textrix::ProviderReply reply = textrix::performOnProvider("upper", request, "Mail");
//   if (reply.failure) report(reply.failure->description());
//   else if (reply.panel) show(reply.panel->title, reply.panel->message);  // statistics
//   else if (!reply.error.empty()) report(reply.error);   // the service's message
//   else use(reply.pasteboard);                            // {{"NSStringPboardType", "ABC"}}
#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "provider/bus_adaptor.h"
#include "provider/requests.h"

namespace textrix {

// Why a request got no answer.
struct ProviderFailure {
  // The problem the provider refused the request for, or failed with (internal); none when the bus
  // or the provider could not be reached.
  std::optional<RequestProblem> problem;
  std::string message;  // the bus error's

  // Whether the provider refused the request itself (its service, types, text, size or options),
  // rather than failing or being out of reach.
  bool refused() const;
  // The failure as the user reads it: "cannot reach the provider org.textrix.Textrix: ...", "the
  // provider failed: ...", or the provider's reason for refusing.
  std::string description() const;
};

// An alert panel that the service raised, as UTF-8: its title and its message.
struct ProviderPanel {
  std::string title;
  std::string message;
};

// The answer to a request: a failure, or what the service left on the pasteboard (empty when it
// wrote nothing), its message (empty on success) and the alert panel it raised, if any.
struct ProviderReply {
  std::optional<ProviderFailure> failure;
  BusPasteboard pasteboard;
  std::string error;
  std::optional<ProviderPanel> panel;
};

// The number of bytes of all the pasteboard's contents together.
std::size_t contentBytes(const BusPasteboard& pasteboard);
// The refusal of a selection larger than the provider takes (kMaxSelectionBytes): "the selection
// is larger than 32 MiB, more than the provider takes".
ProviderFailure selectionTooLarge();

// Calls Perform through provider, a proxy of the provider's object, with the application option
// when it is not empty and the panel option "return", and waits up to five minutes for the answer:
// long enough for an older provider that shows the alert itself and waits for the user to dismiss
// it. A request of more than kMaxSelectionBytes is refused with selectionTooLarge, unsent.
ProviderReply performOnProvider(sdbus::IProxy& provider, std::string_view service,
                                const BusPasteboard& request, std::string_view application);
// The same over a new connection to the session bus, which starts the provider when needed.
ProviderReply performOnProvider(std::string_view service, const BusPasteboard& request,
                                std::string_view application);

}  // namespace textrix
