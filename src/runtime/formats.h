// SPDX-License-Identifier: MIT
// The user's date, time and number formats: the locale settings that the date and time services
// format with, and the number formatters.
//
// A format is read from the defaults store under its locale key (NSShortDateFormatString,
// NSDateFormatString, NSTimeFormatString, NSDecimalSeparator, NSThousandsSeparator); where the key
// is absent it comes from the process's locale (LC_TIME, LC_NUMERIC), translated into the
// calendar-format syntax: %-conversions as in strftime, plus %F for milliseconds.
//
//   std::optional<std::u16string> format = textrix::shortDateTimeFormat(defaults);  // "%m/%d/%y
//   %H:%M:%S"
#pragma once

#include <unicode/uversion.h>

#include <memory>
#include <optional>
#include <string>
#include <string_view>

#include "runtime/defaults.h"

U_NAMESPACE_BEGIN
class DecimalFormat;
U_NAMESPACE_END

namespace textrix {

// The locale keys of the formats.
inline constexpr std::string_view kShortDateFormatKey = "NSShortDateFormatString";
inline constexpr std::string_view kDateFormatKey = "NSDateFormatString";
inline constexpr std::string_view kTimeFormatKey = "NSTimeFormatString";
inline constexpr std::string_view kDecimalSeparatorKey = "NSDecimalSeparator";
inline constexpr std::string_view kThousandsSeparatorKey = "NSThousandsSeparator";

// The text that stands for a missing part in a composed format.
inline constexpr std::u16string_view kMissingObjectText = u"(null)";

// The value of a locale key: the store's value, else the process locale's, else none.
std::optional<std::u16string> localeValue(const UserDefaults& defaults, std::string_view key);

std::optional<std::u16string> shortDateFormat(const UserDefaults& defaults);
std::optional<std::u16string> dateFormat(const UserDefaults& defaults);
std::optional<std::u16string> timeFormat(const UserDefaults& defaults);
// The short date format, one space, the time format; a missing part reads kMissingObjectText.
std::u16string shortDateTimeFormat(const UserDefaults& defaults);
// The (long) date format, one space, the time format; a missing part reads kMissingObjectText.
std::u16string dateTimeFormat(const UserDefaults& defaults);
std::optional<std::u16string> decimalSeparator(const UserDefaults& defaults);
std::optional<std::u16string> thousandsSeparator(const UserDefaults& defaults);

// A strftime format in the calendar-format syntax: conversions the syntax lacks (%D, %T, %R, %r,
// %h, %k, %l, %n, %t) are spelled out, the E and O modifiers dropped.
std::u16string calendarFormatFromStrftime(std::string_view format);
// The date part of a date-and-time format, with full weekday and month names: the long date.
std::u16string longDateFormatFromDateTime(std::u16string_view calendarFormat);

// Formats whole numbers as "#,###;0;-#,###" (grouped, zero as "0") and reals as
// "#,###.##;0;-#,###.##" (at most two decimals), with the user's separators.
class NumberFormatter {
 public:
  static const NumberFormatter& intFormatter(const UserDefaults& defaults);
  static const NumberFormatter& floatFormatter(const UserDefaults& defaults);

  NumberFormatter(bool allowsFloats, std::u16string_view decimalSeparator,
                  std::u16string_view thousandsSeparator);
  ~NumberFormatter();

  std::u16string stringForInt(long long number) const;
  // A real is rounded to a whole number by the int formatter. A number that is not finite, or a
  // formatter ICU could not build, gives the empty string.
  std::u16string stringForFloat(double number) const;

 private:
  bool allowsFloats_;
  std::unique_ptr<icu::DecimalFormat> format_;  // null when ICU could not build it
};

}  // namespace textrix
