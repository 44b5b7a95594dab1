// The command as a filter, shared by applying a service in process (textrix SERVICE) and by sending
// it to the provider (textrix call): reading the selection from FILE or standard input, detecting
// its type, putting it on a pasteboard and writing the result to standard output.
//
//   std::string bytes;
//   if (std::optional<CommandError> error = readInput(file, bytes)) return report(*error);
//   ServicePasteboard pasteboard("textrix");
//   const std::string_view type = detectType(bytes);
//   std::optional<CommandError> error = putSelection(std::move(bytes), type, pasteboard);
//   ...
//   writeResult(pasteboard);
#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>

#include "errors.h"
#include "runtime/pasteboard.h"

namespace textrix::command {

// The pasteboard type that --type names: plain, rtf or rtfd; none for any other name.
std::optional<std::string_view> pasteboardTypeNamed(std::string_view name);

// Reads all bytes of the file, or of standard input for none or "-", into bytes; the error ("cannot
// read FILE: reason") when they cannot be read. A regular file is read in one go into a buffer of
// its size.
std::optional<CommandError> readInput(std::optional<std::string_view> file, std::string& bytes);

// The type of the bytes: flat RTFD by its signature, RTF by "{\rtf", anything else plain text.
std::string_view detectType(std::string_view bytes);

// The error for plain text that is not UTF-8 from the byte at offset on.
CommandError invalidUtf8At(std::size_t offset);

// Puts the selection on the pasteboard as its one type; plain text must be UTF-8, and its bytes are
// freed as soon as they are decoded. Returns the error with the bytes ("invalid UTF-8 at byte N").
std::optional<CommandError> putSelection(std::string bytes, std::string_view type,
                                         ServicePasteboard& pasteboard);

// Writes the content of the pasteboard's first type to standard output, after anything already
// printed through stdio: a string as UTF-8, bytes as they are. Writes nothing for an empty
// pasteboard. The error when standard output fails.
std::optional<CommandError> writeResult(const ServicePasteboard& pasteboard);

}  // namespace textrix::command
