// SPDX-License-Identifier: MIT
// Shared libraries loaded when a service first needs them rather than when the process starts: a
// library that only speech, images or the X11 selection use costs nothing to a run that does not
// use them, and a machine without it still runs every other service.
//
// The functions wanted of a library are a struct of pointers, each of the type its header declares,
// whose table() names each pointer's function as the library names it, and whose kSoname is the
// library's file name as the dynamic linker looks it up:
//
//   struct TiffLibrary {
//     static constexpr const char* kSoname = "libtiff.so.6";
//     decltype(&TIFFOpen) open;
//     decltype(&TIFFClose) close;
//     std::vector<SharedFunction> table() { return {{open, "TIFFOpen"}, {close, "TIFFClose"}}; }
//   };
//   const SharedLibrary<TiffLibrary>& libtiff = SharedLibrary<TiffLibrary>::loaded();
//   if (!libtiff.functions()) report(libtiff.error());  // "libtiff.so.6: cannot open shared ..."
#pragma once

#include <bit>
#include <optional>
#include <span>
#include <string>
#include <vector>

namespace textrix {

// A function of a library, by its name there, and the pointer that is to hold its address. The
// caller vouches for the pointer's type.
class SharedFunction {
 public:
  template <typename Function>
  SharedFunction(Function*& pointer, const char* name)
      : name_(name), pointer_(&pointer), store_(&storeAddress<Function>) {}

  const char* name() const { return name_; }
  void pointAt(void* address) const { store_(pointer_, address); }

 private:
  template <typename Function>
  static void storeAddress(void* pointer, void* address) {
    *static_cast<Function**>(pointer) = std::bit_cast<Function*>(address);
  }

  const char* name_;
  void* pointer_;
  void (*store_)(void* pointer, void* address);
};

namespace detail {

// Loads the library named soname and points every function of the table at its namesake in it:
// all of them, or none when the library or one of them is missing. What went wrong first, empty
// when nothing did. A library loaded stays loaded until the process ends, since its functions may
// still be running on other threads then.
std::string bindSharedFunctions(const char* soname, std::span<const SharedFunction> table);

}  // namespace detail

// The functions of the library named soname, all of them or, with the error told, none.
template <typename Functions>
class SharedLibrary {
 public:
  // The library named Functions::kSoname, loaded by the first call in the process, so that only
  // the services that use it load it.
  static const SharedLibrary& loaded() {
    static const SharedLibrary library(Functions::kSoname);
    return library;
  }

  explicit SharedLibrary(const char* soname) {
    Functions functions{};
    error_ = detail::bindSharedFunctions(soname, functions.table());
    if (error_.empty()) functions_ = functions;
  }

  // Null when the library, or one of its functions, is missing.
  const Functions* functions() const { return functions_ ? &*functions_ : nullptr; }
  // What went wrong first, loading the library or finding a function; empty when nothing did.
  const std::string& error() const { return error_; }

 private:
  std::optional<Functions> functions_;
  std::string error_;
};

}  // namespace textrix
