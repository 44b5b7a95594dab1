// SPDX-License-Identifier: MIT
// A private session bus for end-to-end tests of the command and the provider: each test starts its
// own dbus-daemon, whose service directory is the build tree's (build/dbus-1/services), so that a
// request activates the built provider. The daemon hands its environment on to the provider:
// TEXTRIX_SLICE_SECONDS sets the slice. The test talks to the bus and to the provider as any
// client does, through a connection of its own.
//
//   class Provider : public textrix::PrivateBusTest {};
//   TEST_F(Provider, Answers) {
//     ASSERT_NO_FATAL_FAILURE(startBus("60"));
//     EXPECT_EQ(run({"call", "upper"}, "a").out, "A");
//     EXPECT_EQ(perform("upper", plainText("a")).first, answerText("A"));
//   }
#pragma once

#include <signal.h>

#include <filesystem>
#include <fstream>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "provider/bus_adaptor.h"
#include "support/process.h"

namespace textrix {

// A request's pasteboard of plain text.
inline BusPasteboard plainText(std::string_view text) {
  return {{"text/plain;charset=utf-8", std::vector<std::uint8_t>(text.begin(), text.end())}};
}

// A plain-text answer: the provider names the type as the pasteboard does.
inline BusPasteboard answerText(std::string_view text) {
  return {{"NSStringPboardType", std::vector<std::uint8_t>(text.begin(), text.end())}};
}

class PrivateBusTest : public CommandTest {
 protected:
  PrivateBusTest() { prefix_ = "textrix-provider-"; }

  void TearDown() override {
    provider_.reset();
    bus_.reset();
    connection_.reset();
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

  // A service directory of this test's whose provider is the built command started through env
  // with the arguments (variables such as PATH=...), for startBus.
  std::filesystem::path servicesStartingTheProviderWith(const std::string& arguments) const {
    const auto services = directory_ / "services";
    std::filesystem::create_directories(services);
    std::ofstream(services / "org.textrix.Textrix.service")
        << "[D-BUS Service]\nName=" << kBusName << "\nExec=/usr/bin/env " << arguments << " "
        << TEXTRIX_COMMAND << " serve\n";
    return services;
  }

  // Runs textrix with the arguments on the private bus, feeding input on standard input.
  Outcome run(std::vector<std::string> arguments, const std::string& input = {},
              std::optional<std::string> address = {}) const {
    std::vector<std::string> environment = baseEnvironment();
    environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + address.value_or(address_));
    return runCommand(std::move(arguments), input, environment);
  }

  // The provider's object, which the bus starts the provider for when first called.
  sdbus::IProxy& provider() {
    if (!provider_) {
      provider_ = sdbus::createProxy(connection(), std::string(kBusName), std::string(kObjectPath));
    }
    return *provider_;
  }
  // The bus itself.
  sdbus::IProxy& bus() {
    if (!bus_) {
      bus_ = sdbus::createProxy(connection(), "org.freedesktop.DBus", "/org/freedesktop/DBus");
    }
    return *bus_;
  }

  // Calls Perform with the options as any client may: the reply's pasteboard and error.
  std::pair<BusPasteboard, std::string> perform(const std::string& service,
                                                const BusPasteboard& pasteboard,
                                                const BusOptions& options = {}) {
    BusPasteboard answer;
    std::string error;
    provider()
        .callMethod("Perform")
        .onInterface(std::string(kInterfaceName))
        .withArguments(service, pasteboard, std::string(), options)
        .storeResultsTo(answer, error);
    return {answer, error};
  }
  std::vector<BusServiceDescription> listServices() {
    std::vector<BusServiceDescription> services;
    provider()
        .callMethod("ListServices")
        .onInterface(std::string(kInterfaceName))
        .storeResultsTo(services);
    return services;
  }
  bool speaking() {
    return provider().getProperty("Speaking").onInterface(std::string(kInterfaceName)).get<bool>();
  }

  bool providerIsThere() { return askTheBusAboutTheProvider<bool>("NameHasOwner"); }
  pid_t providerPid() {
    return static_cast<pid_t>(
        askTheBusAboutTheProvider<std::uint32_t>("GetConnectionUnixProcessID"));
  }
  // Gives the providers that the bus starts from now on the variables.
  void updateActivationEnvironment(const std::map<std::string, std::string>& variables) {
    bus()
        .callMethod("UpdateActivationEnvironment")
        .onInterface("org.freedesktop.DBus")
        .withArguments(variables);
  }

  std::string address_;
  pid_t daemon_ = -1;

 private:
  // This test's own connection to the private bus, made when first asked for.
  sdbus::IConnection& connection() {
    if (!connection_) connection_ = sdbus::createSessionBusConnectionWithAddress(address_);
    return *connection_;
  }

  template <typename Answer>
  Answer askTheBusAboutTheProvider(const char* method) {
    Answer answer{};
    bus()
        .callMethod(method)
        .onInterface("org.freedesktop.DBus")
        .withArguments(std::string(kBusName))
        .storeResultsTo(answer);
    return answer;
  }

  std::unique_ptr<sdbus::IConnection> connection_;
  std::unique_ptr<sdbus::IProxy> provider_, bus_;
};

}  // namespace textrix
