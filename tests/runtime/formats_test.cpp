// SPDX-License-Identifier: MIT
#include "runtime/formats.h"

#include <gtest/gtest.h>

#include <cmath>

namespace textrix {
namespace {

std::filesystem::path missingStore() {
  return std::filesystem::temp_directory_path() / "textrix-formats-test-absent" / "defaults";
}

TEST(CalendarFormat, SpellsOutWhatTheSyntaxLacks) {
  struct Case {
    const char* strftime;
    std::u16string_view calendar;
  };
  const Case cases[] = {
      {"%m/%d/%y", u"%m/%d/%y"},     {"%D", u"%m/%d/%y"},           {"%T", u"%H:%M:%S"},
      {"%r", u"%I:%M:%S %p"},        {"%Ex %EX", u"%x %X"},         {"%Od.%Om.", u"%d.%m."},
      {"100%% %k%n", u"100%% %H\n"}, {"trailing %", u"trailing %"}, {"%E", u""},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.strftime);
    EXPECT_EQ(calendarFormatFromStrftime(c.strftime), c.calendar);
  }
}

TEST(CalendarFormat, LongDateIsTheDatePartWithFullNames) {
  struct Case {
    std::u16string_view dateTime;
    std::u16string_view date;
  };
  const Case cases[] = {
      {u"%a %b %e %H:%M:%S %Y", u"%A %B %e %Y"},
      {u"%a %d %b %Y %H:%M:%S %Z", u"%A %d %B %Y"},
      {u"%a %d %b %Y %I:%M:%S %p %Z", u"%A %d %B %Y"},
      {u"%Y年%m月%d日 %H時%M分%S秒", u"%Y年%m月%d日 時分秒"},
  };
  for (const Case& c : cases) EXPECT_EQ(longDateFormatFromDateTime(c.dateTime), c.date);
}

TEST(LocaleFormats, StoreValuesComeFirstAndComposeDateBeforeTime) {
  UserDefaults defaults(missingStore());
  EXPECT_EQ(shortDateFormat(defaults), u"%m/%d/%y") << "the C locale's date";
  defaults.setString("%d.%m.%Y", "NSShortDateFormatString");
  defaults.setString("%H.%M", "NSTimeFormatString");
  defaults.setString("%A, %e. %B %Y", "NSDateFormatString");
  EXPECT_EQ(shortDateTimeFormat(defaults), u"%d.%m.%Y %H.%M");
  EXPECT_EQ(dateTimeFormat(defaults), u"%A, %e. %B %Y %H.%M");
}

TEST(NumberFormatter, GroupsWithTheUsersSeparators) {
  const NumberFormatter whole(false, u".", u",");
  const NumberFormatter real(true, u",", u"\u00A0");
  struct Case {
    double number;
    std::u16string_view whole;
    std::u16string_view real;
  };
  const Case cases[] = {
      {0, u"0", u"0"},
      {1234567, u"1,234,567", u"1\u00A0234\u00A0567"},
      {-1234.567, u"-1,235", u"-1\u00A0234,57"},
      {0.5, u"1", u"0,5"},
  };
  for (const Case& c : cases) {
    SCOPED_TRACE(c.number);
    EXPECT_EQ(whole.stringForFloat(c.number), c.whole);
    EXPECT_EQ(real.stringForFloat(c.number), c.real);
  }
  EXPECT_EQ(whole.stringForInt(9007199254740993LL), u"9,007,199,254,740,993");
  EXPECT_EQ(real.stringForFloat(std::nan("")), u"");
}

}  // namespace
}  // namespace textrix
