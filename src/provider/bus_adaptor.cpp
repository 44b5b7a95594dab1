#include "provider/bus_adaptor.h"

#include <exception>

namespace textrix {
namespace {

sdbus::Error busError(const RequestError& error) {
  return sdbus::Error(error.name(), error.message);
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

std::vector<PasteboardItem> itemsFromBus(const BusPasteboard& pasteboard) {
  std::vector<PasteboardItem> items;
  items.reserve(pasteboard.size());
  for (const auto& entry : pasteboard) {
    const std::vector<std::uint8_t>& bytes = entry.get<1>();
    items.push_back({entry.get<0>(), std::string(bytes.begin(), bytes.end())});
  }
  return items;
}

BusPasteboard busFromItems(const std::vector<PasteboardItem>& items) {
  BusPasteboard pasteboard;
  pasteboard.reserve(items.size());
  for (const PasteboardItem& item : items) {
    pasteboard.emplace_back(item.type,
                            std::vector<std::uint8_t>(item.content.begin(), item.content.end()));
  }
  return pasteboard;
}

RequestOptions requestOptionsFromBus(const BusOptions& options) {
  return {stringOption(options, "application"), stringOption(options, "pasteboard")};
}

std::tuple<BusPasteboard, std::string> performOnBus(RequestServer& server,
                                                    const std::string& service,
                                                    const BusPasteboard& pasteboard,
                                                    const std::string& userData,
                                                    const BusOptions& options) {
  try {
    const RequestOptions requestOptions = requestOptionsFromBus(options);
    RequestOutcome outcome =
        server.perform(service, itemsFromBus(pasteboard), userData, requestOptions);
    if (outcome.failure) throw busError(*outcome.failure);
    return {busFromItems(outcome.pasteboard), std::move(outcome.error)};
  } catch (const sdbus::Error&) {
    throw;
  } catch (const std::exception& exception) {
    // Out of memory, most likely: this request fails, the provider goes on.
    throw busError({RequestProblem::internal, exception.what()});
  }
}

std::vector<BusServiceDescription> listServicesOnBus(const RequestServer& server) {
  try {
    std::vector<BusServiceDescription> services;
    for (ServiceDescription& service : server.listServices()) {
      services.emplace_back(std::move(service.name), std::move(service.handler),
                            std::move(service.sendTypes), std::move(service.returnTypes));
    }
    return services;
  } catch (const std::exception& exception) {
    throw busError({RequestProblem::internal, exception.what()});
  }
}

TextrixAdaptor::TextrixAdaptor(sdbus::IConnection& connection, RequestServer& server)
    : server_(server), object_(sdbus::createObject(connection, std::string(kObjectPath))) {
  const std::string interface(kInterfaceName);
  object_->registerMethod("Perform")
      .onInterface(interface)
      .withInputParamNames("service", "pasteboard", "userData", "options")
      .withOutputParamNames("pasteboard", "error")
      .implementedAs([this](const std::string& service, const BusPasteboard& pasteboard,
                            const std::string& userData, const BusOptions& options) {
        return performOnBus(server_, service, pasteboard, userData, options);
      });
  object_->registerMethod("ListServices")
      .onInterface(interface)
      .withOutputParamNames("services")
      .implementedAs([this] { return listServicesOnBus(server_); });
  object_->registerProperty("Speaking").onInterface(interface).withGetter([this] {
    return Textrix::isSpeaking();
  });
  object_->finishRegistration();
}

}  // namespace textrix
