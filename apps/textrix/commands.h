// The subcommands of the textrix command. Each takes the arguments after its name and returns the
// exit status: 0 success, 1 a service's message or a missing setting, 2 bad usage or input, 3 the
// session bus or the provider cannot be reached, 4 no display, or a helper program that the desktop
// needs is missing (textrix pick).
#pragma once

#include <span>
#include <string_view>

namespace textrix::command {

inline constexpr int kSuccess = 0;
inline constexpr int kServiceFailed = 1;
inline constexpr int kUsageError = 2;
inline constexpr int kUnreachable = 3;
inline constexpr int kNoDesktop = 4;

// Dispatches on the first argument: a service name or one of the other subcommands.
int run(std::span<const std::string_view> arguments);

// textrix SERVICE [FILE] [--type plain|rtf|rtfd] [--wav FILE] [--print]
int applyService(std::string_view service, std::span<const std::string_view> arguments);
// textrix list
int listServices();
// textrix defaults read [KEY] | write KEY VALUE | delete KEY
int defaults(std::span<const std::string_view> arguments);
// textrix serve [--slice SECONDS]
int serve(std::span<const std::string_view> arguments);
// textrix call SERVICE [FILE] [--type plain|rtf|rtfd] [--application NAME]
int callService(std::span<const std::string_view> arguments);

// textrix pick [SERVICE] [--clipboard] [--chooser COMMAND]
int pick(std::span<const std::string_view> arguments);

// Prints the usage message (with the services) to standard error and returns kUsageError.
int usageError(std::string_view problem);

}  // namespace textrix::command
