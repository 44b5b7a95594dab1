// SPDX-License-Identifier: MIT
#include "runtime/localization.h"

#include <libintl.h>
#include <unicode/msgfmt.h>

#include <cstdlib>
#include <filesystem>
#include <mutex>
#include <vector>

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

// The translation of key, or key's own pointer when the catalogs have none.
const char* translation(const std::string& key) {
  bindCatalogs();
  return dgettext(kTextDomain, key.c_str());
}

}  // namespace

std::u16string localizedStringForKey(std::string_view key, std::u16string_view value) {
  const std::string keyText(key);
  const char* translated = translation(keyText);
  // gettext answers with the very key pointer when it has no entry.
  if (translated == keyText.c_str() && !value.empty()) return std::u16string(value);
  return utf16FromUtf8(translated);
}

std::string localized(std::string_view text) {
  return translation(std::string(text));
}

std::string localizedFormat(std::string_view pattern,
                            std::initializer_list<std::string_view> arguments) {
  std::vector<icu::Formattable> values;
  values.reserve(arguments.size());
  for (std::string_view argument : arguments) {
    values.emplace_back(icu::UnicodeString::fromUTF8(
        icu::StringPiece(argument.data(), static_cast<int32_t>(argument.size()))));
  }
  const std::string translated = localized(pattern);
  icu::UnicodeString result;
  UErrorCode status = U_ZERO_ERROR;
  icu::MessageFormat::format(icu::UnicodeString::fromUTF8(translated), values.data(),
                             static_cast<int32_t>(values.size()), result, status);
  // A translation that does not parse as a pattern is shown as it stands rather than lost.
  if (U_FAILURE(status)) return translated;
  std::string text;
  return result.toUTF8String(text);
}

}  // namespace textrix
