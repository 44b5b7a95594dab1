// SPDX-License-Identifier: MIT
#include "call.h"

#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "command_line.h"
#include "errors.h"
#include "filter.h"
#include "provider/client.h"
#include "runtime/localization.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

struct CallOptions {
  std::string service;
  SelectionArguments selection;
  std::string application;
};

// The parser of SERVICE [FILE] [--type T] [--application NAME], in any order.
std::unique_ptr<CLI::App> callParser(CallOptions& options) {
  std::unique_ptr<CLI::App> app = subcommandParser(
      "call",
      localized(
          "Sends SERVICE and the selection (FILE, or standard input) to the provider over the "
          "session "
          "bus, which starts it when none runs, and prints the result exactly as 'textrix SERVICE' "
          "does, with the same exit statuses; exit status 3 when the bus or the provider cannot be "
          "reached."));
  app->add_option("SERVICE", options.service, localized("the service or action to apply"))
      ->type_name("")
      ->required();
  addSelectionArguments(*app, options.selection);
  addValueOption(*app, "--application", "NAME",
                 localized("the application the request is made for"),
                 localized("--application needs a name"),
                 [&options](const std::string& name) { options.application = name; });
  return app;
}

// Reads the selection from the file or standard input, but never more than one byte past what the
// provider takes: enough to know that it is too large, even from an input that never ends.
std::optional<CommandError> readSelection(std::optional<std::string_view> file,
                                          std::string& bytes) {
  SelectionInput input;
  if (std::optional<CommandError> error = input.open(file)) return error;
  constexpr std::size_t kEnough = kMaxSelectionBytes + 1;
  std::size_t filled = 0;
  do {
    bytes.resize(std::min(kEnough, std::max(input.firstBytes().size() + 1, 2 * filled)));
    const std::optional<std::size_t> got = input.read(std::span(bytes).subspan(filled));
    if (!got) return input.readError();
    filled += *got;
  } while (filled == bytes.size() && filled < kEnough);
  bytes.resize(filled);
  return std::nullopt;
}

}  // namespace

int callService(std::span<const std::string_view> arguments) {
  if (arguments.empty()) return report({ErrorKind::usage, localized("call needs a service")});
  CallOptions options;
  std::unique_ptr<CLI::App> app = callParser(options);
  if (std::optional<int> status =
          parseCommandLine(*app, arguments, localized("more than one file given"))) {
    return *status;
  }
  const std::string& service = options.service;
  std::string bytes;
  if (std::optional<CommandError> error = readSelection(options.selection.file, bytes)) {
    return report(*error);
  }
  if (bytes.size() > kMaxSelectionBytes) return report(providerFailure(selectionTooLarge()));
  // Text that is not UTF-8 is refused here, as textrix SERVICE refuses it, without asking (or
  // starting) the provider; valid text goes out as the bytes it is.
  const std::string_view type = options.selection.type.value_or(detectType(bytes));
  if (type == kStringPboardType) {
    if (const std::size_t offset = firstInvalidUtf8Offset(bytes); offset != Utf8Decoding::kValid) {
      return report(invalidUtf8At(offset));
    }
  }
  const BusPasteboard request = {
      {std::string(type), std::vector<std::uint8_t>(bytes.begin(), bytes.end())}};

  const ProviderReply reply = performOnProvider(service, request, options.application);
  if (reply.failure) return report(providerFailure(*reply.failure));
  // The panel is printed as textrix SERVICE prints it.
  if (reply.panel) writePanel(reply.panel->title, reply.panel->message);
  if (!reply.error.empty()) return report({ErrorKind::serviceMessage, reply.error});
  if (!reply.pasteboard.empty() && !reply.pasteboard.front().get<1>().empty()) {
    const std::vector<std::uint8_t>& content = reply.pasteboard.front().get<1>();
    std::fwrite(content.data(), 1, content.size(), stdout);
  }
  return kSuccess;
}

}  // namespace textrix::command
