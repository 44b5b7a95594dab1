#pragma once

#include <span>
#include <string_view>

namespace textrix::command {

// textrix list: each service's name and menu title, one service a line.
int listServices(std::span<const std::string_view> arguments);

}  // namespace textrix::command
