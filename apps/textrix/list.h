// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string_view>

namespace textrix::command {

// textrix list [--long]: each service's name and menu title, one service a line, then each user
// action's name and title; --long adds a tab and the summary (an action's description).
int listServices(std::span<const std::string_view> arguments);

}  // namespace textrix::command
