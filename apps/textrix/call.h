// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string_view>

namespace textrix::command {

// textrix call SERVICE [FILE] [--type plain|rtf|rtfd] [--application NAME]: sends the selection to
// the provider on the session bus, which is started when needed, and writes its result.
int callService(std::span<const std::string_view> arguments);

}  // namespace textrix::command
