// SPDX-License-Identifier: MIT
#include "text/mutable_string.h"

#include <unicode/normalizer2.h>
#include <unicode/unistr.h>
#include <unicode/utf16.h>

#include <algorithm>
#include <climits>
#include <functional>
#include <stdexcept>

#include "text/charsets.h"

namespace textrix {

void StringRewriter::replace(std::size_t start, std::size_t length,
                             std::u16string_view replacement) {
  if (!edited_) result_.reserve(source_.size());
  result_.append(source_.substr(position_, start - position_));
  result_.append(replacement);
  position_ = start + length;
  edited_ = true;
}

std::u16string StringRewriter::finish() {
  if (!edited_) return std::u16string(source_);
  result_.append(source_.substr(position_));
  position_ = source_.size();
  return std::move(result_);
}

std::u16string formatString(std::u16string_view format,
                            std::initializer_list<std::u16string_view> arguments) {
  std::u16string result;
  result.reserve(format.size());
  auto argument = arguments.begin();
  for (std::size_t i = 0; i < format.size(); ++i) {
    const bool directive = format[i] == u'%' && i + 1 < format.size();
    if (directive && format[i + 1] == u'@') {
      if (argument != arguments.end()) result.append(*argument++);
      ++i;
    } else if (directive && format[i + 1] == u'%') {
      result.push_back(u'%');
      ++i;
    } else {
      result.push_back(format[i]);
    }
  }
  return result;
}

void appendSubstring(std::u16string& text, std::u16string_view source, Range range) {
  if (range.location >= source.size()) return;
  text.append(source.substr(range.location, range.length));
}

void appendCharacter(std::u16string& text, char16_t c) {
  text.push_back(c);
}

void appendCharacters(std::u16string& text, const char16_t* characters, std::size_t length) {
  text.append(characters, length);
}

void appendTrimmedString(std::u16string& text, std::u16string_view source) {
  const CharacterSetRep* white = whiteCharacterSetRep();
  auto isContent = [white](char16_t c) { return !white->contains(c); };
  auto first = std::find_if(source.begin(), source.end(), isContent);
  auto last = std::find_if(source.rbegin(), source.rend(), isContent).base();
  if (first < last) text.append(first, last);
}

void insertCharacter(std::u16string& text, char16_t c, std::size_t index) {
  text.insert(index, 1, c);
}

void deleteString(std::u16string& text, std::u16string_view target) {
  replaceString(text, target, u"", true);
}

namespace {

void keepRange(std::u16string& text, Range kept) {
  text.erase(kept.end());
  text.erase(0, kept.location);
}

template <class Scan>
void rewrite(std::u16string& text, Scan scan) {
  StringRewriter out(text);
  scan(out);
  if (out.edited()) text = out.finish();
}

}  // namespace

void trimCharacter(std::u16string& text, char16_t c) {
  keepRange(text, detail::rangeAfterTrimming(text, c, true, true));
}

void trimPrefixCharacter(std::u16string& text, char16_t c) {
  keepRange(text, detail::rangeAfterTrimming(text, c, true, false));
}

void trimSuffixCharacter(std::u16string& text, char16_t c) {
  keepRange(text, detail::rangeAfterTrimming(text, c, false, true));
}

void replaceCharacter(std::u16string& text, char16_t c, char16_t replacement) {
  replaceCharacter(text, c, replacement, true);
}

void replaceCharacter(std::u16string& text, char16_t c, char16_t replacement, bool caseSensitive) {
  if (caseSensitive) {
    std::replace(text.begin(), text.end(), c, replacement);
    return;
  }
  const CharsTable& upper = upperCharsTable();
  const char16_t target = upper[c];
  std::replace_if(
      text.begin(), text.end(), [&](char16_t u) { return upper[u] == target; }, replacement);
}

void replaceString(std::u16string& text, std::u16string_view target,
                   std::u16string_view replacement) {
  replaceString(text, target, replacement, true);
}

void replaceString(std::u16string& text, std::u16string_view target,
                   std::u16string_view replacement, bool caseSensitive) {
  rewrite(text, [&](EditSink& out) {
    detail::scanStringReplacements(text, target, replacement, caseSensitive, out);
  });
}

void normalizeString(std::u16string& text) {
  normalizeString(text, NormalizationForm::nfc);
}

void normalizeString(std::u16string& text, NormalizationForm form) {
  rewrite(text, [&](EditSink& out) { detail::scanNormalization(text, form, out); });
}

namespace detail {

Range rangeAfterTrimming(std::u16string_view text, char16_t c, bool start, bool end) {
  std::size_t first = 0;
  std::size_t last = text.size();
  if (start) {
    while (first < last && text[first] == c) ++first;
  }
  if (end) {
    while (last > first && text[last - 1] == c) --last;
  }
  return Range{first, last - first};
}

namespace {

template <class Searcher>
void emitMatches(std::u16string_view text, std::size_t targetLength, const Searcher& searcher,
                 std::u16string_view replacement, EditSink& out) {
  for (auto from = text.begin();;) {
    const auto [first, last] = searcher(from, text.end());
    if (first == last) return;
    out.replace(static_cast<std::size_t>(first - text.begin()), targetLength, replacement);
    from = last;
  }
}

}  // namespace

void scanStringReplacements(std::u16string_view text, std::u16string_view target,
                            std::u16string_view replacement, bool caseSensitive, EditSink& out) {
  if (target.empty() || target.size() > text.size()) return;
  if (caseSensitive) {
    emitMatches(text, target.size(),
                std::boyer_moore_horspool_searcher(target.begin(), target.end()), replacement, out);
    return;
  }
  const CharsTable& upper = upperCharsTable();
  auto hash = [&upper](char16_t c) { return std::hash<char16_t>()(upper[c]); };
  auto equal = [&upper](char16_t a, char16_t b) { return upper[a] == upper[b]; };
  emitMatches(text, target.size(),
              std::boyer_moore_horspool_searcher(target.begin(), target.end(), hash, equal),
              replacement, out);
}

namespace {

const icu::Normalizer2& normalizer(NormalizationForm form) {
  UErrorCode status = U_ZERO_ERROR;
  const icu::Normalizer2* result = nullptr;
  switch (form) {
    case NormalizationForm::nfc:
      result = icu::Normalizer2::getNFCInstance(status);
      break;
    case NormalizationForm::nfd:
      result = icu::Normalizer2::getNFDInstance(status);
      break;
    case NormalizationForm::nfkc:
      result = icu::Normalizer2::getNFKCInstance(status);
      break;
    case NormalizationForm::nfkd:
      result = icu::Normalizer2::getNFKDInstance(status);
      break;
  }
  if (U_FAILURE(status) || !result) throw std::runtime_error("ICU normalization data is missing");
  return *result;
}

// A read-only ICU string over text, without copying; ICU strings are limited to INT32_MAX units.
icu::UnicodeString aliasOf(std::u16string_view text) {
  const auto length = static_cast<int32_t>(std::min<std::size_t>(text.size(), INT32_MAX));
  return icu::UnicodeString(false, text.data(), length);
}

// The end of the segment that starts at the boundary start: the next normalization boundary
// after at least one code point.
std::size_t segmentEnd(const icu::Normalizer2& normalizer, std::u16string_view text,
                       std::size_t start) {
  std::size_t end = start;
  UChar32 c;
  U16_NEXT(text.data(), end, text.size(), c);
  while (end < text.size()) {
    std::size_t next = end;
    U16_NEXT(text.data(), next, text.size(), c);
    if (normalizer.hasBoundaryBefore(c)) break;
    end = next;
  }
  return end;
}

}  // namespace

void scanNormalization(std::u16string_view text, NormalizationForm form, EditSink& out) {
  const icu::Normalizer2& forms = normalizer(form);
  // Text is already normalized up to each quick-check span's end, which is a boundary; only the
  // segments between that boundary and the next are normalized and compared.
  std::size_t position = 0;
  while (position < text.size()) {
    UErrorCode status = U_ZERO_ERROR;
    position +=
        static_cast<std::size_t>(forms.spanQuickCheckYes(aliasOf(text.substr(position)), status));
    if (U_FAILURE(status) || position >= text.size()) return;
    const std::size_t end = segmentEnd(forms, text, position);
    const std::u16string_view segment = text.substr(position, end - position);
    icu::UnicodeString normalized = forms.normalize(aliasOf(segment), status);
    if (U_FAILURE(status)) return;
    const std::u16string_view result(normalized.getBuffer(),
                                     static_cast<std::size_t>(normalized.length()));
    if (result != segment) out.replace(position, segment.size(), result);
    position = end;
  }
}

}  // namespace detail
}  // namespace textrix
