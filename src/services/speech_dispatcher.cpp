// SPDX-License-Identifier: MIT
#include "services/speech_dispatcher.h"

#include <fcntl.h>
#include <libspeechd.h>
#include <poll.h>
#include <pthread.h>
#include <signal.h>
#include <sys/socket.h>
#include <sys/un.h>
#include <unistd.h>

#include <atomic>
#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string_view>
#include <vector>

#include "util/shared_library.h"

namespace textrix {
namespace {

// The functions of speech-dispatcher's client library that speech uses. The library is loaded when
// speech first goes to the sound device, so that a run without speech neither loads it nor needs
// it.
struct SpeechdLibrary {
  static constexpr const char* kSoname = "libspeechd.so.2";
  decltype(&spd_get_default_address) defaultAddress;
  decltype(&SPDConnectionAddress__free) freeAddress;
  decltype(&spd_open2) open;
  decltype(&spd_execute_command_with_reply) command;
  decltype(&spd_set_notification_on) notifyOf;
  decltype(&spd_set_language) setLanguage;
  decltype(&spd_say) say;
  decltype(&spd_cancel) cancel;
  decltype(&spd_close) close;

  // Each function by its name in the library.
  std::vector<SharedFunction> table() {
    return {{defaultAddress, "spd_get_default_address"},
            {freeAddress, "SPDConnectionAddress__free"},
            {open, "spd_open2"},
            {command, "spd_execute_command_with_reply"},
            {notifyOf, "spd_set_notification_on"},
            {setLanguage, "spd_set_language"},
            {say, "spd_say"},
            {cancel, "spd_cancel"},
            {close, "spd_close"}};
  }
};

// The client library, loaded by the first call; null when it, or a function of it, is missing.
const SpeechdLibrary* speechdLibrary() {
  return SharedLibrary<SpeechdLibrary>::loaded().functions();
}

// While it lives, a write of this thread to a connection that the server has closed fails instead
// of ending the process: the library writes with write(2), and the command does not ignore
// SIGPIPE. A thread that the library starts meanwhile keeps SIGPIPE blocked for good.
class SigpipeBlocked {
 public:
  SigpipeBlocked() {
    sigemptyset(&sigpipe_);
    sigaddset(&sigpipe_, SIGPIPE);
    sigset_t pending;
    sigpending(&pending);
    wasPending_ = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &sigpipe_, &previous_);
  }
  // Takes back a SIGPIPE raised meanwhile, so that unblocking does not deliver it.
  ~SigpipeBlocked() {
    const timespec now{};
    if (!wasPending_) {
      while (sigtimedwait(&sigpipe_, nullptr, &now) == SIGPIPE) {
      }
    }
    pthread_sigmask(SIG_SETMASK, &previous_, nullptr);
  }
  SigpipeBlocked(const SigpipeBlocked&) = delete;
  SigpipeBlocked& operator=(const SigpipeBlocked&) = delete;

 private:
  sigset_t sigpipe_;
  sigset_t previous_;
  bool wasPending_ = false;
};

// The speeches going on, each by the server's id of its connection, since the library's callbacks
// name the connection by that id alone. Ids start again with each server, so an entry is removed
// by its flag. Never destroyed: the library's threads may call back while the process ends.
class SpeakingConnections {
 public:
  static SpeakingConnections& shared() {
    static auto* connections = new SpeakingConnections();
    return *connections;
  }

  void add(std::size_t clientId, std::atomic<bool>& speaking) {
    std::lock_guard lock(mutex_);
    entries_.push_back({clientId, &speaking});
  }
  void remove(const std::atomic<bool>& speaking) {
    std::lock_guard lock(mutex_);
    std::erase_if(entries_, [&](const Entry& entry) { return entry.speaking == &speaking; });
  }
  // Called on the library's thread when the server has spoken or cancelled the connection's text.
  void ended(std::size_t clientId) {
    std::lock_guard lock(mutex_);
    for (const Entry& entry : entries_) {
      if (entry.clientId == clientId) *entry.speaking = false;
    }
  }

 private:
  struct Entry {
    std::size_t clientId;
    std::atomic<bool>* speaking;
  };
  std::mutex mutex_;
  std::vector<Entry> entries_;
};

void onSpeechEnded(std::size_t, std::size_t clientId, SPDNotificationType) {
  SpeakingConnections::shared().ended(clientId);
}

// False when address is a Unix socket that takes no connection: no server is running there. The
// library is left to try the others, since it keeps a little memory of each connection it fails to
// make.
bool mayBeListening(const SPDConnectionAddress& address) {
  if (address.method != SPD_METHOD_UNIX_SOCKET) return true;
  sockaddr_un socketAddress{};
  socketAddress.sun_family = AF_UNIX;
  const std::string_view path = address.unix_socket_name ? address.unix_socket_name : "";
  if (path.empty() || path.size() >= sizeof(socketAddress.sun_path)) return false;
  path.copy(socketAddress.sun_path, path.size());
  const int probe = ::socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
  const bool listening = ::connect(probe, reinterpret_cast<const sockaddr*>(&socketAddress),
                                   sizeof(socketAddress)) == 0;
  ::close(probe);
  return listening;
}

// The server's id of connection, or -1 when it does not tell. spd_get_client_id reads the answer
// without looking whether one came, and from a server that has gone away none comes.
int clientIdOf(const SpeechdLibrary& library, SPDConnection* connection) {
  char* reply = nullptr;
  const bool answered = library.command(connection, "HISTORY GET CLIENT_ID", &reply) == 0;
  // The answer's first line is "245-ID".
  const int id = answered && std::strlen(reply) > 4 && reply[3] == '-' ? std::atoi(reply + 4) : -1;
  std::free(reply);
  return id;
}

// Keeps a connection whose server went away, unclosed: the library closed its socket on seeing the
// server leave, and closing the connection would close that descriptor a second time, by then
// perhaps another file's. Never destroyed.
void keepAbandoned(SPDConnection* connection) {
  static auto* mutex = new std::mutex();
  static auto* abandoned = new std::vector<SPDConnection*>();
  std::lock_guard lock(*mutex);
  abandoned->push_back(connection);
}

// One text spoken by the server over a connection of its own.
class DispatcherUtterance final : public Utterance {
 public:
  DispatcherUtterance(const SpeechdLibrary& library, SPDConnection* connection)
      : library_(library), connection_(connection) {}
  ~DispatcherUtterance() override;
  DispatcherUtterance(const DispatcherUtterance&) = delete;
  DispatcherUtterance& operator=(const DispatcherUtterance&) = delete;

  // Asks to hear of the end of the speech, sets the language and hands utf8 over; false when the
  // server refused any of it.
  bool start(const std::string& utf8, SpeechLanguage language);
  bool isSpeaking() const override { return speaking_ && !serverLeft(); }
  void stop() override;

 private:
  bool serverLeft() const;

  const SpeechdLibrary& library_;
  SPDConnection* connection_;
  // A descriptor of the connection's socket of our own, on which the server's leaving shows: a
  // server that dies says nothing of the speech it dropped.
  int watch_ = -1;
  std::atomic<bool> speaking_{false};
};

bool DispatcherUtterance::start(const std::string& utf8, SpeechLanguage language) {
  // The library takes a connection whose server hung up at once for one that works.
  watch_ = fcntl(connection_->socket, F_DUPFD_CLOEXEC, 0);
  if (watch_ < 0 || serverLeft()) return false;
  const int clientId = clientIdOf(library_, connection_);
  if (clientId < 0) return false;
  connection_->callback_end = onSpeechEnded;
  connection_->callback_cancel = onSpeechEnded;
  if (library_.notifyOf(connection_, static_cast<SPDNotification>(SPD_END | SPD_CANCEL)) != 0) {
    return false;
  }
  if (language == SpeechLanguage::german && library_.setLanguage(connection_, "de") != 0) {
    return false;
  }
  // Speaking before the text goes, since the server may report its end before spd_say returns.
  speaking_ = true;
  SpeakingConnections::shared().add(static_cast<std::size_t>(clientId), speaking_);
  if (library_.say(connection_, SPD_TEXT, utf8.c_str()) >= 0) return true;
  speaking_ = false;
  return false;
}

bool DispatcherUtterance::serverLeft() const {
  pollfd watched{watch_, POLLRDHUP, 0};
  return ::poll(&watched, 1, 0) != 0;
}

void DispatcherUtterance::stop() {
  if (isSpeaking()) {
    SigpipeBlocked sigpipe;
    library_.cancel(connection_);
  }
  speaking_ = false;
}

DispatcherUtterance::~DispatcherUtterance() {
  stop();
  SpeakingConnections::shared().remove(speaking_);
  if (watch_ >= 0 && serverLeft()) {
    keepAbandoned(connection_);
  } else {
    library_.close(connection_);
  }
  if (watch_ >= 0) ::close(watch_);
}

}  // namespace

std::unique_ptr<Utterance> speakThroughDispatcher(const std::string& utf8,
                                                  SpeechLanguage language) {
  const SpeechdLibrary* library = speechdLibrary();
  if (library == nullptr) return nullptr;
  char* error = nullptr;
  const std::unique_ptr<SPDConnectionAddress, void (*)(SPDConnectionAddress*)> address(
      library->defaultAddress(&error), library->freeAddress);
  std::free(error);
  if (!address || !mayBeListening(*address)) return nullptr;
  SigpipeBlocked sigpipe;
  SPDConnection* connection = library->open("textrix", "speech", nullptr, SPD_MODE_THREADED,
                                            address.get(), /*autospawn=*/0, &error);
  std::free(error);
  if (connection == nullptr) return nullptr;
  auto utterance = std::make_unique<DispatcherUtterance>(*library, connection);
  if (!utterance->start(utf8, language)) return nullptr;
  return utterance;
}

}  // namespace textrix
