#pragma once

#include <span>
#include <string_view>

namespace textrix::command {

// textrix SERVICE [FILE] [--type plain|rtf|rtfd] [--wav FILE] [--print]: applies the service in
// this process as a filter.
int applyService(std::string_view service, std::span<const std::string_view> arguments);

}  // namespace textrix::command
