#pragma once

#include <optional>
#include <string>

#include "desktop/desktop.h"
#include "errors.h"
#include "services/catalogue.h"

namespace textrix::command {

// Asks the user for a service by its menu title: in command through /bin/sh when given, else in the
// first chooser that this desktop has. Sets service to the chosen one, or to null when the choice
// was cancelled; returns the error when no chooser can run (no desktop) or its answer is not a
// service (bad input).
std::optional<CommandError> chooseService(const Desktop& desktop,
                                          const std::optional<std::string>& command,
                                          const ServiceEntry*& service);

}  // namespace textrix::command
