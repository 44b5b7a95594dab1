// SPDX-License-Identifier: MIT
// Reading a whole file, and the fixtures in tests/rich/fixtures.
#pragma once

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

inline std::string fixture(std::string_view name) {
  return slurp(std::filesystem::path(TEXTRIX_FIXTURES_DIR) / name);
}

}  // namespace textrix
