// The provider's side of a service request, apart from the bus: the pasteboard as it travels (type
// names and bytes), the checks a request passes before any handler runs, the service run on the one
// provider object, and the result handed back. The bus adaptor (host/bus_adaptor.h) offers this
// on the session bus; tests call it directly.
//
//   textrix::Provider provider;
//   textrix::RequestOutcome outcome =
//       provider.perform("upper", {{"text/plain;charset=utf-8", "abc"}}, "", {});
//   if (outcome.failure) reply(outcome.failure->name(), outcome.failure->message);
//   else reply(outcome.pasteboard, outcome.error);   // {{"NSStringPboardType", "ABC"}}, ""
//
// Plain text travels as UTF-8 bytes; rich text as its RTF or flat RTFD bytes.
#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "host/pasteboard.h"
#include "host/service.h"
#include "host/textrix.h"

namespace textrix {

// One declared type and its content, as a request carries them.
struct PasteboardItem {
  std::string type;
  std::string content;  // bytes; UTF-8 for the plain-text type

  bool operator==(const PasteboardItem&) const = default;
};

// The most content, in bytes, that a request may carry or a result may hand back, over all its
// types: 32 MiB, half of the largest array a bus message can hold.
inline constexpr std::size_t kMaxSelectionBytes = std::size_t{32} << 20;

// What can be wrong with a request, each answered with its own bus error.
enum class RequestProblem {
  unknownService,       // no service has that name
  malformedPasteboard,  // a type is empty or declared twice
  unknownType,          // a type the provider does not know
  invalidUtf8,          // plain text that is not UTF-8
  tooLarge,             // more than kMaxSelectionBytes in the request or the result
  invalidOption,        // an option with a value of the wrong type
  internal,             // the provider failed while serving (out of memory)
};

struct RequestError {
  RequestProblem problem;
  std::string message;  // "invalid UTF-8 at byte 3", without a trailing newline

  // The bus error name: "org.textrix.Textrix1.Error." and the problem, e.g. "...Error.InvalidUtf8".
  std::string name() const;
};

// The problem of a bus error name that errorName gives; none for any other name.
std::optional<RequestProblem> requestProblemNamed(std::string_view errorName);

// The pasteboard type a request names: a type of host/pasteboard.h as it is, or one of the MIME
// aliases text/plain;charset=utf-8, text/rtf and application/x-rtfd; none for any other name.
std::optional<std::string_view> canonicalPasteboardType(std::string_view type);

// Declares the items' types on the pasteboard, in order, and stores their contents, plain text
// decoded from UTF-8. On a problem the pasteboard is left empty and the problem returned.
std::optional<RequestError> pasteboardFromItems(std::span<const PasteboardItem> items,
                                                ServicePasteboard& pasteboard);
// The declared types that hold a content, in order, with their contents; strings as UTF-8.
std::vector<PasteboardItem> itemsFromPasteboard(const ServicePasteboard& pasteboard);

// The options of a request.
struct RequestOptions {
  std::string application;  // the requesting application's name: "Mail"
  std::string pasteboard;   // the request pasteboard's name; empty is a private pasteboard
};

// The answer to a request: a failure, or what the service left on the pasteboard (empty when it
// wrote nothing: its message, statistics, speech) and its message (empty on success).
struct RequestOutcome {
  std::optional<RequestError> failure;
  std::vector<PasteboardItem> pasteboard;
  std::string error;
};

// A service as ListServices describes it.
struct ServiceDescription {
  std::string name;
  std::string handler;
  std::vector<std::string> sendTypes;
  std::vector<std::string> returnTypes;
};

// What the provider needs from the desktop and the process around it.
struct ProviderHooks {
  // Whether speech is in progress: keeps the process alive and overrules termination.
  std::function<bool()> isSpeaking = [] { return false; };
  // Called with the general pasteboard when a request wrote to it (the mail application's double
  // write), to hand it on to the desktop clipboard.
  std::function<void(const ServicePasteboard&)> publishGeneralPasteboard =
      [](const ServicePasteboard&) {};
  std::function<void(std::u16string_view title, std::u16string_view message)> runAlertPanel =
      [](std::u16string_view, std::u16string_view) {};
  std::function<void(const std::string&)> log = ServiceEnvironment::logToSystem;
};

// The one provider object of the process and the request it is serving. Requests are served one
// at a time; not thread-safe.
class Provider final {
 public:
  explicit Provider(ProviderHooks hooks = {});
  Provider(const Provider&) = delete;
  Provider& operator=(const Provider&) = delete;

  // Runs the named service (command or handler name) on the request's pasteboard. Never throws
  // for bad input: every problem is in the outcome's failure.
  RequestOutcome perform(std::string_view service, std::span<const PasteboardItem> pasteboard,
                         std::string_view userData, const RequestOptions& options);
  // The services that can be performed, in the order of the menu.
  std::vector<ServiceDescription> listServices() const;
  bool isSpeaking() const { return hooks_.isSpeaking(); }

  // Whether a service asked the process to end (statistics) since the last clearTermination.
  bool terminationRequested() const { return terminationRequested_; }
  void clearTermination() { terminationRequested_ = false; }

 private:
  ServiceEnvironment environment();

  ProviderHooks hooks_;
  std::string application_;  // the application of the request being served
  bool terminationRequested_ = false;
  Textrix textrix_;  // last: its environment reads the members above
};

}  // namespace textrix
