// SPDX-License-Identifier: MIT
#include "provider/requests.h"

#include <algorithm>
#include <array>
#include <utility>
#include <variant>

#include "runtime/localization.h"
#include "services/catalogue.h"
#include "text/encodings.h"

namespace textrix {
namespace {

constexpr std::string_view kErrorPrefix = "org.textrix.Textrix1.Error.";

// The name of a request's pasteboard when the request does not give one.
constexpr std::string_view kRequestPasteboardName = "request";

struct ProblemName {
  RequestProblem problem;
  std::string_view name;
};
constexpr auto kProblemNames = std::to_array<ProblemName>({
    {RequestProblem::unknownService, "UnknownService"},
    {RequestProblem::malformedPasteboard, "MalformedPasteboard"},
    {RequestProblem::unknownType, "UnknownType"},
    {RequestProblem::invalidUtf8, "InvalidUtf8"},
    {RequestProblem::tooLarge, "TooLarge"},
    {RequestProblem::invalidOption, "InvalidOption"},
    {RequestProblem::internal, "Internal"},
});

struct TypeAlias {
  std::string_view alias;
  std::string_view type;
};
constexpr auto kTypeAliases = std::to_array<TypeAlias>({
    {"text/plain;charset=utf-8", kStringPboardType},
    {"text/rtf", kRTFPboardType},
    {"application/x-rtfd", kRTFDPboardType},
});
constexpr auto kKnownTypes = std::to_array<std::string_view>({
    kRTFDPboardType,
    kRTFPboardType,
    kStringPboardType,
    kTIFFPboardType,
    kPICTPboardType,
    kPDFPboardType,
});

std::vector<std::string> typeNames(std::span<const std::string_view> types) {
  return std::vector<std::string>(types.begin(), types.end());
}

// The refusal of a selection or a result over the limit, told by pattern.
RequestError tooLarge(std::string_view pattern) {
  return {RequestProblem::tooLarge,
          localizedFormat(pattern, {std::to_string(kMaxSelectionBytes >> 20)})};
}

}  // namespace

std::string RequestError::name() const {
  for (const ProblemName& entry : kProblemNames) {
    if (entry.problem == problem) return std::string(kErrorPrefix) + std::string(entry.name);
  }
  return std::string(kErrorPrefix) + "Internal";
}

std::optional<RequestProblem> requestProblemNamed(std::string_view errorName) {
  if (!errorName.starts_with(kErrorPrefix)) return std::nullopt;
  errorName.remove_prefix(kErrorPrefix.size());
  for (const ProblemName& entry : kProblemNames) {
    if (entry.name == errorName) return entry.problem;
  }
  return std::nullopt;
}

std::optional<std::string_view> canonicalPasteboardType(std::string_view type) {
  for (std::string_view known : kKnownTypes) {
    if (known == type) return known;
  }
  for (const TypeAlias& alias : kTypeAliases) {
    if (alias.alias == type) return alias.type;
  }
  return std::nullopt;
}

std::optional<RequestError> pasteboardFromItems(std::span<const PasteboardItem> items,
                                                ServicePasteboard& pasteboard) {
  pasteboard.declareTypes({});
  std::size_t total = 0;
  std::vector<std::string> types;
  for (const PasteboardItem& item : items) {
    total += item.content.size();
    if (total > kMaxSelectionBytes) return tooLarge(N_("the selection is larger than {0} MiB"));
    if (item.type.empty()) {
      return RequestError{RequestProblem::malformedPasteboard, localized("a type has no name")};
    }
    std::optional<std::string_view> type = canonicalPasteboardType(item.type);
    if (!type) {
      return RequestError{RequestProblem::unknownType,
                          localizedFormat("unknown pasteboard type {0}", {item.type})};
    }
    if (std::find(types.begin(), types.end(), *type) != types.end()) {
      return RequestError{RequestProblem::malformedPasteboard,
                          localizedFormat("the type {0} is given twice", {*type})};
    }
    types.emplace_back(*type);
  }
  pasteboard.declareTypes(types);
  for (std::size_t i = 0; i < items.size(); ++i) {
    if (types[i] != kStringPboardType) {
      pasteboard.setData(std::string(items[i].content), types[i]);
      continue;
    }
    Utf8Decoding decoded = decodeUtf8(items[i].content);
    if (!decoded.ok()) {
      pasteboard.declareTypes({});
      return RequestError{
          RequestProblem::invalidUtf8,
          localizedFormat("invalid UTF-8 at byte {0}", {std::to_string(decoded.errorOffset)})};
    }
    pasteboard.setString(std::move(decoded.text), types[i]);
  }
  return std::nullopt;
}

std::size_t OutgoingItem::size() const {
  if (const auto* text = std::get_if<std::u16string_view>(&content)) return utf8Length(*text);
  return std::get<std::string_view>(content).size();
}

void OutgoingItem::copyTo(char* target) const {
  if (const auto* text = std::get_if<std::u16string_view>(&content)) {
    encodeUtf8(*text, target);
  } else {
    const std::string_view bytes = std::get<std::string_view>(content);
    bytes.copy(target, bytes.size());
  }
}

std::vector<OutgoingItem> outgoingItems(const ServicePasteboard& pasteboard) {
  std::vector<OutgoingItem> items;
  for (const std::string& type : pasteboard.types()) {
    if (auto string = pasteboard.stringForType(type)) {
      items.push_back({type, *string});
    } else if (auto data = pasteboard.dataForType(type)) {
      items.push_back({type, *data});
    }
  }
  return items;
}

RequestServer::RequestServer(ServiceEnvironment environment)
    : textrix_(withRequestHooks(std::move(environment))) {}

ServiceEnvironment RequestServer::withRequestHooks(ServiceEnvironment environment) {
  environment.activeApplicationName = [this] { return application_; };
  environment.terminate = [this] { terminationRequested_ = true; };
  environment.runAlertPanel = [this, show = std::move(environment.runAlertPanel)](
                                  std::u16string_view title, std::u16string_view message) {
    if (!returnPanel_) return show(title, message);
    panel_ = AlertPanel{std::u16string(title), std::u16string(message)};
  };
  return environment;
}

RequestOutcome RequestServer::perform(std::string_view service,
                                      std::span<const PasteboardItem> pasteboard,
                                      std::string_view userData, const RequestOptions& options) {
  RequestOutcome outcome;
  const ServiceEntry* entry = findService(service);
  std::optional<UserAction> action;
  if (!entry && !(action = findUserAction(service))) {
    outcome.failure = {RequestProblem::unknownService,
                       localizedFormat("unknown service {0}", {service})};
    return outcome;
  }
  ServicePasteboard request(options.pasteboard.empty() ? std::string(kRequestPasteboardName)
                                                       : options.pasteboard);
  if ((outcome.failure = pasteboardFromItems(pasteboard, request))) return outcome;

  const int changeCount = request.changeCount();
  application_ = options.application;
  returnPanel_ = options.returnPanel;
  if (entry) {
    performService(textrix_, *entry, request, userData, outcome.error);
  } else {
    performUserAction(textrix_, *action, request, outcome.error);
  }
  application_.clear();
  returnPanel_ = false;
  outcome.panel = std::exchange(panel_, std::nullopt);
  if (!outcome.error.empty() || request.changeCount() == changeCount) return outcome;

  std::size_t total = 0;
  for (const OutgoingItem& item : outgoingItems(request)) total += item.size();
  if (total > kMaxSelectionBytes) {
    outcome.failure = tooLarge(N_("the result is larger than {0} MiB"));
  } else {
    outcome.pasteboard = std::move(request);
  }
  return outcome;
}

std::vector<ServiceDescription> RequestServer::listServices() const {
  std::vector<ServiceDescription> services;
  for (const ServiceEntry& entry : serviceCatalogue()) {
    services.push_back({std::string(entry.name), std::string(entry.handlerName),
                        typeNames(entry.sendTypes), typeNames(entry.returnTypes)});
  }
  for (const UserAction& action : userActions()) {
    services.push_back(
        {action.name, action.file.string(), action.sendTypes(), action.returnTypes()});
  }
  return services;
}

}  // namespace textrix
