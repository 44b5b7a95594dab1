#include "desktop/desktop.h"

#include <sdbus-c++/sdbus-c++.h>

#include <fcntl.h>
#include <poll.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cerrno>
#include <cstdlib>

#include "text/encodings.h"

extern char** environ;

namespace textrix {
namespace {

std::string environmentVariable(const char* name) {
  const char* value = std::getenv(name);
  return value ? value : "";
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

// The program's argument vector: its own name first, then the arguments; strings keeps the text.
std::vector<char*> argumentVector(const std::string& program,
                                  const std::vector<std::string>& arguments,
                                  std::vector<std::string>& strings) {
  strings.reserve(arguments.size() + 1);
  strings.push_back(program);
  strings.insert(strings.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& argument : strings) argv.push_back(argument.data());
  argv.push_back(nullptr);
  return argv;
}

int waitForExit(pid_t pid) {
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace

Desktop Desktop::current() {
  return {environmentVariable("PATH"), environmentVariable("WAYLAND_DISPLAY"),
          environmentVariable("DISPLAY")};
}

std::optional<std::string> Desktop::findProgram(std::string_view name) const {
  std::string_view directories = path;
  while (true) {
    const std::size_t end = std::min(directories.find(':'), directories.size());
    const std::string_view directory = directories.substr(0, end);
    if (!directory.empty()) {
      std::string candidate = std::string(directory) + "/" + std::string(name);
      if (::access(candidate.c_str(), X_OK) == 0) return candidate;
    }
    if (end == directories.size()) return std::nullopt;
    directories.remove_prefix(end + 1);
  }
}

std::optional<std::string_view> mimeTypeOfPasteboardType(std::string_view type) {
  if (type == kStringPboardType) return "text/plain;charset=utf-8";
  if (type == kRTFPboardType) return "text/rtf";
  if (type == kRTFDPboardType) return "application/x-rtfd";
  return std::nullopt;
}

bool copyToDesktopClipboard(const Desktop& desktop, const ServicePasteboard& pasteboard) {
  if (pasteboard.types().empty()) return false;
  const std::string& type = pasteboard.types().front();
  std::optional<std::string_view> mimeType = mimeTypeOfPasteboardType(type);
  if (!mimeType) return false;
  std::string content;
  if (auto string = pasteboard.stringForType(type)) {
    content = encodeUtf8(*string);
  } else if (auto data = pasteboard.dataForType(type)) {
    content = *data;
  } else {
    return false;
  }
  if (!desktop.waylandDisplay.empty()) {
    if (auto program = desktop.findProgram("wl-copy")) {
      return runProgram(*program, {"--type", std::string(*mimeType)}, content) == 0;
    }
  }
  if (!desktop.xDisplay.empty()) {
    if (auto program = desktop.findProgram("xclip")) {
      return runProgram(*program, {"-selection", "clipboard", "-t", std::string(*mimeType)},
                        content) == 0;
    }
  }
  return false;
}

void showAlert(const Desktop& desktop, std::u16string_view title, std::u16string_view message,
               const std::function<void(const std::string&)>& log) {
  const std::string title8 = encodeUtf8(title), message8 = encodeUtf8(message);
  if (desktop.hasDisplay()) {
    if (auto zenity = desktop.findProgram("zenity")) {
      if (runProgram(*zenity, {"--error", "--no-markup", "--title", title8, "--text", message8},
                     {}) >= 0) {
        return;
      }
    }
    if (auto kdialog = desktop.findProgram("kdialog")) {
      if (runProgram(*kdialog, {"--title", title8, "--error", message8}, {}) >= 0) return;
    }
  }
  if (auto notifySend = desktop.findProgram("notify-send")) {
    if (runProgram(*notifySend, {"--urgency=critical", title8, message8}, {}) == 0) return;
  }
  log(title8 + ": " + message8);
}

int runProgram(const std::string& program, const std::vector<std::string>& arguments,
               std::string_view input) {
  // A socket rather than a pipe, so that a program that leaves early costs no SIGPIPE.
  int ends[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0) return -1;
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, ends[0], 0);
  posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);

  std::vector<std::string> argumentStrings;
  std::vector<char*> argv = argumentVector(program, arguments, argumentStrings);

  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(ends[0]);
  if (spawned != 0) {
    ::close(ends[1]);
    return -1;
  }
  sendAll(ends[1], input);
  ::close(ends[1]);
  return waitForExit(pid);
}

ProgramOutput runProgramForOutput(const std::string& program,
                                  const std::vector<std::string>& arguments,
                                  std::string_view input) {
  ProgramOutput result;
  int in[2], out[2];
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, in) != 0) return result;
  if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, out) != 0) {
    ::close(in[0]);
    ::close(in[1]);
    return result;
  }
  posix_spawn_file_actions_t actions;
  posix_spawn_file_actions_init(&actions);
  posix_spawn_file_actions_adddup2(&actions, in[0], 0);
  posix_spawn_file_actions_adddup2(&actions, out[0], 1);
  std::vector<std::string> argumentStrings;
  std::vector<char*> argv = argumentVector(program, arguments, argumentStrings);
  pid_t pid = -1;
  const int spawned = posix_spawn(&pid, program.c_str(), &actions, nullptr, argv.data(), environ);
  posix_spawn_file_actions_destroy(&actions);
  ::close(in[0]);
  ::close(out[0]);
  if (spawned != 0) {
    ::close(in[1]);
    ::close(out[1]);
    return result;
  }
  int writeEnd = in[1];
  if (input.empty()) {
    ::close(writeEnd);
    writeEnd = -1;
  }
  char buffer[1 << 16];
  while (true) {
    pollfd descriptors[2] = {{out[1], POLLIN, 0}, {writeEnd, POLLOUT, 0}};
    if (::poll(descriptors, writeEnd >= 0 ? 2 : 1, -1) < 0) {
      if (errno == EINTR) continue;
      break;
    }
    if (writeEnd >= 0 && descriptors[1].revents != 0) {
      const ssize_t written =
          ::send(writeEnd, input.data(), input.size(), MSG_NOSIGNAL | MSG_DONTWAIT);
      if (written > 0) input.remove_prefix(static_cast<std::size_t>(written));
      if ((written < 0 && errno != EAGAIN && errno != EINTR) || input.empty()) {
        ::close(writeEnd);
        writeEnd = -1;
      }
    }
    if (descriptors[0].revents != 0) {
      const ssize_t got = ::read(out[1], buffer, sizeof buffer);
      if (got < 0 && (errno == EINTR || errno == EAGAIN)) continue;
      if (got <= 0) break;
      result.output.append(buffer, static_cast<std::size_t>(got));
    }
  }
  if (writeEnd >= 0) ::close(writeEnd);
  ::close(out[1]);
  result.status = waitForExit(pid);
  return result;
}

void notify(const Desktop& desktop, const std::string& message) {
  try {
    std::unique_ptr<sdbus::IConnection> connection = sdbus::createSessionBusConnection();
    std::unique_ptr<sdbus::IProxy> proxy = sdbus::createProxy(
        *connection, "org.freedesktop.Notifications", "/org/freedesktop/Notifications");
    std::uint32_t id = 0;
    proxy->callMethod("Notify")
        .onInterface("org.freedesktop.Notifications")
        .withTimeout(std::chrono::seconds(5))
        .withArguments(std::string("Textrix"), std::uint32_t{0}, std::string(),
                       std::string("Textrix"), message, std::vector<std::string>(),
                       std::map<std::string, sdbus::Variant>(), std::int32_t{-1})
        .storeResultsTo(id);
    return;
  } catch (const sdbus::Error&) {
  }
  if (auto notifySend = desktop.findProgram("notify-send")) {
    runProgram(*notifySend, {"Textrix", message}, {});
  }
}

}  // namespace textrix
