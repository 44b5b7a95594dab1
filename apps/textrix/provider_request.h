// Sending one request to the provider on the session bus, shared by textrix call and textrix pick.
//
//   BusPasteboard answer;
//   std::string error;
//   if (std::optional<int> status = performOnProvider("upper", request, "", answer, error)) {
//     return *status;  // the problem is printed
//   }
#pragma once

#include <optional>
#include <string>

#include "provider/bus_adaptor.h"

namespace textrix::command {

// Calls Perform on the provider (the bus starts it when needed) with the application option when it
// is not empty, and waits up to five minutes. None when it answered, with answer and error set;
// else the exit status of the bus error, whose message is printed on standard error.
std::optional<int> performOnProvider(const std::string& service, const BusPasteboard& request,
                                     const std::string& application, BusPasteboard& answer,
                                     std::string& error);

}  // namespace textrix::command
