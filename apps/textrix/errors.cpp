// SPDX-License-Identifier: MIT
#include "errors.h"

#include <cstdio>

#include "commands.h"
#include "provider/client.h"
#include "runtime/localization.h"

namespace textrix::command {

int exitStatus(ErrorKind kind) {
  switch (kind) {
    case ErrorKind::serviceMessage:
    case ErrorKind::missingSetting:
      return 1;
    case ErrorKind::unreachable:
      return 3;
    case ErrorKind::noDesktop:
      return 4;
    case ErrorKind::usage:
    case ErrorKind::input:
      break;
  }
  return 2;
}

std::string errorLine(const CommandError& error) {
  if (error.kind == ErrorKind::serviceMessage) return error.message;
  return "textrix: " + error.message;
}

int report(const CommandError& error) {
  writeText(stderr, errorLine(error) + "\n");
  if (error.kind == ErrorKind::usage) {
    writeText(stderr, localized(kUsage));
    writeText(stderr, localized("Run 'textrix --help' for the services.") + "\n");
  }
  return exitStatus(error.kind);
}

CommandError providerFailure(const ProviderFailure& failure) {
  if (failure.problem == RequestProblem::unknownService) {
    return {ErrorKind::usage, failure.message};
  }
  return {failure.refused() ? ErrorKind::input : ErrorKind::unreachable, failure.description()};
}

}  // namespace textrix::command
