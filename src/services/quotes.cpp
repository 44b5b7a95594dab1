// SPDX-License-Identifier: MIT
#include "services/quotes.h"

#include <cstddef>
#include <string_view>

#include "runtime/localization.h"
#include "text/encodings.h"
#include "text/mutable_string.h"
#include "text/search.h"

namespace textrix {
namespace {

// The quotation marks, as UTF-8: the catalogs' keys of the double quotes, and the marks and sets
// that are not localized.
// TRANSLATORS: the opening double quote that smart quotes put in: one UTF-16 code unit, no spaces.
constexpr std::string_view kOpeningQuoteKey = N_("\xE2\x80\x9E");  // U+201E
// TRANSLATORS: the closing double quote that smart quotes put in: one UTF-16 code unit, no spaces.
constexpr std::string_view kClosingQuoteKey = N_("\xE2\x80\x9D");  // U+201D
constexpr std::string_view kApostrophe = "\xE2\x80\x99";           // U+2019
// U+00B4, U+0060, U+2018, U+2019.
constexpr std::string_view kSingleQuoteSet = "\xC2\xB4`\xE2\x80\x98\xE2\x80\x99";
// U+201C, U+201D, U+201E, U+00AB, U+00BB.
constexpr std::string_view kDoubleQuoteSet = "\xE2\x80\x9C\xE2\x80\x9D\xE2\x80\x9E\xC2\xAB\xC2\xBB";

// Reports the smart-quote replacements of text to out, in one pass, with the result of making them
// one at a time on an edited copy at the indices of the unedited text.
//
// While every mark is one unit long an index of the copy is the same index of text. A longer or
// shorter mark moves the rest of the copy, so a later index may land inside the mark just put in
// (its replacement is then made inside that mark, which takes the attributes of the quote it
// replaced) or on another unit of text further on, or beyond the end of the copy.
void scanSmartQuotes(std::u16string_view text, const SmartQuotes& quotes, EditSink& out) {
  bool open = false;
  // The replacement of the unit of text at pendingSource, not reported yet because a later
  // replacement may land inside it.
  bool pending = false;
  std::size_t pendingSource = 0;
  std::u16string pendingText;
  // How much longer the copy is than text before pendingSource (negative when shorter).
  std::ptrdiff_t shift = 0;
  const auto signedSize = [](std::u16string_view s) {
    return static_cast<std::ptrdiff_t>(s.size());
  };

  for (std::size_t i = 0; i < text.size(); ++i) {
    const char16_t c = text[i];
    if (c != u'"' && c != u'\'') continue;
    const std::u16string& mark =
        c == u'\'' ? quotes.apostrophe : ((open = !open) ? quotes.opening : quotes.closing);
    const auto at = static_cast<std::ptrdiff_t>(i);
    if (pending) {
      const std::ptrdiff_t pendingAt = static_cast<std::ptrdiff_t>(pendingSource) + shift;
      if (at < pendingAt + signedSize(pendingText)) {
        pendingText.replace(static_cast<std::size_t>(at - pendingAt), 1, mark);
        continue;
      }
      out.replace(pendingSource, 1, pendingText);
      shift += signedSize(pendingText) - 1;
      pending = false;
    }
    const std::ptrdiff_t source = at - shift;
    if (source >= signedSize(text)) break;
    pendingSource = static_cast<std::size_t>(source);
    pendingText = mark;
    pending = true;
  }
  if (pending) out.replace(pendingSource, 1, pendingText);
}

// Calls replace(i, unit) for every index i of text whose unit straight quotes replace.
template <class Replace>
void forEachStraightQuote(std::u16string_view text, Replace replace) {
  const std::u16string singleQuotes = utf16FromUtf8(kSingleQuoteSet);
  const std::u16string doubleQuotes = utf16FromUtf8(kDoubleQuoteSet);
  // Neither set holds a letter, so the search for a unit in a set of text/search.h, which looks for
  // a letter in its upper-case form, finds exactly the members.
  const detail::UnitSet isSingle(singleQuotes, text.size());
  const detail::UnitSet isDouble(doubleQuotes, text.size());
  for (std::size_t i = 0; i < text.size(); ++i) {
    if (isSingle.contains(text[i])) {
      replace(i, u'\'');
    } else if (isDouble.contains(text[i])) {
      replace(i, u'"');
    }
  }
}

}  // namespace

SmartQuotes localizedSmartQuotes() {
  return SmartQuotes{localizedStringForKey(kOpeningQuoteKey),
                     localizedStringForKey(kClosingQuoteKey), utf16FromUtf8(kApostrophe)};
}

void removeQuotes(std::u16string& text) {
  removeCharacters(text, u'>');
  removeCharacters(text, u'<');
}

void removeQuotes(AttributedText& text) {
  text.removeCharacters(u'>');
  text.removeCharacters(u'<');
}

void convertToSmartQuotes(std::u16string& text, const SmartQuotes& quotes) {
  StringRewriter out(text);
  scanSmartQuotes(text, quotes, out);
  if (out.edited()) text = out.finish();
}

void convertToSmartQuotes(AttributedText& text, const SmartQuotes& quotes) {
  AttributedText::Rewriter out(text);
  scanSmartQuotes(text.string(), quotes, out);
  if (out.edited()) text = out.finish();
}

void convertToStraightQuotes(std::u16string& text) {
  forEachStraightQuote(text, [&text](std::size_t i, char16_t unit) { text[i] = unit; });
}

void convertToStraightQuotes(AttributedText& text) {
  AttributedText::Rewriter out(text);
  forEachStraightQuote(text.string(), [&out](std::size_t i, char16_t unit) {
    out.replace(i, 1, std::u16string_view(&unit, 1));
  });
  if (out.edited()) text = out.finish();
}

}  // namespace textrix
