// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string>
#include <string_view>

namespace textrix::command {

// textrix defaults read [KEY] | write KEY VALUE | delete KEY: prints, sets or removes the settings.
int defaults(std::span<const std::string_view> arguments);

// The settings for a help: each key, what it does and what it takes, two lines a setting.
std::string settingsHelp();

}  // namespace textrix::command
