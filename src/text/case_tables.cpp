// SPDX-License-Identifier: MIT
#include "text/case_tables.h"

#include <unicode/ucasemap.h>
#include <unicode/uchar.h>
#include <unicode/uniset.h>
#include <unicode/ustring.h>
#include <unicode/utf16.h>

#include <stdexcept>

namespace textrix {
namespace {

// Escapes: entries in the surrogate range, which no code point maps to on its own.
constexpr char16_t kPair = 0xD800;       // a surrogate: the entry of the pair's code point decides
constexpr char16_t kUnchanged = 0xD801;  // a supplementary code point that maps to itself
constexpr char16_t kSigma = 0xD802;  // capital sigma in lower case, which looks at its neighbours
constexpr char16_t kFirstLongMapping = 0xD803;  // longMappings_[entry - kFirstLongMapping]
constexpr char16_t kLastEscape = 0xDFFF;

// The one mapping of no locale that depends on the text around: capital sigma to final sigma.
constexpr char16_t kCapitalSigma = u'\u03A3';
constexpr char16_t kFinalSigma = u'\u03C2';

// The root locale: the mappings of no particular language.
constexpr const char* kNoLocale = "";

void checkStatus(UErrorCode status) {
  if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
}

// The code points whose mapping differs from them, by ICU's property of them.
icu::UnicodeSet changingCodePoints(CaseMapping mapping) {
  constexpr UProperty kChanges[] = {UCHAR_CHANGES_WHEN_UPPERCASED, UCHAR_CHANGES_WHEN_LOWERCASED,
                                    UCHAR_CHANGES_WHEN_TITLECASED};
  UErrorCode status = U_ZERO_ERROR;
  icu::UnicodeSet set;
  set.applyIntPropertyValue(kChanges[static_cast<int>(mapping)], 1, status);
  checkStatus(status);
  return set;
}

std::u16string codePointString(char32_t c) {
  UChar units[2];
  int32_t length = 0;
  U16_APPEND_UNSAFE(units, length, static_cast<UChar32>(c));
  return std::u16string(units, units + length);
}

// ICU's full mapping of one code point as a text of its own. Title case is asked without moving
// to the first letter, so that every code point gets its title case.
class IcuCaseMap {
 public:
  explicit IcuCaseMap(CaseMapping mapping) : mapping_(mapping) {
    UErrorCode status = U_ZERO_ERROR;
    titles_ = ucasemap_open(kNoLocale, U_TITLECASE_NO_BREAK_ADJUSTMENT, &status);
    checkStatus(status);
  }
  ~IcuCaseMap() { ucasemap_close(titles_); }
  IcuCaseMap(const IcuCaseMap&) = delete;
  IcuCaseMap& operator=(const IcuCaseMap&) = delete;

  std::u16string map(char32_t c) const {
    const std::u16string source = codePointString(c);
    const auto length = static_cast<int32_t>(source.size());
    UChar mapped[8];  // a full mapping has at most three code points
    UErrorCode status = U_ZERO_ERROR;
    int32_t mappedLength = 0;
    switch (mapping_) {
      case CaseMapping::upper:
        mappedLength = u_strToUpper(mapped, 8, source.data(), length, kNoLocale, &status);
        break;
      case CaseMapping::lower:
        mappedLength = u_strToLower(mapped, 8, source.data(), length, kNoLocale, &status);
        break;
      case CaseMapping::title:
        mappedLength = ucasemap_toTitle(titles_, mapped, 8, source.data(), length, &status);
        break;
    }
    checkStatus(status);
    return std::u16string(mapped, mapped + mappedLength);
  }

 private:
  CaseMapping mapping_;
  UCaseMap* titles_ = nullptr;
};

// How a code point counts when final sigma looks past its neighbours.
enum SigmaContext : std::uint8_t { kUncased, kCased, kCaseIgnorable };

const CodePointTable<std::uint8_t>& sigmaContexts() {
  static const CodePointTable<std::uint8_t> contexts = [] {
    CodePointTable<std::uint8_t> table(kUncased);
    for (const auto& [property, context] :
         {std::pair{UCHAR_CASED, kCased}, std::pair{UCHAR_CASE_IGNORABLE, kCaseIgnorable}}) {
      UErrorCode status = U_ZERO_ERROR;
      icu::UnicodeSet members;
      members.applyIntPropertyValue(property, 1, status);
      checkStatus(status);
      table.setMembers(members, context);  // case-ignorable wins over cased, as for ICU
    }
    return table;
  }();
  return contexts;
}

// Whether the first code point before at that is not case-ignorable is cased.
bool casedLetterBefore(std::u16string_view text, std::size_t at) {
  const CodePointTable<std::uint8_t>& contexts = sigmaContexts();
  while (at > 0) {
    UChar32 c;
    U16_PREV(text.data(), 0, at, c);
    const std::uint8_t context = contexts[static_cast<char32_t>(c)];
    if (context != kCaseIgnorable) return context == kCased;
  }
  return false;
}

// Whether the first code point from at on that is not case-ignorable is cased.
bool casedLetterFrom(std::u16string_view text, std::size_t at) {
  const CodePointTable<std::uint8_t>& contexts = sigmaContexts();
  while (at < text.size()) {
    UChar32 c;
    U16_NEXT(text.data(), at, text.size(), c);
    const std::uint8_t context = contexts[static_cast<char32_t>(c)];
    if (context != kCaseIgnorable) return context == kCased;
  }
  return false;
}

bool isFinalSigma(std::u16string_view text, std::size_t at) {
  return casedLetterBefore(text, at) && !casedLetterFrom(text, at + 1);
}

}  // namespace

CaseOutput::CaseOutput(std::u16string& text, std::size_t inputUnits) : text_(text) {
  const std::size_t start = text.size();
  text.resize(start + inputUnits);
  next_ = text.data() + start;
}

void CaseOutput::put(std::u16string_view units, std::size_t consumed) {
  if (units.size() > consumed) {
    const std::size_t at = size();
    text_.resize(text_.size() + units.size() - consumed);
    next_ = text_.data() + at;
  }
  next_ = std::copy(units.begin(), units.end(), next_);
}

CaseTable::CaseTable(CaseMapping mapping) : entries_(kUnchanged) {
  for (char32_t c = 0; c <= 0xFFFF; ++c) {
    entries_.setBmp(static_cast<char16_t>(c), static_cast<char16_t>(c));
  }
  entries_.setRange(0xD800, 0xDFFF, kPair);
  const IcuCaseMap icu(mapping);
  const icu::UnicodeSet changing = changingCodePoints(mapping);
  for (int32_t range = 0; range < changing.getRangeCount(); ++range) {
    for (UChar32 c = changing.getRangeStart(range); c <= changing.getRangeEnd(range); ++c) {
      addMapping(static_cast<char32_t>(c), icu.map(static_cast<char32_t>(c)));
    }
  }
  if (mapping == CaseMapping::lower) {
    nonFinalSigma_ = entries_.bmp(kCapitalSigma);
    entries_.setRange(kCapitalSigma, kCapitalSigma, kSigma);
  }
}

void CaseTable::addMapping(char32_t c, std::u16string_view mapped) {
  if (c <= 0xFFFF && mapped.size() == 1 && !isEscape(mapped[0])) {
    entries_.setRange(c, c, mapped[0]);
    return;
  }
  if (longMappings_.size() > kLastEscape - kFirstLongMapping) {
    throw std::length_error("too many case mappings longer than one unit");
  }
  entries_.setRange(c, c, static_cast<char16_t>(kFirstLongMapping + longMappings_.size()));
  longMappings_.emplace_back(mapped);
}

std::size_t CaseTable::mapEscaped(CaseOutput& out, std::u16string_view text, std::size_t at,
                                  char16_t entry) const {
  if (entry == kSigma) {
    out.put(isFinalSigma(text, at) ? kFinalSigma : nonFinalSigma_);
    return at + 1;
  }
  if (entry != kPair) {
    out.put(longMappings_[entry - kFirstLongMapping], 1);
    return at + 1;
  }
  std::size_t next = at;
  UChar32 c;
  U16_NEXT(text.data(), next, text.size(), c);
  const char16_t pairEntry = next - at == 2 ? entries_[static_cast<char32_t>(c)] : kUnchanged;
  if (pairEntry == kUnchanged) {
    out.put(text.substr(at, next - at), next - at);
  } else {
    out.put(longMappings_[pairEntry - kFirstLongMapping], next - at);
  }
  return next;
}

bool CaseTable::keeps(std::u16string_view text, std::size_t at) const {
  const char16_t entry = entries_.bmp(text[at]);
  if (entry != kPair) return entry == text[at];
  std::size_t next = at;
  UChar32 c;
  U16_NEXT(text.data(), next, text.size(), c);
  return next - at == 1 || entries_[static_cast<char32_t>(c)] == kUnchanged;
}

bool CaseTable::mapRange(CaseOutput& out, std::u16string_view text, std::size_t at,
                         std::size_t end) const {
  bool lengthsKept = true;
  char16_t* next = out.next_;
  while (at < end) {
    const char16_t entry = entries_.bmp(text[at]);
    if (!isEscape(entry)) {
      *next++ = entry;
      ++at;
      continue;
    }
    out.next_ = next;
    const std::size_t written = out.size();
    const std::size_t mapped = mapEscaped(out, text, at, entry);
    lengthsKept = lengthsKept && out.size() - written == mapped - at;
    at = mapped;
    next = out.next_;
  }
  out.next_ = next;
  return lengthsKept;
}

const CaseTable& caseTable(CaseMapping mapping) {
  switch (mapping) {
    case CaseMapping::upper: {
      static const CaseTable upper(CaseMapping::upper);
      return upper;
    }
    case CaseMapping::lower: {
      static const CaseTable lower(CaseMapping::lower);
      return lower;
    }
    case CaseMapping::title:
      break;
  }
  static const CaseTable title(CaseMapping::title);
  return title;
}

void appendCaseMapped(std::u16string& out, std::u16string_view text, CaseMapping mapping) {
  CaseOutput output(out, text.size());
  caseTable(mapping).mapRange(output, text, 0, text.size());
}

}  // namespace textrix
