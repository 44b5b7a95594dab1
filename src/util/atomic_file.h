// SPDX-License-Identifier: MIT
// Replacing a small file of the user's (settings, history) so that a reader, or a crash in the
// middle, sees the old contents or the new ones, never half of them.
//
//   if (std::string problem = textrix::replaceFileAtomically(path, "TabulatorWidth=8\n");
//       !problem.empty()) log(problem);
#pragma once

#include <filesystem>
#include <string>
#include <string_view>

namespace textrix {

// Writes contents to a temporary file beside path (creating path's directory) and renames it over
// path. Returns what went wrong, or an empty string; on failure path is as it was and no temporary
// file is left.
std::string replaceFileAtomically(const std::filesystem::path& path, std::string_view contents);

}  // namespace textrix
