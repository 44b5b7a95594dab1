// SPDX-License-Identifier: MIT
#include "util/child_process.h"

#include <fcntl.h>
#include <poll.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <span>
#include <thread>
#include <utility>

extern char** environ;

namespace textrix {
namespace {

using Clock = std::chrono::steady_clock;

// A file descriptor, closed when it goes.
class Descriptor {
 public:
  Descriptor() = default;
  explicit Descriptor(int descriptor) : descriptor_(descriptor) {}
  Descriptor(Descriptor&& other) noexcept : descriptor_(std::exchange(other.descriptor_, -1)) {}
  Descriptor& operator=(Descriptor&& other) noexcept {
    reset(std::exchange(other.descriptor_, -1));
    return *this;
  }
  ~Descriptor() { reset(); }

  int get() const { return descriptor_; }
  bool valid() const { return descriptor_ >= 0; }
  void reset(int descriptor = -1) {
    if (descriptor_ >= 0) ::close(descriptor_);
    descriptor_ = descriptor;
  }

 private:
  int descriptor_ = -1;
};

// Two connected sockets: the end the program gets and the end this process keeps.
struct Channel {
  Descriptor program;
  Descriptor ours;
};

std::optional<Channel> openChannel() {
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return std::nullopt;
  return Channel{Descriptor(ends[0]), Descriptor(ends[1])};
}

// Writes all of input to the socket; false when the reader went away first (without SIGPIPE).
bool sendAll(int socket, std::string_view input) {
  while (!input.empty()) {
    const ssize_t written = ::send(socket, input.data(), input.size(), MSG_NOSIGNAL);
    if (written < 0 && errno == EINTR) continue;
    if (written <= 0) return false;
    input.remove_prefix(static_cast<std::size_t>(written));
  }
  return true;
}

// Null-terminated pointers to the strings, for an argument or environment vector.
std::vector<char*> pointersTo(std::vector<std::string>& strings) {
  std::vector<char*> pointers;
  for (std::string& string : strings) pointers.push_back(string.data());
  pointers.push_back(nullptr);
  return pointers;
}

// This process's environment with the NAME=VALUE entries set over it.
std::vector<std::string> environmentWith(const std::vector<std::string>& entries) {
  std::vector<std::string> merged;
  for (char** variable = environ; *variable != nullptr; ++variable) {
    const std::string_view current(*variable);
    const std::string_view name = current.substr(0, current.find('=') + 1);
    const bool replaced = std::any_of(entries.begin(), entries.end(), [name](std::string_view set) {
      return set.starts_with(name);
    });
    if (!replaced) merged.emplace_back(current);
  }
  merged.insert(merged.end(), entries.begin(), entries.end());
  return merged;
}

// Where a program's standard streams go: a descriptor each, or -1 for /dev/null (output) or for
// the caller's own (error).
struct Streams {
  int input;
  int output;
  int error;
};

// Starts the program, called name; its process id, or -1 when it cannot start.
pid_t spawnProgram(const std::string& program, const std::string& name,
                   const std::vector<std::string>& arguments, Streams streams,
                   const std::vector<std::string>& environment, bool ownProcessGroup) {
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, streams.input, 0);
  if (streams.output >= 0) {
    posix_spawn_file_actions_adddup2(&actions, streams.output, 1);
  } else {
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
  }
  if (streams.error >= 0) posix_spawn_file_actions_adddup2(&actions, streams.error, 2);

  // A provider that ignores SIGPIPE for itself must not hand that on: a shell pipeline in a
  // program would then go on writing into a pipe that nobody reads.
  posix_spawnattr_t attributes;
  posix_spawnattr_init(&attributes);
  sigset_t noSignals, pipeSignal;
  sigemptyset(&noSignals);
  sigemptyset(&pipeSignal);
  sigaddset(&pipeSignal, SIGPIPE);
  posix_spawnattr_setsigmask(&attributes, &noSignals);
  posix_spawnattr_setsigdefault(&attributes, &pipeSignal);
  short flags = POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF;
  if (ownProcessGroup) {
    flags |= POSIX_SPAWN_SETPGROUP;
    posix_spawnattr_setpgroup(&attributes, 0);
  }
  posix_spawnattr_setflags(&attributes, flags);

  std::vector<std::string> argumentStrings = {name};
  argumentStrings.insert(argumentStrings.end(), arguments.begin(), arguments.end());
  std::vector<std::string> environmentStrings = environmentWith(environment);
  pid_t pid = -1;
  const int spawned =
      posix_spawn(&pid, program.c_str(), &actions, &attributes, pointersTo(argumentStrings).data(),
                  pointersTo(environmentStrings).data());
  posix_spawnattr_destroy(&attributes);
  posix_spawn_file_actions_destroy(&actions);
  return spawned == 0 ? pid : -1;
}

// The program's wait status once it has ended; none when it cannot be waited for.
std::optional<int> waitFor(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return std::nullopt;
  }
  return status;
}

// The program's wait status once it has ended, or none when it is still running at the deadline.
// It is asked at growing intervals: this is the rare program that closed its output and went on.
std::optional<int> waitUntil(pid_t pid, Clock::time_point deadline) {
  auto pause = std::chrono::milliseconds(1);
  while (true) {
    int status = 0;
    const pid_t ended = ::waitpid(pid, &status, WNOHANG);
    if (ended == pid) return status;
    if (ended < 0 && errno != EINTR) return std::nullopt;
    const Clock::time_point now = Clock::now();
    if (now >= deadline) return std::nullopt;
    std::this_thread::sleep_for(std::min<Clock::duration>(pause, deadline - now));
    pause = std::min(pause * 2, std::chrono::milliseconds(100));
  }
}

int exitStatusOf(std::optional<int> status) {
  return status && WIFEXITED(*status) ? WEXITSTATUS(*status) : -1;
}

// Reads what the descriptor has ready onto the end of bytes; closes it at the end of its stream.
void readAvailable(Descriptor& descriptor, std::string& bytes, std::span<char> buffer) {
  const ssize_t got = ::read(descriptor.get(), buffer.data(), buffer.size());
  if (got < 0 && (errno == EINTR || errno == EAGAIN)) return;
  if (got <= 0) {
    descriptor.reset();
    return;
  }
  bytes.append(buffer.data(), static_cast<std::size_t>(got));
}

// Sends what the socket takes now of the input still to go; closes it once all is sent or the
// reader went away.
void sendAvailable(Descriptor& socket, std::string_view& input) {
  const ssize_t written =
      ::send(socket.get(), input.data(), input.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
  if (written > 0) input.remove_prefix(static_cast<std::size_t>(written));
  if ((written < 0 && errno != EAGAIN && errno != EINTR) || input.empty()) socket.reset();
}

// Keeps the last kept bytes of the captured standard error; trims in halves, so that it stays
// linear however the program writes.
void keepLast(std::string& bytes, std::size_t kept, bool finally) {
  if (bytes.size() > (finally ? kept : 2 * kept)) bytes.erase(0, bytes.size() - kept);
}

// Milliseconds left until the deadline, rounded up, for poll; -1 (no timeout) without one.
int pollTimeout(const std::optional<Clock::time_point>& deadline) {
  if (!deadline) return -1;
  const auto left = std::chrono::ceil<std::chrono::milliseconds>(*deadline - Clock::now()).count();
  return static_cast<int>(std::clamp<decltype(left)>(left, 0, 1'000'000));
}

}  // namespace

std::optional<std::string> findProgramOnPath(std::string_view path, std::string_view name) {
  while (true) {
    const std::size_t end = std::min(path.find(':'), path.size());
    const std::string_view directory = path.substr(0, end);
    if (!directory.empty()) {
      std::string candidate = std::string(directory) + "/" + std::string(name);
      if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    if (end == path.size()) return std::nullopt;
    path.remove_prefix(end + 1);
  }
}

int runProgram(const std::string& program, const std::vector<std::string>& arguments,
               std::string_view input) {
  std::optional<Channel> in = openChannel();
  if (!in) return -1;
  const pid_t pid =
      spawnProgram(program, program, arguments, {in->program.get(), -1, -1}, {}, false);
  in->program.reset();
  if (pid < 0) return -1;
  sendAll(in->ours.get(), input);
  in->ours.reset();
  return exitStatusOf(waitFor(pid));
}

ProgramOutput runProgramForOutput(const std::string& program,
                                  const std::vector<std::string>& arguments, std::string_view input,
                                  const ProgramOptions& options) {
  ProgramOutput result;
  std::optional<Channel> in = openChannel(), out = openChannel(), err;
  if (options.keptErrorBytes && !(err = openChannel())) return result;
  if (!in || !out) return result;
  const bool limited =
      options.timeLimit || options.maxOutputBytes != std::numeric_limits<std::size_t>::max();
  const pid_t pid =
      spawnProgram(program, options.name.empty() ? program : options.name, arguments,
                   {in->program.get(), out->program.get(), err ? err->program.get() : -1},
                   options.environment, limited);
  in->program.reset();
  out->program.reset();
  if (err) err->program.reset();
  if (pid < 0) return result;

  std::optional<Clock::time_point> deadline;
  if (options.timeLimit) deadline = Clock::now() + *options.timeLimit;
  std::optional<ProgramEnd> stopped;  // the limit that ended the program
  const auto stop = [&](ProgramEnd why) {
    ::kill(-pid, SIGKILL);
    stopped = why;
  };

  Descriptor writeEnd = std::move(in->ours), outEnd = std::move(out->ours), errEnd;
  if (err) errEnd = std::move(err->ours);
  if (input.empty()) writeEnd.reset();
  std::vector<char> buffer(std::size_t{1} << 16);
  while (outEnd.valid() || errEnd.valid()) {
    pollfd descriptors[3] = {
        {outEnd.get(), POLLIN, 0}, {errEnd.get(), POLLIN, 0}, {writeEnd.get(), POLLOUT, 0}};
    const int ready = ::poll(descriptors, 3, pollTimeout(deadline));
    if (ready < 0 && errno == EINTR) continue;
    if (ready < 0) break;
    if (deadline && Clock::now() >= *deadline) {
      stop(ProgramEnd::timedOut);
      break;
    }
    if (descriptors[2].revents != 0) sendAvailable(writeEnd, input);
    if (descriptors[0].revents != 0) readAvailable(outEnd, result.output, buffer);
    if (descriptors[1].revents != 0) {
      readAvailable(errEnd, result.errorOutput, buffer);
      keepLast(result.errorOutput, *options.keptErrorBytes, false);
    }
    if (result.output.size() > options.maxOutputBytes) {
      stop(ProgramEnd::outputTooLarge);
      break;
    }
  }
  writeEnd.reset();
  outEnd.reset();
  errEnd.reset();
  if (options.keptErrorBytes) keepLast(result.errorOutput, *options.keptErrorBytes, true);

  std::optional<int> status;
  if (deadline && !stopped) {
    status = waitUntil(pid, *deadline);
    if (!status) stop(ProgramEnd::timedOut);
  }
  if (!status) status = waitFor(pid);
  if (stopped) {
    result.end = *stopped;
    return result;
  }
  result.status = exitStatusOf(status);
  result.end = status && WIFEXITED(*status) ? ProgramEnd::exited : ProgramEnd::signalled;
  return result;
}

}  // namespace textrix
