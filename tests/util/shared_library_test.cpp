// SPDX-License-Identifier: MIT
#include "util/shared_library.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/scratch.h"

namespace textrix {
namespace {

using Cosine = double (*)(double);

// A function that no library has, standing where a missing one was found.
double unchanged(double x) {
  return x;
}

// What the tests ask of libm: its cosine and, where a library lacks one, a function it does not
// have.
struct Libm {
  static constexpr const char* kSoname = "libm.so.6";
  Cosine cosine;
  std::vector<SharedFunction> table() { return {{cosine, "cos"}}; }
};
struct LibmWithAnAbsentFunction {
  Cosine cosine;
  Cosine absent;
  std::vector<SharedFunction> table() {
    return {{cosine, "cos"}, {absent, "textrix_absent_function"}};
  }
};

bool mentions(const std::string& error, const std::string& name) {
  return error.find(name) != std::string::npos;
}

// The library is loaded once for the process, by the first call.
TEST(SharedLibrary, CallsAFunctionOfALoadedLibrary) {
  const SharedLibrary<Libm>& libm = SharedLibrary<Libm>::loaded();
  ASSERT_NE(libm.functions(), nullptr) << libm.error();
  EXPECT_EQ(libm.functions()->cosine(0.0), 1.0);
  EXPECT_EQ(libm.error(), "");
  EXPECT_EQ(&SharedLibrary<Libm>::loaded(), &libm);
}

TEST(SharedLibrary, AMissingLibraryIsAnErrorThatNamesIt) {
  const SharedLibrary<Libm> absent("libtextrix-absent.so.0");
  EXPECT_EQ(absent.functions(), nullptr);
  EXPECT_TRUE(mentions(absent.error(), "libtextrix-absent.so.0")) << absent.error();
}

TEST(SharedLibrary, AMissingFunctionLeavesNoneAndIsAnErrorThatNamesIt) {
  const SharedLibrary<LibmWithAnAbsentFunction> libm("libm.so.6");
  EXPECT_EQ(libm.functions(), nullptr);
  EXPECT_TRUE(mentions(libm.error(), "textrix_absent_function")) << libm.error();
}

// Of a table that names missing functions before and after one that is there, no pointer is
// changed, and the first one missing is told.
TEST(SharedLibrary, BindsAllOfATableOrNone) {
  Cosine first = unchanged, cosine = unchanged, last = unchanged;
  const SharedFunction table[] = {
      {first, "textrix_first_absent"}, {cosine, "cos"}, {last, "textrix_last_absent"}};
  const std::string error = detail::bindSharedFunctions("libm.so.6", table);
  EXPECT_TRUE(mentions(error, "textrix_first_absent")) << error;
  EXPECT_FALSE(mentions(error, "textrix_last_absent")) << error;
  for (Cosine pointer : {first, cosine, last}) EXPECT_EQ(pointer, &unchanged);

  EXPECT_EQ(detail::bindSharedFunctions("libm.so.6", std::span(table).subspan(1, 1)), "");
  EXPECT_EQ(cosine(0.0), 1.0);
}

class SharedLibraryFile : public ScratchTest {};

TEST_F(SharedLibraryFile, AFileThatIsNoLibraryIsAnError) {
  const std::filesystem::path path = directory_ / "libtextrix-text.so.1";
  std::ofstream(path) << "no library\n";
  const SharedLibrary<Libm> text(path.c_str());
  EXPECT_EQ(text.functions(), nullptr);
  EXPECT_TRUE(mentions(text.error(), path.string())) << text.error();
}

}  // namespace
}  // namespace textrix
