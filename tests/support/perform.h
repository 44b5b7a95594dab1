// Runs one service of the catalogue, by its command name, as a request would.
#pragma once

#include <gtest/gtest.h>

#include <string>
#include <string_view>

#include "services/catalogue.h"
#include "services/textrix.h"

namespace textrix::testing_services {

inline void perform(Textrix& provider, std::string_view service, ServicePasteboard& pasteboard,
                    std::string& error) {
  const ServiceEntry* entry = findService(service);
  ASSERT_NE(entry, nullptr) << service;
  performService(provider, *entry, pasteboard, "", error);
}

}  // namespace textrix::testing_services
