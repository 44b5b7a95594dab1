// SPDX-License-Identifier: MIT
// The RTF writer: a header with the font and colour tables, then the runs in order, each preceded
// by the control words that change the formatting written so far into the run's. What the writer
// writes, the reader reads back to equal attribute values: sizes in half points (or thousandths
// of a point), colours as 0..255 components, lengths in whole twips.

#include <algorithm>
#include <charconv>
#include <cmath>
#include <cstdint>
#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <tuple>
#include <unordered_map>
#include <utility>
#include <vector>

#include "rich/rtf.h"
#include "rich/rtf_control_words.h"
#include "rich/rtf_markup.h"
#include "text/encodings.h"

namespace textrix {
namespace {

constexpr double kTwipsPerPoint = 20.0;
constexpr double kSingleLineSpacing = 240.0;
constexpr std::string_view kDefaultFamily = "Helvetica";
constexpr std::string_view kUnnamedAttachment = "Attachment";

// A length rounded to whole units of scale, kept where RTF numbers can hold it.
std::int64_t roundedUnits(double value, double scale) {
  const double scaled = value * scale;
  if (!std::isfinite(scaled)) return 0;
  return std::llround(std::clamp(scaled, -2147483648.0, 2147483647.0));
}

std::int64_t twips(double points) {
  return roundedUnits(points, kTwipsPerPoint);
}

int colorByte(double component) {
  return static_cast<int>(std::clamp<std::int64_t>(roundedUnits(component, 255.0), 0, 255));
}

struct RgbColor {
  int red = 0;
  int green = 0;
  int blue = 0;

  auto operator<=>(const RgbColor&) const = default;
};

RgbColor rgbOf(const Color& color) {
  return {colorByte(color.red), colorByte(color.green), colorByte(color.blue)};
}

// The formatting that control words set, as the reader keeps it.
struct WrittenFormat {
  int font = 0;
  double pointSize = 12.0;
  bool bold = false;
  bool italic = false;
  std::int64_t underline = 0;
  std::int64_t strikethrough = 0;   // 0, kUnderlineStyleSingle or kUnderlineStyleDouble
  std::int64_t superscript = 0;     // -1, 0 or 1
  std::int64_t baselineOffset = 0;  // half points
  std::int64_t kern = 0;            // twips
  std::int64_t capitals = 0;
  bool hidden = false;
  int foreground = 0;  // colour table index; 0 is automatic
  int background = 0;
  ParagraphStyle paragraph;
  std::string paragraphWords;  // a list item's or a table cell's
};

// The attributes whose markup names fonts and colours of the tables.
constexpr std::string_view kMarkupAttributeNames[] = {
    kRtfDocumentMarkupAttributeName, kRtfMarkupBeforeAttributeName, kRtfMarkupAfterAttributeName,
    kRtfFieldAttributeName};

// The field that characters are the result of: a link, or one whose instruction is markup.
struct FieldOfText {
  const Link* link = nullptr;
  const Markup* instruction = nullptr;

  bool operator==(const FieldOfText& other) const {
    const auto same = [](const auto* a, const auto* b) { return a == b || (a && b && *a == *b); };
    return same(link, other.link) && same(instruction, other.instruction);
  }
};

// The integer attribute under name, or 0.
std::int64_t integerAttribute(const AttributeDictionary& attributes, std::string_view name) {
  const std::int64_t* value = attributes.get<std::int64_t>(name);
  return value ? *value : 0;
}

// The real attribute under name, or 0.
double realAttribute(const AttributeDictionary& attributes, std::string_view name) {
  const double* value = attributes.get<double>(name);
  return value ? *value : 0.0;
}

// A strikethrough style as RTF can state it: none, single or double.
std::int64_t strikethroughOf(std::int64_t style) {
  if (style == 0) return 0;
  return (style & 0xFF) == kUnderlineStyleDouble ? kUnderlineStyleDouble : kUnderlineStyleSingle;
}

// The words of the paragraph style that sit before a tab stop's position.
std::string_view tabAlignmentWord(TabAlignment alignment) {
  switch (alignment) {
    case TabAlignment::right:
      return "tqr";
    case TabAlignment::center:
      return "tqc";
    case TabAlignment::decimal:
      return "tqdec";
    default:
      return {};
  }
}

std::string_view tabLeaderWord(TabLeader leader) {
  switch (leader) {
    case TabLeader::dots:
      return "tldot";
    case TabLeader::middleDots:
      return "tlmdot";
    case TabLeader::hyphens:
      return "tlhyph";
    case TabLeader::underline:
      return "tlul";
    case TabLeader::thickLine:
      return "tlth";
    case TabLeader::equals:
      return "tleq";
    case TabLeader::none:
      return {};
  }
  return {};
}

// The size in pixels of a PNG image, from its header, or none when the bytes are not a PNG.
std::optional<std::pair<std::uint32_t, std::uint32_t>> pngSize(const std::string& bytes) {
  constexpr std::string_view kSignature = "\x89PNG\r\n\x1a\n";
  if (bytes.size() < 24 || bytes.compare(0, kSignature.size(), kSignature) != 0) {
    return std::nullopt;
  }
  const auto bigEndian = [&](std::size_t at) {
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < 4; ++i) {
      value = value << 8 | static_cast<unsigned char>(bytes[at + i]);
    }
    return value;
  };
  return std::make_pair(bigEndian(16), bigEndian(20));
}

bool isReservedName(std::u16string_view name) {
  constexpr std::u16string_view kText = u"txt.rtf";
  const bool isText =
      name.size() == kText.size() &&
      std::equal(name.begin(), name.end(), kText.begin(), [](char16_t a, char16_t b) {
        return (a >= u'A' && a <= u'Z' ? a - u'A' + u'a' : a) == b;
      });
  return isText || name.substr(0, 3) == u"__@";
}

// A file name that is safe inside a package and reads back unchanged from the RTF: no path
// separators or NUL, no surrounding spaces (the reader trims them), not "." or "..", not the
// package's own TXT.rtf or metadata names.
std::u16string safeFileName(const std::string& fileName) {
  std::u16string name = utf16FromUtf8(fileName);
  std::replace(name.begin(), name.end(), u'/', u'_');
  std::replace(name.begin(), name.end(), u'\0', u'_');
  const std::size_t first = name.find_first_not_of(u' ');
  name = first == std::u16string::npos
             ? std::u16string()
             : name.substr(first, name.find_last_not_of(u' ') + 1 - first);
  if (name.empty() || name == u"." || name == u"..") return utf16FromUtf8(kUnnamedAttachment);
  if (isReservedName(name)) return u"_" + name;
  return name;
}

// "name 2.ext" for "name.ext" and 2.
std::u16string numberedName(std::u16string_view name, int number) {
  std::size_t dot = name.rfind(u'.');
  if (dot == 0 || dot == std::u16string_view::npos) dot = name.size();
  std::u16string numbered(name.substr(0, dot));
  numbered += u' ';
  for (char c : std::to_string(number)) numbered += static_cast<char16_t>(c);
  numbered += name.substr(dot);
  return numbered;
}

class RtfWriter {
 public:
  // With inlinePictures, a picture that came from a \pict group is written as one; else every
  // attachment is a file of the package.
  RtfWriter(const AttributedText& text, const DocumentAttributes* documentAttributes,
            bool inlinePictures)
      : text_(text), documentAttributes_(documentAttributes), inlinePictures_(inlinePictures) {}

  RtfWriting write();

 private:
  void collectTables(const std::vector<AttributedText::Run>& runs);
  int fontIndex(const AttributeDictionary& attributes) const;
  int colorIndex(const AttributeDictionary& attributes, std::string_view name) const;
  WrittenFormat formatOf(const AttributeDictionary& attributes) const;

  void writeHeader();
  void writeRun(const AttributedText::Run& run);
  void closeField();
  void openField(const FieldOfText& field);
  void writeMarkup(const Markup& markup);
  void writeParagraphStyle(const ParagraphStyle& style, const std::string& words);
  void writeCharacterFormat(const WrittenFormat& format);
  void writeCharacterEffects(const WrittenFormat& format);
  void writeTabStops(const std::vector<TabStop>& tabStops);
  void writeCharacters(std::u16string_view characters, const Attachment* attachment,
                       const Markup* characterMarkup);
  void writeAttachment(const Attachment& attachment);
  void writePicture(const Attachment& attachment);
  std::u16string attachmentName(const Attachment& attachment);

  void word(std::string_view name);
  void word(std::string_view name, std::int64_t parameter);
  void raw(std::string_view text) { out_.append(text); }
  void character(char16_t c, bool escapeSemicolon = false);
  void text(std::u16string_view characters, bool escapeSemicolon = false);

  const AttributedText& text_;
  const DocumentAttributes* documentAttributes_;
  bool inlinePictures_;
  std::string out_;
  bool needsDelimiter_ = false;  // a control word was written last, so text needs a space first

  std::vector<std::string> fonts_;
  std::unordered_map<std::string, int> fontIndices_;
  std::vector<RgbColor> colors_;
  std::map<RgbColor, int> colorIndices_;

  WrittenFormat written_;
  WrittenFormat outsideField_;  // the format outside the open field's group
  FieldOfText openField_;
  std::vector<const Markup*> documentMarkup_;  // each piece once, in order
  bool atParagraphStart_ = true;

  RtfWriting result_;
  std::map<std::tuple<const std::string*, const AttachedDirectory*, std::string>, std::u16string>
      attachmentNames_;
  std::set<std::u16string> usedNames_;
  std::map<std::u16string, int> nextNumber_;
};

RtfWriting RtfWriter::write() {
  const std::vector<AttributedText::Run> runs = text_.runs();
  collectTables(runs);
  out_.reserve(text_.length() + text_.length() / 8 + runs.size() * 16 + 256);
  writeHeader();
  for (const AttributedText::Run& run : runs) writeRun(run);
  closeField();
  raw("}\n");
  result_.rtf = std::move(out_);
  return std::move(result_);
}

void RtfWriter::collectTables(const std::vector<AttributedText::Run>& runs) {
  const auto addFamily = [&](const std::string& family) {
    if (fontIndices_.emplace(family, static_cast<int>(fonts_.size())).second) {
      fonts_.push_back(family);
    }
  };
  const auto addColor = [&](const Color& color) {
    const RgbColor rgb = rgbOf(color);
    if (colorIndices_.emplace(rgb, static_cast<int>(colors_.size()) + 1).second) {
      colors_.push_back(rgb);
    }
  };
  for (const AttributedText::Run& run : runs) {
    const Font* font = run.attributes.get<Font>(kFontAttributeName);
    addFamily(font ? font->family : std::string(kDefaultFamily));
    for (std::string_view name : {kForegroundColorAttributeName, kBackgroundColorAttributeName}) {
      if (const Color* color = run.attributes.get<Color>(name)) addColor(*color);
    }
    for (std::string_view name : kMarkupAttributeNames) {
      const Markup* markup = run.attributes.get<Markup>(name);
      if (markup == nullptr) continue;
      for (const std::string& family : markup->fonts) addFamily(family);
      for (const Color& color : markup->colors) addColor(color);
    }
    const Markup* head = run.attributes.get<Markup>(kRtfDocumentMarkupAttributeName);
    if (head != nullptr && std::none_of(documentMarkup_.begin(), documentMarkup_.end(),
                                        [&](const Markup* known) { return *known == *head; })) {
      documentMarkup_.push_back(head);
    }
  }
  if (fonts_.empty()) fonts_.emplace_back(kDefaultFamily);
}

int RtfWriter::fontIndex(const AttributeDictionary& attributes) const {
  const Font* font = attributes.get<Font>(kFontAttributeName);
  return fontIndices_.at(font ? font->family : std::string(kDefaultFamily));
}

int RtfWriter::colorIndex(const AttributeDictionary& attributes, std::string_view name) const {
  const Color* color = attributes.get<Color>(name);
  return color ? colorIndices_.at(rgbOf(*color)) : 0;
}

WrittenFormat RtfWriter::formatOf(const AttributeDictionary& attributes) const {
  WrittenFormat format;
  format.font = fontIndex(attributes);
  if (const Font* font = attributes.get<Font>(kFontAttributeName)) {
    format.pointSize = font->pointSize;
    format.bold = font->bold;
    format.italic = font->italic;
  }
  format.underline = integerAttribute(attributes, kUnderlineStyleAttributeName);
  format.strikethrough =
      strikethroughOf(integerAttribute(attributes, kStrikethroughStyleAttributeName));
  const std::int64_t superscript = integerAttribute(attributes, kSuperscriptAttributeName);
  format.superscript = (superscript > 0) - (superscript < 0);
  format.baselineOffset = roundedUnits(realAttribute(attributes, kBaselineOffsetAttributeName), 2);
  format.kern = twips(realAttribute(attributes, kKernAttributeName));
  format.capitals = integerAttribute(attributes, kCapitalsAttributeName);
  format.hidden = integerAttribute(attributes, kHiddenAttributeName) != 0;
  format.foreground = colorIndex(attributes, kForegroundColorAttributeName);
  format.background = colorIndex(attributes, kBackgroundColorAttributeName);
  if (const auto* style = attributes.get<ParagraphStyle>(kParagraphStyleAttributeName)) {
    format.paragraph = *style;
  }
  if (const Markup* words = attributes.get<Markup>(kRtfParagraphMarkupAttributeName)) {
    format.paragraphWords = words->code;
  }
  return format;
}

void RtfWriter::writeHeader() {
  raw("{\\rtf1\\ansi\\ansicpg1252\\uc0\\deff0\n{\\fonttbl");
  for (std::size_t i = 0; i < fonts_.size(); ++i) {
    raw("{");
    word("f", static_cast<std::int64_t>(i));
    word("fnil");
    text(utf16FromUtf8(fonts_[i]), /*escapeSemicolon=*/true);
    raw(";}");
  }
  raw("}\n{\\colortbl;");
  for (const RgbColor& color : colors_) {
    word("red", color.red);
    word("green", color.green);
    word("blue", color.blue);
    raw(";");
  }
  raw("}\n");
  needsDelimiter_ = false;
  for (const Markup* markup : documentMarkup_) writeMarkup(*markup);
  if (!documentMarkup_.empty()) {
    raw("\n");
    needsDelimiter_ = false;
  }
  if (documentAttributes_ != nullptr) {
    const std::pair<std::string_view, const std::optional<double>*> layout[] = {
        {"paperw", &documentAttributes_->paperWidth}, {"paperh", &documentAttributes_->paperHeight},
        {"margl", &documentAttributes_->leftMargin},  {"margr", &documentAttributes_->rightMargin},
        {"margt", &documentAttributes_->topMargin},   {"margb", &documentAttributes_->bottomMargin},
    };
    for (const auto& [name, value] : layout) {
      if (value->has_value()) word(name, twips(**value));
    }
    raw("\n");
    needsDelimiter_ = false;
  }
}

void RtfWriter::writeRun(const AttributedText::Run& run) {
  const AttributeDictionary& attributes = run.attributes;
  const FieldOfText field{attributes.get<Link>(kLinkAttributeName),
                          attributes.get<Markup>(kRtfFieldAttributeName)};
  const bool fieldChanges = !(field == openField_);
  if (fieldChanges) closeField();
  // Markup before the characters stays outside the field they begin, as it was read.
  if (const Markup* before = attributes.get<Markup>(kRtfMarkupBeforeAttributeName)) {
    writeMarkup(*before);
  }
  if (fieldChanges) openField(field);
  const WrittenFormat format = formatOf(attributes);
  const Attachment* attachment = attributes.get<Attachment>(kAttachmentAttributeName);
  const Markup* characterMarkup = attributes.get<Markup>(kStructureAttributeName);
  const std::u16string_view characters =
      std::u16string_view(text_.string()).substr(run.range.location, run.range.length);
  std::size_t pos = 0;
  while (pos < characters.size()) {
    if (atParagraphStart_ || !(format.paragraph == written_.paragraph) ||
        format.paragraphWords != written_.paragraphWords) {
      writeParagraphStyle(format.paragraph, format.paragraphWords);
      atParagraphStart_ = false;
    }
    writeCharacterFormat(format);
    const std::size_t lineEnd = characters.find(u'\n', pos);
    const std::size_t end = lineEnd == std::u16string_view::npos ? characters.size() : lineEnd + 1;
    writeCharacters(characters.substr(pos, end - pos), attachment, characterMarkup);
    atParagraphStart_ = lineEnd != std::u16string_view::npos;
    pos = end;
  }
  if (const Markup* after = attributes.get<Markup>(kRtfMarkupAfterAttributeName)) {
    writeMarkup(*after);
  }
}

// The formatting inside a field's group ends with it.
void RtfWriter::closeField() {
  if (openField_ == FieldOfText{}) return;
  raw("}}");
  needsDelimiter_ = false;
  written_ = outsideField_;
  openField_ = {};
}

void RtfWriter::openField(const FieldOfText& field) {
  openField_ = field;
  if (field == FieldOfText{}) return;
  outsideField_ = written_;
  if (field.instruction != nullptr && field.link == nullptr) {
    raw("{\\field");
    writeMarkup(*field.instruction);
    raw("{\\fldrslt ");
    needsDelimiter_ = false;
    return;
  }
  const Link* link = field.link;
  raw("{\\field{\\*\\fldinst{HYPERLINK \"");
  needsDelimiter_ = false;
  // Inside the quotes, a backslash escapes the next character of the field instruction.
  std::u16string escaped;
  escaped.reserve(link->url.size());
  for (char16_t c : link->url) {
    if (c == u'"' || c == u'\\') escaped += u'\\';
    escaped += c;
  }
  text(escaped);
  raw("\"}}{\\fldrslt ");
  needsDelimiter_ = false;
}

// Writes markup with the fonts and colours numbered as the tables are.
void RtfWriter::writeMarkup(const Markup& markup) {
  const auto font = [&](int number) {
    return number >= 0 && static_cast<std::size_t>(number) < markup.fonts.size()
               ? fontIndices_.at(markup.fonts[static_cast<std::size_t>(number)])
               : 0;
  };
  const auto color = [&](int number) {
    return number > 0 && static_cast<std::size_t>(number) <= markup.colors.size()
               ? colorIndices_.at(rgbOf(markup.colors[static_cast<std::size_t>(number) - 1]))
               : 0;
  };
  raw(detail::renumberReferences(markup.code, font, color));
  needsDelimiter_ = detail::endsWithControlWord(markup.code);
}

void RtfWriter::writeParagraphStyle(const ParagraphStyle& style, const std::string& words) {
  word("pard");
  switch (style.alignment) {
    case TextAlignment::left:
      word("ql");
      break;
    case TextAlignment::right:
      word("qr");
      break;
    case TextAlignment::center:
      word("qc");
      break;
    case TextAlignment::justified:
      word("qj");
      break;
    case TextAlignment::natural:
      break;
  }
  const std::int64_t left = twips(style.headIndent);
  const std::pair<std::string_view, std::int64_t> lengths[] = {
      {"fi", twips(style.firstLineHeadIndent) - left},
      {"li", left},
      {"ri", twips(-style.tailIndent)},
      {"sb", twips(style.paragraphSpacingBefore)},
      {"sa", twips(style.paragraphSpacing)},
      {"slleading", twips(style.lineSpacing)},
  };
  for (const auto& [name, value] : lengths) {
    if (value != 0) word(name, value);
  }
  if (style.lineHeightMultiple != 0) {
    word("sl", roundedUnits(style.lineHeightMultiple, kSingleLineSpacing));
    word("slmult", 1);
  } else if (style.minimumLineHeight != 0) {
    const std::int64_t minimum = twips(style.minimumLineHeight);
    word("sl", style.maximumLineHeight == style.minimumLineHeight ? -minimum : minimum);
    word("slmult", 0);
  }
  writeTabStops(style.tabStops);
  if (style.baseWritingDirection == WritingDirection::rightToLeft) word("rtlpar");
  if (style.baseWritingDirection == WritingDirection::leftToRight) word("ltrpar");
  if (style.headerLevel > 0) word("outlinelevel", style.headerLevel - 1);
  if (style.keepWithNext) word("keepn");
  if (style.keepTogether) word("keep");
  if (!words.empty()) {
    raw(words);
    needsDelimiter_ = true;
  }
  written_.paragraph = style;
  written_.paragraphWords = words;
}

void RtfWriter::writeTabStops(const std::vector<TabStop>& tabStops) {
  for (const TabStop& tab : tabStops) {
    if (const std::string_view alignment = tabAlignmentWord(tab.alignment); !alignment.empty()) {
      word(alignment);
    }
    if (const std::string_view leader = tabLeaderWord(tab.leader); !leader.empty()) word(leader);
    word(tab.alignment == TabAlignment::bar ? "tb" : "tx", twips(tab.location));
  }
}

void RtfWriter::writeCharacterFormat(const WrittenFormat& format) {
  if (format.font != written_.font) word("f", format.font);
  if (format.pointSize != written_.pointSize) {
    const double halfPoints = format.pointSize * 2;
    word("fs", roundedUnits(format.pointSize, 2));
    if (halfPoints != std::round(halfPoints)) word("fsmilli", roundedUnits(format.pointSize, 1000));
  }
  if (format.bold != written_.bold) word(format.bold ? "b" : "b0");
  if (format.italic != written_.italic) word(format.italic ? "i" : "i0");
  if (format.underline != written_.underline) {
    word(format.underline != 0 ? detail::underlineWordOfStyle(format.underline) : "ulnone");
  }
  writeCharacterEffects(format);
  if (format.foreground != written_.foreground) word("cf", format.foreground);
  if (format.background != written_.background) {
    // \chcbpat for word processors, \cb for the others; the reader takes either.
    word("cb", format.background);
    word("chcbpat", format.background);
  }
  ParagraphStyle paragraph = std::move(written_.paragraph);
  std::string paragraphWords = std::move(written_.paragraphWords);
  written_ = format;
  written_.paragraph = std::move(paragraph);
  written_.paragraphWords = std::move(paragraphWords);
}

// The words of the effects that word processors state and that are off unless stated.
void RtfWriter::writeCharacterEffects(const WrittenFormat& format) {
  if (format.strikethrough != written_.strikethrough) {
    if (written_.strikethrough == kUnderlineStyleDouble) word("striked", 0);
    if (written_.strikethrough == kUnderlineStyleSingle) word("strike", 0);
    if (format.strikethrough == kUnderlineStyleDouble) word("striked", 1);
    if (format.strikethrough == kUnderlineStyleSingle) word("strike");
  }
  if (format.superscript != written_.superscript) {
    word(format.superscript > 0 ? "super" : format.superscript < 0 ? "sub" : "nosupersub");
  }
  if (format.baselineOffset != written_.baselineOffset) {
    if (format.baselineOffset < 0) {
      word("dn", -format.baselineOffset);
    } else {
      word("up", format.baselineOffset);
    }
  }
  if (format.kern != written_.kern) word("expndtw", format.kern);
  if (format.capitals != written_.capitals) {
    if (written_.capitals == kAllCapitals) word("caps", 0);
    if (written_.capitals == kSmallCapitals) word("scaps", 0);
    if (format.capitals == kAllCapitals) word("caps");
    if (format.capitals == kSmallCapitals) word("scaps");
  }
  if (format.hidden != written_.hidden) word(format.hidden ? "v" : "v0");
}

void RtfWriter::writeCharacters(std::u16string_view characters, const Attachment* attachment,
                                const Markup* characterMarkup) {
  // The word that ended a table's cell or row, while the character it reads as is still there.
  const char16_t markedCharacter = characterMarkup != nullptr && characterMarkup->code.size() > 1
                                       ? detail::characterOfWord(detail::lookUpWord(
                                             std::string_view(characterMarkup->code).substr(1)))
                                       : u'\0';
  for (char16_t c : characters) {
    if (attachment != nullptr && c == kAttachmentCharacter) {
      writeAttachment(*attachment);
    } else if (markedCharacter != u'\0' && c == markedCharacter) {
      writeMarkup(*characterMarkup);
      if (c == u'\n') {
        raw("\n");
        needsDelimiter_ = false;
      }
    } else {
      character(c);
    }
  }
}

void RtfWriter::writeAttachment(const Attachment& attachment) {
  if (inlinePictures_ && attachment.format != PictureFormat::none) {
    writePicture(attachment);
    return;
  }
  const std::u16string name = attachmentName(attachment);
  // The size as read, else the picture's desired size, else a PNG's pixels as points.
  const AttachmentSize& size = attachment.size;
  const auto stated = [](std::optional<std::int32_t> length, std::optional<std::int32_t> goal,
                         std::optional<std::int32_t> scale) -> std::optional<std::int64_t> {
    if (length) return *length;
    if (goal) return std::int64_t{*goal} * scale.value_or(100) / 100;
    return std::nullopt;
  };
  std::optional<std::int64_t> width = stated(size.width, size.goalWidth, size.scaleX);
  std::optional<std::int64_t> height = stated(size.height, size.goalHeight, size.scaleY);
  if (attachment.contents && (!width || !height)) {
    if (auto pixels = pngSize(*attachment.contents)) {
      if (!width) width = roundedUnits(pixels->first, kTwipsPerPoint);
      if (!height) height = roundedUnits(pixels->second, kTwipsPerPoint);
    }
  }
  raw("{{");
  word("NeXTGraphic");
  text(name);
  raw(" ");
  word("width", width.value_or(0));
  word("height", height.value_or(0));
  raw("}\\'ac}");
  needsDelimiter_ = false;
}

// A picture group: its format, the sizes it was read with, and its bytes in hexadecimal lines.
void RtfWriter::writePicture(const Attachment& attachment) {
  const auto [formatWord, numbered] = *detail::pictureFormatWord(attachment.format);
  raw("{");
  word("pict");
  if (numbered) {
    word(formatWord, attachment.formatParameter);
  } else {
    word(formatWord);
  }
  const AttachmentSize& size = attachment.size;
  const std::pair<std::string_view, const std::optional<std::int32_t>*> sizes[] = {
      {"picw", &size.pictureWidth},         {"pich", &size.pictureHeight},
      {"picwgoal", &size.goalWidth},        {"pichgoal", &size.goalHeight},
      {"picscalex", &size.scaleX},          {"picscaley", &size.scaleY},
      {"wbmbitspixel", &size.bitsPerPixel}, {"wbmplanes", &size.planes},
      {"wbmwidthbytes", &size.bytesPerRow},
  };
  for (const auto& [name, value] : sizes) {
    if (value->has_value()) word(name, **value);
  }
  constexpr std::string_view kHexDigits = "0123456789abcdef";
  constexpr std::size_t kBytesPerLine = 64;
  const std::string_view bytes =
      attachment.contents ? std::string_view(*attachment.contents) : std::string_view();
  out_.reserve(out_.size() + bytes.size() * 2 + bytes.size() / kBytesPerLine + 2);
  for (std::size_t i = 0; i < bytes.size(); ++i) {
    if (i % kBytesPerLine == 0) out_ += '\n';
    const auto byte = static_cast<unsigned char>(bytes[i]);
    out_ += kHexDigits[byte >> 4];
    out_ += kHexDigits[byte & 0xF];
  }
  raw("}");
  needsDelimiter_ = false;
}

// The file name of an attachment in the package, unique among the attachments written; the same
// attachment written twice keeps its name and file.
std::u16string RtfWriter::attachmentName(const Attachment& attachment) {
  const auto key =
      std::make_tuple(attachment.contents.get(), attachment.directory.get(), attachment.fileName);
  auto known = attachmentNames_.find(key);
  if (known != attachmentNames_.end()) return known->second;
  const std::u16string base = safeFileName(attachment.fileName);
  std::u16string name = base;
  if (usedNames_.count(name) != 0) {
    int& number = nextNumber_.try_emplace(base, 2).first->second;
    do {
      name = numberedName(base, number++);
    } while (usedNames_.count(name) != 0);
  }
  usedNames_.insert(name);
  attachmentNames_.emplace(key, name);
  if (attachment.directory) {
    result_.directories.emplace(encodeUtf8(name), attachment.directory);
  } else {
    result_.attachments.emplace(encodeUtf8(name), attachment.contents
                                                      ? attachment.contents
                                                      : std::make_shared<const std::string>());
  }
  return name;
}

void RtfWriter::word(std::string_view name) {
  out_ += '\\';
  out_.append(name);
  needsDelimiter_ = true;
}

void RtfWriter::word(std::string_view name, std::int64_t parameter) {
  word(name);
  char digits[24];
  const auto end = std::to_chars(digits, digits + sizeof digits, parameter).ptr;
  out_.append(digits, end);
}

void RtfWriter::character(char16_t c, bool escapeSemicolon) {
  if (c >= 0x20 && c < 0x7F && !(escapeSemicolon && c == u';')) {
    if (c == u'\\' || c == u'{' || c == u'}') {
      out_ += '\\';
    } else if (needsDelimiter_) {
      out_ += ' ';
    }
    out_ += static_cast<char>(c);
    needsDelimiter_ = false;
    return;
  }
  switch (c) {
    case u'\n':
      raw("\\par\n");
      needsDelimiter_ = false;
      return;
    case u'\u2028':
      word("line");
      return;
    case u'\t':
      word("tab");
      return;
    case u'\f':
      word("page");
      return;
    default:
      // Signed, as RTF numbers are 16-bit; every reader takes that form.
      word("u", c > 0x7FFF ? static_cast<std::int64_t>(c) - 0x10000 : c);
      return;
  }
}

void RtfWriter::text(std::u16string_view characters, bool escapeSemicolon) {
  for (char16_t c : characters) character(c, escapeSemicolon);
}

}  // namespace

RtfWriting writeRtfWithAttachments(const AttributedText& text,
                                   const DocumentAttributes* documentAttributes) {
  return RtfWriter(text, documentAttributes, /*inlinePictures=*/false).write();
}

std::string writeRtf(const AttributedText& text, const DocumentAttributes* documentAttributes) {
  return RtfWriter(text, documentAttributes, /*inlinePictures=*/true).write().rtf;
}

}  // namespace textrix
