// SPDX-License-Identifier: MIT
// The services the user applied last, most recent first, kept across runs so that a chooser can
// offer them at the top and a key can apply the last one again. The store holds plain names and
// never judges them: a name that no longer names anything is for the reader to pass over.
//
// The file is $XDG_STATE_HOME/textrix/recent (XDG_STATE_HOME defaulting to ~/.local/state), one
// name a line, most recent first, at most kCapacity names. It is replaced atomically (a temporary
// file, then a rename), and only when a use changed the order.
//
//   textrix::RecentServices recent(textrix::RecentServices::standardPath());
//   for (const std::string& name : recent.names()) offer(name);
//   recent.recordUse("upper");
//   if (std::string problem = recent.save(); !problem.empty()) log(problem);
#pragma once

#include <cstddef>
#include <filesystem>
#include <string>
#include <string_view>
#include <vector>

namespace textrix {

class RecentServices {
 public:
  // How many names the file keeps: enough for every service someone uses often.
  static constexpr std::size_t kCapacity = 30;

  // The names kept in the file at path: its first kCapacity different non-empty lines, in order.
  // A missing file is an empty history; an empty path keeps no history at all.
  explicit RecentServices(std::filesystem::path path);

  // The path of this user's history as the environment names it: $XDG_STATE_HOME/textrix/recent
  // when XDG_STATE_HOME is an absolute path, else $HOME/.local/state/textrix/recent; empty when
  // neither is set, so that no history is kept.
  static std::filesystem::path standardPath();

  // The names, most recent first, without repeats.
  const std::vector<std::string>& names() const { return names_; }
  // True when the file existed but could not be read: the store then never writes over it.
  bool unreadable() const { return unreadable_; }

  // Puts name first, removing it further down and the oldest name beyond kCapacity. A name that
  // cannot be a line of the file (empty, or holding a line break or NUL) is not recorded.
  void recordUse(std::string_view name);

  // Writes the names to the file (creating its directory), through a temporary file renamed over
  // the old one, when a use has changed them since they were read or last written. Returns an
  // empty string on success (nothing to write included), else what went wrong.
  std::string save();

 private:
  void load();

  std::filesystem::path path_;
  std::vector<std::string> names_;
  bool unreadable_ = false;
  bool changed_ = false;  // names_ differs from what the file holds
};

}  // namespace textrix
