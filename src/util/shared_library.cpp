// SPDX-License-Identifier: MIT
#include "util/shared_library.h"

#include <dlfcn.h>

namespace textrix::detail {
namespace {

// The dynamic linker's description of its last failure, or fallback when it has none.
std::string lastLinkerError(const std::string& fallback) {
  const char* message = dlerror();
  return message != nullptr ? std::string(message) : fallback;
}

}  // namespace

std::string bindSharedFunctions(const char* soname, std::span<const SharedFunction> table) {
  // Functions are bound when first called, as for a library linked in; RTLD_LOCAL keeps the
  // library's names from standing in for any other library's.
  void* library = dlopen(soname, RTLD_LAZY | RTLD_LOCAL);
  if (library == nullptr) return lastLinkerError(std::string(soname) + ": cannot be loaded");
  std::vector<void*> addresses;
  for (const SharedFunction& function : table) {
    dlerror();
    void* address = dlsym(library, function.name());
    if (address == nullptr) {
      return lastLinkerError(std::string(soname) + ": no function " + function.name());
    }
    addresses.push_back(address);
  }
  for (std::size_t i = 0; i < table.size(); ++i) table[i].pointAt(addresses[i]);
  return {};
}

}  // namespace textrix::detail
