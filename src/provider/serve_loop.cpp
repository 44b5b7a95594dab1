// SPDX-License-Identifier: MIT
#include "provider/serve_loop.h"

#include <poll.h>

#include <csignal>
#include <exception>

#include "provider/bus_adaptor.h"
#include "provider/requests.h"
#include "runtime/localization.h"
#include "services/textrix.h"

namespace textrix {
namespace {

using Clock = std::chrono::steady_clock;

// Serves requests until the slice has passed or a service asked the process to end; the request
// that asked is answered first.
void serveSlice(sdbus::IConnection& connection, RequestServer& server, Clock::duration slice) {
  const Clock::time_point deadline = Clock::now() + slice;
  while (true) {
    while (connection.processPendingRequest()) {
      if (server.terminationRequested()) {
        server.clearTermination();
        return;
      }
      if (Clock::now() >= deadline) return;
    }
    const Clock::time_point now = Clock::now();
    if (now >= deadline) return;
    const sdbus::IConnection::PollData pollData = connection.getEventLoopPollData();
    Clock::duration wait = deadline - now;
    if (auto relative = pollData.getRelativeTimeout())
      wait = std::min<Clock::duration>(wait, *relative);
    pollfd descriptor{pollData.fd, pollData.events, 0};
    const auto milliseconds = std::chrono::ceil<std::chrono::milliseconds>(wait).count();
    ::poll(&descriptor, 1, static_cast<int>(milliseconds));
  }
}

}  // namespace

void runKeepAliveLoop(const std::function<void()>& serveSlice,
                      const std::function<bool()>& isSpeaking,
                      const std::function<void(const std::string&)>& log) {
  try {
    do {
      serveSlice();
    } while (isSpeaking());
  } catch (const std::exception& exception) {
    log(exception.what());
  } catch (...) {
    log("unknown exception");
  }
}

std::optional<std::string> serveOnSessionBus(const ServeOptions& options) {
  // A client that goes away while its answer is written must not end the process.
  std::signal(SIGPIPE, SIG_IGN);
  std::unique_ptr<sdbus::IConnection> connection;
  try {
    connection = sdbus::createSessionBusConnection();
  } catch (const sdbus::Error& error) {
    return localizedFormat("cannot reach the session bus: {0}", {error.getMessage()});
  }

  const auto& log = options.environment.log;
  RequestServer server(options.environment);
  Textrix::tabs();

  const std::string name(kBusName);
  {
    TextrixAdaptor adaptor(*connection, server);
    // The name is asked for without queueing: a second provider would wait unseen behind the
    // first, so it ends at once and says why.
    try {
      connection->requestName(name);
    } catch (const sdbus::Error& error) {
      if (error.getName().find("EEXIST") != std::string::npos ||
          error.getName().find("FileExists") != std::string::npos) {
        return localizedFormat("a provider is already serving {0} on this bus", {name});
      }
      return localizedFormat("cannot own {0}: {1}", {name, error.getMessage()});
    }
    runKeepAliveLoop([&] { serveSlice(*connection, server, options.slice); }, Textrix::isSpeaking,
                     log);
    try {
      connection->releaseName(name);
      while (connection->processPendingRequest()) {
      }
    } catch (const sdbus::Error&) {
      // The bus is gone: there is nobody left to answer.
    }
  }
  return std::nullopt;
}

}  // namespace textrix
