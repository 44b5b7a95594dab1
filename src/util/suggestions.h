// SPDX-License-Identifier: MIT
// Suggestions for a misspelt name: the known name nearest to what was typed, so that a message can
// ask "did you mean upper?" for "uper" and "TabulatorWidth" for "tabulatorwidth".
//
//   const std::string_view names[] = {"upper", "lower"};
//   textrix::closestName("uper", names);  // "upper"
#pragma once

#include <optional>
#include <span>
#include <string_view>

namespace textrix {

// The number of single-character insertions, deletions, substitutions and swaps of neighbours that
// turn one into the other, ignoring the case of ASCII letters.
std::size_t editDistance(std::string_view one, std::string_view other);

// The name nearest to given by editDistance, the first of those as near, when it is near enough to
// be what was meant: at most a third of given's length away (at least one edit). None otherwise.
std::optional<std::string_view> closestName(std::string_view given,
                                            std::span<const std::string_view> names);

}  // namespace textrix
