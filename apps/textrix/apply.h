// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string_view>

namespace textrix::command {

// textrix SERVICE [FILE] [--type plain|rtf|rtfd] [--wav FILE] [--print]: applies the service, or
// else the user action of that name (services/user_actions.h), in this process as a filter.
int applyService(std::string_view service, std::span<const std::string_view> arguments);

}  // namespace textrix::command
