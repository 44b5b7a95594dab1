// The RTF reader: one iterative pass over the bytes with a stack of group states.
//
// Text is gathered into the pending run until the character formatting changes, then appended to
// the result as one run. Bytes written as \'xx (or raw 8-bit bytes) are collected and decoded in
// one conversion when something other than another byte comes, through a converter per code page
// that the reader keeps for the whole document.

#include <unicode/ucnv.h>

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "rich/rtf.h"
#include "text/encodings.h"

namespace textrix {
namespace {

// Far deeper than any writer nests, and shallow enough that the stack stays small.
constexpr std::size_t kMaxDepth = 10000;
constexpr int kDefaultCodePage = 1252;
constexpr double kTwipsPerPoint = 20.0;
constexpr double kSingleLineSpacing = 240.0;  // \sl with \slmult1: 240 is one line

enum class Word : std::uint8_t {
  unknown,
  // destinations
  fonttbl,
  colortbl,
  field,
  fldinst,
  fldrslt,
  pict,
  shppict,
  nonshppict,
  nextGraphic,
  skippedDestination,
  // document
  ansi,
  mac,
  pc,
  pca,
  ansicpg,
  deff,
  uc,
  u,
  bin,
  paperw,
  paperh,
  margl,
  margr,
  margt,
  margb,
  // font table and colour table entries
  fcharset,
  cpg,
  red,
  green,
  blue,
  // character formatting
  plain,
  f,
  fs,
  fsmilli,
  b,
  i,
  ul,
  ulnone,
  cf,
  cb,
  // paragraph formatting
  pard,
  ql,
  qr,
  qc,
  qj,
  fi,
  li,
  ri,
  sb,
  sa,
  sl,
  slmult,
  slleading,
  // pictures
  pngblip,
  jpegblip,
  // characters
  par,
  line,
  tab,
  page,
  cell,
  row,
  emdash,
  endash,
  emspace,
  enspace,
  qmspace,
  bullet,
  lquote,
  rquote,
  ldblquote,
  rdblquote,
  zwj,
  zwnj,
  ltrmark,
  rtlmark,
};

struct WordEntry {
  std::string_view name;
  Word word;
};

constexpr auto kWords = std::to_array<WordEntry>({
    {"NeXTGraphic", Word::nextGraphic},
    {"aftncn", Word::skippedDestination},
    {"aftnsep", Word::skippedDestination},
    {"aftnsepc", Word::skippedDestination},
    {"annotation", Word::skippedDestination},
    {"ansi", Word::ansi},
    {"ansicpg", Word::ansicpg},
    {"atnauthor", Word::skippedDestination},
    {"atnid", Word::skippedDestination},
    {"b", Word::b},
    {"bin", Word::bin},
    {"bkmkend", Word::skippedDestination},
    {"bkmkstart", Word::skippedDestination},
    {"blue", Word::blue},
    {"bullet", Word::bullet},
    {"cb", Word::cb},
    {"cell", Word::cell},
    {"cf", Word::cf},
    {"chcbpat", Word::cb},
    {"colortbl", Word::colortbl},
    {"cpg", Word::cpg},
    {"datafield", Word::skippedDestination},
    {"deff", Word::deff},
    {"emdash", Word::emdash},
    {"emspace", Word::emspace},
    {"endash", Word::endash},
    {"enspace", Word::enspace},
    {"f", Word::f},
    {"fcharset", Word::fcharset},
    {"fi", Word::fi},
    {"field", Word::field},
    {"fldinst", Word::fldinst},
    {"fldrslt", Word::fldrslt},
    {"fonttbl", Word::fonttbl},
    {"footer", Word::skippedDestination},
    {"footerf", Word::skippedDestination},
    {"footerl", Word::skippedDestination},
    {"footerr", Word::skippedDestination},
    {"footnote", Word::skippedDestination},
    {"fs", Word::fs},
    {"fsmilli", Word::fsmilli},
    {"ftncn", Word::skippedDestination},
    {"ftnsep", Word::skippedDestination},
    {"ftnsepc", Word::skippedDestination},
    {"green", Word::green},
    {"header", Word::skippedDestination},
    {"headerf", Word::skippedDestination},
    {"headerl", Word::skippedDestination},
    {"headerr", Word::skippedDestination},
    {"highlight", Word::cb},
    {"i", Word::i},
    {"info", Word::skippedDestination},
    {"jpegblip", Word::jpegblip},
    {"ldblquote", Word::ldblquote},
    {"li", Word::li},
    {"line", Word::line},
    {"listoverridetable", Word::skippedDestination},
    {"listtable", Word::skippedDestination},
    {"lquote", Word::lquote},
    {"ltrmark", Word::ltrmark},
    {"mac", Word::mac},
    {"margb", Word::margb},
    {"margl", Word::margl},
    {"margr", Word::margr},
    {"margt", Word::margt},
    {"nonshppict", Word::nonshppict},
    {"objdata", Word::skippedDestination},
    {"page", Word::page},
    {"paperh", Word::paperh},
    {"paperw", Word::paperw},
    {"par", Word::par},
    {"pard", Word::pard},
    {"pc", Word::pc},
    {"pca", Word::pca},
    {"pict", Word::pict},
    {"plain", Word::plain},
    {"pn", Word::skippedDestination},
    {"pngblip", Word::pngblip},
    {"pntxta", Word::skippedDestination},
    {"pntxtb", Word::skippedDestination},
    {"qc", Word::qc},
    {"qj", Word::qj},
    {"ql", Word::ql},
    {"qmspace", Word::qmspace},
    {"qr", Word::qr},
    {"rdblquote", Word::rdblquote},
    {"red", Word::red},
    {"revtbl", Word::skippedDestination},
    {"ri", Word::ri},
    {"row", Word::row},
    {"rquote", Word::rquote},
    {"rtlmark", Word::rtlmark},
    {"rxe", Word::skippedDestination},
    {"sa", Word::sa},
    {"sb", Word::sb},
    {"shppict", Word::shppict},
    {"sl", Word::sl},
    {"slleading", Word::slleading},
    {"slmult", Word::slmult},
    {"stylesheet", Word::skippedDestination},
    {"tab", Word::tab},
    {"tc", Word::skippedDestination},
    {"txe", Word::skippedDestination},
    {"u", Word::u},
    {"uc", Word::uc},
    {"ul", Word::ul},
    {"uld", Word::ul},
    {"uldash", Word::ul},
    {"uldashd", Word::ul},
    {"uldashdd", Word::ul},
    {"uldb", Word::ul},
    {"ulhwave", Word::ul},
    {"ulldash", Word::ul},
    {"ulnone", Word::ulnone},
    {"ulth", Word::ul},
    {"ulthd", Word::ul},
    {"ulthdash", Word::ul},
    {"ulthdashd", Word::ul},
    {"ulthdashdd", Word::ul},
    {"ulthldash", Word::ul},
    {"ululdbwave", Word::ul},
    {"ulw", Word::ul},
    {"ulwave", Word::ul},
    {"xe", Word::skippedDestination},
    {"zwj", Word::zwj},
    {"zwnj", Word::zwnj},
});

// The words in an open-addressing hash table, built once: a lookup hashes the name and compares it
// with one or two entries, instead of the many comparisons of a search over the sorted list.
class WordTable {
 public:
  WordTable() {
    for (const WordEntry& entry : kWords) {
      std::size_t slot = hash(entry.name);
      while (!slots_[slot].name.empty()) slot = (slot + 1) % kSlots;
      slots_[slot] = entry;
    }
  }

  Word find(std::string_view name) const {
    if (name.empty()) return Word::unknown;
    for (std::size_t slot = hash(name);; slot = (slot + 1) % kSlots) {
      if (slots_[slot].name.empty()) return Word::unknown;
      if (slots_[slot].name == name) return slots_[slot].word;
    }
  }

 private:
  static constexpr std::size_t kSlots = 512;  // a power of two, over three times the words

  static std::size_t hash(std::string_view name) {
    std::uint32_t value = 2166136261u;
    for (char c : name) value = (value ^ static_cast<unsigned char>(c)) * 16777619u;
    return value % kSlots;
  }

  std::array<WordEntry, kSlots> slots_{};
};

Word lookUpWord(std::string_view name) {
  static const WordTable table;
  return table.find(name);
}

// The character a control word stands for, or 0 when it stands for none.
char16_t characterOfWord(Word word) {
  switch (word) {
    case Word::par:
    case Word::row:
      return u'\n';
    case Word::line:
      return u'\u2028';
    case Word::tab:
    case Word::cell:
      return u'\t';
    case Word::page:
      return u'\f';
    case Word::emdash:
      return u'\u2014';
    case Word::endash:
      return u'\u2013';
    case Word::emspace:
      return u'\u2003';
    case Word::enspace:
      return u'\u2002';
    case Word::qmspace:
      return u'\u2005';
    case Word::bullet:
      return u'\u2022';
    case Word::lquote:
      return u'\u2018';
    case Word::rquote:
      return u'\u2019';
    case Word::ldblquote:
      return u'\u201C';
    case Word::rdblquote:
      return u'\u201D';
    case Word::zwj:
      return u'\u200D';
    case Word::zwnj:
      return u'\u200C';
    case Word::ltrmark:
      return u'\u200E';
    case Word::rtlmark:
      return u'\u200F';
    default:
      return 0;
  }
}

// The code page of a font's \fcharset; 0 means the document's (\ansicpg).
int codePageOfCharset(int charset) {
  switch (charset) {
    case 77:
      return 10000;
    case 78:
      return 932;
    case 79:
      return 949;
    case 80:
      return 936;
    case 81:
      return 950;
    case 85:
      return 10006;
    case 86:
      return 10081;
    case 88:
      return 10029;
    case 89:
      return 10007;
    case 128:
      return 932;
    case 129:
      return 949;
    case 134:
      return 936;
    case 136:
      return 950;
    case 161:
      return 1253;
    case 162:
      return 1254;
    case 163:
      return 1258;
    case 177:
      return 1255;
    case 178:
      return 1256;
    case 186:
      return 1257;
    case 204:
      return 1251;
    case 222:
      return 874;
    case 238:
      return 1250;
    case 254:
      return 437;
    case 255:
      return 850;
    default:
      return 0;
  }
}

bool isDoubleByteCodePage(int codePage) {
  return codePage == 932 || codePage == 936 || codePage == 949 || codePage == 950;
}

// The ICU name of a Windows or Mac code page.
std::string converterNameOfCodePage(int codePage) {
  switch (codePage) {
    case 437:
      return "ibm-437";
    case 850:
      return "ibm-850";
    case 10000:
      return "macintosh";
    case 10006:
      return "x-mac-greek";
    case 10007:
      return "x-mac-cyrillic";
    case 10029:
      return "x-mac-centraleurroman";
    case 10081:
      return "x-mac-turkish";
    default:
      return "windows-" + std::to_string(codePage);
  }
}

struct ConverterCloser {
  void operator()(UConverter* converter) const { ucnv_close(converter); }
};
using Converter = std::unique_ptr<UConverter, ConverterCloser>;

// Opens converters on first use and keeps them, so a document pays once per code page.
class ConverterCache {
 public:
  // The converter of codePage, else of the default code page; null when neither opens.
  UConverter* converterFor(int codePage) {
    auto found = converters_.find(codePage);
    if (found != converters_.end()) return found->second.get();
    UErrorCode status = U_ZERO_ERROR;
    Converter converter(ucnv_open(converterNameOfCodePage(codePage).c_str(), &status));
    if (U_FAILURE(status)) converter.reset();
    UConverter* result = converter.get();
    converters_.emplace(codePage, std::move(converter));
    return result != nullptr || codePage == kDefaultCodePage ? result
                                                             : converterFor(kDefaultCodePage);
  }

 private:
  std::map<int, Converter> converters_;
};

// Appends the bytes decoded by converter; invalid bytes become substitution characters.
void decodeBytes(UConverter* converter, std::string_view bytes, std::u16string& out) {
  ucnv_reset(converter);
  const char* source = bytes.data();
  const char* const sourceEnd = source + bytes.size();
  std::array<char16_t, 1024> buffer;
  UErrorCode status;
  do {
    status = U_ZERO_ERROR;
    char16_t* target = buffer.data();
    ucnv_toUnicode(converter, &target, buffer.data() + buffer.size(), &source, sourceEnd, nullptr,
                   true, &status);
    out.append(buffer.data(), static_cast<std::size_t>(target - buffer.data()));
  } while (status == U_BUFFER_OVERFLOW_ERROR);
}

bool isAsciiLetter(char c) {
  return (c >= 'a' && c <= 'z') || (c >= 'A' && c <= 'Z');
}

bool isDigit(char c) {
  return c >= '0' && c <= '9';
}

int hexValue(char c) {
  if (c >= '0' && c <= '9') return c - '0';
  if (c >= 'a' && c <= 'f') return c - 'a' + 10;
  if (c >= 'A' && c <= 'F') return c - 'A' + 10;
  return -1;
}

// Widens ASCII bytes into units in place: appending from byte iterators would build a temporary.
void appendAscii(std::string_view ascii, std::u16string& target) {
  const std::size_t start = target.size();
  target.resize(start + ascii.size());
  char16_t* out = target.data() + start;
  for (char c : ascii) *out++ = static_cast<char16_t>(c);
}

// A byte that neither opens a control sequence or group nor is ignored as a line end.
bool isPlainByte(char c) {
  return c != '\\' && c != '{' && c != '}' && c != '\r' && c != '\n';
}

int clampToInt(std::int64_t value) {
  return static_cast<int>(std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(),
                                                   std::numeric_limits<int>::max()));
}

// A control word as written: \name, optionally followed by a signed number.
struct ControlWord {
  std::string_view name;  // empty when longer than any word the reader knows
  bool hasParameter = false;
  int parameter = 0;
  std::size_t end = 0;  // the offset after the word and its delimiting space
};

constexpr std::size_t kMaxWordLength = 32;
constexpr std::size_t kMaxParameterDigits = 10;

// Parses the control word whose letters begin at start (the byte after the backslash).
ControlWord parseControlWord(std::string_view rtf, std::size_t start) {
  ControlWord word;
  std::size_t pos = start;
  while (pos < rtf.size() && isAsciiLetter(rtf[pos])) ++pos;
  if (pos - start <= kMaxWordLength) word.name = rtf.substr(start, pos - start);
  const bool negative = pos + 1 < rtf.size() && rtf[pos] == '-' && isDigit(rtf[pos + 1]);
  if (negative) ++pos;
  std::int64_t value = 0;
  for (std::size_t digits = 0; pos < rtf.size() && isDigit(rtf[pos]); ++pos, ++digits) {
    word.hasParameter = true;
    if (digits < kMaxParameterDigits) value = value * 10 + (rtf[pos] - '0');
  }
  word.parameter = clampToInt(negative ? -value : value);
  if (pos < rtf.size() && rtf[pos] == ' ') ++pos;
  word.end = pos;
  return word;
}

enum class Destination : std::uint8_t {
  text,
  fontTable,
  colorTable,
  fieldInstruction,
  attachmentName,
  picture,
};

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

  bool operator==(const ParagraphState&) const = default;
};

// What decides the attributes of the characters read: equal states give equal attributes.
struct CharacterState {
  int font = -1;  // -1: the default font (\deff)
  double pointSize = 12.0;
  bool bold = false;
  bool italic = false;
  bool underline = false;
  int foreground = 0;  // colour table index; 0 is automatic
  int background = 0;
  int field = -1;  // the hyperlink field whose result this is, or -1
  ParagraphState paragraph;

  bool operator==(const CharacterState&) const = default;
};

struct GroupState {
  CharacterState format;
  Destination destination = Destination::text;
  bool ownsDestination = false;  // the destination began in this group, and ends with it
  bool ignorable = false;        // \* came, so an unknown destination that follows is skipped
  int unicodeSkip = 1;           // \uc: fallback characters after each \u
  int field = -1;                // the \field this group is part of
};

struct FontEntry {
  std::string family;
  int codePage = 0;  // 0: the document's
};

struct Field {
  std::u16string instruction;
  std::optional<std::u16string> url;  // set when the instruction is a HYPERLINK
  bool parsed = false;                // the instruction is parsed once, at the first \fldrslt
};

// Splits a field instruction into its arguments: quoted strings (with \ escaping the next
// character) or words between spaces.
std::vector<std::pair<std::u16string, bool>> fieldArguments(std::u16string_view instruction) {
  std::vector<std::pair<std::u16string, bool>> arguments;  // text, quoted
  std::size_t pos = 0;
  while (pos < instruction.size()) {
    if (instruction[pos] == u' ' || instruction[pos] == u'\t' || instruction[pos] == u'\n') {
      ++pos;
      continue;
    }
    std::u16string argument;
    const bool quoted = instruction[pos] == u'"';
    if (quoted) {
      for (++pos; pos < instruction.size() && instruction[pos] != u'"'; ++pos) {
        if (instruction[pos] == u'\\' && pos + 1 < instruction.size()) ++pos;
        argument.push_back(instruction[pos]);
      }
      ++pos;
    } else {
      for (; pos < instruction.size() && instruction[pos] != u' ' && instruction[pos] != u'"';
           ++pos) {
        argument.push_back(instruction[pos]);
      }
    }
    arguments.emplace_back(std::move(argument), quoted);
  }
  return arguments;
}

bool equalsIgnoringAsciiCase(std::u16string_view text, std::u16string_view upper) {
  return text.size() == upper.size() &&
         std::equal(text.begin(), text.end(), upper.begin(), [](char16_t a, char16_t b) {
           return (a >= u'a' && a <= u'z' ? a - u'a' + u'A' : a) == b;
         });
}

// The URL of a HYPERLINK field instruction (the target, then "#" and the \l anchor when given),
// or none for other fields.
std::optional<std::u16string> hyperlinkUrl(std::u16string_view instruction) {
  const auto arguments = fieldArguments(instruction);
  if (arguments.empty() || !equalsIgnoringAsciiCase(arguments[0].first, u"HYPERLINK")) {
    return std::nullopt;
  }
  std::u16string target;
  std::u16string anchor;
  for (std::size_t i = 1; i < arguments.size(); ++i) {
    const auto& [text, quoted] = arguments[i];
    if (!quoted && text.size() == 2 && text[0] == u'\\') {
      // \l names an anchor; \o (tooltip), \t (frame) and \m take an argument we do not keep.
      const bool takesArgument = text[1] == u'l' || text[1] == u'o' || text[1] == u't';
      if (takesArgument && i + 1 < arguments.size()) {
        if (text[1] == u'l') anchor = arguments[i + 1].first;
        ++i;
      }
    } else if (target.empty()) {
      target = text;
    }
  }
  if (!anchor.empty()) target += u'#' + anchor;
  if (target.empty()) return std::nullopt;
  return target;
}

Color colorOf(int red, int green, int blue) {
  return Color{red / 255.0, green / 255.0, blue / 255.0, 1.0};
}

ParagraphStyle paragraphStyleOf(const ParagraphState& state) {
  ParagraphStyle style;
  style.alignment = state.alignment;
  style.headIndent = state.leftIndent / kTwipsPerPoint;
  style.firstLineHeadIndent =
      (static_cast<std::int64_t>(state.leftIndent) + state.firstIndent) / kTwipsPerPoint;
  style.tailIndent = state.rightIndent != 0 ? -state.rightIndent / kTwipsPerPoint : 0.0;
  style.paragraphSpacingBefore = state.spaceBefore / kTwipsPerPoint;
  style.paragraphSpacing = state.spaceAfter / kTwipsPerPoint;
  style.lineSpacing = state.leading / kTwipsPerPoint;
  const std::int64_t spacing = state.lineSpacing;
  if (state.lineMultiple && spacing != 0) {
    style.lineHeightMultiple = (spacing < 0 ? -spacing : spacing) / kSingleLineSpacing;
  } else if (spacing > 0) {
    style.minimumLineHeight = spacing / kTwipsPerPoint;
  } else if (spacing < 0) {
    style.minimumLineHeight = style.maximumLineHeight = -spacing / kTwipsPerPoint;
  }
  return style;
}

class RtfReader {
 public:
  RtfReader(std::string_view rtf, const AttachmentFiles* attachments)
      : rtf_(rtf), attachments_(attachments) {}

  RichTextReading read();

 private:
  GroupState& group() { return groups_.back(); }

  void fail(RichTextErrorKind kind, std::size_t offset);
  void openGroup();
  void closeGroup();
  void skipGroup();
  void readControl();
  void readControlWord();
  void readPlainBytes();
  void readPlainByte(char c);
  void readHexPicture(std::size_t end);
  void applyWord(Word word, const ControlWord& control);
  bool applyDestination(Word word);
  void applyCharacterFormat(Word word, const ControlWord& control);
  void applyParagraphFormat(Word word, const ControlWord& control);
  void applyDocumentWord(Word word, const ControlWord& control);
  void beginDestination(Destination destination);
  void endDestination(const GroupState& closed);
  void readBinary(const ControlWord& control);
  bool skipsFallback();

  int currentCodePage() const;
  std::u16string* textTarget();
  void appendUnits(std::u16string_view units);
  void appendByte(char byte) { pendingBytes_.push_back(byte); }
  void flushBytes();
  void updateAttributes();
  AttributeDictionary attributesOf(const CharacterState& state) const;
  void flushText();
  void appendAttachment(std::string name, std::shared_ptr<const std::string> contents);
  void setFontCodePage(int codePage);
  void finishFontEntry();
  void finishColorEntry();

  std::string_view rtf_;
  const AttachmentFiles* attachments_;
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
  std::string picture_;
  std::string_view pictureExtension_;
  int pictureHighNibble_ = -1;
  int pictureCount_ = 0;

  // Text
  int fallbackToSkip_ = 0;  // characters still to skip after \u, or the byte after an attachment
  std::string pendingBytes_;
  std::u16string pendingText_;
  CharacterState pendingState_;
  AttributeDictionary pendingAttributes_;
  bool formatChanged_ = true;
  AttributedText text_;
};

RichTextReading RtfReader::read() {
  RichTextReading reading;
  if (rtf_.substr(0, 5) != "{\\rtf") {
    reading.error = {RichTextErrorKind::notRtf, 0};
    return reading;
  }
  groups_.reserve(64);
  openGroup();
  while (!groups_.empty() && pos_ < rtf_.size() && error_.kind == RichTextErrorKind::none) {
    switch (rtf_[pos_]) {
      case '{':
        openGroup();
        break;
      case '}':
        closeGroup();
        break;
      case '\\':
        readControl();
        break;
      case '\r':
      case '\n':
        ++pos_;
        break;
      default:
        readPlainBytes();
    }
  }
  if (error_.kind == RichTextErrorKind::none && !groups_.empty()) {
    fail(RichTextErrorKind::unclosedGroup, rtf_.size());
  }
  if (error_.kind != RichTextErrorKind::none) {
    reading.error = error_;
    return reading;
  }
  flushText();
  reading.text = std::move(text_);
  reading.documentAttributes = documentAttributes_;
  return reading;
}

void RtfReader::fail(RichTextErrorKind kind, std::size_t offset) {
  error_ = {kind, offset};
}

void RtfReader::openGroup() {
  flushBytes();
  fallbackToSkip_ = 0;
  if (groups_.size() >= kMaxDepth) {
    fail(RichTextErrorKind::tooDeep, pos_);
    return;
  }
  ++pos_;
  GroupState inner = groups_.empty() ? GroupState{} : group();
  inner.ownsDestination = false;
  inner.ignorable = false;
  groups_.push_back(inner);
}

void RtfReader::closeGroup() {
  flushBytes();
  fallbackToSkip_ = 0;
  ++pos_;
  if (group().destination == Destination::fontTable) finishFontEntry();
  const GroupState closed = group();
  groups_.pop_back();
  formatChanged_ = true;
  if (closed.ownsDestination && !groups_.empty()) endDestination(closed);
}

// Skips the rest of the current group, counting braces instead of keeping states, and closes it.
void RtfReader::skipGroup() {
  std::size_t depth = 1;
  while (pos_ < rtf_.size()) {
    const char c = rtf_[pos_];
    if (c == '\\') {
      if (pos_ + 1 < rtf_.size() && isAsciiLetter(rtf_[pos_ + 1])) {
        const ControlWord word = parseControlWord(rtf_, pos_ + 1);
        pos_ = word.end;
        if (word.name == "bin" && word.parameter > 0) {
          pos_ +=
              std::min<std::size_t>(static_cast<std::size_t>(word.parameter), rtf_.size() - pos_);
        }
      } else {
        pos_ = std::min(pos_ + 2, rtf_.size());
      }
    } else if (c == '{') {
      if (groups_.size() - 1 + depth >= kMaxDepth) {
        fail(RichTextErrorKind::tooDeep, pos_);
        return;
      }
      ++depth;
      ++pos_;
    } else if (c == '}') {
      if (--depth == 0) {
        ++pos_;
        groups_.pop_back();
        formatChanged_ = true;
        return;
      }
      ++pos_;
    } else {
      ++pos_;
    }
  }
}

// One character of fallback text after \u is consumed, when any is due.
bool RtfReader::skipsFallback() {
  if (fallbackToSkip_ == 0) return false;
  --fallbackToSkip_;
  return true;
}

void RtfReader::readControl() {
  if (pos_ + 1 >= rtf_.size()) {
    pos_ = rtf_.size();
    return;
  }
  const char symbol = rtf_[pos_ + 1];
  if (isAsciiLetter(symbol)) {
    readControlWord();
    return;
  }
  pos_ += 2;
  if (symbol == '\'') {
    int value = 0;
    for (int digits = 0; digits < 2 && pos_ < rtf_.size() && hexValue(rtf_[pos_]) >= 0; ++digits) {
      value = value * 16 + hexValue(rtf_[pos_++]);
    }
    if (skipsFallback()) return;
    const Destination destination = group().destination;
    if (destination != Destination::picture && destination != Destination::colorTable) {
      appendByte(static_cast<char>(value));
    }
    return;
  }
  flushBytes();
  if (symbol == '*') {
    group().ignorable = true;
    return;
  }
  if (skipsFallback()) return;
  switch (symbol) {
    case '\\':
    case '{':
    case '}':
      readPlainByte(symbol);
      break;
    case '~':
      appendUnits(u"\u00A0");
      break;
    case '-':
      appendUnits(u"\u00AD");
      break;
    case '_':
      appendUnits(u"\u2011");
      break;
    case '\r':
    case '\n':
      appendUnits(u"\n");
      break;
    default:
      break;
  }
}

void RtfReader::readControlWord() {
  const ControlWord control = parseControlWord(rtf_, pos_ + 1);
  pos_ = control.end;
  flushBytes();
  const Word word = lookUpWord(control.name);
  if (word == Word::bin) {
    readBinary(control);
    return;
  }
  const bool ignorable = group().ignorable;
  group().ignorable = false;
  if (skipsFallback()) return;
  if (applyDestination(word)) return;
  if (ignorable) {
    skipGroup();
    return;
  }
  applyWord(word, control);
}

// \binN: N raw bytes, picture data inside a picture and skipped elsewhere.
void RtfReader::readBinary(const ControlWord& control) {
  const std::size_t length = std::min<std::size_t>(
      control.parameter > 0 ? static_cast<std::size_t>(control.parameter) : 0, rtf_.size() - pos_);
  if (!skipsFallback() && group().destination == Destination::picture) {
    picture_.append(rtf_.substr(pos_, length));
  }
  pos_ += length;
}

// Applies a destination word; false when word is not one.
bool RtfReader::applyDestination(Word word) {
  switch (word) {
    case Word::fonttbl:
      beginDestination(Destination::fontTable);
      return true;
    case Word::colortbl:
      beginDestination(Destination::colorTable);
      colorHasComponents_ = false;
      colorComponents_ = {};
      return true;
    case Word::field:
      group().field = static_cast<int>(fields_.size());
      fields_.emplace_back();
      return true;
    case Word::fldinst:
      if (group().field >= 0) {
        beginDestination(Destination::fieldInstruction);
      } else {
        skipGroup();
      }
      return true;
    case Word::fldrslt:
      if (group().field >= 0) {
        Field& field = fields_[static_cast<std::size_t>(group().field)];
        if (!field.parsed) {
          field.url = hyperlinkUrl(field.instruction);
          field.parsed = true;
        }
        if (field.url) group().format.field = group().field;
      }
      formatChanged_ = true;
      return true;
    case Word::shppict:
      return true;
    case Word::pict:
      beginDestination(Destination::picture);
      picture_.clear();
      pictureExtension_ = {};
      pictureHighNibble_ = -1;
      return true;
    case Word::nextGraphic:
      beginDestination(Destination::attachmentName);
      attachmentName_.clear();
      return true;
    case Word::nonshppict:
    case Word::skippedDestination:
      skipGroup();
      return true;
    default:
      return false;
  }
}

void RtfReader::beginDestination(Destination destination) {
  group().destination = destination;
  group().ownsDestination = true;
}

void RtfReader::endDestination(const GroupState& closed) {
  switch (closed.destination) {
    case Destination::picture:
      if (!pictureExtension_.empty()) {
        std::string name = "image" + std::to_string(++pictureCount_) + ".";
        name += pictureExtension_;
        appendAttachment(std::move(name), std::make_shared<const std::string>(std::move(picture_)));
      }
      picture_.clear();
      break;
    case Destination::attachmentName: {
      std::string name = encodeUtf8(attachmentName_);
      const std::size_t first = name.find_first_not_of(' ');
      name = first == std::string::npos
                 ? std::string()
                 : name.substr(first, name.find_last_not_of(' ') + 1 - first);
      std::shared_ptr<const std::string> contents;
      if (attachments_ != nullptr) {
        auto found = attachments_->find(name);
        if (found != attachments_->end()) contents = found->second;
      }
      if (!contents) contents = std::make_shared<const std::string>();
      appendAttachment(std::move(name), std::move(contents));
      fallbackToSkip_ = 1;  // the placeholder character after the group
      break;
    }
    default:
      break;
  }
}

void RtfReader::applyWord(Word word, const ControlWord& control) {
  if (const char16_t c = characterOfWord(word)) {
    appendUnits(std::u16string_view(&c, 1));
    return;
  }
  switch (word) {
    case Word::u: {
      const auto unit = static_cast<char16_t>(static_cast<unsigned>(control.parameter) & 0xFFFF);
      appendUnits(std::u16string_view(&unit, 1));
      fallbackToSkip_ = group().unicodeSkip;
      return;
    }
    case Word::fcharset:
      if (fontEntry_ >= 0) setFontCodePage(codePageOfCharset(control.parameter));
      return;
    case Word::cpg:
      if (fontEntry_ >= 0) setFontCodePage(control.parameter);
      return;
    case Word::red:
    case Word::green:
    case Word::blue:
      colorComponents_[static_cast<std::size_t>(word) - static_cast<std::size_t>(Word::red)] =
          std::clamp(control.parameter, 0, 255);
      colorHasComponents_ = true;
      return;
    case Word::pngblip:
      pictureExtension_ = "png";
      return;
    case Word::jpegblip:
      pictureExtension_ = "jpg";
      return;
    default:
      break;
  }
  applyCharacterFormat(word, control);
  applyParagraphFormat(word, control);
  applyDocumentWord(word, control);
  formatChanged_ = true;
}

void RtfReader::applyCharacterFormat(Word word, const ControlWord& control) {
  CharacterState& format = group().format;
  const bool on = !control.hasParameter || control.parameter != 0;
  switch (word) {
    case Word::plain: {
      const int field = format.field;
      const ParagraphState paragraph = format.paragraph;
      format = CharacterState{};
      format.field = field;
      format.paragraph = paragraph;
      break;
    }
    case Word::f:
      if (group().destination == Destination::fontTable) {
        finishFontEntry();
        fontEntry_ = control.parameter;
        fonts_[fontEntry_] = FontEntry{};
        fontName_.clear();
      } else {
        format.font = control.parameter;
      }
      break;
    case Word::fs:
      format.pointSize = (control.hasParameter ? control.parameter : 24) / 2.0;
      break;
    case Word::fsmilli:
      format.pointSize = control.parameter / 1000.0;
      break;
    case Word::b:
      format.bold = on;
      break;
    case Word::i:
      format.italic = on;
      break;
    case Word::ul:
      format.underline = on;
      break;
    case Word::ulnone:
      format.underline = false;
      break;
    case Word::cf:
      format.foreground = control.parameter;
      break;
    case Word::cb:
      format.background = control.parameter;
      break;
    default:
      break;
  }
}

void RtfReader::applyParagraphFormat(Word word, const ControlWord& control) {
  ParagraphState& paragraph = group().format.paragraph;
  const int value = control.parameter;
  switch (word) {
    case Word::pard:
      paragraph = ParagraphState{};
      break;
    case Word::ql:
      paragraph.alignment = TextAlignment::left;
      break;
    case Word::qr:
      paragraph.alignment = TextAlignment::right;
      break;
    case Word::qc:
      paragraph.alignment = TextAlignment::center;
      break;
    case Word::qj:
      paragraph.alignment = TextAlignment::justified;
      break;
    case Word::fi:
      paragraph.firstIndent = value;
      break;
    case Word::li:
      paragraph.leftIndent = value;
      break;
    case Word::ri:
      paragraph.rightIndent = value;
      break;
    case Word::sb:
      paragraph.spaceBefore = value;
      break;
    case Word::sa:
      paragraph.spaceAfter = value;
      break;
    case Word::sl:
      paragraph.lineSpacing = value;
      break;
    case Word::slmult:
      paragraph.lineMultiple = value != 0;
      break;
    case Word::slleading:
      paragraph.leading = value;
      break;
    default:
      break;
  }
}

void RtfReader::applyDocumentWord(Word word, const ControlWord& control) {
  const int value = control.parameter;
  const double points = value / kTwipsPerPoint;
  switch (word) {
    case Word::ansi:
      codePage_ = kDefaultCodePage;
      break;
    case Word::mac:
      codePage_ = 10000;
      break;
    case Word::pc:
      codePage_ = 437;
      break;
    case Word::pca:
      codePage_ = 850;
      break;
    case Word::ansicpg:
      codePage_ = value > 0 ? value : kDefaultCodePage;
      doubleByteCodePageSeen_ |= isDoubleByteCodePage(codePage_);
      break;
    case Word::deff:
      defaultFont_ = value;
      break;
    case Word::uc:
      group().unicodeSkip = std::max(value, 0);
      break;
    case Word::paperw:
      documentAttributes_.paperWidth = points;
      break;
    case Word::paperh:
      documentAttributes_.paperHeight = points;
      break;
    case Word::margl:
      documentAttributes_.leftMargin = points;
      break;
    case Word::margr:
      documentAttributes_.rightMargin = points;
      break;
    case Word::margt:
      documentAttributes_.topMargin = points;
      break;
    case Word::margb:
      documentAttributes_.bottomMargin = points;
      break;
    default:
      break;
  }
}

// Reads the bytes up to the next backslash, brace or line end.
void RtfReader::readPlainBytes() {
  std::size_t end = pos_;
  while (end < rtf_.size() && isPlainByte(rtf_[end])) ++end;
  const Destination destination = group().destination;
  if (fallbackToSkip_ > 0 || destination == Destination::fontTable ||
      destination == Destination::colorTable) {
    for (; pos_ < end; ++pos_) readPlainByte(rtf_[pos_]);
    return;
  }
  if (destination == Destination::picture) {
    readHexPicture(end);
    return;
  }
  const std::string_view bytes = rtf_.substr(pos_, end - pos_);
  pos_ = end;
  if (doubleByteCodePageSeen_ && isDoubleByteCodePage(currentCodePage())) {
    pendingBytes_.append(bytes);
    return;
  }
  // ASCII is the same in every single-byte code page, so only the other bytes are decoded.
  for (std::size_t i = 0; i < bytes.size();) {
    std::size_t ascii = i;
    while (ascii < bytes.size() && static_cast<unsigned char>(bytes[ascii]) < 0x80) ++ascii;
    if (ascii > i) {
      flushBytes();
      if (std::u16string* target = textTarget()) appendAscii(bytes.substr(i, ascii - i), *target);
    }
    std::size_t high = ascii;
    while (high < bytes.size() && static_cast<unsigned char>(bytes[high]) >= 0x80) ++high;
    pendingBytes_.append(bytes.substr(ascii, high - ascii));
    i = high;
  }
}

// One byte of text: skipped as fallback, an entry separator in the tables, else text.
void RtfReader::readPlainByte(char c) {
  if (skipsFallback()) return;
  switch (group().destination) {
    case Destination::fontTable:
      if (c == ';') {
        finishFontEntry();
      } else if (fontEntry_ >= 0) {
        appendByte(c);
      }
      break;
    case Destination::colorTable:
      if (c == ';') finishColorEntry();
      break;
    case Destination::picture:
      break;
    default:
      appendByte(c);
  }
}

void RtfReader::readHexPicture(std::size_t end) {
  for (; pos_ < end; ++pos_) {
    const int nibble = hexValue(rtf_[pos_]);
    if (nibble < 0) continue;
    if (pictureHighNibble_ < 0) {
      pictureHighNibble_ = nibble;
    } else {
      picture_.push_back(static_cast<char>(pictureHighNibble_ * 16 + nibble));
      pictureHighNibble_ = -1;
    }
  }
}

int RtfReader::currentCodePage() const {
  const GroupState& state = groups_.back();
  int font = state.format.font >= 0 ? state.format.font : defaultFont_;
  if (state.destination == Destination::fontTable) font = fontEntry_;
  auto found = fonts_.find(font);
  return found != fonts_.end() && found->second.codePage != 0 ? found->second.codePage : codePage_;
}

// Where decoded characters go in the current destination, or null where they are dropped.
std::u16string* RtfReader::textTarget() {
  switch (group().destination) {
    case Destination::text:
      updateAttributes();
      return &pendingText_;
    case Destination::fontTable:
      return fontEntry_ >= 0 ? &fontName_ : nullptr;
    case Destination::fieldInstruction:
      return &fields_[static_cast<std::size_t>(group().field)].instruction;
    case Destination::attachmentName:
      return &attachmentName_;
    default:
      return nullptr;
  }
}

void RtfReader::appendUnits(std::u16string_view units) {
  flushBytes();
  if (std::u16string* target = textTarget()) target->append(units);
}

void RtfReader::flushBytes() {
  if (pendingBytes_.empty()) return;
  if (std::u16string* target = textTarget()) {
    if (UConverter* converter = converters_.converterFor(currentCodePage())) {
      decodeBytes(converter, pendingBytes_, *target);
    }
  }
  pendingBytes_.clear();
}

// Starts a new run when the formatting that decides the attributes has changed.
void RtfReader::updateAttributes() {
  if (!formatChanged_) return;
  formatChanged_ = false;
  const CharacterState& state = group().format;
  if (state == pendingState_ && !pendingAttributes_.empty()) return;
  flushText();
  pendingState_ = state;
  pendingAttributes_ = attributesOf(state);
}

AttributeDictionary RtfReader::attributesOf(const CharacterState& state) const {
  AttributeDictionary attributes;
  Font font{"", state.pointSize, state.bold, state.italic};
  auto entry = fonts_.find(state.font >= 0 ? state.font : defaultFont_);
  if (entry == fonts_.end()) entry = fonts_.find(defaultFont_);
  if (entry != fonts_.end()) font.family = entry->second.family;
  attributes.setObject(std::move(font), kFontAttributeName);
  const auto colorAt = [&](int index) -> std::optional<Color> {
    if (index <= 0 || static_cast<std::size_t>(index) >= colors_.size()) return std::nullopt;
    return colors_[static_cast<std::size_t>(index)];
  };
  if (auto color = colorAt(state.foreground)) {
    attributes.setObject(*color, kForegroundColorAttributeName);
  }
  if (auto color = colorAt(state.background)) {
    attributes.setObject(*color, kBackgroundColorAttributeName);
  }
  if (state.underline) attributes.setObject(kUnderlineStyleSingle, kUnderlineStyleAttributeName);
  if (state.field >= 0) {
    attributes.setObject(Link{*fields_[static_cast<std::size_t>(state.field)].url},
                         kLinkAttributeName);
  }
  const ParagraphStyle paragraph = paragraphStyleOf(state.paragraph);
  if (!(paragraph == ParagraphStyle{})) {
    attributes.setObject(paragraph, kParagraphStyleAttributeName);
  }
  return attributes;
}

void RtfReader::flushText() {
  if (pendingText_.empty()) return;
  text_.appendString(pendingText_, pendingAttributes_);
  pendingText_.clear();
}

void RtfReader::appendAttachment(std::string name, std::shared_ptr<const std::string> contents) {
  if (group().destination != Destination::text) return;
  updateAttributes();
  flushText();
  AttributeDictionary attributes = pendingAttributes_;
  attributes.setObject(Attachment{std::move(name), std::move(contents)}, kAttachmentAttributeName);
  text_.appendString(std::u16string_view(&kAttachmentCharacter, 1), attributes);
}

void RtfReader::setFontCodePage(int codePage) {
  fonts_[fontEntry_].codePage = codePage;
  doubleByteCodePageSeen_ |= isDoubleByteCodePage(codePage);
}

void RtfReader::finishFontEntry() {
  if (fontEntry_ < 0) return;
  flushBytes();
  fonts_[fontEntry_].family = encodeUtf8(fontName_);
  fontName_.clear();
  fontEntry_ = -1;
}

void RtfReader::finishColorEntry() {
  colors_.push_back(colorHasComponents_
                        ? std::optional<Color>(colorOf(colorComponents_[0], colorComponents_[1],
                                                       colorComponents_[2]))
                        : std::nullopt);
  colorComponents_ = {};
  colorHasComponents_ = false;
}

}  // namespace

std::string RichTextError::message() const {
  switch (kind) {
    case RichTextErrorKind::none:
      return "no error";
    case RichTextErrorKind::notRtf:
      return "the data is not RTF";
    case RichTextErrorKind::unclosedGroup:
      return "the RTF ends inside an unclosed group";
    case RichTextErrorKind::tooDeep:
      return "the RTF nests groups too deeply";
    case RichTextErrorKind::notRtfd:
      return "the data is not a flat RTFD package";
    case RichTextErrorKind::truncatedRtfd:
      return "the RTFD package is truncated";
    case RichTextErrorKind::malformedRtfd:
      return "the RTFD package is malformed";
    case RichTextErrorKind::missingText:
      return "the RTFD package holds no TXT.rtf";
    case RichTextErrorKind::unreadableFile:
      return "a file of the RTFD bundle could not be read or written";
  }
  return "unknown error";
}

RichTextReading readRtf(std::string_view rtf, const AttachmentFiles* attachments) {
  return RtfReader(rtf, attachments).read();
}

}  // namespace textrix
