// SPDX-License-Identifier: MIT
#include "call.h"

#include <cstdint>
#include <cstdio>
#include <optional>
#include <string>
#include <vector>

#include "arguments.h"
#include "errors.h"
#include "filter.h"
#include "provider/client.h"
#include "text/encodings.h"

namespace textrix::command {
namespace {

struct CallOptions {
  SelectionArguments selection;
  std::string application;
};

// Parses [FILE] [--type T] [--application NAME] in any order; returns the usage error.
std::optional<CommandError> parseCallOptions(std::span<const std::string_view> arguments,
                                             CallOptions& options) {
  for (ArgumentReader reader(arguments); reader.next();) {
    const std::string_view name = reader.name();
    std::optional<CommandError> error;
    if (takeSelectionArgument(reader, options.selection, error)) {
      if (error) return error;
    } else if (name == "--application") {
      const std::optional<std::string_view> application = reader.value();
      if (!application) return CommandError{ErrorKind::usage, "--application needs a name"};
      options.application = *application;
    } else {
      return unknownOption(name);
    }
  }
  return std::nullopt;
}

}  // namespace

int callService(std::span<const std::string_view> arguments) {
  if (arguments.empty()) return report({ErrorKind::usage, "call needs a service"});
  const std::string service(arguments.front());
  CallOptions options;
  if (std::optional<CommandError> error = parseCallOptions(arguments.subspan(1), options)) {
    return report(*error);
  }
  std::string bytes;
  if (std::optional<CommandError> error = readInput(options.selection.file, bytes))
    return report(*error);
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
  if (!reply.error.empty()) return report({ErrorKind::serviceMessage, reply.error});
  if (!reply.pasteboard.empty() && !reply.pasteboard.front().get<1>().empty()) {
    const std::vector<std::uint8_t>& content = reply.pasteboard.front().get<1>();
    std::fwrite(content.data(), 1, content.size(), stdout);
  }
  return kSuccess;
}

}  // namespace textrix::command
