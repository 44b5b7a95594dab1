// SPDX-License-Identifier: MIT
// Round trips to the provider, each on a private dbus-daemon whose service directory is the build
// tree's: a warm request with a 4 KiB selection, a warm request with a 1 MiB one, and a cold start
// (activation and first request). Prints the median and the 99th percentile of each, and the
// growth of the provider's resident memory over 10,000 requests after 1,000 to warm it up.
//
// Beside them, the floor that the bus itself sets, on the same bus and client: a bare
// Properties.Get of the provider, and the same 1 MiB sent to an echo object of this process as one
// string and back. The ratios to those are what the provider adds.
//
//   build/provider_bench [WARM_REQUESTS] [COLD_STARTS] [LARGE_REQUESTS]   (defaults 5000, 40, 50)
#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <memory>
#include <string>
#include <vector>

#include "provider/client.h"

namespace {

using Clock = std::chrono::steady_clock;

// A dbus-daemon of its own, stopped on destruction (the provider it started then ends too).
class PrivateBus {
 public:
  explicit PrivateBus(const std::filesystem::path& directory) {
    const auto config = directory / "bus.conf";
    std::ofstream(config)
        << "<busconfig>\n  <type>session</type>\n  <listen>unix:dir=" << directory.string()
        << "</listen>\n  <auth>EXTERNAL</auth>\n  <servicedir>" TEXTRIX_SERVICE_DIR
           "</servicedir>\n  <policy context=\"default\">\n"
           "    <allow send_destination=\"*\" eavesdrop=\"true\"/>\n"
           "    <allow eavesdrop=\"true\"/>\n    <allow own=\"*\"/>\n"
           "  </policy>\n</busconfig>\n";
    int output[2];
    if (::pipe(output) != 0) return;
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, output[1], 1);
    posix_spawn_file_actions_addclose(&actions, output[0]);
    posix_spawn_file_actions_addopen(&actions, 2, (directory / "bus.log").c_str(),
                                     O_WRONLY | O_CREAT | O_APPEND, 0600);
    std::vector<std::string> strings = {"dbus-daemon", "--config-file=" + config.string(),
                                        "--nofork", "--print-address"};
    std::vector<std::string> environment = {"TEXTRIX_DEFAULTS=" + (directory / "defaults").string(),
                                            "TEXTRIX_SLICE_SECONDS=600", "PATH=/usr/bin:/bin",
                                            "LC_ALL=C.UTF-8"};
    std::vector<char*> argv, envp;
    for (std::string& s : strings) argv.push_back(s.data());
    argv.push_back(nullptr);
    for (std::string& s : environment) envp.push_back(s.data());
    envp.push_back(nullptr);
    posix_spawnp(&pid_, "dbus-daemon", &actions, nullptr, argv.data(), envp.data());
    posix_spawn_file_actions_destroy(&actions);
    ::close(output[1]);
    char c;
    pollfd descriptor{output[0], POLLIN, 0};
    while (::poll(&descriptor, 1, 30'000) > 0 && ::read(output[0], &c, 1) == 1 && c != '\n') {
      address_ += c;
    }
    ::close(output[0]);
  }
  ~PrivateBus() {
    if (pid_ > 0) {
      ::kill(pid_, SIGTERM);
      ::waitpid(pid_, nullptr, 0);
    }
  }
  PrivateBus(const PrivateBus&) = delete;
  PrivateBus& operator=(const PrivateBus&) = delete;

  const std::string& address() const { return address_; }

 private:
  pid_t pid_ = -1;
  std::string address_;
};

textrix::BusPasteboard selection(std::size_t size) {
  std::string text;
  while (text.size() < size) text += "The quick brown fox jumps over the lazy dog.\n";
  text.resize(size);
  return {{"text/plain;charset=utf-8", std::vector<std::uint8_t>(text.begin(), text.end())}};
}

// One Perform of upper on the selection, sent as textrix call and textrix pick send it; its time in
// microseconds.
double roundTrip(sdbus::IProxy& proxy, const textrix::BusPasteboard& pasteboard) {
  const Clock::time_point start = Clock::now();
  const textrix::ProviderReply reply = textrix::performOnProvider(proxy, "upper", pasteboard, "");
  const double micros = std::chrono::duration<double, std::micro>(Clock::now() - start).count();
  if (reply.failure || reply.pasteboard.size() != 1 ||
      reply.pasteboard[0].get<1>().size() != pasteboard[0].get<1>().size()) {
    std::fprintf(stderr, "provider_bench: unexpected answer\n");
    std::exit(1);
  }
  return micros;
}

// The resident memory of a process in KiB, from /proc/PID/status; -1 when it cannot be read.
long residentKiB(pid_t pid) {
  std::ifstream status("/proc/" + std::to_string(pid) + "/status");
  for (std::string line; std::getline(status, line);) {
    if (line.starts_with("VmRSS:")) return std::stol(line.substr(6));
  }
  return -1;
}

pid_t providerPid(sdbus::IConnection& connection) {
  auto bus = sdbus::createProxy(connection, "org.freedesktop.DBus", "/org/freedesktop/DBus");
  std::uint32_t pid = 0;
  bus->callMethod("GetConnectionUnixProcessID")
      .onInterface("org.freedesktop.DBus")
      .withArguments(std::string(textrix::kBusName))
      .storeResultsTo(pid);
  return static_cast<pid_t>(pid);
}

// Serves count requests the way a day of use mixes them: several services, every seventh a rich
// text, every tenth a type the provider refuses.
void serveMixed(sdbus::IProxy& proxy, int count, const textrix::BusPasteboard& plain,
                const textrix::BusPasteboard& rich) {
  const char* services[] = {"upper", "lower", "trim", "sort-ascending", "rotate"};
  const textrix::BusPasteboard refused = {{"text/html", {'x'}}};
  for (int i = 0; i < count; ++i) {
    const textrix::ProviderReply reply =
        i % 10 == 9
            ? textrix::performOnProvider(proxy, "upper", refused, "")
            : textrix::performOnProvider(proxy, services[i % 5], i % 7 == 3 ? rich : plain, "");
    if (i % 10 != 9 && (reply.failure || reply.pasteboard.size() != 1)) {
      std::fprintf(stderr, "provider_bench: unexpected answer\n");
      std::exit(1);
    }
  }
}

// The median of the times, after printing it with the 99th percentile.
double report(const char* name, std::vector<double> micros) {
  std::sort(micros.begin(), micros.end());
  const double median = micros[micros.size() / 2];
  const double p99 = micros[std::min(micros.size() - 1, micros.size() * 99 / 100)];
  std::printf("%-40s n=%-6zu median %9.1f us   p99 %9.1f us\n", name, micros.size(), median, p99);
  return median;
}

// The times of count calls of call, in microseconds.
template <class Call>
std::vector<double> timed(int count, Call call) {
  std::vector<double> micros;
  for (int i = 0; i < count; ++i) {
    const Clock::time_point start = Clock::now();
    call();
    micros.push_back(std::chrono::duration<double, std::micro>(Clock::now() - start).count());
  }
  return micros;
}

constexpr const char* kEchoName = "org.textrix.Bench.Echo";

// An object on a connection of its own that sends back the string it is sent.
std::unique_ptr<sdbus::IObject> echoObject(sdbus::IConnection& connection) {
  connection.requestName(kEchoName);
  auto object = sdbus::createObject(connection, "/echo");
  object->registerMethod("Echo").onInterface(kEchoName).implementedAs(
      [](std::string text) { return text; });
  object->finishRegistration();
  connection.enterEventLoopAsync();
  return object;
}

}  // namespace

int main(int argc, char** argv) {
  const int warmRequests = argc > 1 ? std::atoi(argv[1]) : 5000;
  const int coldStarts = argc > 2 ? std::atoi(argv[2]) : 40;
  const int largeRequests = argc > 3 ? std::atoi(argv[3]) : 50;
  const auto directory = std::filesystem::temp_directory_path() /
                         ("textrix-provider-bench-" + std::to_string(getpid()));
  std::filesystem::create_directories(directory);
  const textrix::BusPasteboard pasteboard = selection(4096);
  const textrix::BusPasteboard large = selection(std::size_t{1} << 20);
  try {
    {
      PrivateBus bus(directory);
      auto connection = sdbus::createSessionBusConnectionWithAddress(bus.address());
      auto proxy = sdbus::createProxy(*connection, std::string(textrix::kBusName),
                                      std::string(textrix::kObjectPath));
      for (int i = 0; i < 200; ++i) roundTrip(*proxy, pasteboard);
      std::vector<double> micros;
      for (int i = 0; i < warmRequests; ++i) micros.push_back(roundTrip(*proxy, pasteboard));
      const double small = report("warm round trip, upper, 4 KiB", micros);
      const double get =
          report("bare Properties.Get", timed(warmRequests, [&] {
                   proxy->getProperty("Speaking").onInterface(std::string(textrix::kInterfaceName));
                 }));
      micros.clear();
      for (int i = 0; i < largeRequests; ++i) micros.push_back(roundTrip(*proxy, large));
      const double big = report("warm round trip, upper, 1 MiB", micros);
      auto echoConnection = sdbus::createSessionBusConnectionWithAddress(bus.address());
      const auto echo = echoObject(*echoConnection);
      auto echoProxy = sdbus::createProxy(*connection, kEchoName, "/echo");
      const std::string string(std::size_t{1} << 20, 'x');
      const double echoed = report("1 MiB as one string, there and back", timed(largeRequests, [&] {
                                     std::string back;
                                     echoProxy->callMethod("Echo")
                                         .onInterface(kEchoName)
                                         .withArguments(string)
                                         .storeResultsTo(back);
                                   }));
      std::printf("%-40s 4 KiB %.2fx Properties.Get (goal 1.5)   1 MiB %.2fx one string (goal 2)\n",
                  "the provider's share", small / get, big / echoed);
      const std::string bytes =
          "{\\rtf1\\ansi{\\fonttbl{\\f0 Helvetica;}}{\\colortbl;\\red255\\green0\\blue0;}"
          "\\f0\\fs24 The {\\b quick} {\\cf1 brown} fox\\par jumps {\\i over} the lazy dog.\\par}";
      const textrix::BusPasteboard rich = {
          {"text/rtf", std::vector<std::uint8_t>(bytes.begin(), bytes.end())}};
      serveMixed(*proxy, 1000, pasteboard, rich);
      const pid_t pid = providerPid(*connection);
      const long before = residentKiB(pid);
      serveMixed(*proxy, 10'000, pasteboard, rich);
      const long after = residentKiB(pid);
      std::printf("%-40s before %ld KiB   after %ld KiB   growth %ld KiB%s\n",
                  "resident memory, 10,000 mixed requests", before, after, after - before,
                  providerPid(*connection) == pid ? "" : "   (the provider restarted)");
    }
    std::vector<double> micros;
    for (int i = 0; i < coldStarts; ++i) {
      PrivateBus bus(directory);
      auto connection = sdbus::createSessionBusConnectionWithAddress(bus.address());
      auto proxy = sdbus::createProxy(*connection, std::string(textrix::kBusName),
                                      std::string(textrix::kObjectPath));
      micros.push_back(roundTrip(*proxy, pasteboard));
    }
    report("cold start: activation + first request", micros);
  } catch (const sdbus::Error& error) {
    std::fprintf(stderr, "provider_bench: %s\n", error.what());
    std::filesystem::remove_all(directory);
    return 1;
  }
  std::filesystem::remove_all(directory);
  return 0;
}
