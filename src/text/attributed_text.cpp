// SPDX-License-Identifier: MIT
#include "text/attributed_text.h"

#include <algorithm>
#include <array>
#include <iterator>
#include <stdexcept>
#include <utility>

#include "text/charsets.h"
#include "text/lines.h"
#include "text/search.h"

namespace textrix {
namespace {

const AttributeDictionary kNoAttributes;

// An index or range outside the text is the caller's error; it is refused before anything changes.
void checkIndex(std::size_t index, std::size_t length) {
  if (index >= length) throw std::out_of_range("AttributedText: index outside the text");
}

void checkRange(Range range, std::size_t length) {
  if (range.location > length || range.length > length - range.location) {
    throw std::out_of_range("AttributedText: range outside the text");
  }
}

}  // namespace

AttributedText::AttributedText(std::u16string_view string, AttributeDictionary attributes)
    : chars_(string) {
  if (!chars_.empty()) runs_.push_back({0, attributes.interned()});
}

std::size_t AttributedText::runIndexAt(std::size_t index) const {
  auto after = std::upper_bound(runs_.begin(), runs_.end(), index,
                                [](std::size_t i, const RunStart& run) { return i < run.start; });
  return static_cast<std::size_t>(after - runs_.begin()) - 1;
}

std::size_t AttributedText::runEnd(std::size_t runIndex) const {
  return runIndex + 1 < runs_.size() ? runs_[runIndex + 1].start : chars_.size();
}

const AttributeDictionary& AttributedText::attributesAtIndex(std::size_t index) const {
  checkIndex(index, length());
  return runs_[runIndexAt(index)].attributes;
}

AttributeDictionary AttributedText::attributesAtIndex(std::size_t index,
                                                      Range* longestEffectiveRange,
                                                      Range inRange) const {
  checkIndex(index, length());
  inRange = inRange.clippedTo(length());
  if (longestEffectiveRange && (index < inRange.location || index >= inRange.end())) {
    throw std::out_of_range("AttributedText: index outside the range asked about");
  }
  const std::size_t run = runIndexAt(index);
  const AttributeDictionary& attributes = runs_[run].attributes;
  if (longestEffectiveRange) {
    // Inside a batch neighbours may carry equal attributes; they count as one run.
    std::size_t first = run;
    while (first > 0 && runs_[first].start > inRange.location &&
           runs_[first - 1].attributes == attributes) {
      --first;
    }
    std::size_t last = run;
    while (last + 1 < runs_.size() && runEnd(last) < inRange.end() &&
           runs_[last + 1].attributes == attributes) {
      ++last;
    }
    const std::size_t start = std::max(runs_[first].start, inRange.location);
    const std::size_t end = std::min(runEnd(last), inRange.end());
    *longestEffectiveRange = Range{start, end > start ? end - start : 0};
  }
  return attributes;
}

bool AttributedText::containsAttachments() const {
  return std::any_of(runs_.begin(), runs_.end(), [](const RunStart& run) {
    return run.attributes.find(kAttachmentAttributeName) != nullptr;
  });
}

std::vector<AttributedText::Run> AttributedText::runs() const {
  std::vector<Run> result;
  for (std::size_t i = 0; i < runs_.size(); ++i) {
    const Range range{runs_[i].start, runEnd(i) - runs_[i].start};
    if (!result.empty() && result.back().attributes == runs_[i].attributes) {
      result.back().range.length += range.length;
    } else {
      result.push_back({range, runs_[i].attributes});
    }
  }
  return result;
}

AttributedText AttributedText::attributedSubstringFromRange(Range range) const {
  AttributedText result;
  const std::size_t end = range.clippedTo(chars_.size()).end();
  if (range.location >= end) return result;
  result.chars_.reserve(end - range.location);
  for (std::size_t run = runIndexAt(range.location), position = range.location; position < end;
       ++run) {
    const std::size_t until = std::min(runEnd(run), end);
    result.appendRun(std::u16string_view(chars_).substr(position, until - position),
                     runs_[run].attributes);
    position = until;
  }
  return result;
}

bool AttributedText::operator==(const AttributedText& other) const {
  if (chars_ != other.chars_) return false;
  const std::vector<Run> mine = runs();
  const std::vector<Run> theirs = other.runs();
  return std::equal(mine.begin(), mine.end(), theirs.begin(), theirs.end(),
                    [](const Run& a, const Run& b) {
                      return a.range == b.range && a.attributes == b.attributes;
                    });
}

void AttributedText::beginEditing() {
  ++editingDepth_;
}

void AttributedText::endEditing() {
  if (editingDepth_ == 0 || --editingDepth_ > 0) return;
  consolidateRuns(0, runs_.size());
}

// Merges equal neighbours among runs first to last (exclusive) and their outer neighbours, unless
// a batch is open, which consolidates at its end.
void AttributedText::consolidateRuns(std::size_t first, std::size_t last) {
  if (editingDepth_ > 0) return;
  first = first > 0 ? first - 1 : 0;
  last = std::min(last + 1, runs_.size());
  if (first >= last) return;
  std::size_t kept = first;
  for (std::size_t i = first + 1; i < last; ++i) {
    if (runs_[i].attributes == runs_[kept].attributes) continue;
    if (++kept != i) runs_[kept] = std::move(runs_[i]);
  }
  runs_.erase(runs_.begin() + static_cast<std::ptrdiff_t>(kept + 1),
              runs_.begin() + static_cast<std::ptrdiff_t>(last));
}

const AttributeDictionary& AttributedText::attributesForEdit(Range range) const {
  if (range.length > 0) return attributesAtIndex(range.location);
  if (range.location > 0) return attributesAtIndex(range.location - 1);
  return chars_.empty() ? kNoAttributes : attributesAtIndex(0);
}

void AttributedText::appendRun(std::u16string_view characters,
                               const AttributeDictionary& attributes) {
  if (characters.empty()) return;
  if (runs_.empty() || !(runs_.back().attributes == attributes)) {
    runs_.push_back({chars_.size(), attributes.interned()});
  }
  chars_.append(characters);
}

// Replaces the runs of the replaced range (before the characters change) with inserted, whose
// starts are relative to the range and which cover insertedLength units; the runs cut by the
// range keep their parts outside it and the runs after it move by the change in length.
void AttributedText::spliceRuns(Range replaced, std::size_t insertedLength,
                                std::vector<RunStart> inserted) {
  const std::size_t start = replaced.location;
  const std::size_t end = replaced.end();
  const std::size_t first = start < chars_.size() ? runIndexAt(start) : runs_.size();
  const std::size_t tail = end < chars_.size() ? runIndexAt(end) : runs_.size();

  std::vector<RunStart> middle;
  middle.reserve(inserted.size() + 2);
  if (first < runs_.size() && runs_[first].start < start) middle.push_back(runs_[first]);
  for (RunStart& run : inserted) middle.push_back({start + run.start, std::move(run.attributes)});
  std::size_t replacedEnd = tail;
  if (tail < runs_.size()) {
    middle.push_back({start + insertedLength, runs_[tail].attributes});
    replacedEnd = tail + 1;
  }
  for (std::size_t i = replacedEnd; i < runs_.size(); ++i) {
    runs_[i].start = runs_[i].start - end + start + insertedLength;
  }
  const auto at = runs_.begin() + static_cast<std::ptrdiff_t>(first);
  runs_.erase(at, runs_.begin() + static_cast<std::ptrdiff_t>(replacedEnd));
  runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(first),
               std::make_move_iterator(middle.begin()), std::make_move_iterator(middle.end()));
  consolidateRuns(first, first + middle.size());
}

void AttributedText::replaceCharactersInRange(Range range, std::u16string_view replacement) {
  checkRange(range, length());
  std::vector<RunStart> inserted;
  if (!replacement.empty()) inserted.push_back({0, attributesForEdit(range)});
  spliceRuns(range, replacement.size(), std::move(inserted));
  chars_.replace(range.location, range.length, replacement);
}

void AttributedText::replaceCharactersInRange(Range range, const AttributedText& replacement) {
  checkRange(range, length());
  if (&replacement == this) {
    replaceCharactersInRange(range, AttributedText(replacement));
    return;
  }
  spliceRuns(range, replacement.length(), replacement.runs_);
  chars_.replace(range.location, range.length, replacement.chars_);
}

void AttributedText::deleteCharactersInRange(Range range) {
  replaceCharactersInRange(range, u"");
}

void AttributedText::insertString(std::u16string_view string, std::size_t index) {
  replaceCharactersInRange(Range{index, 0}, string);
}

void AttributedText::insertString(const AttributedText& string, std::size_t index) {
  insertAttributedString(string, index);
}

void AttributedText::insertString(std::u16string_view string, std::size_t index,
                                  const AttributeDictionary& attributes) {
  insertAttributedString(AttributedText(string, attributes), index);
}

void AttributedText::insertAttributedString(const AttributedText& string, std::size_t index) {
  replaceCharactersInRange(Range{index, 0}, string);
}

void AttributedText::appendString(std::u16string_view string) {
  insertString(string, length());
}

void AttributedText::appendString(const AttributedText& string) {
  appendAttributedString(string);
}

void AttributedText::appendString(std::u16string_view string,
                                  const AttributeDictionary& attributes) {
  insertString(string, length(), attributes);
}

void AttributedText::appendAttributedString(const AttributedText& string) {
  insertAttributedString(string, length());
}

void AttributedText::setString(std::u16string_view string) {
  replaceCharactersInRange(Range{0, length()}, string);
}

void AttributedText::setString(const AttributedText& string) {
  setAttributedString(string);
}

void AttributedText::setString(std::u16string_view string, const AttributeDictionary& attributes) {
  setAttributedString(AttributedText(string, attributes));
}

void AttributedText::setAttributedString(const AttributedText& string) {
  replaceCharactersInRange(Range{0, length()}, string);
}

void AttributedText::appendFormat(std::u16string_view format,
                                  std::initializer_list<std::u16string_view> arguments) {
  appendString(formatString(format, arguments));
}

void AttributedText::appendFormat(const AttributeDictionary& attributes, std::u16string_view format,
                                  std::initializer_list<std::u16string_view> arguments) {
  const std::u16string formatted = formatString(format, arguments);
  if (!formatted.empty()) appendString(formatted, attributes);
}

void AttributedText::insertStringAsLink(std::u16string_view string, std::size_t index) {
  AttributeDictionary link;
  link.setObject(kLinkColor, kForegroundColorAttributeName);
  link.setObject(kUnderlineStyleSingle, kUnderlineStyleAttributeName);
  link.setObject(Link{std::u16string(string)}, kLinkAttributeName);
  insertString(string, index, link);
}

// Splits the run that holds index so that a run starts there; returns that run's index, or the
// number of runs when index is at or past the end.
std::size_t AttributedText::splitRunAt(std::size_t index) {
  if (index >= chars_.size()) return runs_.size();
  const std::size_t run = runIndexAt(index);
  if (runs_[run].start == index) return run;
  runs_.insert(runs_.begin() + static_cast<std::ptrdiff_t>(run + 1),
               RunStart{index, runs_[run].attributes});
  return run + 1;
}

template <class ChangeAttributes>
void AttributedText::changeAttributes(Range range, ChangeAttributes change) {
  const std::size_t end = range.clippedTo(chars_.size()).end();
  if (range.location >= end) return;
  const std::size_t first = splitRunAt(range.location);
  const std::size_t last = splitRunAt(end);
  // Runs that shared attributes before the change share the changed ones too. The changes of the
  // last few distinct dictionaries are remembered, as runs often alternate among a few styles;
  // comparing interned dictionaries is one pointer comparison.
  constexpr std::size_t kRemembered = 4;
  std::array<std::pair<AttributeDictionary, AttributeDictionary>, kRemembered> changes;
  std::size_t known = 0;
  for (std::size_t run = first; run < last; ++run) {
    AttributeDictionary& attributes = runs_[run].attributes;
    const auto end = changes.begin() + static_cast<std::ptrdiff_t>(std::min(known, kRemembered));
    const auto found = std::find_if(changes.begin(), end,
                                    [&](const auto& change) { return change.first == attributes; });
    if (found != end) {
      attributes = found->second;
      continue;
    }
    auto& remembered = changes[known++ % kRemembered];
    remembered.first = attributes;
    change(attributes);
    attributes = attributes.interned();
    remembered.second = attributes;
  }
  consolidateRuns(first, last);
}

void AttributedText::setAttribute(std::optional<AttributeValue> value, std::string_view name,
                                  Range range) {
  if (name.empty()) return;
  changeAttributes(
      range, [&](AttributeDictionary& attributes) { attributes.setOrRemoveObject(value, name); });
}

void AttributedText::overrideAttributes(const AttributeDictionary& attributes, Range range) {
  if (attributes.empty()) return;
  changeAttributes(range, [&](AttributeDictionary& runAttributes) {
    runAttributes.addEntriesFromDictionary(attributes);
  });
}

void AttributedText::removeAttribute(std::string_view name) {
  if (name.empty()) return;
  beginEditing();
  setAttribute(std::nullopt, name, Range{0, length()});
  endEditing();
}

// Compacts the characters in place, run by run, keeping each run for what survives of it.
template <class IsRemoved>
void AttributedText::removeCharactersIf(IsRemoved isRemoved) {
  std::vector<RunStart> runs;
  runs.reserve(runs_.size());
  std::size_t kept = 0;
  for (std::size_t run = 0; run < runs_.size(); ++run) {
    const std::size_t runStart = kept;
    // Every unit is written and the kept count advances past the survivors only: no branch
    // to mispredict where removed and kept units alternate.
    for (std::size_t i = runs_[run].start, end = runEnd(run); i < end; ++i) {
      const char16_t unit = chars_[i];
      chars_[kept] = unit;
      kept += !isRemoved(unit);
    }
    if (kept == runStart) continue;
    if (runs.empty() || !(runs.back().attributes == runs_[run].attributes)) {
      runs.push_back({runStart, std::move(runs_[run].attributes)});
    }
  }
  chars_.resize(kept);
  runs_ = std::move(runs);
}

void AttributedText::removeCharacterAtIndex(std::size_t index) {
  deleteCharactersInRange(Range{index, 1});
}

void AttributedText::removeCharacters(char16_t c) {
  removeCharactersIf([c](char16_t unit) { return unit == c; });
}

void AttributedText::removeCharactersOfString(std::u16string_view set) {
  if (set.empty()) return;
  const detail::UnitSet units(set, chars_.size());
  removeCharactersIf([&units](char16_t unit) { return units.contains(unit); });
}

void AttributedText::removeTabs() {
  removeCharacters(u'\t');
}

void AttributedText::removeFeeds() {
  removeCharactersIf([](char16_t unit) { return isFeedCharacter(unit, FeedSet::plain); });
}

void AttributedText::removeSpaces() {
  const CharacterSetRep* space = spaceCharacterSetRep();
  removeCharactersIf([space](char16_t unit) { return space->contains(unit); });
}

void AttributedText::removeWhiteCharacters() {
  const CharacterSetRep* white = whiteCharacterSetRep();
  removeCharactersIf([white](char16_t unit) { return white->contains(unit); });
}

void AttributedText::appendSubstring(std::u16string_view source, Range range) {
  if (range.location >= source.size()) return;
  appendString(source.substr(range.location, range.length));
}

void AttributedText::appendCharacter(char16_t c) {
  appendString(std::u16string_view(&c, 1));
}

void AttributedText::appendCharacters(const char16_t* characters, std::size_t length) {
  appendString(std::u16string_view(characters, length));
}

void AttributedText::appendTrimmedString(std::u16string_view source) {
  std::u16string trimmed;
  textrix::appendTrimmedString(trimmed, source);
  appendString(trimmed);
}

void AttributedText::insertCharacter(char16_t c, std::size_t index) {
  insertString(std::u16string_view(&c, 1), index);
}

void AttributedText::deleteString(std::u16string_view target) {
  replaceString(target, u"", true);
}

void AttributedText::trimCharacter(char16_t c) {
  keepRange(detail::rangeAfterTrimming(chars_, c, true, true));
}

void AttributedText::trimPrefixCharacter(char16_t c) {
  keepRange(detail::rangeAfterTrimming(chars_, c, true, false));
}

void AttributedText::trimSuffixCharacter(char16_t c) {
  keepRange(detail::rangeAfterTrimming(chars_, c, false, true));
}

void AttributedText::keepRange(Range kept) {
  deleteCharactersInRange(Range{kept.end(), length() - kept.end()});
  deleteCharactersInRange(Range{0, kept.location});
}

// One code unit replaced by one keeps its run, so the characters change and the runs stay.
void AttributedText::replaceCharacter(char16_t c, char16_t replacement) {
  textrix::replaceCharacter(chars_, c, replacement);
}

void AttributedText::replaceCharacter(char16_t c, char16_t replacement, bool caseSensitive) {
  textrix::replaceCharacter(chars_, c, replacement, caseSensitive);
}

void AttributedText::replaceString(std::u16string_view target, std::u16string_view replacement) {
  replaceString(target, replacement, true);
}

void AttributedText::replaceString(std::u16string_view target, std::u16string_view replacement,
                                   bool caseSensitive) {
  rewrite([&](EditSink& out) {
    detail::scanStringReplacements(chars_, target, replacement, caseSensitive, out);
  });
}

void AttributedText::normalizeString() {
  normalizeString(NormalizationForm::nfc);
}

void AttributedText::normalizeString(NormalizationForm form) {
  rewrite([&](EditSink& out) { detail::scanNormalization(chars_, form, out); });
}

std::vector<AttributedText> AttributedText::lines() const {
  std::vector<AttributedText> result;
  for (std::size_t start = 0; start < chars_.size();) {
    const std::size_t end = lineEnd(chars_, start, FeedSet::attributed);
    result.push_back(attributedSubstringFromRange(Range{start, end - start}));
    start = end;
  }
  return result;
}

bool AttributedText::hasFeedOfLine() const {
  return textrix::hasFeedOfLine(chars_, FeedSet::attributed);
}

std::optional<AttributedText> AttributedText::feedOfLine() const {
  const std::size_t feeds = textrix::feedOfLine(chars_, FeedSet::attributed).size();
  if (feeds == 0) return std::nullopt;
  return attributedSubstringFromRange(Range{length() - feeds, feeds});
}

std::optional<AttributedText> AttributedText::firstLine() const {
  const std::size_t first = textrix::firstLine(chars_, FeedSet::attributed).size();
  if (first == 0) return std::nullopt;
  if (first == length()) return *this;
  return attributedSubstringFromRange(Range{0, first});
}

void AttributedText::Rewriter::copyUpTo(std::size_t position) {
  while (position_ < position) {
    const std::size_t runEnd = source_.runEnd(run_);
    const std::size_t until = std::min(position, runEnd);
    result_.appendRun(std::u16string_view(source_.chars_).substr(position_, until - position_),
                      source_.runs_[run_].attributes);
    position_ = until;
    if (position_ == runEnd) ++run_;
  }
}

void AttributedText::Rewriter::replace(std::size_t start, std::size_t length,
                                       std::u16string_view replacement) {
  copyUpTo(start);
  const std::size_t end = start + length;
  if (length > 0 && holdsStructureOnly(start, end)) return;
  // A replacement takes the attributes of its first replaced character; an insertion those of
  // the character before it in the text as edited so far, or of the one after it at the start.
  AttributeDictionary attributes;
  if (length == 0 && !result_.empty()) {
    attributes = result_.runs_.back().attributes;
  } else if (start < source_.length()) {
    attributes = source_.runs_[run_].attributes;
  }
  // The structure stays with its own characters, never with what is put in next to them.
  if (attributes.find(kStructureAttributeName) != nullptr) {
    attributes.removeObject(kStructureAttributeName);
  }
  if (!replacement.empty()) carryMarkupBefore(end, attributes);
  result_.appendRun(replacement, attributes);
  keepStructureUpTo(end);
  edited_ = true;
}

void AttributedText::Rewriter::carryMarkupBefore(std::size_t end,
                                                 AttributeDictionary& attributes) const {
  if (attributes.find(kMarkupBeforeAttributeName) != nullptr) return;
  for (std::size_t run = run_; run < source_.runs_.size() && source_.runs_[run].start < end;
       ++run) {
    if (const AttributeValue* markup =
            source_.runs_[run].attributes.find(kMarkupBeforeAttributeName)) {
      attributes.setObject(*markup, kMarkupBeforeAttributeName);
      return;
    }
  }
}

bool AttributedText::Rewriter::holdsStructureOnly(std::size_t start, std::size_t end) const {
  for (std::size_t run = run_; run < source_.runs_.size() && source_.runs_[run].start < end;
       ++run) {
    if (source_.runs_[run].attributes.find(kStructureAttributeName) == nullptr) return false;
  }
  return start < end;
}

void AttributedText::Rewriter::keepStructureUpTo(std::size_t end) {
  for (; run_ < source_.runs_.size() && source_.runs_[run_].start < end; ++run_) {
    const AttributeDictionary& attributes = source_.runs_[run_].attributes;
    const std::size_t runEnd = source_.runEnd(run_);
    if (attributes.find(kStructureAttributeName) != nullptr) {
      const std::size_t from = std::max(position_, source_.runs_[run_].start);
      const std::size_t until = std::min(end, runEnd);
      if (from < until) {
        result_.appendRun(std::u16string_view(source_.chars_).substr(from, until - from),
                          attributes);
      }
    }
    if (runEnd > end) break;
  }
  position_ = end;
}

AttributedText AttributedText::Rewriter::finish() {
  copyUpTo(source_.length());
  return std::move(result_);
}

}  // namespace textrix
