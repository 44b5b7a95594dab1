// SPDX-License-Identifier: MIT
#include "util/shared_library.h"

#include <gtest/gtest.h>

#include <fstream>

#include "support/scratch.h"

namespace textrix {
namespace {

TEST(SharedLibrary, CallsAFunctionOfALoadedLibrary) {
  SharedLibrary libm("libm.so.6");
  double (*cosine)(double) = nullptr;
  libm.resolve(cosine, "cos");
  ASSERT_TRUE(libm.ok()) << libm.error();
  ASSERT_NE(cosine, nullptr);
  EXPECT_EQ(cosine(0.0), 1.0);
  EXPECT_EQ(libm.error(), "");
}

TEST(SharedLibrary, AMissingLibraryIsAnErrorThatNamesIt) {
  SharedLibrary absent("libtextrix-absent.so.0");
  EXPECT_FALSE(absent.ok());
  EXPECT_NE(absent.error().find("libtextrix-absent.so.0"), std::string::npos) << absent.error();
  int (*function)() = [] { return 0; };
  absent.resolve(function, "rand");
  EXPECT_EQ(function, nullptr);
}

TEST(SharedLibrary, AMissingFunctionIsAnErrorThatNamesIt) {
  SharedLibrary libm("libm.so.6");
  double (*absent)(double) = [](double x) { return x; };
  libm.resolve(absent, "textrix_absent_function");
  EXPECT_EQ(absent, nullptr);
  EXPECT_FALSE(libm.ok());
  EXPECT_NE(libm.error().find("textrix_absent_function"), std::string::npos) << libm.error();

  // The first problem is the one told; a function found later is still found.
  double (*cosine)(double) = nullptr;
  libm.resolve(cosine, "cos");
  EXPECT_NE(cosine, nullptr);
  EXPECT_NE(libm.error().find("textrix_absent_function"), std::string::npos) << libm.error();
}

class SharedLibraryFile : public ScratchTest {};

TEST_F(SharedLibraryFile, AFileThatIsNoLibraryIsAnError) {
  const std::filesystem::path path = directory_ / "libtextrix-text.so.1";
  std::ofstream(path) << "no library\n";
  SharedLibrary text(path.c_str());
  EXPECT_FALSE(text.ok());
  EXPECT_NE(text.error().find(path.string()), std::string::npos) << text.error();
}

}  // namespace
}  // namespace textrix
