// SPDX-License-Identifier: MIT
// Shared libraries loaded when a service first needs them rather than when the process starts: a
// library that only speech, images or the X11 selection use costs nothing to a run that does not
// use them, and a machine without it still runs every other service.
//
// A library is looked up by its file name as the dynamic linker looks it up (a soname), and its
// functions by name, each into a pointer of the type its header declares:
//
//   textrix::SharedLibrary library("libtiff.so.6");
//   decltype(&TIFFClose) close = nullptr;
//   library.resolve(close, "TIFFClose");
//   if (!library.ok()) report(library.error());  // "libtiff.so.6: cannot open shared ..."
#pragma once

#include <bit>
#include <string>

namespace textrix {

class SharedLibrary {
 public:
  // Loads the library named name (a soname such as "libtiff.so.6"), or sets the error when it
  // cannot be loaded. A library loaded stays loaded until the process ends, since its functions
  // may still be running on other threads then.
  explicit SharedLibrary(const char* name);

  // Points function at the library's function named name; null, with the error set, when the
  // library is not loaded or has no such function. The caller vouches for the type.
  template <typename Function>
  void resolve(Function*& function, const char* name) {
    function = std::bit_cast<Function*>(address(name));
  }

  // True while the library is loaded and every function asked for has been found.
  bool ok() const { return error_.empty(); }
  // What went wrong first, loading the library or finding a function; empty while ok().
  const std::string& error() const { return error_; }

 private:
  void* address(const char* name);

  std::string name_;
  void* handle_ = nullptr;
  std::string error_;
};

}  // namespace textrix
