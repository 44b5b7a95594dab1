// SPDX-License-Identifier: MIT
#include "runtime/localization.h"

#include <libintl.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>

#include "text/encodings.h"

namespace textrix {
namespace {

// The catalogs' directory: $TEXTRIX_LOCALEDIR, else the one installed beside this program (so an
// install under any prefix finds its own), else the one of the configured prefix.
std::string catalogDirectory() {
  if (const char* directory = std::getenv("TEXTRIX_LOCALEDIR"); directory && *directory) {
    return directory;
  }
  std::error_code error;
  const std::filesystem::path program = std::filesystem::read_symlink("/proc/self/exe", error);
  if (!error) {
    const std::filesystem::path beside = program.parent_path() / TEXTRIX_LOCALEDIR_FROM_BINDIR;
    if (std::filesystem::is_directory(beside, error)) return beside.lexically_normal().string();
  }
  return TEXTRIX_INSTALLED_LOCALEDIR;
}

void bindCatalogs() {
  static std::once_flag bound;
  std::call_once(bound, [] {
    bindtextdomain(kTextDomain, catalogDirectory().c_str());
    bind_textdomain_codeset(kTextDomain, "UTF-8");
  });
}

}  // namespace

std::u16string localizedStringForKey(std::string_view key, std::u16string_view value) {
  bindCatalogs();
  const std::string keyText(key);
  const char* translated = dgettext(kTextDomain, keyText.c_str());
  // gettext answers with the very key pointer when it has no entry.
  if (translated == keyText.c_str() && !value.empty()) return std::u16string(value);
  return utf16FromUtf8(translated);
}

}  // namespace textrix
