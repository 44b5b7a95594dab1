// SPDX-License-Identifier: MIT
// Runs one service of the catalogue, by its command name, as a request would.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "services/catalogue.h"
#include "services/textrix.h"

namespace textrix::testing_services {

// The message the service reports, empty when it reports none.
inline std::string perform(Textrix& provider, std::string_view service,
                           ServicePasteboard& pasteboard) {
  const ServiceEntry* entry = findService(service);
  if (entry == nullptr) {
    ADD_FAILURE() << "no service " << service;
    return "<no service>";
  }
  std::string error;
  performService(provider, *entry, pasteboard, "", error);
  return error;
}

}  // namespace textrix::testing_services
