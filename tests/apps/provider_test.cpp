// End-to-end tests of the provider: each test starts its own dbus-daemon, whose service directory
// is the build tree's (build/dbus-1/services), so that a request activates the built provider.
// The daemon hands its environment on to the provider: TEXTRIX_SLICE_SECONDS sets the slice.
#include <fcntl.h>
#include <gtest/gtest.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <chrono>
#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <thread>
#include <vector>

#include "host/bus_adaptor.h"

extern char** environ;

namespace textrix {
namespace {

using namespace std::chrono_literals;

struct Outcome {
  int status = -1;
  std::string out;
  std::string err;
};

std::string slurp(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

std::vector<char*> pointersTo(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  for (std::string& string : strings) pointers.push_back(string.data());
  pointers.push_back(nullptr);
  return pointers;
}

// The resident memory of a process in KiB, from /proc/PID/status; -1 when it cannot be read.
long residentKiB(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
  }
  return -1;
}

BusPasteboard plainText(std::string_view text) {
  return {{"text/plain;charset=utf-8", std::vector<std::uint8_t>(text.begin(), text.end())}};
}

// A plain-text answer: the provider names the type as the pasteboard does.
BusPasteboard answerText(std::string_view text) {
  return {{"NSStringPboardType", std::vector<std::uint8_t>(text.begin(), text.end())}};
}

class Provider : public ::testing::Test {
 protected:
  void SetUp() override {
    directory_ = std::filesystem::temp_directory_path() /
                 ("textrix-provider-" + std::to_string(getpid()) + "-" +
                  ::testing::UnitTest::GetInstance()->current_test_info()->name());
    std::filesystem::remove_all(directory_);
    std::filesystem::create_directories(directory_);
  }

  void TearDown() override {
    proxy_.reset();
    connection_.reset();
    if (daemon_ > 0) {
      ::kill(daemon_, SIGTERM);
      ::waitpid(daemon_, nullptr, 0);
    }
    std::filesystem::remove_all(directory_);
  }

  // Starts the private bus with the given slice for the providers it activates and the service
  // directory of the build tree (or another one).
  void startBus(const std::string& slice,
                const std::filesystem::path& serviceDirectory = TEXTRIX_SERVICE_DIR) {
    const auto config = directory_ / "bus.conf";
    std::ofstream(config)
        << "<!DOCTYPE busconfig PUBLIC \"-//freedesktop//DTD D-Bus Bus Configuration 1.0//EN\"\n"
           " \"http://www.freedesktop.org/standards/dbus/1.0/busconfig.dtd\">\n"
           "<busconfig>\n"
           "  <type>session</type>\n"
           "  <listen>unix:dir="
        << directory_.string()
        << "</listen>\n"
           "  <auth>EXTERNAL</auth>\n"
           "  <servicedir>"
        << serviceDirectory.string()
        << "</servicedir>\n"
           "  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n"
           "    <allow own=\"*\"/>\n"
           "  </policy>\n"
           "</busconfig>\n";
    int output[2];
    ASSERT_EQ(::pipe(output), 0);
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output[1], 1);
    posix_spawn_file_actions_addclose(&actions, output[0]);
    posix_spawn_file_actions_addopen(&actions, 2, (directory_ / "bus.log").c_str(),
                                     O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<std::string> arguments = {"dbus-daemon", "--config-file=" + config.string(),
                                          "--nofork", "--print-address"};
    std::vector<std::string> environment = baseEnvironment();
    environment.push_back("TEXTRIX_SLICE_SECONDS=" + slice);
    // A small quarantine, so that a sanitized provider's memory shows what it keeps.
    environment.push_back("ASAN_OPTIONS=quarantine_size_mb=1");
    const int spawned = posix_spawnp(&daemon_, "dbus-daemon", &actions, nullptr,
                                     pointersTo(arguments).data(), pointersTo(environment).data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(output[1]);
    ASSERT_EQ(spawned, 0) << "dbus-daemon cannot be started";
    std::string line;
    char c;
    pollfd descriptor{output[0], POLLIN, 0};
    while (::poll(&descriptor, 1, 30'000) > 0 && ::read(output[0], &c, 1) == 1 && c != '\n') {
      line += c;
    }
    ::close(output[0]);
    ASSERT_TRUE(line.starts_with("unix:")) << "no address from dbus-daemon: " << line;
    address_ = line;
  }

  std::vector<std::string> baseEnvironment() const {
    return {"TEXTRIX_DEFAULTS=" + (directory_ / "defaults").string(), "LC_ALL=C.UTF-8",
            "PATH=/usr/bin:/bin"};
  }

  // Runs textrix with the arguments on the private bus, feeding input on standard input.
  Outcome run(std::vector<std::string> arguments, const std::string& input = {},
              std::optional<std::string> address = {}) const {
    const auto in = directory_ / "stdin", out = directory_ / "stdout", err = directory_ / "stderr";
    std::ofstream(in, std::ios::binary) << input;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 0, in.c_str(), O_RDONLY, 0);
    posix_spawn_file_actions_addopen(&actions, 1, out.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    posix_spawn_file_actions_addopen(&actions, 2, err.c_str(), O_WRONLY | O_CREAT | O_TRUNC, 0600);
    std::vector<std::string> environment = baseEnvironment();
    environment.push_back("DBUS_SESSION_BUS_ADDRESS=" + address.value_or(address_));
    arguments.insert(arguments.begin(), TEXTRIX_COMMAND);
    Outcome result;
    pid_t pid;
    if (posix_spawn(&pid, TEXTRIX_COMMAND, &actions, nullptr, pointersTo(arguments).data(),
                    pointersTo(environment).data()) == 0) {
      int status = 0;
      ::waitpid(pid, &status, 0);
      result.status = WIFEXITED(status) ? WEXITSTATUS(status) : -1;
    }
    posix_spawn_file_actions_destroy(&actions);
    result.out = slurp(out);
    result.err = slurp(err);
    return result;
  }

  // This test's own connection to the private bus and a proxy of the provider's object.
  sdbus::IProxy& provider() {
    if (!proxy_) {
      connection_ = sdbus::createSessionBusConnectionWithAddress(address_);
      proxy_ = sdbus::createProxy(*connection_, std::string(kBusName), std::string(kObjectPath));
    }
    return *proxy_;
  }

  std::tuple<BusPasteboard, std::string> perform(const std::string& service,
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

  // Asks the bus itself about the provider's name.
  bool nameHasOwner() {
    provider();
    auto bus = sdbus::createProxy(*connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus");
    bool owned = false;
    bus->callMethod("NameHasOwner")
        .onInterface("org.freedesktop.DBus")
        .withArguments(std::string(kBusName))
        .storeResultsTo(owned);
    return owned;
  }
  pid_t providerPid() {
    provider();
    auto bus = sdbus::createProxy(*connection_, "org.freedesktop.DBus", "/org/freedesktop/DBus");
    std::uint32_t pid = 0;
    bus->callMethod("GetConnectionUnixProcessID")
        .onInterface("org.freedesktop.DBus")
        .withArguments(std::string(kBusName))
        .storeResultsTo(pid);
    return static_cast<pid_t>(pid);
  }

  std::filesystem::path directory_;
  std::string address_;
  pid_t daemon_ = -1;
  std::unique_ptr<sdbus::IConnection> connection_;
  std::unique_ptr<sdbus::IProxy> proxy_;
};

TEST_F(Provider, CallAnswersAsTheCommandDoes) {
  ASSERT_NO_FATAL_FAILURE(startBus("60"));
  const std::string rtf = TEXTRIX_FIXTURES_DIR "/libreoffice_formatted.rtf";
  const struct {
    std::vector<std::string> arguments;
    std::string input;
    int status;
  } cases[] = {
      {{"upper"},
       "stra\xC3\x9F"
       "e\n",
       0},
      {{"trim"}, "  padded  \n", 0},
      {{"upper", rtf}, "", 0},
      {{"sort-descending", "-"}, "b\r\na\r\nc", 0},
      {{"upper"}, "", 0},
      {{"lower", "--type", "rtf"}, "not rtf", 1},
      {{"no-such-service"}, "x", 2},
      {{"upper"}, "ok \xC3\x28 bad", 2},
      {{"upper", "--bogus"}, "x", 2},
      {{"upper", "/nonexistent/file"}, "", 2},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(testing::PrintToString(c.arguments));
    const Outcome local = run(c.arguments, c.input);
    std::vector<std::string> remote = c.arguments;
    remote.insert(remote.begin(), "call");
    const Outcome called = run(remote, c.input);
    EXPECT_EQ(local.status, c.status) << local.err;
    EXPECT_EQ(called.status, c.status) << called.err;
    EXPECT_EQ(called.out, local.out);
    EXPECT_EQ(called.err, local.err);
  }
  EXPECT_TRUE(nameHasOwner());
}

TEST_F(Provider, CallPassesTheApplicationOn) {
  ASSERT_NO_FATAL_FAILURE(startBus("60"));
  const Outcome mail = run({"call", "upper", "--application", "Mail"}, "note");
  EXPECT_EQ(mail.status, 0) << mail.err;
  EXPECT_EQ(mail.out, "NOTE");
  EXPECT_EQ(run({"call", "upper", "--application"}, "note").status, 2);
}

TEST_F(Provider, UnreachableBusOrProviderIsExitStatusThree) {
  const Outcome noBus = run({"call", "upper"}, "x", "unix:path=" + (directory_ / "none").string());
  EXPECT_EQ(noBus.status, 3);
  EXPECT_NE(noBus.err.find("cannot reach"), std::string::npos) << noBus.err;

  const auto empty = directory_ / "no-services";
  std::filesystem::create_directories(empty);
  ASSERT_NO_FATAL_FAILURE(startBus("60", empty));
  const Outcome noProvider = run({"call", "upper"}, "x");
  EXPECT_EQ(noProvider.status, 3);
  EXPECT_NE(noProvider.err.find("cannot reach the provider"), std::string::npos) << noProvider.err;
  EXPECT_EQ(noProvider.out, "");
}

TEST_F(Provider, EndsAfterASliceWithoutRequests) {
  ASSERT_NO_FATAL_FAILURE(startBus("1"));
  ASSERT_EQ(run({"call", "upper"}, "wake up").out, "WAKE UP");
  const pid_t pid = providerPid();
  ASSERT_GT(pid, 0);
  const auto giveUp = std::chrono::steady_clock::now() + 120s;
  while (nameHasOwner() && std::chrono::steady_clock::now() < giveUp) {
    std::this_thread::sleep_for(100ms);
  }
  EXPECT_FALSE(nameHasOwner());
  // The bus reaps the provider it started.
  while (std::filesystem::exists("/proc/" + std::to_string(pid)) &&
         std::chrono::steady_clock::now() < giveUp) {
    std::this_thread::sleep_for(100ms);
  }
  EXPECT_FALSE(std::filesystem::exists("/proc/" + std::to_string(pid)));
  // The next request starts a new one.
  EXPECT_EQ(run({"call", "lower"}, "AGAIN").out, "again");
}

TEST_F(Provider, BadRequestsAreAnsweredWithErrorsAndServingGoesOn) {
  ASSERT_NO_FATAL_FAILURE(startBus("60"));
  ASSERT_EQ(std::get<0>(perform("upper", plainText("a"))), answerText("A"));
  const pid_t pid = providerPid();
  const std::string prefix = "org.textrix.Textrix1.Error.";
  const struct {
    std::string service;
    BusPasteboard pasteboard;
    BusOptions options;
    std::string error;
  } cases[] = {
      {"no-such-service", plainText("a"), {}, prefix + "UnknownService"},
      {"upper", {{"text/html", {'<'}}}, {}, prefix + "UnknownType"},
      {"upper", {{"", {'a'}}}, {}, prefix + "MalformedPasteboard"},
      {"upper",
       {{"NSStringPboardType", {'a'}}, {"text/plain;charset=utf-8", {'b'}}},
       {},
       prefix + "MalformedPasteboard"},
      {"upper", plainText("\xED\xA0\x80"), {}, prefix + "InvalidUtf8"},
      {"upper", plainText("a"), {{"pasteboard", sdbus::Variant(true)}}, prefix + "InvalidOption"},
  };
  for (const auto& c : cases) {
    SCOPED_TRACE(c.error);
    try {
      perform(c.service, c.pasteboard, c.options);
      ADD_FAILURE() << "no error";
    } catch (const sdbus::Error& error) {
      EXPECT_EQ(error.getName(), c.error);
    }
    auto [answer, message] = perform("lower", plainText("GOOD"));
    EXPECT_EQ(answer, answerText("good"));
    EXPECT_EQ(message, "");
  }
  // Arguments that do not match the signature.
  try {
    provider()
        .callMethod("Perform")
        .onInterface(std::string(kInterfaceName))
        .withArguments(std::string("upper"));
    ADD_FAILURE() << "no error";
  } catch (const sdbus::Error& error) {
    EXPECT_EQ(error.getName(), "org.freedesktop.DBus.Error.InvalidArgs");
  }
  // A client that goes away before its answer.
  {
    auto gone = sdbus::createSessionBusConnectionWithAddress(address_);
    auto proxy = sdbus::createProxy(*gone, std::string(kBusName), std::string(kObjectPath));
    auto call = proxy->createMethodCall(std::string(kInterfaceName), "Perform");
    call << std::string("upper") << plainText(std::string(1 << 20, 'x')) << std::string()
         << BusOptions{};
    auto pending = proxy->callMethod(call, [](sdbus::MethodReply&, const sdbus::Error*) {});
  }
  EXPECT_EQ(std::get<1>(perform("upper", plainText("still here"))), "");
  EXPECT_EQ(providerPid(), pid);
}

TEST_F(Provider, ListsServicesAndTellsWhetherItSpeaks) {
  ASSERT_NO_FATAL_FAILURE(startBus("60"));
  std::vector<BusServiceDescription> services;
  provider()
      .callMethod("ListServices")
      .onInterface(std::string(kInterfaceName))
      .storeResultsTo(services);
  ASSERT_FALSE(services.empty());
  EXPECT_EQ(services.front().get<0>(), "upper");
  EXPECT_EQ(services.front().get<1>(), "doUpperService:userData:error:");
  const bool speaking =
      provider().getProperty("Speaking").onInterface(std::string(kInterfaceName)).get<bool>();
  EXPECT_FALSE(speaking);
}

TEST_F(Provider, TenThousandRequestsKeepItsMemoryBounded) {
  ASSERT_NO_FATAL_FAILURE(startBus("3600"));
  std::string text;
  while (text.size() < 4096) text += "The quick brown fox jumps over the lazy dog.\n";
  text.resize(4096);
  const BusPasteboard selection = plainText(text);
  const std::string rtf = slurp(TEXTRIX_FIXTURES_DIR "/libreoffice_formatted.rtf");
  const BusPasteboard richText = {{"text/rtf", std::vector<std::uint8_t>(rtf.begin(), rtf.end())}};
  const char* services[] = {"upper", "lower", "trim", "sort-ascending", "rotate"};
  const auto serve = [&](int count) {
    for (int i = 0; i < count; ++i) {
      if (i % 10 == 9) {
        try {
          perform("upper", {{"text/html", {'x'}}});
        } catch (const sdbus::Error&) {
        }
        continue;
      }
      auto [answer, error] = perform(services[i % 5], i % 7 == 3 ? richText : selection);
      ASSERT_EQ(answer.size(), 1u) << i;
      ASSERT_EQ(error, "");
    }
  };
  ASSERT_NO_FATAL_FAILURE(serve(1000));
  const pid_t pid = providerPid();
  const long before = residentKiB(pid);
  ASSERT_GT(before, 0);
  ASSERT_NO_FATAL_FAILURE(serve(10'000));
  const long after = residentKiB(pid);
  EXPECT_EQ(providerPid(), pid);
  EXPECT_LT(after - before, 4096) << "resident memory went from " << before << " to " << after
                                  << " KiB";
}

}  // namespace
}  // namespace textrix
