// SPDX-License-Identifier: MIT
#include "runtime/localization.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

#include "support/language.h"

namespace textrix {
namespace {

class Localization : public LanguageTest {};

TEST_F(Localization, PutsTheArgumentsWhereTheTranslationWantsThem) {
  struct Case {
    const char* language;
    const char* pattern;
    std::vector<std::string_view> arguments;
    std::string expected;
  };
  const Case cases[] = {
      {"en", "cannot read {0}: {1}", {"/x", "gone"}, "cannot read /x: gone"},
      // Arguments are put in as they are, whatever they hold.
      {"en", "unknown service {0}", {"it's {1}"}, "unknown service it's {1}"},
      {"en", "no service given", {"unused"}, "no service given"},
      {"en", "not in any catalog {0}", {"x"}, "not in any catalog x"},
      {"de", "cannot read {0}: {1}", {"/x", "gone"}, "kann /x nicht lesen: gone"},
      {"fr",
       "the X display {0} has no screen {1}",
       {":9", "2"},
       "l\u2019affichage X :9 n\u2019a pas d\u2019\u00e9cran 2"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(std::string(c.language) + ": " + c.pattern);
    selectLanguage(c.language);
    const std::vector<std::string_view>& a = c.arguments;
    EXPECT_EQ(a.size() == 1 ? localizedFormat(c.pattern, {a[0]})
                            : localizedFormat(c.pattern, {a[0], a[1]}),
              c.expected);
  }
}

}  // namespace
}  // namespace textrix
