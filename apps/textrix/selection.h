// The selection as the command sees it, shared by applying a service in process (textrix SERVICE)
// and by sending it to the provider (textrix call): reading the input, detecting its type, putting
// it on a pasteboard and writing the result back out.
//
//   std::optional<std::string> bytes = readInput(file);
//   ServicePasteboard pasteboard("textrix");
//   std::string problem = putSelection(std::move(*bytes), detectType(*bytes), pasteboard);
//   ...
//   writeResult(pasteboard);
#pragma once

#include <optional>
#include <string>
#include <string_view>

#include "runtime/pasteboard.h"

namespace textrix::command {

// The pasteboard type that --type names: plain, rtf or rtfd; none for any other name.
std::optional<std::string_view> pasteboardTypeNamed(std::string_view name);

// All bytes of the file, or of standard input for none or "-"; none (errno set) when they cannot be
// read. A regular file is read in one go into a buffer of its size.
std::optional<std::string> readInput(std::optional<std::string_view> file);

// The type of the bytes: flat RTFD by its signature, RTF by "{\rtf", anything else plain text.
std::string_view detectType(std::string_view bytes);

// Puts the selection on the pasteboard as its one type; plain text must be UTF-8, and its bytes are
// freed as soon as they are decoded. Returns the problem with the bytes ("invalid UTF-8 at byte
// N"), or empty.
std::string putSelection(std::string bytes, std::string_view type, ServicePasteboard& pasteboard);

// Writes the content of the pasteboard's first type to standard output, after anything already
// printed through stdio: a string as UTF-8, bytes as they are. Writes nothing for an empty
// pasteboard. False (errno set) when standard output fails.
bool writeResult(const ServicePasteboard& pasteboard);

}  // namespace textrix::command
