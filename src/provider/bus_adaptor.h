// SPDX-License-Identifier: MIT
// The provider on the D-Bus session bus: the object /org/textrix/Textrix with the interface
// org.textrix.Textrix1, which a desktop integration (or textrix call) calls under the name
// org.textrix.Textrix.
//
//   Perform(s service, a(say) pasteboard, s userData, a{sv} options)
//       -> (a(say) pasteboard, s error)
//       options: "application" (s), "pasteboard" (s), "panel" (s): "show" (the default) or
//       "return"; with "return", an alert the service raises (statistics) is not shown by the
//       provider but handed back at the end of the reply's pasteboard, as the UTF-8 title under
//       kPanelTitleType and the UTF-8 message under kPanelMessageType.
//   ListServices() -> a(ssasas)      name, handler, send types, return types: the services, then
//                                    the user's actions (handler: the action's file)
//   property Speaking: b, read-only
//
//   std::unique_ptr<sdbus::IConnection> connection = sdbus::createSessionBusConnection();
//   textrix::RequestServer server;
//   textrix::TextrixAdaptor adaptor(*connection, server);
//   connection->requestName(std::string(textrix::kBusName));
//
// A failed request is answered with the bus error of its problem (RequestError::name), never by
// ending the provider. Perform reads the request's pasteboard from the message and writes the
// result's into the reply itself (provider/bus_pasteboard.h). The handlers below the adaptor are
// free functions, so that they run without a bus.
#pragma once

#include <sdbus-c++/sdbus-c++.h>

#include <cstdint>
#include <map>
#include <memory>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "provider/requests.h"

namespace textrix {

inline constexpr std::string_view kBusName = "org.textrix.Textrix";
inline constexpr std::string_view kObjectPath = "/org/textrix/Textrix";
inline constexpr std::string_view kInterfaceName = "org.textrix.Textrix1";

// The alert panel travels in the reply's pasteboard rather than in a new method or a new reply
// argument: the signature of Perform stays what clients already call, and a provider that predates
// the "panel" option ignores it and shows the alert itself, so a new client still gets an answer.
// No request may carry these types (canonicalPasteboardType refuses them), so they are never
// mistaken for a result.
inline constexpr std::string_view kPanelTitleType = "org.textrix.Panel.Title";
inline constexpr std::string_view kPanelMessageType = "org.textrix.Panel.Message";

// The pasteboard of a request and of its answer as a client holds it: a(say).
using BusPasteboard = std::vector<sdbus::Struct<std::string, std::vector<std::uint8_t>>>;
// The options of a request: a{sv}.
using BusOptions = std::map<std::string, sdbus::Variant>;
// One service of ListServices: (ssasas).
using BusServiceDescription =
    sdbus::Struct<std::string, std::string, std::vector<std::string>, std::vector<std::string>>;

// The request options "application" (s), "pasteboard" (s) and "panel" (s: "show" or "return");
// other keys are ignored. Throws the InvalidOption error for any of them with a value that is not a
// string, or for a panel that is neither.
RequestOptions requestOptionsFromBus(const BusOptions& options);

// Perform as the bus calls it, on the request's items. Throws the sdbus::Error of the request's
// problem.
RequestOutcome performOnBus(RequestServer& server, std::string_view service,
                            std::span<const PasteboardItem> pasteboard, std::string_view userData,
                            const BusOptions& options);
// The items a reply carries: the outcome's result, then its alert panel when it has one.
std::vector<OutgoingItem> replyItems(const RequestOutcome& outcome);
// ListServices as the bus calls it.
std::vector<BusServiceDescription> listServicesOnBus(const RequestServer& server);

// The object of the provider on a connection: registered on construction, gone on destruction.
class TextrixAdaptor final {
 public:
  TextrixAdaptor(sdbus::IConnection& connection, RequestServer& server);
  TextrixAdaptor(const TextrixAdaptor&) = delete;
  TextrixAdaptor& operator=(const TextrixAdaptor&) = delete;

 private:
  // Answers a Perform call, or throws the bus error it is answered with.
  void perform(sdbus::MethodCall call);

  RequestServer& server_;
  std::unique_ptr<sdbus::IObject> object_;
};

}  // namespace textrix
