// SPDX-License-Identifier: MIT
// Reading a whole file and its identity, and the fixtures in tests/rich/fixtures.
#pragma once

#include <sys/stat.h>

#include <filesystem>
#include <fstream>
#include <sstream>
#include <string>
#include <string_view>

namespace textrix {

// The bytes of the file; empty when it cannot be read.
inline std::string slurp(const std::filesystem::path& path) {
  std::ifstream file(path, std::ios::binary);
  std::ostringstream contents;
  contents << file.rdbuf();
  return contents.str();
}

// The identity of the file, 0 when there is none: replacing a file, as an atomic write does, gives
// a new one.
inline ino_t inodeOf(const std::filesystem::path& path) {
  struct stat status {};
  return ::stat(path.c_str(), &status) == 0 ? status.st_ino : 0;
}

inline std::string fixture(std::string_view name) {
  return slurp(std::filesystem::path(TEXTRIX_FIXTURES_DIR) / name);
}

}  // namespace textrix
