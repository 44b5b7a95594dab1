// SPDX-License-Identifier: MIT
// The client's answers when the provider refuses, fails or cannot be reached; its requests and
// answers on a bus are tested end to end with textrix call and textrix pick (tests/apps).
#include "provider/client.h"

#include <gtest/gtest.h>

namespace textrix {
namespace {

TEST(ProviderFailures, TellWhetherTheRequestWasRefusedAndWhy) {
  const struct {
    std::optional<RequestProblem> problem;
    std::string message;
    bool refused;
    std::string description;
  } cases[] = {
      {std::nullopt, "Connection refused", false,
       "cannot reach the provider org.textrix.Textrix: Connection refused"},
      {RequestProblem::internal, "std::bad_alloc", false, "the provider failed: std::bad_alloc"},
      {RequestProblem::invalidUtf8, "invalid UTF-8 at byte 3", true, "invalid UTF-8 at byte 3"},
      {RequestProblem::unknownService, "unknown service nope", true, "unknown service nope"},
      {RequestProblem::tooLarge, "the selection is larger than 32 MiB", true,
       "the selection is larger than 32 MiB"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.description);
    const ProviderFailure failure{c.problem, c.message};
    EXPECT_EQ(failure.refused(), c.refused);
    EXPECT_EQ(failure.description(), c.description);
  }
}

// A selection over the limit is refused on the client's side, as input the provider would refuse.
TEST(ProviderFailures, TooLargeASelectionIsRefusedAsTheProviderWould) {
  const ProviderFailure failure = selectionTooLarge();
  EXPECT_TRUE(failure.refused());
  EXPECT_EQ(failure.problem, RequestProblem::tooLarge);
  EXPECT_EQ(failure.description(),
            "the selection is larger than 32 MiB, more than the provider takes");
}

TEST(ProviderRequests, ContentBytesCountEveryType) {
  const BusPasteboard pasteboard = {{"text/rtf", {'{', '}'}}, {"NSStringPboardType", {'a'}}};
  EXPECT_EQ(contentBytes(pasteboard), 3u);
  EXPECT_EQ(contentBytes({}), 0u);
}

}  // namespace
}  // namespace textrix
