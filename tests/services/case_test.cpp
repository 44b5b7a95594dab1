#include "services/case.h"

#include <gtest/gtest.h>
#include <unicode/locid.h>
#include <unicode/unistr.h>

#include <string>

#include "support/texts.h"
#include "text/attributed_text.h"

namespace textrix {
namespace {

using testing_texts::redThenBlue;

using namespace std::literals;

std::u16string toStd(const icu::UnicodeString& s) {
  return std::u16string(s.getBuffer(), static_cast<std::size_t>(s.length()));
}

icu::UnicodeString toIcu(std::u16string_view s) {
  return icu::UnicodeString(s.data(), static_cast<int32_t>(s.size()));
}

struct MappingRow {
  std::u16string_view text;
  std::u16string_view upper;
  std::u16string_view lower;
  std::u16string_view capitalized;
};

TEST(CaseMapping, MapsWholeTextsByTheFullMappingOfNoLocale) {
  const MappingRow rows[] = {
      {u"", u"", u"", u""},
      {u"hello wORLD", u"HELLO WORLD", u"hello world", u"Hello World"},
      {u"stra\u00DFe", u"STRASSE", u"stra\u00DFe", u"Stra\u00DFe"},
      // Final sigma is a context of the whole word; dotted I lower-cases without Turkish rules.
      {u"\u039F\u03A3\u039F\u03A3", u"\u039F\u03A3\u039F\u03A3", u"\u03BF\u03C3\u03BF\u03C2",
       u"\u039F\u03C3\u03BF\u03C2"},
      {u"\u0130i", u"\u0130I", u"i\u0307i", u"\u0130i"},
      {u"\u01C6emal", u"\u01C4EMAL", u"\u01C6emal", u"\u01C5emal"},
      {u"don't stop", u"DON'T STOP", u"don't stop", u"Don't Stop"},
  };
  for (const MappingRow& row : rows) {
    SCOPED_TRACE(testing::Message() << "row " << &row - rows);
    std::u16string upper(row.text), lower(row.text), capitalized(row.text);
    uppercase(upper);
    lowercase(lower);
    capitalize(capitalized);
    EXPECT_EQ(upper, row.upper);
    EXPECT_EQ(lower, row.lower);
    EXPECT_EQ(capitalized, row.capitalized);
  }
}

// Long texts are mapped piece by piece; the result must be that of one mapping of the whole.
TEST(CaseMapping, LongTextsMapAsOneWhole) {
  std::u16string text;
  while (text.size() < 100'000) text += u"ASCII only, Here and There.\n";
  while (text.size() < 300'000)
    text += u"stra\u00DFe \u03BF\u03C3\u03BF\u03C3 \u0149ew. don't\nab\u03A3\n";
  text.append(100'000, u'\u00DF');  // a line longer than a piece, which grows as it is mapped
  const icu::UnicodeString whole = toIcu(text);

  std::u16string upper = text, lower = text, capitalized = text;
  uppercase(upper);
  lowercase(lower);
  capitalize(capitalized);
  const icu::Locale& root = icu::Locale::getRoot();
  EXPECT_TRUE(upper == toStd(icu::UnicodeString(whole).toUpper(root)));
  EXPECT_TRUE(lower == toStd(icu::UnicodeString(whole).toLower(root)));
  EXPECT_TRUE(capitalized == toStd(icu::UnicodeString(whole).toTitle(nullptr, root)));
}

// The attributes stay on their characters. Every run is mapped as a text of its own: a word with a
// tail in another run gets two capitals.
TEST(AttributedCaseMapping, MapsEachRunKeepingItsAttributes) {
  AttributedText text = redThenBlue(u"a\u00DF", u"b c");
  uppercase(text);
  EXPECT_EQ(text, redThenBlue(u"ASS", u"B C"));
  lowercase(text);
  EXPECT_EQ(text, redThenBlue(u"ass", u"b c"));
  text = redThenBlue(u"hEL", u"LO wORLD");
  capitalize(text);
  EXPECT_EQ(text, redThenBlue(u"Hel", u"Lo World"));
}

// The walk over the lower-cased text exactly as the service describes it, editing the text in
// place with ICU for every capital: slow and obviously right.
std::u16string referenceSentences(std::u16string_view text) {
  std::u16string s = toStd(toIcu(text).toLower(icu::Locale::getRoot()));
  const std::size_t n = s.size();
  bool capitalizeNext = true;
  bool insideQuote = false;
  for (std::size_t i = 0; i < n; ++i) {
    const char16_t c = s[i];
    if (c == u'.' || c == u':' || c == u';') {
      capitalizeNext = true;
    } else if (c == u'"') {
      insideQuote = !insideQuote;
      if (insideQuote) capitalizeNext = true;
    } else if (capitalizeNext) {
      const std::u16string capital = toStd(toIcu(s.substr(i, 1)).toUpper(icu::Locale::getRoot()));
      if (capital != s.substr(i, 1)) {
        s.replace(i, 1, capital);
        capitalizeNext = false;
      }
    }
  }
  return s;
}

TEST(SentenceCapitalization, CapitalizesAfterPeriodsColonsSemicolonsAndOpeningQuotes) {
  const std::pair<std::u16string_view, std::u16string_view> rows[] = {
      {u"hello world. this is it", u"Hello world. This is it"},
      {u"what? yes", u"What? yes"},
      {u"wow! yes", u"Wow! yes"},
      {u"note: see here; and then", u"Note: See here; And then"},
      {u"he said \"yes\" and left", u"He said \"Yes\" and left"},
      {u"3 apples", u"3 Apples"},
      {u"HELLO World", u"Hello world"},
      {u"", u""},
      {u"... \u00E9t\u00E9", u"... \u00C9t\u00E9"},
  };
  for (const auto& [text, expected] : rows) {
    SCOPED_TRACE(std::string(text.begin(), text.end()));
    EXPECT_EQ(stringByCapitalizingSentences(text), expected);
  }
}

// The length is taken before any capital: a capital that grows leaves the last units unexamined.
TEST(SentenceCapitalization, LeavesTheUnitsPushedPastTheLengthUnexamined) {
  EXPECT_EQ(stringByCapitalizingSentences(u"\u00DF. x"), u"SS. x");
  EXPECT_EQ(stringByCapitalizingSentences(u"\u0149. x. y"), u"\u02BCN. X. y");
}

// Every unit where a sentence starts, followed by capitals that grow and push units past the end.
TEST(ExhaustiveSentenceCapitalization, AgreesWithTheReferenceOnEveryCodeUnit) {
  for (std::uint32_t c = 0; c <= 0xFFFF; ++c) {
    const std::u16string text = u". "s + static_cast<char16_t>(c) + u"\u0149 \"\u00DF. b";
    ASSERT_EQ(stringByCapitalizingSentences(text), referenceSentences(text)) << "unit " << c;
  }
}

}  // namespace
}  // namespace textrix
