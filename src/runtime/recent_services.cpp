#include "runtime/recent_services.h"

#include <unistd.h>

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <fstream>
#include <system_error>

namespace textrix {
namespace {

bool isRecordable(std::string_view name) {
  return !name.empty() &&
         name.find_first_of(std::string_view("\n\r\0", 3)) == std::string_view::npos;
}

bool contains(const std::vector<std::string>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
}

// Replaces the file at path by contents through a temporary file in the same directory and a
// rename, so that a reader sees the old names or the new ones, never half of them. Returns what
// went wrong, or an empty string.
std::string replaceFile(const std::filesystem::path& path, const std::string& contents) {
  std::error_code error;
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path(), error);
  if (error) return "cannot create " + path.parent_path().string() + ": " + error.message();
  const std::filesystem::path temporary =
      path.string() + ".tmp." + std::to_string(static_cast<long>(getpid()));
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file << contents;
    file.flush();
    if (!file) {
      const std::string reason = std::strerror(errno);
      std::filesystem::remove(temporary, error);
      return "cannot write " + temporary.string() + ": " + reason;
    }
  }
  std::filesystem::rename(temporary, path, error);
  if (error) {
    const std::string reason = error.message();
    std::filesystem::remove(temporary, error);
    return "cannot replace " + path.string() + ": " + reason;
  }
  return {};
}

}  // namespace

RecentServices::RecentServices(std::filesystem::path path) : path_(std::move(path)) {
  if (!path_.empty()) load();
}

std::filesystem::path RecentServices::standardPath() {
  if (const char* xdg = std::getenv("XDG_STATE_HOME"); xdg && *xdg == '/') {
    return std::filesystem::path(xdg) / "textrix" / "recent";
  }
  if (const char* home = std::getenv("HOME"); home && *home) {
    return std::filesystem::path(home) / ".local" / "state" / "textrix" / "recent";
  }
  return {};
}

void RecentServices::load() {
  std::ifstream file(path_, std::ios::binary);
  if (!file) {
    std::error_code error;
    unreadable_ = std::filesystem::exists(path_, error) || (error && error.value() != ENOENT);
    return;
  }
  for (std::string line; names_.size() < kCapacity && std::getline(file, line);) {
    if (!line.empty() && !contains(names_, line)) names_.push_back(std::move(line));
  }
  unreadable_ = file.bad();
  if (unreadable_) names_.clear();
}

void RecentServices::recordUse(std::string_view name) {
  if (!isRecordable(name) || (!names_.empty() && names_.front() == name)) return;
  const auto found = std::find(names_.begin(), names_.end(), name);
  if (found != names_.end()) {
    std::rotate(names_.begin(), found, found + 1);
  } else {
    names_.insert(names_.begin(), std::string(name));
    if (names_.size() > kCapacity) names_.pop_back();
  }
  changed_ = true;
}

std::string RecentServices::save() {
  if (!changed_ || path_.empty()) return {};
  if (unreadable_) return "cannot read " + path_.string() + ", so it is left as it is";
  std::string contents;
  for (const std::string& name : names_) contents += name + "\n";
  std::string problem = replaceFile(path_, contents);
  if (problem.empty()) changed_ = false;
  return problem;
}

}  // namespace textrix
