// SPDX-License-Identifier: MIT
#include "runtime/formats.h"

#include <langinfo.h>
#include <unicode/dcfmtsym.h>
#include <unicode/decimfmt.h>
#include <unicode/locid.h>

#include <clocale>
#include <cmath>
#include <memory>

#include "text/encodings.h"
#include "text/mutable_string.h"

namespace textrix {
namespace {

std::optional<std::u16string> nonEmpty(const char* text) {
  if (!text || !*text) return std::nullopt;
  return utf16FromUtf8(text);
}

std::optional<std::u16string> processLocaleValue(std::string_view key) {
  if (key == kShortDateFormatKey) return calendarFormatFromStrftime(nl_langinfo(D_FMT));
  if (key == kTimeFormatKey) return calendarFormatFromStrftime(nl_langinfo(T_FMT));
  if (key == kDateFormatKey) {
    return longDateFormatFromDateTime(calendarFormatFromStrftime(nl_langinfo(D_T_FMT)));
  }
  const std::lconv* numeric = std::localeconv();
  if (key == kDecimalSeparatorKey) return nonEmpty(numeric->decimal_point);
  if (key == kThousandsSeparatorKey) return nonEmpty(numeric->thousands_sep);
  return std::nullopt;
}

// The spelled-out form of a strftime conversion the calendar syntax lacks, or empty.
std::string_view spelledOut(char conversion) {
  switch (conversion) {
    case 'D':
      return "%m/%d/%y";
    case 'T':
      return "%H:%M:%S";
    case 'R':
      return "%H:%M";
    case 'r':
      return "%I:%M:%S %p";
    case 'h':
      return "%b";
    case 'k':
      return "%H";
    case 'l':
      return "%I";
    case 'n':
      return "\n";
    case 't':
      return "\t";
    default:
      return {};
  }
}

bool isTimeConversion(char16_t conversion) {
  return std::u16string_view(u"HIMSpXZzF").find(conversion) != std::u16string_view::npos;
}

icu::UnicodeString icuString(std::u16string_view text) {
  return icu::UnicodeString(text.data(), static_cast<int32_t>(text.size()));
}

std::u16string fromIcuString(const icu::UnicodeString& text) {
  return std::u16string(text.getBuffer(), static_cast<std::size_t>(text.length()));
}

std::u16string composed(std::optional<std::u16string> date, std::optional<std::u16string> time) {
  return formatString(u"%@ %@",
                      {date ? *date : kMissingObjectText, time ? *time : kMissingObjectText});
}

}  // namespace

std::optional<std::u16string> localeValue(const UserDefaults& defaults, std::string_view key) {
  if (auto stored = defaults.stringForKey(key)) return utf16FromUtf8(*stored);
  return processLocaleValue(key);
}

std::optional<std::u16string> shortDateFormat(const UserDefaults& defaults) {
  return localeValue(defaults, kShortDateFormatKey);
}

std::optional<std::u16string> dateFormat(const UserDefaults& defaults) {
  return localeValue(defaults, kDateFormatKey);
}

std::optional<std::u16string> timeFormat(const UserDefaults& defaults) {
  return localeValue(defaults, kTimeFormatKey);
}

std::u16string shortDateTimeFormat(const UserDefaults& defaults) {
  // The time format is read first, but the date always comes first in the result.
  std::optional<std::u16string> time = timeFormat(defaults);
  return composed(shortDateFormat(defaults), std::move(time));
}

std::u16string dateTimeFormat(const UserDefaults& defaults) {
  std::optional<std::u16string> time = timeFormat(defaults);
  return composed(dateFormat(defaults), std::move(time));
}

std::optional<std::u16string> decimalSeparator(const UserDefaults& defaults) {
  return localeValue(defaults, kDecimalSeparatorKey);
}

std::optional<std::u16string> thousandsSeparator(const UserDefaults& defaults) {
  return localeValue(defaults, kThousandsSeparatorKey);
}

std::u16string calendarFormatFromStrftime(std::string_view format) {
  std::string translated;
  for (std::size_t i = 0; i < format.size(); ++i) {
    if (format[i] != '%' || i + 1 == format.size()) {
      translated += format[i];
      continue;
    }
    std::size_t next = i + 1;
    while (next < format.size() && (format[next] == 'E' || format[next] == 'O')) ++next;
    if (next == format.size()) break;
    const std::string_view spelled = spelledOut(format[next]);
    if (spelled.empty()) {
      translated += '%';
      translated += format[next];
    } else {
      translated += spelled;
    }
    i = next;
  }
  return utf16FromUtf8(translated);
}

std::u16string longDateFormatFromDateTime(std::u16string_view calendarFormat) {
  std::u16string date;
  for (std::size_t i = 0; i < calendarFormat.size(); ++i) {
    const char16_t c = calendarFormat[i];
    if (c == u'%' && i + 1 < calendarFormat.size()) {
      const char16_t conversion = calendarFormat[++i];
      if (isTimeConversion(conversion)) continue;
      date += u'%';
      date += conversion == u'a' ? u'A' : conversion == u'b' ? u'B' : conversion;
    } else if (c == u':') {
      continue;  // the separator of the time conversions just removed
    } else if (c != u' ' || (!date.empty() && date.back() != u' ')) {
      date += c;
    }
  }
  while (!date.empty() && date.back() == u' ') date.pop_back();
  return date;
}

const NumberFormatter& NumberFormatter::intFormatter(const UserDefaults& defaults) {
  static const NumberFormatter formatter(false, decimalSeparator(defaults).value_or(u"."),
                                         thousandsSeparator(defaults).value_or(u","));
  return formatter;
}

const NumberFormatter& NumberFormatter::floatFormatter(const UserDefaults& defaults) {
  static const NumberFormatter formatter(true, decimalSeparator(defaults).value_or(u"."),
                                         thousandsSeparator(defaults).value_or(u","));
  return formatter;
}

NumberFormatter::NumberFormatter(bool allowsFloats, std::u16string_view decimalSeparator,
                                 std::u16string_view thousandsSeparator)
    : allowsFloats_(allowsFloats) {
  UErrorCode status = U_ZERO_ERROR;
  auto symbols = std::make_unique<icu::DecimalFormatSymbols>(icu::Locale::getRoot(), status);
  if (U_FAILURE(status)) return;
  symbols->setSymbol(icu::DecimalFormatSymbols::kDecimalSeparatorSymbol,
                     icuString(decimalSeparator));
  symbols->setSymbol(icu::DecimalFormatSymbols::kGroupingSeparatorSymbol,
                     icuString(thousandsSeparator));
  auto format = std::make_unique<icu::DecimalFormat>(allowsFloats ? u"#,##0.##" : u"#,##0",
                                                     symbols.release(), status);
  if (U_SUCCESS(status)) format_ = std::move(format);
}

NumberFormatter::~NumberFormatter() = default;

std::u16string NumberFormatter::stringForInt(long long number) const {
  if (!format_) return {};
  icu::UnicodeString text;
  format_->format(static_cast<int64_t>(number), text);
  return fromIcuString(text);
}

std::u16string NumberFormatter::stringForFloat(double number) const {
  if (!format_ || !std::isfinite(number)) return {};
  icu::UnicodeString text;
  format_->format(allowsFloats_ ? number : std::round(number), text);
  return fromIcuString(text);
}

}  // namespace textrix
