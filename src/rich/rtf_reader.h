// SPDX-License-Identifier: MIT
// The RTF reader's class and the state it keeps per group, private to the rich text code. The
// reader's work is spread over files by what it handles: rtf_reader.cpp tokenizes and keeps the
// group stack and the runs of text, rtf_control_words.cpp applies each control word, and
// rtf_attachments.cpp turns pictures and \NeXTGraphic groups into attachment characters, and
// rtf_markup.cpp keeps what the text model has no place for as markup; they share this one
// declaration so that each sees the same state.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "rich/rtf.h"
#include "rich/rtf_code_pages.h"
#include "rich/rtf_control_words.h"
#include "rich/rtf_fields.h"

namespace textrix::detail {

// RTF measures lengths in twips; attributes measure them in points.
inline constexpr double kTwipsPerPoint = 20.0;

// Whether c may be in a control word's name; the locale must not widen that to other letters.
inline bool isAsciiLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

// Whether c is a decimal digit, in any locale.
inline bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

// The value of a hexadecimal digit, or -1 for any other byte.
inline int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Where the characters of a group go; the tables and fields gather text of their own.
enum class Destination : std::uint8_t {
  text,
  fontTable,
  colorTable,
  fieldInstruction,
  attachmentName,
  picture,
};

// A tab stop as written: its position in twips.
struct TabStopState {
  int position = 0;
  TabAlignment alignment = TabAlignment::left;
  TabLeader leader = TabLeader::none;

  bool operator==(const TabStopState&) const = default;
};

// Far more tab stops than word processors set in one paragraph; more are ignored, so that a
// document cannot make every group copy a long list.
inline constexpr std::size_t kMaxTabStops = 256;

// Paragraph properties as written, in twips.
struct ParagraphState {
  TextAlignment alignment = TextAlignment::natural;
  int firstIndent = 0;
  int leftIndent = 0;
  int rightIndent = 0;
  int spaceBefore = 0;
  int spaceAfter = 0;
  int lineSpacing = 0;
  bool lineMultiple = false;
  int leading = 0;
  std::vector<TabStopState> tabStops;
  TabStopState nextTab;  // the alignment and leader words met since the last tab stop
  WritingDirection direction = WritingDirection::natural;
  int outlineLevel = -1;  // -1: body text
  bool keepWithNext = false;
  bool keepTogether = false;
  bool inTable = false;
  int tableDepth = 0;  // of nested tables; 0: not stated, or not in one
  int list = -1;       // -1: not a list item
  int listLevel = -1;

  bool operator==(const ParagraphState&) const = default;
};

// What decides the attributes of the characters read: equal states give equal attributes.
struct CharacterState {
  int font = -1;  // -1: the default font (\deff)
  double pointSize = 12.0;
  bool bold = false;
  bool italic = false;
  std::int64_t underline = 0;  // the underline style, 0 for none
  bool strike = false;
  bool doubleStrike = false;
  int superscript = 0;     // 1 for \super, -1 for \sub
  int baselineOffset = 0;  // half points, up when positive
  int kern = 0;            // twips
  bool allCaps = false;
  bool smallCaps = false;
  bool hidden = false;
  int foreground = 0;  // colour table index; 0 is automatic
  int background = 0;
  int field = -1;  // the field (a link, or one kept as markup) whose result this is, or -1
  ParagraphState paragraph;

  bool operator==(const CharacterState&) const = default;
};

// The state a group inherits from the enclosing group and drops when it closes.
struct GroupState {
  CharacterState format;
  Destination destination = Destination::text;
  bool ownsDestination = false;       // the destination began in this group, and ends with it
  bool ignorable = false;             // \* came, so an unknown destination that follows is skipped
  int unicodeSkip = 1;                // \uc: fallback characters after each \u
  int field = -1;                     // the \field this group is part of
  bool ownsField = false;             // the \field began in this group
  std::size_t start = 0;              // the offset of the group's brace
  std::size_t destinationStart = 0;   // and of the word that began the group's destination
  std::size_t unitsAtStart = 0;       // the characters of the text read before the group
  std::size_t markupAtStart = 0;      // and the bytes of pending markup
  std::size_t headMarkupAtStart = 0;  // and of the markup of the document's head
};

// An entry of the font table, by its \f number.
struct FontEntry {
  std::string family;
  int codePage = 0;  // 0: the document's
};

// One reading of one document: construct, call read() once.
class RtfReader {
 public:
  RtfReader(std::string_view rtf, const AttachmentFiles* attachments,
            const AttachmentDirectories* directories)
      : rtf_(rtf), attachments_(attachments), directories_(directories) {}

  // The text and document attributes of the whole document, or the first error met.
  RichTextReading read();

 private:
  // The innermost open group, whose state applies to what is read.
  GroupState& group() { return groups_.back(); }

  // The tokenizer and the group stack (rtf_reader.cpp).

  // Stops reading with the error kind at offset.
  void fail(RichTextErrorKind kind, std::size_t offset);
  // Reads "{": a new group that inherits the state of the enclosing one.
  void openGroup();
  // Reads "}": ends the group and the destination that began in it.
  void closeGroup();
  // Skips the rest of the current group, counting braces instead of keeping states, and closes it.
  void skipGroup();
  // Reads a backslash sequence: a control word, a control symbol or \'xx.
  void readControl();
  // Reads a control word and applies it.
  void readControlWord();
  // Reads the bytes up to the next backslash, brace or line end.
  void readPlainBytes();
  // One byte of text: skipped as fallback, an entry separator in the tables, else text.
  void readPlainByte(char c);
  // \binN: N raw bytes, picture data inside a picture and skipped elsewhere.
  void readBinary(const ControlWord& control);
  // Consumes one character of the fallback due after \u or an attachment; false when none is.
  bool skipsFallback();
  // Makes destination the current group's, to end when the group closes.
  void beginDestination(Destination destination);

  // What each control word does (rtf_control_words.cpp).

  // Applies a word that is not a destination: a character, a formatting or a document word.
  void applyWord(Word word, const ControlWord& control);
  // Applies a destination word; false when word is not one.
  bool applyDestination(Word word);
  // Whether the current group is a field's own group or one directly inside it, where its result
  // may begin: a result met deeper, or after its field closed, is ordinary text.
  bool atFieldLevel() const;
  // Applies a word of character formatting (or \f of a font table entry) to the group.
  void applyCharacterFormat(Word word, const ControlWord& control);
  // Applies a word of paragraph formatting to the group.
  void applyParagraphFormat(Word word, const ControlWord& control);
  // Applies a word that sets the code page, default font, \uc or page layout.
  void applyDocumentWord(Word word, const ControlWord& control);

  // Pictures and attachments (rtf_attachments.cpp).

  // Reads picture data written in hexadecimal up to end; a digit pair may span two calls.
  void readHexPicture(std::size_t end);
  // Ends the destination of the closed group: a picture or \NeXTGraphic leaves its attachment.
  void endDestination(const GroupState& closed);
  // Applies a word that states a picture's format or size, or an attachment's size; false when
  // word is none of them.
  bool applyPictureWord(Word word, const ControlWord& control);
  // Appends one attachment character to the text, with the attributes of the text around it.
  void appendAttachment(Attachment attachment);

  // Markup (rtf_markup.cpp).

  // Applies a word that the reader keeps as markup; false when word is none of them.
  bool applyMarkupWord(Word word, const ControlWord& control);
  // Keeps the rest of the current group, from its brace, as markup, and closes it.
  void captureGroup(Word kind);
  // The bytes of a group that has just closed, from its brace, to keep as markup; only those from
  // destinationStart on, in a brace of their own, when the group gave text before its destination
  // began, so that the text is not also kept as markup.
  std::string closedGroupBytes(const GroupState& closed, std::size_t destinationStart) const;
  // Keeps code, read at position, as markup before the next character, or at the document's head.
  void addMarkup(std::string_view code, std::size_t position, bool head);
  // Ends the table row layout being kept, at end.
  void endRowDefinition(std::size_t end);
  // Ends the field whose group closed: a field without result characters is kept whole.
  void endField(const GroupState& closed);
  // The markup of code read at position, its fonts and colours numbered by its own lists.
  Markup markupOf(std::string_view code, std::size_t position) const;
  // Moves the pending markup onto the next character appended, ending the run before it.
  void placePendingMarkup();
  // Adds the pending markup, if any, to the attributes of a character appended alone.
  void takePendingMarkup(AttributeDictionary& attributes);
  // Puts what the document ends with after its last character, and its head on every character.
  void finishMarkup();
  // The characters of the text read so far.
  std::size_t unitsRead() const { return text_.length() + pendingText_.size(); }
  // Appends one character with an attribute of its own besides those of the text around it.
  void appendCharacterWith(char16_t c, std::string_view name, AttributeValue value);

  // Text, runs and tables (rtf_reader.cpp).

  // The code page of the current font, else the document's.
  int currentCodePage() const;
  // Where decoded characters go in the current destination, or null where they are dropped.
  std::u16string* textTarget();
  // Appends characters to the current destination, after the bytes collected before them.
  void appendUnits(std::u16string_view units);
  // Collects a byte to decode with the bytes next to it.
  void appendByte(char byte) { pendingBytes_.push_back(byte); }
  // Decodes the bytes collected into the current destination.
  void flushBytes();
  // Starts a new run when the formatting that decides the attributes has changed.
  void updateAttributes();
  // The attributes of characters read in state.
  AttributeDictionary attributesOf(const CharacterState& state) const;
  // Appends the pending run to the text.
  void flushText();
  // Sets the code page of the font table entry being read.
  void setFontCodePage(int codePage);
  // Ends the font table entry being read, if any, with its name.
  void finishFontEntry();
  // Ends a colour table entry; an entry without components is the automatic colour.
  void finishColorEntry();

  std::string_view rtf_;
  const AttachmentFiles* attachments_;
  const AttachmentDirectories* directories_;
  std::size_t pos_ = 0;
  RichTextError error_;
  std::vector<GroupState> groups_;

  // Document
  int codePage_ = kDefaultCodePage;
  bool doubleByteCodePageSeen_ = false;  // else no byte needs the code page to be found
  int defaultFont_ = 0;
  std::map<int, FontEntry> fonts_;
  std::vector<std::optional<Color>> colors_;
  std::vector<Field> fields_;
  DocumentAttributes documentAttributes_;
  ConverterCache converters_;

  // Destinations being read
  int fontEntry_ = -1;
  std::u16string fontName_;
  std::array<int, 3> colorComponents_{};
  bool colorHasComponents_ = false;
  std::u16string attachmentName_;
  AttachmentSize attachmentSize_;
  std::string picture_;
  PictureFormat pictureFormat_ = PictureFormat::none;
  int pictureFormatParameter_ = 0;
  AttachmentSize pictureSize_;
  int pictureHighNibble_ = -1;
  int pictureCount_ = 0;

  // Markup
  std::size_t wordStart_ = 0;  // the offset of the control word being applied
  std::string pendingMarkup_;  // met since the last character, for the next one
  std::size_t pendingMarkupPosition_ = 0;
  std::string markupBefore_;  // for the first character of the pending run
  std::size_t markupBeforePosition_ = 0;
  std::string headMarkup_;  // the document's head
  std::optional<std::size_t> rowDefinitionStart_;

  // Text
  int fallbackToSkip_ = 0;  // characters still to skip after \u, or the byte after an attachment
  std::string pendingBytes_;
  std::u16string pendingText_;
  CharacterState pendingState_;
  AttributeDictionary pendingAttributes_;
  bool formatChanged_ = true;
  AttributedText text_;
};

}  // namespace textrix::detail
