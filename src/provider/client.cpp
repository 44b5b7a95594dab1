// SPDX-License-Identifier: MIT
#include "provider/client.h"

#include <chrono>
#include <cstdint>
#include <memory>
#include <span>
#include <string>
#include <vector>

#include "provider/bus_pasteboard.h"
#include "runtime/localization.h"

namespace textrix {
namespace {

constexpr std::chrono::seconds kPerformTimeout{300};

std::string_view bytesOf(const std::vector<std::uint8_t>& bytes) {
  return {reinterpret_cast<const char*>(bytes.data()), bytes.size()};
}

// The request's contents as they go out: views of the caller's bytes.
std::vector<OutgoingItem> requestItems(const BusPasteboard& request) {
  std::vector<OutgoingItem> items;
  items.reserve(request.size());
  for (const auto& entry : request) items.push_back({entry.get<0>(), bytesOf(entry.get<1>())});
  return items;
}

// The answer's contents copied out of the reply, which goes away with the call: the alert panel
// apart, the rest as the pasteboard.
void readAnswer(std::span<const PasteboardItem> items, ProviderReply& answer) {
  answer.pasteboard.reserve(items.size());
  for (const PasteboardItem& item : items) {
    if (item.type == kPanelTitleType) {
      answer.panel.emplace().title = item.content;
    } else if (item.type == kPanelMessageType && answer.panel) {
      answer.panel->message = item.content;
    } else {
      answer.pasteboard.emplace_back(
          std::string(item.type),
          std::vector<std::uint8_t>(item.content.begin(), item.content.end()));
    }
  }
}

BusOptions optionsFor(std::string_view application) {
  BusOptions options;
  if (!application.empty()) options["application"] = std::string(application);
  options["panel"] = std::string("return");
  return options;
}

ProviderReply failed(const sdbus::Error& error) {
  return {ProviderFailure{requestProblemNamed(error.getName()), error.getMessage()}, {}, {}, {}};
}

}  // namespace

bool ProviderFailure::refused() const {
  return problem && *problem != RequestProblem::internal;
}

std::string ProviderFailure::description() const {
  if (!problem) return localizedFormat("cannot reach the provider {0}: {1}", {kBusName, message});
  if (*problem == RequestProblem::internal) {
    return localizedFormat("the provider failed: {0}", {message});
  }
  return message;
}

std::size_t contentBytes(const BusPasteboard& pasteboard) {
  std::size_t total = 0;
  for (const auto& entry : pasteboard) total += entry.get<1>().size();
  return total;
}

ProviderFailure selectionTooLarge() {
  return {RequestProblem::tooLarge,
          localizedFormat("the selection is larger than {0} MiB, more than the provider takes",
                          {std::to_string(kMaxSelectionBytes >> 20)})};
}

ProviderReply performOnProvider(sdbus::IProxy& provider, std::string_view service,
                                const BusPasteboard& request, std::string_view application) {
  // The provider would refuse it only after it had all come over the bus.
  if (contentBytes(request) > kMaxSelectionBytes) return {selectionTooLarge(), {}, {}, {}};
  try {
    sdbus::MethodCall call = provider.createMethodCall(std::string(kInterfaceName), "Perform");
    call << std::string(service);
    appendPasteboard(rawMessage(call), requestItems(request));
    call << std::string() << optionsFor(application);
    sdbus::MethodReply reply = provider.callMethod(call, kPerformTimeout);
    ProviderReply answer;
    readAnswer(readPasteboard(rawMessage(reply)), answer);
    reply >> answer.error;
    return answer;
  } catch (const sdbus::Error& error) {
    return failed(error);
  }
}

ProviderReply performOnProvider(std::string_view service, const BusPasteboard& request,
                                std::string_view application) {
  std::unique_ptr<sdbus::IConnection> connection;
  std::unique_ptr<sdbus::IProxy> proxy;
  try {
    connection = sdbus::createSessionBusConnection();
    proxy = sdbus::createProxy(*connection, std::string(kBusName), std::string(kObjectPath));
  } catch (const sdbus::Error& error) {
    return failed(error);
  }
  return performOnProvider(*proxy, service, request, application);
}

}  // namespace textrix
