// The attributes that attributed text carries on its characters: fonts, colours, links,
// attachments, paragraph styles and underline, and the dictionary that holds them for one run.
//
// An AttributeDictionary is an immutable value that is cheap to copy: every copy shares one entry
// list, so thousands of runs with the same attributes cost one list, and comparing two copies of
// the same dictionary is one pointer comparison.
//
//   textrix::AttributeDictionary bold;
//   bold.setObject(textrix::Font{"Helvetica", 12, /*bold=*/true}, textrix::kFontAttributeName);
//   if (const textrix::Font* font = bold.get<textrix::Font>(textrix::kFontAttributeName)) ...
#pragma once

#include <cstdint>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

namespace textrix {

// The names of the attributes the system uses.
inline constexpr std::string_view kFontAttributeName = "NSFont";
inline constexpr std::string_view kForegroundColorAttributeName = "NSColor";
inline constexpr std::string_view kBackgroundColorAttributeName = "NSBackgroundColor";
inline constexpr std::string_view kLinkAttributeName = "NSLink";
inline constexpr std::string_view kAttachmentAttributeName = "NSAttachment";
inline constexpr std::string_view kParagraphStyleAttributeName = "NSParagraphStyle";
inline constexpr std::string_view kUnderlineStyleAttributeName = "NSUnderline";

// The code unit that stands in the characters for an attachment.
inline constexpr char16_t kAttachmentCharacter = u'\uFFFC';

// A font: family name (UTF-8), size in points and the two traits the system keeps.
struct Font {
  std::string family;
  double pointSize = 12.0;
  bool bold = false;
  bool italic = false;

  bool operator==(const Font&) const = default;
};

// A colour in device RGB, each component from 0 to 1.
struct Color {
  double red = 0.0;
  double green = 0.0;
  double blue = 0.0;
  double alpha = 1.0;

  bool operator==(const Color&) const = default;
};

// The colour of link text.
inline constexpr Color kLinkColor{0.0, 0.0, 0.933, 1.0};

// A link: the URL text it points to.
struct Link {
  std::u16string url;

  bool operator==(const Link&) const = default;
};

// An attached file: its name and its bytes. Copies share the bytes; two attachments are equal only
// when they are the same attachment (same bytes object), as two pictures with equal pixels are
// still two pictures.
struct Attachment {
  std::string fileName;
  std::shared_ptr<const std::string> contents;

  bool operator==(const Attachment& other) const {
    return contents == other.contents && fileName == other.fileName;
  }
};

enum class TextAlignment { natural, left, right, center, justified };

// Paragraph layout; lengths in points.
struct ParagraphStyle {
  TextAlignment alignment = TextAlignment::natural;
  double firstLineHeadIndent = 0.0;
  double headIndent = 0.0;
  double tailIndent = 0.0;
  double lineSpacing = 0.0;
  double paragraphSpacing = 0.0;        // after the paragraph
  double paragraphSpacingBefore = 0.0;  // before the paragraph
  double lineHeightMultiple = 0.0;
  double minimumLineHeight = 0.0;
  double maximumLineHeight = 0.0;

  bool operator==(const ParagraphStyle&) const = default;
};

// The underline style value of a single underline.
inline constexpr std::int64_t kUnderlineStyleSingle = 1;

// One attribute value. Numbers (the underline style, among others) are integers or reals; text
// values that are not links are strings.
using AttributeValue = std::variant<Font, Color, Link, Attachment, ParagraphStyle, std::int64_t,
                                    double, std::u16string>;

// A set of attributes: names mapped to values, kept sorted by name.
class AttributeDictionary {
 public:
  struct Entry {
    std::string name;
    AttributeValue value;

    bool operator==(const Entry&) const = default;
  };

  AttributeDictionary() = default;

  bool empty() const { return size() == 0; }
  std::size_t size() const { return entries_ ? entries_->size() : 0; }

  // The value under name, or null.
  const AttributeValue* find(std::string_view name) const;
  // The value under name when it holds a T, or null.
  template <class T>
  const T* get(std::string_view name) const {
    const AttributeValue* value = find(name);
    return value ? std::get_if<T>(value) : nullptr;
  }

  // Sets name to value, replacing any value it had.
  void setObject(AttributeValue value, std::string_view name);
  // Removes name; nothing happens when it is absent.
  void removeObject(std::string_view name);
  // Sets name to the value, or removes it when there is no value.
  void setOrRemoveObject(std::optional<AttributeValue> value, std::string_view name);
  // Sets every entry of other, replacing the values of names both have.
  void addEntriesFromDictionary(const AttributeDictionary& other);

  // The entries in name order.
  const Entry* begin() const { return entries_ ? entries_->data() : nullptr; }
  const Entry* end() const { return begin() + size(); }

  bool operator==(const AttributeDictionary& other) const;

 private:
  // Returns a list of entries that this dictionary alone holds, copying the shared one first.
  std::vector<Entry>& ownEntries();

  std::shared_ptr<std::vector<Entry>> entries_;  // null when empty; shared by copies, never
                                                 // changed once shared
};

}  // namespace textrix
