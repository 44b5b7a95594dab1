// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string_view>

namespace textrix::command {

// textrix list: each service's name and menu title, one service a line, then each user action's
// name and title.
int listServices(std::span<const std::string_view> arguments);

}  // namespace textrix::command
