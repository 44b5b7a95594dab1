// SPDX-License-Identifier: MIT
#include "provider/bus_adaptor.h"

#include <exception>

#include "provider/bus_pasteboard.h"

namespace textrix {
namespace {

sdbus::Error busError(const RequestError& error) {
  return sdbus::Error(error.name(), error.message);
}

// Rethrows the exception being handled as what a call is answered with: a bus error as it is,
// anything else (out of memory, most likely) as the Internal error, so that this request fails and
// the provider goes on.
[[noreturn]] void rethrowAsBusError() {
  try {
    throw;
  } catch (const sdbus::Error&) {
    throw;
  } catch (const std::exception& exception) {
    throw busError({RequestProblem::internal, exception.what()});
  }
}

std::string stringOption(const BusOptions& options, const std::string& key) {
  auto found = options.find(key);
  if (found == options.end()) return {};
  if (!found->second.containsValueOfType<std::string>()) {
    throw busError(
        {RequestProblem::invalidOption,
         "the option " + key + " must be a string (s), not " + found->second.peekValueType()});
  }
  return found->second.get<std::string>();
}

}  // namespace

RequestOptions requestOptionsFromBus(const BusOptions& options) {
  const std::string panel = stringOption(options, "panel");
  if (!panel.empty() && panel != "show" && panel != "return") {
    throw busError({RequestProblem::invalidOption,
                    "the option panel must be \"show\" or \"return\", not \"" + panel + "\""});
  }
  return {stringOption(options, "application"), stringOption(options, "pasteboard"),
          panel == "return"};
}

RequestOutcome performOnBus(RequestServer& server, std::string_view service,
                            std::span<const PasteboardItem> pasteboard, std::string_view userData,
                            const BusOptions& options) {
  const RequestOptions requestOptions = requestOptionsFromBus(options);
  RequestOutcome outcome = server.perform(service, pasteboard, userData, requestOptions);
  if (outcome.failure) throw busError(*outcome.failure);
  return outcome;
}

std::vector<OutgoingItem> replyItems(const RequestOutcome& outcome) {
  std::vector<OutgoingItem> items = outgoingItems(outcome.pasteboard);
  if (outcome.panel) {
    items.push_back({kPanelTitleType, outcome.panel->title});
    items.push_back({kPanelMessageType, outcome.panel->message});
  }
  return items;
}

std::vector<BusServiceDescription> listServicesOnBus(const RequestServer& server) {
  try {
    std::vector<BusServiceDescription> services;
    for (ServiceDescription& service : server.listServices()) {
      services.emplace_back(std::move(service.name), std::move(service.handler),
                            std::move(service.sendTypes), std::move(service.returnTypes));
    }
    return services;
  } catch (...) {
    rethrowAsBusError();
  }
}

TextrixAdaptor::TextrixAdaptor(sdbus::IConnection& connection, RequestServer& server)
    : server_(server), object_(sdbus::createObject(connection, std::string(kObjectPath))) {
  const std::string interface(kInterfaceName);
  // Perform takes its call as a message, so that the pasteboards go through bus_pasteboard.h; the
  // signatures are those of the types a client calls it with.
  object_->registerMethod(
      interface, "Perform",
      sdbus::signature_of<std::string>::str() + sdbus::signature_of<BusPasteboard>::str() +
          sdbus::signature_of<std::string>::str() + sdbus::signature_of<BusOptions>::str(),
      {"service", "pasteboard", "userData", "options"},
      sdbus::signature_of<BusPasteboard>::str() + sdbus::signature_of<std::string>::str(),
      {"pasteboard", "error"}, [this](sdbus::MethodCall call) { perform(std::move(call)); });
  object_->registerMethod("ListServices")
      .onInterface(interface)
      .withOutputParamNames("services")
      .implementedAs([this] { return listServicesOnBus(server_); });
  object_->registerProperty("Speaking").onInterface(interface).withGetter([] {
    return Textrix::isSpeaking();
  });
  object_->finishRegistration();
}

void TextrixAdaptor::perform(sdbus::MethodCall call) {
  try {
    std::string service, userData;
    BusOptions options;
    call >> service;
    const std::vector<PasteboardItem> pasteboard = readPasteboard(rawMessage(call));
    call >> userData >> options;
    const RequestOutcome outcome = performOnBus(server_, service, pasteboard, userData, options);
    sdbus::MethodReply reply = call.createReply();
    appendPasteboard(rawMessage(reply), replyItems(outcome));
    reply << outcome.error;
    reply.send();
  } catch (...) {
    rethrowAsBusError();
  }
}

}  // namespace textrix
