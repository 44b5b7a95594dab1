// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string_view>

namespace textrix::command {

// textrix defaults read [KEY] | write KEY VALUE | delete KEY: prints, sets or removes the settings.
int defaults(std::span<const std::string_view> arguments);

}  // namespace textrix::command
