// textrix serve [--slice SECONDS] and textrix call SERVICE [FILE] [--type T] [--application NAME]:
// the provider on the session bus and the command that sends it a request.
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>

#include "arguments.h"
#include "commands.h"
#include "desktop/desktop.h"
#include "provider/bus_adaptor.h"
#include "provider/serve_loop.h"
#include "provider_request.h"
#include "selection.h"

namespace textrix::command {
namespace {

// How long textrix call waits for an answer: long enough for a service that shows an alert and
// waits for the user to dismiss it.
constexpr std::chrono::seconds kCallTimeout{300};

// A slice length in seconds, more than 0 and at most a day; fractions allowed.
std::optional<std::chrono::milliseconds> sliceNamed(std::string_view text) {
  const std::string copy(text);
  char* end = nullptr;
  const double seconds = std::strtod(copy.c_str(), &end);
  if (copy.empty() || *end != '\0' || !(seconds > 0 && seconds <= 86400)) return std::nullopt;
  return std::chrono::milliseconds(static_cast<long long>(seconds * 1000 + 0.5));
}

struct CallOptions {
  std::optional<std::string_view> file;
  std::optional<std::string_view> type;
  std::string application;
};

// Parses [FILE] [--type T] [--application NAME] in any order; a problem is returned as text.
std::string parseCallOptions(std::span<const std::string_view> arguments, CallOptions& options) {
  for (ArgumentReader reader(arguments); reader.next();) {
    const std::string_view name = reader.name();
    if (!reader.isOption()) {
      if (options.file) return "more than one file given";
      options.file = name;
    } else if (name == "--type") {
      if (std::string problem = readPasteboardType(reader, options.type); !problem.empty()) {
        return problem;
      }
    } else if (name == "--application") {
      const std::optional<std::string_view> application = reader.value();
      if (!application) return "--application needs a name";
      options.application = *application;
    } else {
      return unknownOption(name);
    }
  }
  return {};
}

int unreachable(const std::string& problem) {
  std::fprintf(stderr, "textrix: cannot reach the provider %s: %s\n", std::string(kBusName).c_str(),
               problem.c_str());
  return kUnreachable;
}

// The exit status and message of a bus error that answered a request.
int reportBusError(const sdbus::Error& error) {
  const std::optional<RequestProblem> problem = requestProblemNamed(error.getName());
  if (!problem) return unreachable(error.getMessage());
  switch (*problem) {
    case RequestProblem::unknownService:
      return usageError(error.getMessage());
    case RequestProblem::internal:
      std::fprintf(stderr, "textrix: the provider failed: %s\n", error.getMessage().c_str());
      return kUnreachable;
    default:
      std::fprintf(stderr, "textrix: %s\n", error.getMessage().c_str());
      return kUsageError;
  }
}

}  // namespace

std::optional<int> performOnProvider(const std::string& service, const BusPasteboard& request,
                                     const std::string& application, BusPasteboard& answer,
                                     std::string& error) {
  try {
    std::unique_ptr<sdbus::IConnection> connection = sdbus::createSessionBusConnection();
    std::unique_ptr<sdbus::IProxy> proxy =
        sdbus::createProxy(*connection, std::string(kBusName), std::string(kObjectPath));
    BusOptions busOptions;
    if (!application.empty()) busOptions["application"] = application;
    proxy->callMethod("Perform")
        .onInterface(std::string(kInterfaceName))
        .withTimeout(kCallTimeout)
        .withArguments(service, request, std::string(), busOptions)
        .storeResultsTo(answer, error);
  } catch (const sdbus::Error& busError) {
    return reportBusError(busError);
  }
  return std::nullopt;
}

int serve(std::span<const std::string_view> arguments) {
  ServeOptions options;
  options.environment.publishGeneralPasteboard = [](const ServicePasteboard& general) {
    copyToDesktopClipboard(Desktop::current(), general);
  };
  options.environment.runAlertPanel = [](std::u16string_view title, std::u16string_view message) {
    showAlert(Desktop::current(), title, message, ServiceEnvironment::logToSystem);
  };
  std::optional<std::string_view> slice;
  if (const char* variable = std::getenv("TEXTRIX_SLICE_SECONDS"); variable && *variable) {
    slice = variable;
  }
  if (arguments.size() == 2 && arguments[0] == "--slice") {
    slice = arguments[1];
  } else if (arguments.size() == 1 && arguments[0].starts_with("--slice=")) {
    slice = arguments[0].substr(8);
  } else if (!arguments.empty()) {
    return usageError("serve takes only --slice SECONDS");
  }
  if (slice) {
    auto length = sliceNamed(*slice);
    if (!length) return usageError("--slice needs a number of seconds, more than 0");
    options.slice = *length;
  }
  if (std::optional<std::string> problem = serveOnSessionBus(options)) {
    std::fprintf(stderr, "textrix: %s\n", problem->c_str());
    return kUnreachable;
  }
  return kSuccess;
}

int callService(std::span<const std::string_view> arguments) {
  if (arguments.empty()) return usageError("call needs a service");
  const std::string service(arguments.front());
  CallOptions options;
  if (std::string problem = parseCallOptions(arguments.subspan(1), options); !problem.empty()) {
    return usageError(problem);
  }
  std::optional<std::string> bytes = readInput(options.file);
  if (!bytes) {
    std::fprintf(stderr, "textrix: cannot read %s: %s\n",
                 options.file ? std::string(*options.file).c_str() : "standard input",
                 std::strerror(errno));
    return kUsageError;
  }
  ServicePasteboard pasteboard("textrix");
  const std::string_view type = options.type.value_or(detectType(*bytes));
  if (std::string problem = putSelection(std::move(*bytes), type, pasteboard); !problem.empty()) {
    std::fprintf(stderr, "textrix: %s\n", problem.c_str());
    return kUsageError;
  }

  BusPasteboard answer;
  std::string error;
  if (std::optional<int> status =
          performOnProvider(service, busFromItems(itemsFromPasteboard(pasteboard)),
                            options.application, answer, error)) {
    return *status;
  }
  if (!error.empty()) {
    std::fprintf(stderr, "%s\n", error.c_str());
    return kServiceFailed;
  }
  if (!answer.empty() && !answer.front().get<1>().empty()) {
    const std::vector<std::uint8_t>& content = answer.front().get<1>();
    std::fwrite(content.data(), 1, content.size(), stdout);
  }
  return kSuccess;
}

}  // namespace textrix::command
