// SPDX-License-Identifier: MIT
// The messages that the service handlers store in the error slot when they fail, exactly as the
// user sees them. Several services share one message.
#pragma once

#include <string_view>

namespace textrix {

inline constexpr std::string_view kUpperCaseMessage = "Error: Couldn't upper case string.";
inline constexpr std::string_view kLowerCaseMessage = "Error: Couldn't lower case string.";
inline constexpr std::string_view kCapitalizeMessage = "Error: Couldn't capitalize string.";
inline constexpr std::string_view kShiftLeftMessage = "Error: Couldn't shift left string.";
inline constexpr std::string_view kShiftRightMessage = "Error: Couldn't shift right string.";
inline constexpr std::string_view kTabsMessage = "Error: Couldn't de/encode tabs of string.";
inline constexpr std::string_view kTrimMessage = "Error: Couldn't trim string.";
inline constexpr std::string_view kSortMessage = "Error: Couldn't sort lines of string.";
inline constexpr std::string_view kInsertPathMessage = "Error: Couldn't insert contents of path.";
inline constexpr std::string_view kReformatMessage = "Error: Couldn't reformat string.";
inline constexpr std::string_view kRemoveAttachmentsMessage =
    "Error: Couldn't remove attachments of string.";
inline constexpr std::string_view kRemoveLinksMessage = "Error: Couldn't remove links of string.";
// Remove multiple feeds reports this message too.
inline constexpr std::string_view kRemoveMultipleSpacesMessage =
    "Error: Couldn't remove multiple spaces of string.";
inline constexpr std::string_view kRemoveQuotesMessage = "Error: Couldn't remove quotes of string.";
inline constexpr std::string_view kLineEndingsMessage =
    "Error: Couldn't convert line endings of string.";
inline constexpr std::string_view kRotateMessage = "Error: Couldn't rotate string.";
inline constexpr std::string_view kEncodingMessage = "Error: Couldn't convert encoding of string.";
inline constexpr std::string_view kQuotesMessage = "Error: Couldn't convert quotes of string.";

}  // namespace textrix
