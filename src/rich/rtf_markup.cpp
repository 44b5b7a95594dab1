// SPDX-License-Identifier: MIT
// What the reader keeps as markup, and the renumbering of the fonts and colours that markup names,
// in one pass over its bytes.
//
// A group the text model has no place for (a footnote, a header, a bookmark, a list item's literal
// number) is kept byte for byte, to be written before the character that follows it; so are a
// table row's layout and a number the word processor puts in. A group that holds such a number
// and no text is kept whole, with the formatting it gives the number. A field without result
// characters is kept whole too, as nothing else would bring it back.

#include "rich/rtf_markup.h"

#include <algorithm>
#include <charconv>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>

#include "rich/rtf.h"
#include "rich/rtf_reader.h"

namespace textrix::detail {
namespace {

enum class Reference { none, font, color };

// What the number of the word names: a font, a colour or neither.
Reference referenceOf(std::string_view name) {
  static constexpr std::string_view kFontWords[] = {"f", "af"};
  static constexpr std::string_view kColorWords[] = {
      "cf",      "cb",      "chcbpat", "chcfpat",     "highlight",  "ulc",
      "cbpat",   "cfpat",   "clcbpat", "clcfpat",     "clcbpatraw", "clcfpatraw",
      "trcbpat", "trcfpat", "brdrcf",  "tscellcbpat", "tscellcfpat"};
  if (std::find(std::begin(kFontWords), std::end(kFontWords), name) != std::end(kFontWords)) {
    return Reference::font;
  }
  if (std::find(std::begin(kColorWords), std::end(kColorWords), name) != std::end(kColorWords)) {
    return Reference::color;
  }
  return Reference::none;
}

// One control word at pos (its backslash): its name, its number's bounds, where it ends.
struct WordBounds {
  std::string_view name;
  std::size_t numberStart = 0;
  std::size_t numberEnd = 0;
  int number = 0;
};

WordBounds boundsOfWord(std::string_view code, std::size_t pos) {
  WordBounds word;
  std::size_t end = pos + 1;
  while (end < code.size() && isAsciiLetter(code[end])) ++end;
  word.name = code.substr(pos + 1, end - pos - 1);
  word.numberStart = end;
  if (end + 1 < code.size() && code[end] == '-' && isDigit(code[end + 1])) ++end;
  while (end < code.size() && isDigit(code[end])) ++end;
  word.numberEnd = end;
  std::from_chars(code.data() + word.numberStart, code.data() + end, word.number);
  return word;
}

}  // namespace

std::string renumberReferences(std::string_view code, const std::function<int(int)>& font,
                               const std::function<int(int)>& color) {
  std::string out;
  out.reserve(code.size() + 16);
  std::size_t pos = 0;
  while (pos < code.size()) {
    const std::size_t backslash = code.find('\\', pos);
    if (backslash == std::string_view::npos || backslash + 1 >= code.size()) {
      out.append(code.substr(pos));
      break;
    }
    if (!isAsciiLetter(code[backslash + 1])) {
      // A control symbol, \'xx among them, holds no number to change.
      const std::size_t end = std::min(code.size(), backslash + 2);
      out.append(code.substr(pos, end - pos));
      pos = end;
      continue;
    }
    const WordBounds word = boundsOfWord(code, backslash);
    std::size_t end = word.numberEnd;
    const Reference reference = referenceOf(word.name);
    if (reference == Reference::none || word.numberEnd == word.numberStart) {
      if (word.name == "bin") {
        // \binN is followed by a space and N raw bytes, which may hold anything.
        if (end < code.size() && code[end] == ' ') ++end;
        end += static_cast<std::size_t>(
            std::clamp<std::int64_t>(word.number, 0, static_cast<std::int64_t>(code.size() - end)));
      }
      out.append(code.substr(pos, end - pos));
      pos = end;
      continue;
    }
    out.append(code.substr(pos, word.numberStart - pos));
    const int number = reference == Reference::font ? font(word.number) : color(word.number);
    char digits[16];
    out.append(digits, std::to_chars(digits, digits + sizeof digits, number).ptr);
    pos = end;
  }
  return out;
}

std::string withUnicodeSkip(std::string_view group, int unicodeSkip) {
  const bool holdsUnicode = [&] {
    for (std::size_t at = group.find("\\u"); at != std::string_view::npos;
         at = group.find("\\u", at + 2)) {
      if (at + 2 < group.size() && (isDigit(group[at + 2]) || group[at + 2] == '-')) return true;
    }
    return false;
  }();
  if (unicodeSkip == 0 || !holdsUnicode || group.size() < 2 || group[0] != '{') {
    return std::string(group);
  }
  std::size_t pos = 1;
  if (group.substr(pos, 2) == "\\*") pos += 2;
  if (pos < group.size() && group[pos] == '\\' && pos + 1 < group.size() &&
      isAsciiLetter(group[pos + 1])) {
    pos = boundsOfWord(group, pos).numberEnd;
  }
  std::string out(group.substr(0, pos));
  out += "\\uc";
  out += std::to_string(unicodeSkip);
  out += ' ';
  // The first word's delimiting space, if any, now follows \ucN's own.
  std::size_t rest = pos;
  if (rest < group.size() && group[rest] == ' ') ++rest;
  out.append(group.substr(rest));
  return out;
}

bool endsWithControlWord(std::string_view code) {
  const std::size_t last = code.find_last_of("\\{} \r\n");
  if (last == std::string_view::npos || code[last] != '\\' || last + 1 == code.size()) return false;
  return isAsciiLetter(code[last + 1]);
}

bool RtfReader::applyMarkupWord(Word word, const ControlWord& control) {
  if (group().destination != Destination::text) return false;
  switch (word) {
    case Word::cell:
    case Word::row:
    case Word::nestcell:
    case Word::nestrow: {
      const bool endsCell = word == Word::cell || word == Word::nestcell;
      appendCharacterWith(endsCell ? u'\t' : u'\n', kStructureAttributeName,
                          Markup{.code = "\\" + std::string(control.name)});
      return true;
    }
    case Word::generatedCharacter:
      if (groups_.size() > 1 && unitsRead() == group().unitsAtStart) {
        captureGroup(word);
      } else {
        addMarkup(rtf_.substr(wordStart_, control.end - wordStart_), wordStart_, false);
      }
      return true;
    case Word::trowd:
      rowDefinitionStart_ = wordStart_;
      return true;
    default:
      return false;
  }
}

void RtfReader::captureGroup(Word kind) {
  if (groups_.size() < 2) {
    // The document's own group is never markup: its text is the document.
    skipGroup();
    return;
  }
  const GroupState captured = group();
  const std::size_t destinationStart = wordStart_;
  skipGroup();
  if (error_.kind != RichTextErrorKind::none) return;
  if (unitsRead() == captured.unitsAtStart) {
    // What was kept from inside the group comes again with the group's own bytes.
    pendingMarkup_.resize(std::min(pendingMarkup_.size(), captured.markupAtStart));
    headMarkup_.resize(std::min(headMarkup_.size(), captured.headMarkupAtStart));
  }
  if (group().destination != Destination::text) return;
  // The count in effect where the group opened, the enclosing group's: one the group states
  // itself is among its bytes.
  const bool head =
      kind == Word::documentMarkup || (kind == Word::sectionMarkup && unitsRead() == 0);
  addMarkup(withUnicodeSkip(closedGroupBytes(captured, destinationStart), group().unicodeSkip),
            captured.start, head);
}

std::string RtfReader::closedGroupBytes(const GroupState& closed,
                                        std::size_t destinationStart) const {
  if (unitsRead() == closed.unitsAtStart) {
    return std::string(rtf_.substr(closed.start, pos_ - closed.start));
  }
  return "{" + std::string(rtf_.substr(destinationStart, pos_ - destinationStart));
}

void RtfReader::addMarkup(std::string_view code, std::size_t position, bool head) {
  // A control word's delimiting space is not kept: the writer puts one back where text follows.
  if (code.ends_with(' ') && endsWithControlWord(code.substr(0, code.size() - 1))) {
    code.remove_suffix(1);
  }
  if (head) {
    headMarkup_.append(code);
    return;
  }
  if (pendingMarkup_.empty()) pendingMarkupPosition_ = position;
  pendingMarkup_.append(code);
}

void RtfReader::endRowDefinition(std::size_t end) {
  if (!rowDefinitionStart_) return;
  const std::size_t start = *std::exchange(rowDefinitionStart_, std::nullopt);
  if (group().destination == Destination::text) {
    addMarkup(rtf_.substr(start, end - start), start, false);
  }
}

void RtfReader::endField(const GroupState& closed) {
  if (unitsRead() != closed.unitsAtStart) return;
  pendingMarkup_.resize(std::min(pendingMarkup_.size(), closed.markupAtStart));
  headMarkup_.resize(std::min(headMarkup_.size(), closed.headMarkupAtStart));
  if (group().destination != Destination::text) return;
  addMarkup(withUnicodeSkip(rtf_.substr(closed.start, pos_ - closed.start), group().unicodeSkip),
            closed.start, false);
}

Markup RtfReader::markupOf(std::string_view code, std::size_t position) const {
  Markup markup{.position = position};
  const auto fontNumber = [&](int number) {
    auto entry = fonts_.find(number);
    if (entry == fonts_.end()) entry = fonts_.find(defaultFont_);
    const std::string family = entry != fonts_.end() ? entry->second.family : std::string();
    const auto known = std::find(markup.fonts.begin(), markup.fonts.end(), family);
    if (known != markup.fonts.end()) return static_cast<int>(known - markup.fonts.begin());
    markup.fonts.push_back(family);
    return static_cast<int>(markup.fonts.size()) - 1;
  };
  const auto colorNumber = [&](int number) {
    if (number <= 0 || static_cast<std::size_t>(number) >= colors_.size()) return 0;
    const std::optional<Color>& color = colors_[static_cast<std::size_t>(number)];
    if (!color) return 0;
    const auto known = std::find(markup.colors.begin(), markup.colors.end(), *color);
    if (known != markup.colors.end()) return static_cast<int>(known - markup.colors.begin()) + 1;
    markup.colors.push_back(*color);
    return static_cast<int>(markup.colors.size());
  };
  markup.code = renumberReferences(code, fontNumber, colorNumber);
  return markup;
}

void RtfReader::placePendingMarkup() {
  flushText();
  if (markupBefore_.empty()) markupBeforePosition_ = pendingMarkupPosition_;
  markupBefore_.append(pendingMarkup_);
  pendingMarkup_.clear();
}

void RtfReader::takePendingMarkup(AttributeDictionary& attributes) {
  if (pendingMarkup_.empty()) return;
  attributes.setObject(markupOf(pendingMarkup_, pendingMarkupPosition_),
                       kRtfMarkupBeforeAttributeName);
  pendingMarkup_.clear();
}

void RtfReader::appendCharacterWith(char16_t c, std::string_view name, AttributeValue value) {
  if (group().destination != Destination::text) return;
  updateAttributes();
  flushText();
  AttributeDictionary attributes = pendingAttributes_;
  attributes.setObject(std::move(value), name);
  takePendingMarkup(attributes);
  text_.appendString(std::u16string_view(&c, 1), attributes);
}

void RtfReader::finishMarkup() {
  endRowDefinition(rtf_.size());
  if (text_.empty()) return;
  std::string after = std::move(markupBefore_);
  const std::size_t afterPosition = after.empty() ? pendingMarkupPosition_ : markupBeforePosition_;
  after += pendingMarkup_;
  if (!after.empty()) {
    const std::u16string& units = text_.string();
    const std::size_t last = units.size() > 1 && (units.back() & 0xFC00) == 0xDC00 &&
                                     (units[units.size() - 2] & 0xFC00) == 0xD800
                                 ? units.size() - 2
                                 : units.size() - 1;
    text_.setAttribute(markupOf(after, afterPosition), kRtfMarkupAfterAttributeName,
                       {last, units.size() - last});
  }
  if (!headMarkup_.empty()) {
    text_.setAttribute(markupOf(headMarkup_, 0), kRtfDocumentMarkupAttributeName,
                       {0, text_.length()});
  }
}

}  // namespace textrix::detail
