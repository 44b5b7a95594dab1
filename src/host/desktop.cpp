#include "host/desktop.h"

#include <fcntl.h>
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
  argumentStrings.reserve(arguments.size() + 1);
  argumentStrings.push_back(program);
  argumentStrings.insert(argumentStrings.end(), arguments.begin(), arguments.end());
  std::vector<char*> argv;
  for (std::string& argument : argumentStrings) argv.push_back(argument.data());
  argv.push_back(nullptr);

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
  int status = 0;
  while (::waitpid(pid, &status, 0) < 0) {
    if (errno != EINTR) return -1;
  }
  return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

}  // namespace textrix
