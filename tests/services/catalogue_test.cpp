#include "services/catalogue.h"

#include <gtest/gtest.h>

#include <set>

namespace textrix {
namespace {

TEST(Catalogue, HoldsEveryServiceOnceWithItsHandler) {
  std::set<std::string_view> names, handlers;
  for (const ServiceEntry& entry : serviceCatalogue()) {
    SCOPED_TRACE(entry.name);
    EXPECT_TRUE(names.insert(entry.name).second);
    EXPECT_TRUE(handlers.insert(entry.handlerName).second);
    // The read mode decides which kind of transform the runner calls.
    const bool readsPlain = entry.readMode == ReadMode::plain || entry.readMode == ReadMode::none;
    EXPECT_EQ(std::holds_alternative<PlainTransform>(entry.transform), readsPlain);
    EXPECT_TRUE(entry.handlerName.starts_with("do") &&
                entry.handlerName.ends_with("Service:userData:error:"));
    EXPECT_TRUE(entry.errorMessage.empty() || entry.errorMessage.starts_with("Error: Couldn't"));
    EXPECT_EQ(findService(entry.name), &entry);
    EXPECT_EQ(findService(entry.handlerName), &entry);
  }
  EXPECT_EQ(names.size(), 38u);
  EXPECT_EQ(findService("no-such-service"), nullptr);
}

TEST(Catalogue, TypesFollowTheReadMode) {
  for (const ServiceEntry& entry : serviceCatalogue()) {
    SCOPED_TRACE(entry.name);
    const std::size_t sent = entry.sendTypes.size();
    switch (entry.readMode) {
      case ReadMode::none:
        EXPECT_EQ(sent, 0u);
        break;
      case ReadMode::plain:
        EXPECT_EQ(sent, 1u);
        break;
      default:
        EXPECT_EQ(sent, 3u);
    }
    // Only the services that write nothing back declare no return type.
    EXPECT_EQ(entry.returnTypes.empty(), entry.name.starts_with("speak") ||
                                             entry.name == "stop-speaking" ||
                                             entry.name == "statistics");
  }
}

}  // namespace
}  // namespace textrix
