// SPDX-License-Identifier: MIT
// A test that reads Textrix's catalogs from the build tree in a language of its choosing.
#pragma once

#include <gtest/gtest.h>
#include <libintl.h>

#include <clocale>
#include <cstdlib>

namespace textrix {

// The catalogs come from the build tree; set when the program starts, before the first look-up of
// any test binds the text domain.
inline const bool kCatalogsOfTheBuildTree = [] {
  setenv("TEXTRIX_LOCALEDIR", TEXTRIX_BUILD_LOCALEDIR, 1);
  return true;
}();

class LanguageTest : public ::testing::Test {
 protected:
  // Selects the language of the catalogs. gettext ignores LANGUAGE while the messages locale is
  // "C", but not under C.UTF-8, which glibc has without a generated locale; the test is skipped
  // without it.
  void selectLanguage(const char* language) {
    if (!std::setlocale(LC_MESSAGES, "C.UTF-8")) GTEST_SKIP() << "no C.UTF-8 locale";
    setenv("LANGUAGE", language, 1);
    textdomain(textdomain(nullptr));  // forgets the translations looked up so far
  }
  void TearDown() override {
    unsetenv("LANGUAGE");
    std::setlocale(LC_MESSAGES, "C");
    textdomain(textdomain(nullptr));
  }
};

}  // namespace textrix
