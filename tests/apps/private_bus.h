// SPDX-License-Identifier: MIT
// A private session bus for end-to-end tests of the command and the provider: each test starts its
// own dbus-daemon, whose service directory is the build tree's (build/dbus-1/services), so that a
// request activates the built provider. The daemon hands its environment on to the provider:
// TEXTRIX_SLICE_SECONDS sets the slice.
//
//   class Provider : public textrix::PrivateBusTest {};
//   TEST_F(Provider, Answers) {
//     ASSERT_NO_FATAL_FAILURE(startBus("60"));
//     EXPECT_EQ(run({"call", "upper"}, "a").out, "A");
//   }
#pragma once

#include <signal.h>

#include <filesystem>
#include <fstream>
#include <optional>
#include <string>
#include <vector>

#include "support/process.h"

namespace textrix {

class PrivateBusTest : public CommandTest {
 protected:
  PrivateBusTest() { prefix_ = "textrix-provider-"; }

  void TearDown() override {
    if (daemon_ > 0) {
      ::kill(daemon_, SIGTERM);
      ::waitpid(daemon_, nullptr, 0);
    }
    CommandTest::TearDown();
  }

  // Starts the private bus with the given slice for the providers it activates and the service
  // directory of the build tree (or another one).
  void startBus(const std::string& slice,
                const std::filesystem::path& serviceDirectory = TEXTRIX_SERVICE_DIR) {
    const auto config = directory_ / "bus.conf";
    std::ofstream(config) << "<busconfig><type>session</type><listen>unix:dir="
                          << directory_.string() << "</listen><auth>EXTERNAL</auth><servicedir>"
                          << serviceDirectory.string()
                          << "</servicedir><policy context=\"default\"><allow own=\"*\"/>"
                             "<allow send_destination=\"*\" eavesdrop=\"true\"/>"
                             "<allow eavesdrop=\"true\"/></policy></busconfig>\n";
    std::vector<std::string> environment = baseEnvironment();
    environment.push_back("TEXTRIX_SLICE_SECONDS=" + slice);
    // A small quarantine, so that a sanitized provider's memory shows what it keeps.
    environment.push_back("ASAN_OPTIONS=quarantine_size_mb=1");
    address_ = startServer(
        {"dbus-daemon", "--config-file=" + config.string(), "--nofork", "--print-address"},
        environment, directory_ / "bus.log", daemon_);
    ASSERT_GT(daemon_, 0) << "dbus-daemon cannot be started";
    ASSERT_TRUE(address_.starts_with("unix:")) << "no address from dbus-daemon: " << address_;
  }

  // Runs textrix with the arguments on the private bus, feeding input on standard input.
  Outcome run(std::vector<std::string> arguments, const std::string& input = {},
              std::optional<std::string> address = {}) const {
    std::vector<std::string> environment = baseEnvironment();
    environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + address.value_or(address_));
    return runCommand(std::move(arguments), input, environment);
  }

  std::string address_;
  pid_t daemon_ = -1;
};

}  // namespace textrix
