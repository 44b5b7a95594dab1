// SPDX-License-Identifier: MIT
// The dispatch of the textrix command and its usage. Each subcommand lives in a file of its own
// (apply, list, defaults, serve, call, pick), takes the arguments after its name and returns the
// exit status (errors.h).
#pragma once

#include <cstdio>
#include <span>
#include <string_view>

#include "runtime/localization.h"

namespace textrix::command {

// The usage lines: the start of --help, and repeated after a usage error.
inline constexpr const char* kUsage =
    N_("Usage: textrix SERVICE [FILE] [--type plain|rtf|rtfd] [--wav FILE] [--print]\n"
       "   or: textrix list\n"
       "   or: textrix defaults read [KEY] | write KEY VALUE | delete KEY\n"
       "   or: textrix serve [--slice SECONDS]\n"
       "   or: textrix call SERVICE [FILE] [--type plain|rtf|rtfd] [--application NAME]\n"
       "   or: textrix pick [SERVICE | --repeat] [--clipboard] [--chooser COMMAND]\n"
       "   or: textrix --help | --version\n");

// Writes the text to the stream as it is.
void writeText(std::FILE* stream, std::string_view text);

// Dispatches on the first argument: a service name or one of the other subcommands.
int run(std::span<const std::string_view> arguments);

}  // namespace textrix::command
