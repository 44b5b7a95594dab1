// SPDX-License-Identifier: MIT
#include "util/atomic_file.h"

#include <unistd.h>

#include <cerrno>
#include <cstring>
#include <fstream>
#include <system_error>

namespace textrix {

std::string replaceFileAtomically(const std::filesystem::path& path, std::string_view contents) {
  std::error_code error;
  if (path.has_parent_path()) std::filesystem::create_directories(path.parent_path(), error);
  if (error) return "cannot create " + path.parent_path().string() + ": " + error.message();
  const std::filesystem::path temporary =
      path.string() + ".tmp." + std::to_string(static_cast<long>(getpid()));
  {
    std::ofstream file(temporary, std::ios::binary | std::ios::trunc);
    file.write(contents.data(), static_cast<std::streamsize>(contents.size()));
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

}  // namespace textrix
