// SPDX-License-Identifier: MIT
// The command's path for a service that works on each line alone (entry.linesIndependent) over
// plain text: the input goes through in blocks, so that a text of any size takes a fixed amount of
// memory. The whole input is first read once to check that it is UTF-8, since nothing may be
// written for input that is not; a regular file is then read again, and other input (a pipe) is
// kept for the second reading, in memory while it is small and in an unnamed temporary file after.
//
//   if (entry.linesIndependent && type == kStringPboardType)
//     return streamSelection(provider, entry, input);
#pragma once

#include <optional>

#include "errors.h"
#include "filter.h"
#include "services/catalogue.h"

namespace textrix::command {

// Applies the service to the whole of input and writes the result to standard output; the error
// when the input cannot be read or is not UTF-8 (nothing is then written), or when standard output
// cannot be written.
std::optional<CommandError> streamSelection(Textrix& provider, const ServiceEntry& entry,
                                            SelectionInput& input);

}  // namespace textrix::command
