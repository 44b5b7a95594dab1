// SPDX-License-Identifier: MIT
#pragma once

#include <span>
#include <string_view>

namespace textrix::command {

// textrix serve [--slice SECONDS]: the provider on the session bus, with the desktop's clipboard
// and alerts; the slice comes from --slice, else $TEXTRIX_SLICE_SECONDS.
int serve(std::span<const std::string_view> arguments);

}  // namespace textrix::command
