// SPDX-License-Identifier: MIT
#include "runtime/recent_services.h"
#include "runtime/localization.h"

#include <algorithm>
#include <cerrno>
#include <cstdlib>
#include <fstream>
#include <system_error>

#include "util/atomic_file.h"

namespace textrix {
namespace {

bool isRecordable(std::string_view name) {
  return !name.empty() &&
         name.find_first_of(std::string_view("\n\r\0", 3)) == std::string_view::npos;
}

bool contains(const std::vector<std::string>& names, std::string_view name) {
  return std::find(names.begin(), names.end(), name) != names.end();
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
  if (unreadable_) {
    return localizedFormat("cannot read {0}, so it is left as it is", {path_.string()});
  }
  std::string contents;
  for (const std::string& name : names_) contents += name + "\n";
  std::string problem = replaceFileAtomically(path_, contents);
  if (problem.empty()) changed_ = false;
  return problem;
}

}  // namespace textrix
