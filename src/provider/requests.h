// SPDX-License-Identifier: MIT
// The provider's side of a service request, apart from the bus: the pasteboard as it travels (type
// names and bytes), the checks a request passes before any handler runs, the service run on the one
// provider object, and the result handed back. The bus adaptor (provider/bus_adaptor.h) offers this
// on the session bus; tests call it directly.
//
//   textrix::RequestServer server;
//   textrix::RequestOutcome outcome =
//       server.perform("upper", {{{"text/plain;charset=utf-8", "abc"}}}, "", {});
//   if (outcome.failure) reply(outcome.failure->name(), outcome.failure->message);
//   else reply(outgoingItems(outcome.pasteboard), outcome.error);
//   // {{"NSStringPboardType", u"ABC"}}, ""
//
// Plain text travels as UTF-8 bytes; rich text as its RTF or flat RTFD bytes. The contents are
// viewed where they lie, in the bus message or on the pasteboard, so that each is copied once on
// its way in (decoded, for plain text) and once on its way out (encoded).
#pragma once

#include <cstddef>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "runtime/exchange.h"
#include "runtime/pasteboard.h"
#include "services/textrix.h"
#include "services/user_actions.h"

namespace textrix {

// One declared type and its content as a request carries them, viewed where they lie (in the bus
// message).
struct PasteboardItem {
  std::string_view type;
  std::string_view content;  // bytes; UTF-8 for the plain-text type
};

// One type and its content as they go out on the bus, viewed where they lie (on the pasteboard of a
// result, in a client's request): plain text as UTF-16, which goes out as UTF-8, anything else as
// the bytes it is.
struct OutgoingItem {
  std::string_view type;
  std::variant<std::u16string_view, std::string_view> content;

  // The number of bytes the content goes out as.
  std::size_t size() const;
  // Writes those bytes to target, which has room for size() of them.
  void copyTo(char* target) const;
};

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

// The pasteboard type a request names: a type of runtime/pasteboard.h as it is, or one of the MIME
// aliases text/plain;charset=utf-8, text/rtf and application/x-rtfd; none for any other name.
std::optional<std::string_view> canonicalPasteboardType(std::string_view type);

// Declares the items' types on the pasteboard, in order, and stores their contents, plain text
// decoded from UTF-8. Every item is checked before any content is stored. On a problem the
// pasteboard is left empty and the problem returned.
std::optional<RequestError> pasteboardFromItems(std::span<const PasteboardItem> items,
                                                ServicePasteboard& pasteboard);
// The declared types that hold a content, in order, with their contents: what a result hands back.
std::vector<OutgoingItem> outgoingItems(const ServicePasteboard& pasteboard);

// The options of a request.
struct RequestOptions {
  std::string application;  // the requesting application's name: "Mail"
  std::string pasteboard;   // the request pasteboard's name; empty is a private pasteboard
  // Whether an alert the service raises goes back to the client, which shows it where its user
  // is, instead of being shown by the provider.
  bool returnPanel = false;
};

// An alert panel that a service raised (statistics): its title and its message.
struct AlertPanel {
  std::u16string title;
  std::u16string message;

  bool operator==(const AlertPanel&) const = default;
};

// The answer to a request: a failure, or the pasteboard the service wrote its result on (with no
// types declared when it wrote nothing: its message, statistics, speech), its message (empty on
// success) and, when the request asked for it back, the alert panel it raised.
struct RequestOutcome {
  std::optional<RequestError> failure;
  ServicePasteboard pasteboard;
  std::string error;
  std::optional<AlertPanel> panel;
};

// A service as ListServices describes it. A user action's handler is the path of the file that
// describes it, which tells a client where the action lives and that it is no built-in service.
struct ServiceDescription {
  std::string name;
  std::string handler;
  std::vector<std::string> sendTypes;
  std::vector<std::string> returnTypes;
};

// The one provider object of the process and the request it is serving. Requests are served one
// at a time; not thread-safe.
class RequestServer final {
 public:
  // environment: the desktop around the provider (log, alerts, the clipboard that the general
  // pasteboard is handed to); the requesting application and the request to end the process are
  // the server's own.
  explicit RequestServer(ServiceEnvironment environment = {});
  RequestServer(const RequestServer&) = delete;
  RequestServer& operator=(const RequestServer&) = delete;

  // Runs the named service (command or handler name), or else the user action of that name or
  // file (services/user_actions.h, looked up anew for each request), on the request's pasteboard,
  // whose contents are read before it returns. Never throws for bad input: every problem is in the
  // outcome's failure; a failing action is its message. An alert the service raises is shown
  // through the environment, or with options.returnPanel kept in the outcome instead.
  RequestOutcome perform(std::string_view service, std::span<const PasteboardItem> pasteboard,
                         std::string_view userData, const RequestOptions& options);
  // The services that can be performed, in the order of the menu, then the user actions by name.
  std::vector<ServiceDescription> listServices() const;

  // Whether a service asked the process to end (statistics) since the last clearTermination.
  bool terminationRequested() const { return terminationRequested_; }
  void clearTermination() { terminationRequested_ = false; }

 private:
  ServiceEnvironment withRequestHooks(ServiceEnvironment environment);

  std::string application_;          // the application of the request being served
  bool returnPanel_ = false;         // whether the request being served takes its alert back
  std::optional<AlertPanel> panel_;  // the alert kept for the request being served
  bool terminationRequested_ = false;
  Textrix textrix_;  // last: its environment reads the members above
};

}  // namespace textrix
