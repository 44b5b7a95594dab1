// SPDX-License-Identifier: MIT
#include "serve.h"

#include <chrono>
#include <cstdlib>
#include <optional>
#include <string>

#include "command_line.h"
#include "desktop/desktop.h"
#include "errors.h"
#include "provider/bus_adaptor.h"
#include "provider/serve_loop.h"
#include "runtime/localization.h"

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
  std::optional<std::string> slice;
  if (const char* variable = std::getenv("TEXTRIX_SLICE_SECONDS"); variable && *variable) {
    slice = variable;
  }
  std::unique_ptr<CLI::App> app = subcommandParser(
      "serve",
      localizedFormat(
          "Runs the provider on the session bus under {0}: it serves the requests of textrix call "
          "and textrix pick in slices and ends after a slice in which nothing was asked and "
          "nothing is being spoken. The bus starts it when a request comes and none runs.",
          {kBusName}));
  addValueOption(
      *app, "--slice", "SECONDS",
      localized("the slice length, more than 0 (default $TEXTRIX_SLICE_SECONDS when set, else 30)"),
      localized("--slice needs a number of seconds, more than 0"),
      [&slice](const std::string& value) { slice = value; });
  if (std::optional<int> status =
          parseCommandLine(*app, arguments, localized("serve takes only --slice SECONDS"))) {
    return *status;
  }
  if (slice) {
    auto length = sliceNamed(*slice);
    if (!length)
      return report(
          {ErrorKind::usage, localized("--slice needs a number of seconds, more than 0")});
    options.slice = *length;
  }
  if (std::optional<std::string> problem = serveOnSessionBus(options)) {
    return report({ErrorKind::unreachable, std::move(*problem)});
  }
  return kSuccess;
}

}  // namespace textrix::command
