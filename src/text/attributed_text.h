// SPDX-License-Identifier: MIT
// AttributedText: UTF-16 characters with runs of attributes (fonts, colours, links, attachments,
// paragraph styles, underline), and the editing operations that keep the runs with the
// characters.
//
// The edit rule: replaced or deleted characters take their runs with them; inserted characters
// take the attributes of the character before the insertion point (at index 0, of the character
// after it); a replacement takes the attributes of the first character it replaces. The edits of a
// rewrite leave the characters of a document's structure in place (kStructureAttributeName) and
// keep the markup written before the characters they replace (kMarkupBeforeAttributeName).
//
//   textrix::AttributedText text(u"Hello world", plain);
//   text.setAttribute(textrix::Font{"Times", 12, true}, textrix::kFontAttributeName, {6, 5});
//   text.insertString(u"big ", 6);        // "Hello big world": "big " takes the plain run
//   text.removeCharacters(u'o');          // one pass; the bold run keeps "wrld"
//
// Positions and lengths are UTF-16 code units. A range that reaches past the end is clipped where
// an operation says so; elsewhere an index or range outside the text is the caller's error, refused
// with std::out_of_range before anything changes.
//
// Operations that make many edits (removals, replacements, the services' transformations) run in
// one pass over the characters and the runs: a scan reports its edits to a Rewriter, which builds
// the edited text once. Runs are kept consolidated (no two neighbours with equal attributes),
// except inside a batch of edits (beginEditing ... endEditing), which consolidates at its end.
// Runs hold interned dictionaries (AttributeDictionary::interned), so that runs with equal
// attributes share one, however they were made, and comparing two runs' attributes is one pointer
// comparison: memory and time stay linear in the runs.
#pragma once

#include <cstddef>
#include <initializer_list>
#include <optional>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

#include "text/attributes.h"
#include "text/mutable_string.h"

namespace textrix {

class AttributedText {
 public:
  // A piece of the text over which the attributes are the same.
  struct Run {
    Range range;
    AttributeDictionary attributes;
  };

  class Rewriter;

  AttributedText() = default;
  // The characters as one run with the given attributes.
  explicit AttributedText(std::u16string_view string, AttributeDictionary attributes = {});

  // The characters.
  const std::u16string& string() const { return chars_; }
  std::size_t length() const { return chars_.size(); }
  bool empty() const { return chars_.empty(); }

  // The attributes of the character at index (index < length()).
  const AttributeDictionary& attributesAtIndex(std::size_t index) const;
  // The attributes at index, and in longestEffectiveRange (when given) the longest range around
  // index, clipped to inRange (itself clipped to the text), over which they are the same; an index
  // outside inRange is refused like any position outside the text.
  AttributeDictionary attributesAtIndex(std::size_t index, Range* longestEffectiveRange,
                                        Range inRange) const;
  // True when some character carries an attachment.
  bool containsAttachments() const;
  // The runs in order, neighbours with equal attributes taken together.
  std::vector<Run> runs() const;
  // The characters and attributes of range (clipped to the text).
  AttributedText attributedSubstringFromRange(Range range) const;

  // Same characters with the same attributes on each.
  bool operator==(const AttributedText& other) const;

  // Brackets a series of edits; the runs are consolidated when the outermost batch ends.
  void beginEditing();
  void endEditing();

  // Editing the characters by the edit rule (range within the text).
  void replaceCharactersInRange(Range range, std::u16string_view replacement);
  // Replacing characters with attributed text, which brings its own runs.
  void replaceCharactersInRange(Range range, const AttributedText& replacement);
  void deleteCharactersInRange(Range range);

  // Inserting, appending and setting: a plain string by the edit rule, attributed text with its
  // own runs, or a string with explicit attributes as one run.
  void insertString(std::u16string_view string, std::size_t index);
  void insertString(const AttributedText& string, std::size_t index);
  void insertString(std::u16string_view string, std::size_t index,
                    const AttributeDictionary& attributes);
  void insertAttributedString(const AttributedText& string, std::size_t index);
  void appendString(std::u16string_view string);
  void appendString(const AttributedText& string);
  void appendString(std::u16string_view string, const AttributeDictionary& attributes);
  void appendAttributedString(const AttributedText& string);
  void setString(std::u16string_view string);
  void setString(const AttributedText& string);
  void setString(std::u16string_view string, const AttributeDictionary& attributes);
  void setAttributedString(const AttributedText& string);
  // Appends the formatted arguments (see formatString) by the edit rule.
  void appendFormat(std::u16string_view format,
                    std::initializer_list<std::u16string_view> arguments);
  // Appends the formatted arguments as one run with attributes, when they format to something.
  void appendFormat(const AttributeDictionary& attributes, std::u16string_view format,
                    std::initializer_list<std::u16string_view> arguments);
  // Inserts string as a link to itself: link colour, single underline, link = string.
  void insertStringAsLink(std::u16string_view string, std::size_t index);

  // Attribute editing over range (clipped to the text), run by run; attributes not named are
  // untouched. setAttribute sets name to value in every run, or removes it when there is no
  // value; an empty name does nothing.
  void setAttribute(std::optional<AttributeValue> value, std::string_view name, Range range);
  // Adds every entry of attributes to every run of range; an empty dictionary does nothing.
  void overrideAttributes(const AttributeDictionary& attributes, Range range);
  // Removes name from the whole text.
  void removeAttribute(std::string_view name);

  // Removals, as their plain forms in text/search.h, keeping the runs of what remains.
  void removeCharacterAtIndex(std::size_t index);
  void removeCharacters(char16_t c);
  void removeCharactersOfString(std::u16string_view set);
  void removeTabs();
  // Removes the plain feed characters, U+FFFC included, so attachments go too.
  void removeFeeds();
  void removeSpaces();
  void removeWhiteCharacters();

  // The plain-string utilities of text/mutable_string.h, keeping the runs by the edit rule.
  void appendSubstring(std::u16string_view source, Range range);
  void appendCharacter(char16_t c);
  void appendCharacters(const char16_t* characters, std::size_t length);
  void appendTrimmedString(std::u16string_view source);
  void insertCharacter(char16_t c, std::size_t index);
  void deleteString(std::u16string_view target);
  void trimCharacter(char16_t c);
  void trimPrefixCharacter(char16_t c);
  void trimSuffixCharacter(char16_t c);
  void replaceCharacter(char16_t c, char16_t replacement);
  void replaceCharacter(char16_t c, char16_t replacement, bool caseSensitive);
  void replaceString(std::u16string_view target, std::u16string_view replacement);
  void replaceString(std::u16string_view target, std::u16string_view replacement,
                     bool caseSensitive);
  void normalizeString();
  void normalizeString(NormalizationForm form);

  // Lines, as in text/lines.h but with the attributed feed set: U+FFFC (an attachment) stays
  // inside its line.
  std::vector<AttributedText> lines() const;
  bool hasFeedOfLine() const;
  // The run of feeds at the end; none where the plain form gives an empty string.
  std::optional<AttributedText> feedOfLine() const;
  // The text before the first feed: the whole text when it has none; none where the plain form
  // gives an empty string.
  std::optional<AttributedText> firstLine() const;

  // Applies the edits that scan(EditSink&) reports, each by the edit rule, in one pass over the
  // characters and the runs; the operations of the services that keep attributes are built on it.
  template <class Scan>
  void rewrite(Scan scan);

 private:
  struct RunStart {
    std::size_t start;
    AttributeDictionary attributes;
  };

  std::size_t runIndexAt(std::size_t index) const;
  std::size_t runEnd(std::size_t runIndex) const;
  const AttributeDictionary& attributesForEdit(Range range) const;
  void appendRun(std::u16string_view characters, const AttributeDictionary& attributes);
  void spliceRuns(Range replaced, std::size_t insertedLength, std::vector<RunStart> inserted);
  std::size_t splitRunAt(std::size_t index);
  void keepRange(Range kept);
  void consolidateRuns(std::size_t first, std::size_t last);
  template <class ChangeAttributes>
  void changeAttributes(Range range, ChangeAttributes change);
  template <class IsRemoved>
  void removeCharactersIf(IsRemoved isRemoved);

  std::u16string chars_;
  std::vector<RunStart> runs_;  // empty exactly when chars_ is; run i spans from its start up to
                                // the next run's start or the end of the text
  int editingDepth_ = 0;
};

// Builds the edited copy of an attributed source text from a scan's edits (see EditSink), with
// the edit rule applied to each edit; one pass over the source characters and runs.
class AttributedText::Rewriter final : public EditSink {
 public:
  explicit Rewriter(const AttributedText& source) : source_(source) {}
  void replace(std::size_t start, std::size_t length, std::u16string_view replacement) override;
  // True once an edit has been made.
  bool edited() const { return edited_; }
  // The source with every edit applied.
  AttributedText finish();

 private:
  void copyUpTo(std::size_t position);
  // Whether every source character from start to end stands for structure.
  bool holdsStructureOnly(std::size_t start, std::size_t end) const;
  // Gives the replacement's attributes the markup written before the first replaced character up to
  // end that carries one.
  void carryMarkupBefore(std::size_t end, AttributeDictionary& attributes) const;
  // Copies the structure characters from position_ to end, skipping the others.
  void keepStructureUpTo(std::size_t end);

  const AttributedText& source_;
  AttributedText result_;
  std::size_t position_ = 0;  // source units copied or replaced so far
  std::size_t run_ = 0;       // the source run that holds position_
  bool edited_ = false;
};

template <class Scan>
void AttributedText::rewrite(Scan scan) {
  Rewriter out(*this);
  scan(out);
  if (!out.edited()) return;
  AttributedText edited = out.finish();
  chars_ = std::move(edited.chars_);
  runs_ = std::move(edited.runs_);
}

}  // namespace textrix
