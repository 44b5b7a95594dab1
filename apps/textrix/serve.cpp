// SPDX-License-Identifier: MIT
#include "serve.h"

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

#include "desktop/desktop.h"
#include "errors.h"
#include "provider/serve_loop.h"

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
    return report({ErrorKind::usage, "serve takes only --slice SECONDS"});
  }
  if (slice) {
    auto length = sliceNamed(*slice);
    if (!length)
      return report({ErrorKind::usage, "--slice needs a number of seconds, more than 0"});
    options.slice = *length;
  }
  if (std::optional<std::string> problem = serveOnSessionBus(options)) {
    return report({ErrorKind::unreachable, std::move(*problem)});
  }
  return kSuccess;
}

}  // namespace textrix::command
