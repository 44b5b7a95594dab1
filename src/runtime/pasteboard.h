// SPDX-License-Identifier: MIT
// The pasteboard that carries a service request: an ordered list of declared types and one content
// per type. A requesting application puts the selection on it, the handler reads the richest
// representation and writes its result back onto it.
//
//   textrix::ServicePasteboard pasteboard("request");
//   pasteboard.declareTypes({std::string(textrix::kStringPboardType)});
//   pasteboard.setString(u"selected text", textrix::kStringPboardType);
//   if (auto text = pasteboard.stringForType(textrix::kStringPboardType)) ...
//
// Text types hold bytes (RTF, flat RTFD) except the plain-text type, which holds UTF-16 code units.
#pragma once

#include <cstddef>

#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace textrix {

// The most content, in bytes, that a selection or a result may hold over all its types wherever a
// request crosses a process boundary (the bus, a user action, textrix pick): 32 MiB, half of the
// largest array a bus message can hold.
inline constexpr std::size_t kMaxSelectionBytes = std::size_t{32} << 20;

// The type identifiers of a pasteboard.
inline constexpr std::string_view kRTFDPboardType = "NSRTFDPboardType";
inline constexpr std::string_view kRTFPboardType = "NSRTFPboardType";
inline constexpr std::string_view kStringPboardType = "NSStringPboardType";
inline constexpr std::string_view kTIFFPboardType = "NSTIFFPboardType";
inline constexpr std::string_view kPICTPboardType = "NSPICTPboardType";
inline constexpr std::string_view kPDFPboardType = "NSPDFPboardType";

// The name of the general (clipboard) pasteboard.
inline constexpr std::string_view kGeneralPboard = "NSGeneralPboard";

class ServicePasteboard {
 public:
  explicit ServicePasteboard(std::string name = {}) : name_(std::move(name)) {}

  const std::string& name() const { return name_; }

  // The declared types, in the order they were declared.
  const std::vector<std::string>& types() const { return types_; }
  bool containsType(std::string_view type) const;
  // The first of the given types that is declared here, or none.
  std::optional<std::string_view> availableTypeFromArray(
      std::initializer_list<std::string_view> preferred) const;

  // The bytes stored under type; none when nothing, or a string, is stored there.
  std::optional<std::string_view> dataForType(std::string_view type) const;
  // The string stored under type; none when nothing, or bytes, are stored there.
  std::optional<std::u16string_view> stringForType(std::string_view type) const;
  // Moves the string stored under type out, leaving the empty string there; none when nothing, or
  // bytes, are stored there. For a reader that writes its result in the string's place.
  std::optional<std::u16string> takeString(std::string_view type);

  // Declares a new list of types and empties the pasteboard.
  void declareTypes(std::vector<std::string> types);
  // How many times types were declared: a reader can tell whether anything was written since.
  int changeCount() const { return changeCount_; }
  // Stores bytes or a string under type, replacing what was stored there. A content may be stored
  // under a type that is not declared: it is kept, but readers that go by the declared types do not
  // see it.
  void setData(std::string bytes, std::string_view type);
  void setString(std::u16string string, std::string_view type);

  // The process's general pasteboard, named kGeneralPboard.
  static ServicePasteboard& generalPasteboard();

 private:
  using Content = std::variant<std::string, std::u16string>;
  struct Entry {
    std::string type;
    Content content;
  };

  const Content* contentForType(std::string_view type) const;
  Content* contentForType(std::string_view type);
  void store(Content content, std::string_view type);

  std::string name_;
  std::vector<std::string> types_;
  std::vector<Entry> contents_;
  int changeCount_ = 0;
};

}  // namespace textrix
