// SPDX-License-Identifier: MIT
#include "runtime/defaults.h"

#include <algorithm>
#include <cerrno>
#include <charconv>
#include <cstdlib>
#include <fstream>
#include <limits>
#include <set>
#include <system_error>

#include "runtime/localization.h"
#include "util/atomic_file.h"

namespace textrix {
namespace {

bool isBlank(char c) {
  return c == ' ' || c == '\t';
}

std::string_view skipBlanks(std::string_view text) {
  while (!text.empty() && isBlank(text.front())) text.remove_prefix(1);
  return text;
}

// Values are one line each in the file: backslashes and line breaks are escaped.
std::string escapeValue(std::string_view value) {
  std::string escaped;
  escaped.reserve(value.size());
  for (char c : value) {
    switch (c) {
      case '\\':
        escaped += "\\\\";
        break;
      case '\n':
        escaped += "\\n";
        break;
      case '\r':
        escaped += "\\r";
        break;
      default:
        escaped += c;
    }
  }
  return escaped;
}

std::string unescapeValue(std::string_view value) {
  std::string plain;
  plain.reserve(value.size());
  for (std::size_t i = 0; i < value.size(); ++i) {
    if (value[i] != '\\' || i + 1 == value.size()) {
      plain += value[i];
      continue;
    }
    const char next = value[++i];
    plain += next == 'n' ? '\n' : next == 'r' ? '\r' : next;
  }
  return plain;
}

std::int64_t integerReading(std::string_view value) {
  value = skipBlanks(value);
  bool negative = false;
  if (!value.empty() && (value.front() == '+' || value.front() == '-')) {
    negative = value.front() == '-';
    value.remove_prefix(1);
  }
  std::int64_t magnitude = 0;
  constexpr std::int64_t kMax = std::numeric_limits<std::int64_t>::max();
  for (char c : value) {
    if (c < '0' || c > '9') break;
    const int digit = c - '0';
    magnitude = magnitude > (kMax - digit) / 10 ? kMax : magnitude * 10 + digit;
  }
  return negative ? -magnitude : magnitude;
}

bool boolReading(std::string_view value) {
  value = skipBlanks(value);
  if (!value.empty() && (value.front() == '+' || value.front() == '-')) value.remove_prefix(1);
  while (!value.empty() && value.front() == '0') value.remove_prefix(1);
  if (value.empty()) return false;
  const char c = value.front();
  return c == 'Y' || c == 'y' || c == 'T' || c == 't' || (c >= '1' && c <= '9');
}

// The leading decimal number, read the same way whatever the process's locale.
double doubleReading(std::string_view value) {
  value = skipBlanks(value);
  if (!value.empty() && value.front() == '+') value.remove_prefix(1);
  double number = 0.0;
  const auto result = std::from_chars(value.data(), value.data() + value.size(), number);
  return result.ec == std::errc() ? number : 0.0;
}

// The key of a KEY=VALUE line; none for a comment, a blank line or any other line.
std::optional<std::string_view> keyOfLine(std::string_view line) {
  const std::size_t equals = line.find('=');
  if (equals == std::string_view::npos || equals == 0 || line.front() == '#') return std::nullopt;
  return line.substr(0, equals);
}

std::filesystem::path configHome() {
  if (const char* xdg = std::getenv("XDG_CONFIG_HOME"); xdg && *xdg) return xdg;
  const char* home = std::getenv("HOME");
  return std::filesystem::path(home && *home ? home : ".") / ".config";
}

}  // namespace

UserDefaults::UserDefaults(std::filesystem::path path) : path_(std::move(path)) {
  load();
}

UserDefaults& UserDefaults::standardUserDefaults() {
  static UserDefaults defaults(standardPath());
  return defaults;
}

std::filesystem::path UserDefaults::standardPath() {
  if (const char* explicitPath = std::getenv("TEXTRIX_DEFAULTS"); explicitPath && *explicitPath) {
    return explicitPath;
  }
  return configHome() / "textrix" / "defaults";
}

void UserDefaults::load() {
  std::ifstream file(path_, std::ios::binary);
  if (!file) {
    std::error_code error;
    unreadable_ = std::filesystem::exists(path_, error) || (error && error.value() != ENOENT);
    return;
  }
  std::string line;
  while (std::getline(file, line)) {
    if (const std::optional<std::string_view> key = keyOfLine(line)) {
      values_[std::string(*key)] = unescapeValue(std::string_view(line).substr(key->size() + 1));
    }
    lines_.push_back(std::move(line));
  }
  unreadable_ = file.bad();
}

std::optional<std::string> UserDefaults::objectForKey(std::string_view key) const {
  auto found = values_.find(key);
  if (found == values_.end()) return std::nullopt;
  return found->second;
}

std::int64_t UserDefaults::integerForKey(std::string_view key) const {
  return integerForKey(key, 0);
}

bool UserDefaults::boolForKey(std::string_view key) const {
  return boolForKey(key, false);
}

float UserDefaults::floatForKey(std::string_view key) const {
  return floatForKey(key, 0.0f);
}

double UserDefaults::doubleForKey(std::string_view key) const {
  return doubleForKey(key, 0.0);
}

std::optional<std::string> UserDefaults::stringForKey(std::string_view key) const {
  return objectForKey(key);
}

std::int64_t UserDefaults::integerForKey(std::string_view key, std::int64_t defaultValue) const {
  auto value = objectForKey(key);
  return value ? integerReading(*value) : defaultValue;
}

bool UserDefaults::boolForKey(std::string_view key, bool defaultValue) const {
  auto value = objectForKey(key);
  return value ? boolReading(*value) : defaultValue;
}

float UserDefaults::floatForKey(std::string_view key, float defaultValue) const {
  auto value = objectForKey(key);
  return value ? static_cast<float>(doubleReading(*value)) : defaultValue;
}

double UserDefaults::doubleForKey(std::string_view key, double defaultValue) const {
  auto value = objectForKey(key);
  return value ? doubleReading(*value) : defaultValue;
}

std::string UserDefaults::stringForKey(std::string_view key, std::string_view defaultValue) const {
  return stringForKey(key).value_or(std::string(defaultValue));
}

std::string UserDefaults::objectForKey(std::string_view key, std::string_view defaultValue) const {
  return objectForKey(key).value_or(std::string(defaultValue));
}

void UserDefaults::setInteger(std::int64_t value, std::string_view key) {
  setString(std::to_string(value), key);
}

void UserDefaults::setDouble(double value, std::string_view key) {
  char buffer[32];
  const auto result = std::to_chars(buffer, buffer + sizeof buffer, value);
  setString(std::string_view(buffer, result.ptr - buffer), key);
}

void UserDefaults::setString(std::string_view value, std::string_view key) {
  auto found = values_.find(key);
  if (found == values_.end()) {
    values_.emplace(std::string(key), std::string(value));
  } else if (found->second != value) {
    found->second = value;
  } else {
    return;
  }
  changed_ = true;
}

void UserDefaults::setOrRemoveString(std::optional<std::string_view> value, std::string_view key) {
  setOrRemoveObject(value && !value->empty() ? value : std::nullopt, key);
}

void UserDefaults::setOrRemoveObject(std::optional<std::string_view> value, std::string_view key) {
  if (value) {
    setString(*value, key);
  } else {
    removeObjectForKey(key);
  }
}

void UserDefaults::removeObjectForKey(std::string_view key) {
  auto found = values_.find(key);
  if (found == values_.end()) return;
  values_.erase(found);
  changed_ = true;
}

std::string UserDefaults::synchronize() {
  if (unreadable_) {
    return localizedFormat("cannot read {0}, so it is left as it is", {path_.string()});
  }
  if (!changed_) return {};
  std::vector<std::string> lines = linesToWrite();
  std::string contents;
  for (const std::string& line : lines) contents.append(line).push_back('\n');
  if (std::string problem = replaceFileAtomically(path_, contents); !problem.empty()) {
    return problem;
  }
  lines_ = std::move(lines);
  changed_ = false;
  return {};
}

std::vector<std::string> UserDefaults::linesToWrite() const {
  std::vector<std::string> lines;
  lines.reserve(lines_.size() + values_.size());
  std::set<std::string_view, std::less<>> written;
  const auto entry = [](std::string_view key, std::string_view value) {
    return std::string(key) + '=' + escapeValue(value);
  };
  for (const std::string& line : lines_) {
    const std::optional<std::string_view> key = keyOfLine(line);
    if (!key) {
      lines.push_back(line);
      continue;
    }
    const auto value = values_.find(*key);
    if (value == values_.end() || !written.insert(value->first).second) continue;
    lines.push_back(entry(value->first, value->second));
  }
  for (const auto& [key, value] : values_) {
    if (!written.contains(key)) lines.push_back(entry(key, value));
  }
  return lines;
}

bool UserDefaults::isValidKey(std::string_view key) {
  return !key.empty() &&
         key.find_first_of(std::string_view("=\n\r\0", 4)) == std::string_view::npos;
}

}  // namespace textrix
