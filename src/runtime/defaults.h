// SPDX-License-Identifier: MIT
// The user-defaults store: the provider's persistent settings as a small key=value file, and the
// typed accessors the services read them through.
//
// The file is $TEXTRIX_DEFAULTS when set, else $XDG_CONFIG_HOME/textrix/defaults (XDG_CONFIG_HOME
// defaulting to ~/.config). Values are strings; the typed readings interpret them as the accessors
// say. Writes go to memory until synchronize(), which replaces the file atomically when a value has
// changed since the file was read or last written, and leaves it alone otherwise. The file is the
// user's too: comments and lines that are not KEY=VALUE stay where they were, each setting stays
// on its line, and a new one goes at the end.
//
//   textrix::UserDefaults& defaults = textrix::UserDefaults::standardUserDefaults();
//   int width = defaults.integerForKey("TabulatorWidth", 4);
//   defaults.setInteger(8, "TabulatorWidth");
//   defaults.synchronize();
#pragma once

#include <cstdint>
#include <filesystem>
#include <map>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace textrix {

class UserDefaults {
 public:
  // A store kept in the file at path (which need not exist yet).
  explicit UserDefaults(std::filesystem::path path);

  // The store of this user, at the path the environment names; loaded once.
  static UserDefaults& standardUserDefaults();
  // The path of this user's store as the environment names it.
  static std::filesystem::path standardPath();

  const std::filesystem::path& path() const { return path_; }
  // True when the file existed but could not be read: the store then refuses to write over it.
  bool unreadable() const { return unreadable_; }

  // The stored value, or none.
  std::optional<std::string> objectForKey(std::string_view key) const;
  // All keys and values, in key order.
  const std::map<std::string, std::string, std::less<>>& dictionaryRepresentation() const {
    return values_;
  }

  // The integer reading of a value: optional blanks, an optional sign and the digits that follow,
  // clamped to the 64-bit range; 0 when there are no digits.
  std::int64_t integerForKey(std::string_view key) const;
  // True when the value begins (after blanks, a sign and zeros) with Y, y, T, t or a digit 1-9.
  bool boolForKey(std::string_view key) const;
  // The leading decimal number of a value, 0 when there is none.
  float floatForKey(std::string_view key) const;
  double doubleForKey(std::string_view key) const;
  std::optional<std::string> stringForKey(std::string_view key) const;

  // The readings above when the key holds a value, else the default.
  std::int64_t integerForKey(std::string_view key, std::int64_t defaultValue) const;
  bool boolForKey(std::string_view key, bool defaultValue) const;
  float floatForKey(std::string_view key, float defaultValue) const;
  double doubleForKey(std::string_view key, double defaultValue) const;
  std::string stringForKey(std::string_view key, std::string_view defaultValue) const;
  std::string objectForKey(std::string_view key, std::string_view defaultValue) const;

  void setInteger(std::int64_t value, std::string_view key);
  // Stores the shortest text that reads back as the same double.
  void setDouble(double value, std::string_view key);
  void setString(std::string_view value, std::string_view key);
  // Stores a non-empty string; an empty or missing one removes the key.
  void setOrRemoveString(std::optional<std::string_view> value, std::string_view key);
  // Stores a present value; a missing one removes the key.
  void setOrRemoveObject(std::optional<std::string_view> value, std::string_view key);
  void removeObjectForKey(std::string_view key);

  // Writes the store to its file (creating its directory), through a temporary file renamed over
  // the old one, when a key has been added, changed or removed since the store was read or last
  // written; a value set to what it already was is no change. Every other line of the file stays;
  // a key that the file held twice keeps its first line only. Returns an empty string on success
  // (nothing to write included), else what went wrong.
  std::string synchronize();

  // Whether a key can be stored: non-empty, without '=', line breaks or NUL.
  static bool isValidKey(std::string_view key);

 private:
  void load();
  // The file's lines after synchronize: lines_ with each setting's line rewritten from values_,
  // removed settings left out and new ones added at the end.
  std::vector<std::string> linesToWrite() const;

  std::filesystem::path path_;
  std::map<std::string, std::string, std::less<>> values_;
  std::vector<std::string> lines_;  // the file as read or last written, without line ends
  bool unreadable_ = false;
  bool changed_ = false;  // values_ differs from what the file holds
};

}  // namespace textrix
