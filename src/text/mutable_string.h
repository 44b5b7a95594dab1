// SPDX-License-Identifier: MIT
// Plain-string utilities that edit a std::u16string in place, and the one-pass edit machinery
// that the plain and the attributed forms of a text operation share.
//
// An operation that makes many edits across a text is written once, as a scan that reports its
// edits, in increasing order of position, to an EditSink. A StringRewriter turns those edits into
// a new plain string, and AttributedText::Rewriter into new attributed text whose runs follow the
// edits; either way the text is copied once, never shifted once per edit.
//
//   std::u16string s = u"a-b-c";
//   textrix::replaceString(s, u"-", u"+");   // "a+b+c"
//   textrix::trimCharacter(s, u'a');         // "+b+c"
#pragma once

#include <algorithm>
#include <cstddef>
#include <initializer_list>
#include <string>
#include <string_view>

namespace textrix {

// A range of code units: location and length.
struct Range {
  std::size_t location = 0;
  std::size_t length = 0;

  std::size_t end() const { return location + length; }
  // The part of the range inside a text of textLength units: a range past the end, or one whose
  // length means "to the end" (std::u16string::npos), stops at the end instead of wrapping.
  Range clippedTo(std::size_t textLength) const {
    if (location >= textLength) return {textLength, 0};
    return {location, std::min(length, textLength - location)};
  }
  bool operator==(const Range&) const = default;
};

// Receives the edits of a scan over a source text, in increasing order of position.
class EditSink {
 public:
  // Replaces length units from start of the source (start at or after the end of the previous
  // edit) with replacement; a length of 0 inserts, an empty replacement deletes.
  virtual void replace(std::size_t start, std::size_t length, std::u16string_view replacement) = 0;

 protected:
  ~EditSink() = default;
};

// Builds the edited copy of a plain source text.
class StringRewriter final : public EditSink {
 public:
  explicit StringRewriter(std::u16string_view source) : source_(source) {}
  void replace(std::size_t start, std::size_t length, std::u16string_view replacement) override;
  // True once an edit has been made.
  bool edited() const { return edited_; }
  // The source with every edit applied.
  std::u16string finish();

 private:
  std::u16string_view source_;
  std::u16string result_;
  std::size_t position_ = 0;  // source units copied or replaced so far
  bool edited_ = false;
};

// The Unicode normalization forms.
enum class NormalizationForm { nfc, nfd, nfkc, nfkd };

// The format with each "%@" replaced by the next argument (nothing once they run out) and "%%"
// by "%"; any other character is copied.
std::u16string formatString(std::u16string_view format,
                            std::initializer_list<std::u16string_view> arguments);

// Appends the units of source in range, clipped to the source.
void appendSubstring(std::u16string& text, std::u16string_view source, Range range);
// Appends one code unit.
void appendCharacter(std::u16string& text, char16_t c);
// Appends length code units from characters.
void appendCharacters(std::u16string& text, const char16_t* characters, std::size_t length);
// Appends source without its leading and trailing white characters.
void appendTrimmedString(std::u16string& text, std::u16string_view source);
// Inserts one code unit at index; std::out_of_range when index > text.size().
void insertCharacter(std::u16string& text, char16_t c, std::size_t index);
// Removes every occurrence of target, left to right; an empty target removes nothing.
void deleteString(std::u16string& text, std::u16string_view target);
// Removes every c at both ends.
void trimCharacter(std::u16string& text, char16_t c);
// Removes every c at the start.
void trimPrefixCharacter(std::u16string& text, char16_t c);
// Removes every c at the end.
void trimSuffixCharacter(std::u16string& text, char16_t c);
// Replaces every c with replacement; without caseSensitive, units whose upper-table entries are
// equal match.
void replaceCharacter(std::u16string& text, char16_t c, char16_t replacement);
void replaceCharacter(std::u16string& text, char16_t c, char16_t replacement, bool caseSensitive);
// Replaces every occurrence of target, left to right and without overlaps, with replacement;
// without caseSensitive, units are compared through the upper table. An empty target matches
// nothing.
void replaceString(std::u16string& text, std::u16string_view target,
                   std::u16string_view replacement);
void replaceString(std::u16string& text, std::u16string_view target,
                   std::u16string_view replacement, bool caseSensitive);
// Brings text into Unicode normalization form C, or into the given form.
void normalizeString(std::u16string& text);
void normalizeString(std::u16string& text, NormalizationForm form);

namespace detail {
// The scans behind the utilities above, shared with the attributed forms.
// The range of text that remains once every c is trimmed from its start and/or its end.
Range rangeAfterTrimming(std::u16string_view text, char16_t c, bool start, bool end);
void scanStringReplacements(std::u16string_view text, std::u16string_view target,
                            std::u16string_view replacement, bool caseSensitive, EditSink& out);
void scanNormalization(std::u16string_view text, NormalizationForm form, EditSink& out);
}  // namespace detail

}  // namespace textrix
