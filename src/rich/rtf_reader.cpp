// SPDX-License-Identifier: MIT
// The RTF reader: one iterative pass over the bytes with a stack of group states.
//
// Text is gathered into the pending run until the character formatting changes, then appended to
// the result as one run. Bytes written as \'xx (or raw 8-bit bytes) are collected and decoded in
// one conversion when something other than another byte comes, through a converter per code page
// that the reader keeps for the whole document.

#include "rich/rtf_reader.h"

#include <algorithm>
#include <cstdint>
#include <limits>
#include <string>
#include <string_view>
#include <utility>

#include "text/encodings.h"

namespace textrix {
namespace detail {
namespace {

// Far deeper than any writer nests, and shallow enough that the stack stays small.
constexpr std::size_t kMaxDepth = 10000;
constexpr double kSingleLineSpacing = 240.0;  // \sl with \slmult1: 240 is one line

// The words that make a paragraph a list item or a table cell, which travel as markup.
std::string paragraphWords(const ParagraphState& state) {
  std::string words;
  if (state.inTable) words += "\\intbl";
  if (state.tableDepth > 0) (words += "\\itap") += std::to_string(state.tableDepth);
  // A level means something only in a list; outline numbering states it for headings too.
  if (state.list >= 0) {
    (words += "\\ls") += std::to_string(state.list);
    if (state.listLevel >= 0) (words += "\\ilvl") += std::to_string(state.listLevel);
  }
  return words;
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

// value held to the range of int, so that an overlong parameter saturates instead of wrapping.
int clampToInt(std::int64_t value) {
  return static_cast<int>(std::clamp<std::int64_t>(value, std::numeric_limits<int>::min(),
                                                   std::numeric_limits<int>::max()));
}

// Longer than every word the reader knows; a longer name is not looked up at all.
constexpr std::size_t kMaxWordLength = 32;
// Enough digits for any int; more are read but ignored, so the value cannot overflow.
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

// The opaque colour of a colour table entry's components, each 0 to 255.
Color colorOf(int red, int green, int blue) {
  return Color{red / 255.0, green / 255.0, blue / 255.0, 1.0};
}

// The paragraph style of the paragraph properties as written, from twips to points.
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
  style.tabStops.reserve(state.tabStops.size());
  for (const TabStopState& tab : state.tabStops) {
    style.tabStops.push_back({tab.position / kTwipsPerPoint, tab.alignment, tab.leader});
  }
  style.baseWritingDirection = state.direction;
  style.headerLevel = state.outlineLevel + 1;
  style.keepWithNext = state.keepWithNext;
  style.keepTogether = state.keepTogether;
  return style;
}

// The attributes of the character formatting that RTF states and the services only carry.
void addCharacterEffects(const CharacterState& state, AttributeDictionary& attributes) {
  if (state.underline != 0) attributes.setObject(state.underline, kUnderlineStyleAttributeName);
  if (state.strike || state.doubleStrike) {
    attributes.setObject(state.doubleStrike ? kUnderlineStyleDouble : kUnderlineStyleSingle,
                         kStrikethroughStyleAttributeName);
  }
  if (state.superscript != 0) {
    attributes.setObject(std::int64_t{state.superscript}, kSuperscriptAttributeName);
  }
  if (state.baselineOffset != 0) {
    attributes.setObject(state.baselineOffset / 2.0, kBaselineOffsetAttributeName);
  }
  if (state.kern != 0) attributes.setObject(state.kern / kTwipsPerPoint, kKernAttributeName);
  if (state.allCaps || state.smallCaps) {
    attributes.setObject(std::int64_t{state.allCaps ? kAllCapitals : kSmallCapitals},
                         kCapitalsAttributeName);
  }
  if (state.hidden) attributes.setObject(std::int64_t{1}, kHiddenAttributeName);
}

}  // namespace

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
  finishMarkup();
  reading.text = std::move(text_);
  reading.documentAttributes = documentAttributes_;
  return reading;
}

void RtfReader::fail(RichTextErrorKind kind, std::size_t offset) {
  error_ = {kind, offset};
}

void RtfReader::openGroup() {
  flushBytes();
  endRowDefinition(pos_);
  fallbackToSkip_ = 0;
  if (groups_.size() >= kMaxDepth) {
    fail(RichTextErrorKind::tooDeep, pos_);
    return;
  }
  GroupState inner = groups_.empty() ? GroupState{} : group();
  inner.ownsDestination = false;
  inner.ownsField = false;
  inner.ignorable = false;
  inner.start = pos_;
  inner.unitsAtStart = unitsRead();
  inner.markupAtStart = pendingMarkup_.size();
  inner.headMarkupAtStart = headMarkup_.size();
  ++pos_;
  groups_.push_back(inner);
}

void RtfReader::closeGroup() {
  flushBytes();
  endRowDefinition(pos_);
  fallbackToSkip_ = 0;
  ++pos_;
  if (group().destination == Destination::fontTable) finishFontEntry();
  const GroupState closed = group();
  groups_.pop_back();
  formatChanged_ = true;
  if (groups_.empty()) return;
  if (closed.ownsDestination) endDestination(closed);
  if (closed.ownsField) endField(closed);
}

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
  endRowDefinition(pos_);
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
  wordStart_ = pos_;
  const ControlWord control = parseControlWord(rtf_, pos_ + 1);
  pos_ = control.end;
  flushBytes();
  const Word word = lookUpWord(control.name);
  if (word != Word::unknown) endRowDefinition(wordStart_);
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

void RtfReader::readBinary(const ControlWord& control) {
  const std::size_t length = std::min<std::size_t>(
      control.parameter > 0 ? static_cast<std::size_t>(control.parameter) : 0, rtf_.size() - pos_);
  if (!skipsFallback() && group().destination == Destination::picture) {
    picture_.append(rtf_.substr(pos_, length));
  }
  pos_ += length;
}

void RtfReader::beginDestination(Destination destination) {
  group().destination = destination;
  group().ownsDestination = true;
  group().destinationStart = wordStart_;
}

void RtfReader::readPlainBytes() {
  endRowDefinition(pos_);
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

int RtfReader::currentCodePage() const {
  const GroupState& state = groups_.back();
  int font = state.format.font >= 0 ? state.format.font : defaultFont_;
  if (state.destination == Destination::fontTable) font = fontEntry_;
  auto found = fonts_.find(font);
  return found != fonts_.end() && found->second.codePage != 0 ? found->second.codePage : codePage_;
}

std::u16string* RtfReader::textTarget() {
  switch (group().destination) {
    case Destination::text:
      updateAttributes();
      if (!pendingMarkup_.empty()) placePendingMarkup();
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
  addCharacterEffects(state, attributes);
  if (state.field >= 0) {
    const Field& field = fields_[static_cast<std::size_t>(state.field)];
    if (field.url) {
      attributes.setObject(Link{*field.url}, kLinkAttributeName);
    } else if (field.markup) {
      attributes.setObject(*field.markup, kRtfFieldAttributeName);
    }
  }
  const ParagraphStyle paragraph = paragraphStyleOf(state.paragraph);
  if (!(paragraph == ParagraphStyle{})) {
    attributes.setObject(paragraph, kParagraphStyleAttributeName);
  }
  if (std::string words = paragraphWords(state.paragraph); !words.empty()) {
    attributes.setObject(Markup{.code = std::move(words)}, kRtfParagraphMarkupAttributeName);
  }
  return attributes;
}

void RtfReader::flushText() {
  if (pendingText_.empty()) return;
  std::size_t marked = 0;
  if (!markupBefore_.empty()) {
    // The markup goes on the whole first character, both halves of a surrogate pair.
    marked = pendingText_.size() > 1 && (pendingText_[0] & 0xFC00) == 0xD800 &&
                     (pendingText_[1] & 0xFC00) == 0xDC00
                 ? 2
                 : 1;
    AttributeDictionary attributes = pendingAttributes_;
    attributes.setObject(markupOf(markupBefore_, markupBeforePosition_),
                         kRtfMarkupBeforeAttributeName);
    text_.appendString(std::u16string_view(pendingText_).substr(0, marked), attributes);
    markupBefore_.clear();
  }
  if (marked < pendingText_.size()) {
    text_.appendString(std::u16string_view(pendingText_).substr(marked), pendingAttributes_);
  }
  pendingText_.clear();
}

void RtfReader::setFontCodePage(int codePage) {
  fonts_[fontEntry_].codePage = codePage;
  doubleByteCodePageSeen_ |= isDoubleByteCodePage(codePage);
}

void RtfReader::finishFontEntry() {
  if (fontEntry_ < 0) return;
  flushBytes();
  // A name holds no line break: the \par that a line break would be written as ends none.
  std::erase(fontName_, u'\n');
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

}  // namespace detail

RichTextReading readRtf(std::string_view rtf, const AttachmentFiles* attachments,
                        const AttachmentDirectories* directories) {
  return detail::RtfReader(rtf, attachments, directories).read();
}

}  // namespace textrix
