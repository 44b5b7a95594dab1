#include "host/localization.h"

#include <libintl.h>

#include <cstdlib>
#include <mutex>

#include "text/encodings.h"

namespace textrix {
namespace {

void bindCatalogs() {
  static std::once_flag bound;
  std::call_once(bound, [] {
    const char* directory = std::getenv("TEXTRIX_LOCALEDIR");
    bindtextdomain(kTextDomain, directory && *directory ? directory : TEXTRIX_INSTALLED_LOCALEDIR);
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
