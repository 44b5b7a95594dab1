// textrix serve [--slice SECONDS] and textrix call SERVICE [FILE] [--type T] [--application NAME]:
// the provider on the session bus and the command that sends it a request.
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "commands.h"
#include "desktop/desktop.h"
#include "provider/client.h"
#include "provider/serve_loop.h"
#include "selection.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

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

// The exit status of a request that the provider did not answer; the failure is printed. An
// unknown service is told with the usage, as textrix SERVICE tells it.
int reportFailure(const ProviderFailure& failure) {
  if (failure.problem == RequestProblem::unknownService) return usageError(failure.message);
  std::fprintf(stderr, "textrix: %s\n", failure.description().c_str());
  return failure.refused() ? kUsageError : kUnreachable;
}

}  // namespace

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
  // Text that is not UTF-8 is refused here, as textrix SERVICE refuses it, without asking (or
  // starting) the provider; valid text goes out as the bytes it is.
  const std::string_view type = options.type.value_or(detectType(*bytes));
  if (type == kStringPboardType) {
    if (const Utf8Decoding decoded = decodeUtf8(*bytes); !decoded.ok()) {
      std::fprintf(stderr, "textrix: invalid UTF-8 at byte %zu\n", decoded.errorOffset);
      return kUsageError;
    }
  }
  const BusPasteboard request = {
      {std::string(type), std::vector<std::uint8_t>(bytes->begin(), bytes->end())}};

  const ProviderReply reply = performOnProvider(service, request, options.application);
  if (reply.failure) return reportFailure(*reply.failure);
  if (!reply.error.empty()) {
    std::fprintf(stderr, "%s\n", reply.error.c_str());
    return kServiceFailed;
  }
  if (!reply.pasteboard.empty() && !reply.pasteboard.front().get<1>().empty()) {
    const std::vector<std::uint8_t>& content = reply.pasteboard.front().get<1>();
    std::fwrite(content.data(), 1, content.size(), stdout);
  }
  return kSuccess;
}

}  // namespace textrix::command
