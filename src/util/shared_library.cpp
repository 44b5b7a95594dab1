// SPDX-License-Identifier: MIT
#include "util/shared_library.h"

#include <dlfcn.h>

namespace textrix {
namespace {

// The dynamic linker's description of its last failure, or fallback when it has none.
std::string lastLinkerError(const std::string& fallback) {
  const char* message = dlerror();
  return message != nullptr ? std::string(message) : fallback;
}

}  // namespace

SharedLibrary::SharedLibrary(const char* name) : name_(name) {
  // Functions are bound when first called, as for a library linked in; RTLD_LOCAL keeps the
  // library's names from standing in for any other library's.
  handle_ = dlopen(name, RTLD_LAZY | RTLD_LOCAL);
  if (handle_ == nullptr) error_ = lastLinkerError(name_ + ": cannot be loaded");
}

void* SharedLibrary::address(const char* name) {
  if (handle_ == nullptr) return nullptr;
  dlerror();
  void* found = dlsym(handle_, name);
  if (found == nullptr && error_.empty()) {
    error_ = lastLinkerError(name_ + ": no function " + name);
  }
  return found;
}

}  // namespace textrix
