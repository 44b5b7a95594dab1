// SPDX-License-Identifier: MIT
// The errors of the textrix command and the one table of their exit statuses: 0 success, 1 a
// service's message or a missing setting, 2 bad usage or input, 3 the session bus or the provider
// cannot be reached, 4 no display, or a helper program that the desktop needs is missing (textrix
// pick). Parsers and readers return a CommandError; the subcommand reports it and exits with its
// status.
//
//   if (std::optional<CommandError> error = input.open(file)) return report(*error);
#pragma once

#include <string>

namespace textrix {
struct ProviderFailure;
}

namespace textrix::command {

inline constexpr int kSuccess = 0;

enum class ErrorKind {
  usage,           // a command line the subcommand does not take: told with the usage
  input,           // input that cannot be read or used, or output that cannot be written
  serviceMessage,  // the message a service reported, told as it is
  missingSetting,  // a setting that textrix defaults read does not find
  unreachable,     // the session bus or the provider cannot be reached
  noDesktop,       // no display, or a helper program that the desktop needs is missing
};

struct CommandError {
  ErrorKind kind;
  std::string message;  // without "textrix: " and without a line break
};

int exitStatus(ErrorKind kind);

// The line that tells the error: "textrix: " and the message, or a service's message as it is.
std::string errorLine(const CommandError& error);

// Prints the error line on standard error, and after a usage error the usage; returns the exit
// status.
int report(const CommandError& error);

// The error of a request that the provider did not answer. An unknown service is a usage error, as
// textrix SERVICE tells it; a request that the provider refused is bad input; a provider that
// failed or is out of reach is unreachable.
CommandError providerFailure(const ProviderFailure& failure);

}  // namespace textrix::command
