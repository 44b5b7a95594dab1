// SPDX-License-Identifier: MIT
// The attributes that attributed text carries on its characters: fonts, colours, links,
// attachments, paragraph styles, underline and strikethrough, superscript and baseline offset,
// character spacing, capitals and hidden text; and the dictionary that holds them for one run. A
// service changes characters and leaves these values as they were, so they carry everything a
// word processor's document states about its characters, for the document to come back whole.
//
// An AttributeDictionary is an immutable value that is cheap to copy: every copy shares one entry
// list, so thousands of runs with the same attributes cost one list, and comparing two copies of
// the same dictionary is one pointer comparison. interned() goes further: it gives the one list
// that every equal dictionary interned shares, so that texts that build equal dictionaries apart
// (a reader, a run-wise edit) still hold one list per distinct dictionary.
//
//   textrix::AttributeDictionary bold;
//   bold.setObject(textrix::Font{"Helvetica", 12, /*bold=*/true}, textrix::kFontAttributeName);
//   if (const textrix::Font* font = bold.get<textrix::Font>(textrix::kFontAttributeName)) ...
#pragma once

#include <atomic>
#include <cstdint>
#include <map>
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
inline constexpr std::string_view kStrikethroughStyleAttributeName = "NSStrikethrough";
// An integer: 1 raises the characters as superscript, -1 lowers them as subscript.
inline constexpr std::string_view kSuperscriptAttributeName = "NSSuperScript";
// A real: points the characters are raised by (lowered when negative), at their size.
inline constexpr std::string_view kBaselineOffsetAttributeName = "NSBaselineOffset";
// A real: points added between the characters (removed when negative).
inline constexpr std::string_view kKernAttributeName = "NSKern";
// An integer, one of the Capitals values: the letters are shown as capitals, whatever their case.
inline constexpr std::string_view kCapitalsAttributeName = "TextrixCapitals";
// An integer: 1 when the characters are hidden from view.
inline constexpr std::string_view kHiddenAttributeName = "TextrixHidden";

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

// How the bytes of a picture are encoded, as documents name the format.
enum class PictureFormat : std::uint8_t {
  none,  // not a picture a document embedded, or a format the name of the file tells
  png,
  jpeg,
  emf,          // Enhanced Metafile
  wmf,          // Windows Metafile
  dib,          // device-independent bitmap
  ddb,          // device-dependent bitmap
  macPict,      // QuickDraw picture
  os2Metafile,  // Presentation Manager metafile
};

// The sizes a document stated for an attachment, each absent unless it was stated. Lengths are in
// twips (1/20 point) unless said otherwise; writing them back as they were keeps the document's
// layout, which the pixels of a picture do not tell.
struct AttachmentSize {
  std::optional<std::int32_t> width = std::nullopt;   // the attachment's display width
  std::optional<std::int32_t> height = std::nullopt;  // and height
  std::optional<std::int32_t> pictureWidth =
      std::nullopt;  // the picture's own: pixels, or 0.01 mm for
  std::optional<std::int32_t> pictureHeight = std::nullopt;  // a metafile
  std::optional<std::int32_t> goalWidth = std::nullopt;      // the picture's desired display size
  std::optional<std::int32_t> goalHeight = std::nullopt;
  std::optional<std::int32_t> scaleX = std::nullopt;  // percent of the desired size shown
  std::optional<std::int32_t> scaleY = std::nullopt;
  std::optional<std::int32_t> bitsPerPixel = std::nullopt;  // a device-dependent bitmap's layout
  std::optional<std::int32_t> planes = std::nullopt;
  std::optional<std::int32_t> bytesPerRow = std::nullopt;

  bool operator==(const AttachmentSize&) const = default;
};

struct AttachedDirectory;

// An attached file or folder: its name and its bytes, or for a folder (another document's package,
// say) its files. Copies share the bytes; two attachments are equal only when they are the same
// attachment (same bytes or folder object) stated the same way, as two pictures with equal pixels
// are still two pictures.
struct Attachment {
  std::string fileName;
  std::shared_ptr<const std::string> contents = nullptr;
  std::shared_ptr<const AttachedDirectory> directory =
      nullptr;  // set for a folder, whose contents are empty
  PictureFormat format = PictureFormat::none;
  std::int32_t formatParameter = 0;  // the metafile's mapping mode or the bitmap's type
  AttachmentSize size = {};

  bool operator==(const Attachment& other) const {
    return contents == other.contents && directory == other.directory &&
           fileName == other.fileName && format == other.format &&
           formatParameter == other.formatParameter && size == other.size;
  }
};

// An attached folder: its files and its folders by name. Names are plain file names, never paths.
struct AttachedDirectory {
  std::map<std::string, std::shared_ptr<const std::string>, std::less<>> files;
  std::map<std::string, std::shared_ptr<const AttachedDirectory>, std::less<>> directories;
};

enum class TextAlignment { natural, left, right, center, justified };

// How a tab stop places the text after a tab: starting there, ending there, centred on it, with
// the decimal point on it, or as a vertical bar drawn there.
enum class TabAlignment : std::uint8_t { left, right, center, decimal, bar };

// What fills the space before a tab stop.
enum class TabLeader : std::uint8_t {
  none,
  dots,
  middleDots,
  hyphens,
  underline,
  thickLine,
  equals
};

// A tab stop; its location in points from the paragraph's leading margin.
struct TabStop {
  double location = 0.0;
  TabAlignment alignment = TabAlignment::left;
  TabLeader leader = TabLeader::none;

  bool operator==(const TabStop&) const = default;
};

// The direction a paragraph's lines run in; natural follows the script of its text.
enum class WritingDirection : std::uint8_t { natural, leftToRight, rightToLeft };

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
  std::vector<TabStop> tabStops = {};  // in the order the document gave them
  WritingDirection baseWritingDirection = WritingDirection::natural;
  int headerLevel = 0;        // 1 for a heading of the first level, ...; 0 for body text
  bool keepWithNext = false;  // on the same page as the next paragraph
  bool keepTogether = false;  // its lines on one page

  bool operator==(const ParagraphStyle&) const = default;
};

// The values of the underline and strikethrough styles: a line (single, thick or double), with
// any one pattern and drawn under words only when asked; 0 is no line.
inline constexpr std::int64_t kUnderlineStyleSingle = 0x01;
inline constexpr std::int64_t kUnderlineStyleThick = 0x02;
inline constexpr std::int64_t kUnderlineStyleDouble = 0x09;
inline constexpr std::int64_t kUnderlinePatternDot = 0x0100;
inline constexpr std::int64_t kUnderlinePatternDash = 0x0200;
inline constexpr std::int64_t kUnderlinePatternDashDot = 0x0300;
inline constexpr std::int64_t kUnderlinePatternDashDotDot = 0x0400;
inline constexpr std::int64_t kUnderlinePatternLongDash = 0x0500;
inline constexpr std::int64_t kUnderlinePatternWave = 0x0600;
inline constexpr std::int64_t kUnderlineByWord = 0x8000;

// The values of kCapitalsAttributeName.
enum Capitals : std::int64_t { kAllCapitals = 1, kSmallCapitals = 2 };

// A piece of a document's own markup that the model carries without interpreting it (a footnote, a
// header, a table row's layout, a field's instruction), so that the text written back in the same
// format keeps it where it was. The code names fonts and colours by their place in fonts and
// colors (colour 0 is the automatic colour, colour i is colors[i - 1]), so that a writer can number
// its own tables; position is where the piece was read, so that two equal pieces read at two
// places stay two and never merge into one run.
struct Markup {
  std::string code = {};
  std::vector<std::string> fonts = {};
  std::vector<Color> colors = {};
  std::size_t position = 0;

  bool operator==(const Markup&) const = default;
};

// The attribute, a Markup, of a character that stands for a piece of a document's structure (the
// end of a table's cell or row), written as the markup while it is still the character the markup
// reads as. Edits leave such characters as they are: an edit of them alone is not made, and the
// replacement of a range that holds some goes before them, so that a service changes the text of a
// table and never its cells.
inline constexpr std::string_view kStructureAttributeName = "TextrixStructure";
// The attribute, a Markup, written before the characters that carry it (a footnote before the
// character that follows it). A replacement of characters takes it from the first of them that
// carries it, so that collapsing the blanks around a footnote keeps the footnote.
inline constexpr std::string_view kMarkupBeforeAttributeName = "TextrixRtfBefore";

// One attribute value. Numbers (the underline style, among others) are integers or reals; text
// values that are not links are strings.
using AttributeValue = std::variant<Font, Color, Link, Attachment, ParagraphStyle, std::int64_t,
                                    double, std::u16string, Markup>;

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
  std::size_t size() const { return entries_ ? entries_->list.size() : 0; }

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
  const Entry* begin() const { return entries_ ? entries_->list.data() : nullptr; }
  const Entry* end() const { return begin() + size(); }

  bool operator==(const AttributeDictionary& other) const;

  // An equal dictionary whose entry list every equal interned dictionary shares. Two interned
  // dictionaries are equal exactly when they share it, and a list lives as long as a dictionary
  // holds it. Linear in the entries, and constant for a dictionary interned already.
  AttributeDictionary interned() const;

 private:
  class Pool;
  struct Entries {
    std::vector<Entry> list;
    std::atomic<bool> interned = false;  // the shared list of its contents, set once
  };

  // Returns a list of entries that this dictionary alone holds, copying the shared one first.
  std::vector<Entry>& ownEntries();

  std::shared_ptr<Entries> entries_;  // null when empty; shared by copies, never changed once
                                      // shared
};

}  // namespace textrix
