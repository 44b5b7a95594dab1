#include "services/case.h"

#include <unicode/ubrk.h>
#include <unicode/uchar.h>
#include <unicode/uniset.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <climits>
#include <stdexcept>

#include "text/attributed_text.h"
#include "text/charsets.h"

namespace textrix {
namespace {

// The root locale: the mappings of no particular language.
constexpr const char* kNoLocale = "";

// Case mappings look no further than a word, and a line feed ends every word and every context a
// mapping looks at (final sigma), so long texts are mapped in pieces that end after a line feed:
// a retry with a larger buffer then costs one piece, and ICU's 32-bit lengths are never exceeded.
// Only a line longer than kMaxPieceLength is cut elsewhere; its mapped form fits an ICU length
// even when every unit triples.
constexpr std::size_t kPieceLength = 1 << 16;
constexpr std::size_t kMaxPieceLength = INT32_MAX / 3;

std::size_t pieceEnd(std::u16string_view text, std::size_t start) {
  if (text.size() - start <= kPieceLength) return text.size();
  const std::size_t lastFeed = text.substr(start, kPieceLength).rfind(u'\n');
  if (lastFeed != std::u16string_view::npos) return start + lastFeed + 1;
  const std::size_t nextFeed = text.find(u'\n', start + kPieceLength);
  const std::size_t lineEnd = nextFeed == std::u16string_view::npos ? text.size() : nextFeed + 1;
  return std::min(lineEnd, start + kMaxPieceLength);
}

// Room for the mapped piece beyond its own length: most mappings keep the length, and a piece
// that grows more is mapped again into a buffer of the size ICU reports.
constexpr std::size_t kSlack = 16;

bool isAscii(std::u16string_view text) {
  char16_t bits = 0;
  for (char16_t c : text) bits |= c;  // no early exit, so that the loop runs vectorized
  return bits < 0x80;
}

// ASCII letters change case without context and nothing else in ASCII has case, so an ASCII
// piece needs no call into ICU for upper or lower case.
void appendAsciiMapped(std::u16string& out, std::u16string_view piece, bool upper) {
  const char16_t first = upper ? u'a' : u'A';
  constexpr char16_t kCaseBit = 0x20;
  const std::size_t start = out.size();
  out.append(piece);
  for (auto c = out.begin() + static_cast<std::ptrdiff_t>(start); c != out.end(); ++c) {
    if (static_cast<char16_t>(*c - first) < 26) *c ^= kCaseBit;
  }
}

void checkStatus(UErrorCode status) {
  if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
}

// The three whole-text case mappings.
enum class CaseMapping { upper, lower, title };

// Maps texts by one case mapping through ICU. Keeps what it needs between texts (the word-break
// iterator of title case), so mapping many short texts costs one set-up.
class CaseMapper {
 public:
  explicit CaseMapper(CaseMapping mapping);
  ~CaseMapper() { ubrk_close(words_); }
  CaseMapper(const CaseMapper&) = delete;
  CaseMapper& operator=(const CaseMapper&) = delete;

  // Appends text, mapped, to out.
  void append(std::u16string& out, std::u16string_view text);

 private:
  void appendPiece(std::u16string& out, std::u16string_view piece);

  CaseMapping mapping_;
  UBreakIterator* words_ = nullptr;  // only for title case
};

CaseMapper::CaseMapper(CaseMapping mapping) : mapping_(mapping) {
  if (mapping != CaseMapping::title) return;
  UErrorCode status = U_ZERO_ERROR;
  words_ = ubrk_open(UBRK_WORD, kNoLocale, nullptr, 0, &status);
  checkStatus(status);
}

void CaseMapper::append(std::u16string& out, std::u16string_view text) {
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = pieceEnd(text, start);
    appendPiece(out, text.substr(start, end - start));
  }
}

void CaseMapper::appendPiece(std::u16string& out, std::u16string_view piece) {
  if (mapping_ != CaseMapping::title && isAscii(piece)) {
    appendAsciiMapped(out, piece, mapping_ == CaseMapping::upper);
    return;
  }
  const std::size_t start = out.size();
  const auto length = static_cast<int32_t>(piece.size());
  auto capacity = static_cast<int32_t>(piece.size() + kSlack);
  for (;;) {
    out.resize(start + static_cast<std::size_t>(capacity));
    UErrorCode status = U_ZERO_ERROR;
    int32_t mapped = 0;
    switch (mapping_) {
      case CaseMapping::upper:
        mapped =
            u_strToUpper(out.data() + start, capacity, piece.data(), length, kNoLocale, &status);
        break;
      case CaseMapping::lower:
        mapped =
            u_strToLower(out.data() + start, capacity, piece.data(), length, kNoLocale, &status);
        break;
      case CaseMapping::title:
        mapped = u_strToTitle(out.data() + start, capacity, piece.data(), length, words_, kNoLocale,
                              &status);
        break;
    }
    if (status == U_BUFFER_OVERFLOW_ERROR) {
      capacity = mapped;
      continue;
    }
    checkStatus(status);
    out.resize(start + static_cast<std::size_t>(mapped));
    return;
  }
}

std::u16string mapped(std::u16string_view text, CaseMapping mapping) {
  std::u16string result;
  result.reserve(text.size() + kSlack);
  CaseMapper(mapping).append(result, text);
  return result;
}

// Each run is mapped on its own, as if it were the whole text, and the mapped characters replace
// it with its attributes.
void changeCaseRunByRun(AttributedText& text, CaseMapping mapping) {
  CaseMapper mapper(mapping);
  AttributedText::Rewriter out(text);
  std::u16string mappedRun;
  for (const AttributedText::Run& run : text.runs()) {
    const std::u16string_view piece =
        std::u16string_view(text.string()).substr(run.range.location, run.range.length);
    mappedRun.clear();
    mapper.append(mappedRun, piece);
    if (mappedRun != piece) out.replace(run.range.location, run.range.length, mappedRun);
  }
  if (out.edited()) text = out.finish();
}

// The units whose full upper case differs from them, so that the sentence walk asks ICU only for
// the letters it capitalizes.
const CharacterSetRep& changesWhenUppercased() {
  static const CharacterSetRep members = [] {
    CharacterSetRep rep;
    UErrorCode status = U_ZERO_ERROR;
    icu::UnicodeSet set;
    set.applyIntPropertyValue(UCHAR_CHANGES_WHEN_UPPERCASED, 1, status);
    checkStatus(status);
    for (int32_t range = 0; range < set.getRangeCount(); ++range) {
      const UChar32 last = std::min<UChar32>(set.getRangeEnd(range), 0xFFFF);
      for (UChar32 c = set.getRangeStart(range); c <= last; ++c) rep.add(static_cast<char16_t>(c));
    }
    return rep;
  }();
  return members;
}

// The full upper case of the one-unit string c.
std::u16string upperCaseOf(char16_t c) {
  std::u16string result;
  if (changesWhenUppercased().contains(c)) CaseMapper(CaseMapping::upper).append(result, {&c, 1});
  return result.empty() ? std::u16string(1, c) : result;
}

// Walks the lower-cased text unit by unit as if capitals were written into it in place: the
// units a capital adds are examined next, and as many units at the end go unexamined.
std::u16string capitalizeSentenceStarts(std::u16string_view lowered) {
  std::u16string result;
  result.reserve(lowered.size());
  std::u16string pending;  // units a capital added, which stand before lowered[next]
  std::size_t next = 0;
  bool capitalizeNext = true;
  bool insideQuote = false;
  for (std::size_t examined = 0; examined < lowered.size(); ++examined) {
    char16_t c;
    if (pending.empty()) {
      c = lowered[next++];
    } else {
      c = pending.front();
      pending.erase(0, 1);
    }
    if (c == u'.' || c == u':' || c == u';') {
      capitalizeNext = true;
    } else if (c == u'"') {
      insideQuote = !insideQuote;
      capitalizeNext = capitalizeNext || insideQuote;
    } else if (capitalizeNext) {
      const std::u16string capital = upperCaseOf(c);
      if (capital.size() != 1 || capital[0] != c) {
        c = capital[0];
        pending.insert(0, capital, 1);
        capitalizeNext = false;
      }
    }
    result.push_back(c);
  }
  result.append(pending);
  result.append(lowered.substr(next));
  return result;
}

}  // namespace

void uppercase(std::u16string& text) {
  text = mapped(text, CaseMapping::upper);
}

void lowercase(std::u16string& text) {
  text = mapped(text, CaseMapping::lower);
}

void capitalize(std::u16string& text) {
  text = mapped(text, CaseMapping::title);
}

std::u16string stringByCapitalizingSentences(std::u16string_view text) {
  return capitalizeSentenceStarts(mapped(text, CaseMapping::lower));
}

void uppercase(AttributedText& text) {
  changeCaseRunByRun(text, CaseMapping::upper);
}

void lowercase(AttributedText& text) {
  changeCaseRunByRun(text, CaseMapping::lower);
}

void capitalize(AttributedText& text) {
  changeCaseRunByRun(text, CaseMapping::title);
}

}  // namespace textrix
