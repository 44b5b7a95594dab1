// SPDX-License-Identifier: MIT
#include "services/case.h"

#include <unicode/ubrk.h>
#include <unicode/ustring.h>

#include <algorithm>
#include <climits>
#include <optional>
#include <stdexcept>
#include <vector>

#include "text/attributed_text.h"
#include "text/case_tables.h"
#include "util/word_starts.h"

namespace textrix {
namespace {

// The root locale: the mappings of no particular language.
constexpr const char* kNoLocale = "";

// Title case looks no further than a word, and a line feed ends every word and every context a
// mapping looks at (final sigma), so ICU maps long texts in pieces that end after a line feed:
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

void checkStatus(UErrorCode status) {
  if (U_FAILURE(status)) throw std::runtime_error(u_errorName(status));
}

// Title case through ICU's word-break iterator, for the lines that the tables leave to it. Keeps
// its iterator between texts, so that mapping many short texts costs one set-up.
class IcuTitleCase {
 public:
  IcuTitleCase() = default;
  ~IcuTitleCase() { ubrk_close(words_); }
  IcuTitleCase(const IcuTitleCase&) = delete;
  IcuTitleCase& operator=(const IcuTitleCase&) = delete;

  // Appends text, in title case, to out.
  void append(std::u16string& out, std::u16string_view text);

 private:
  void appendPiece(std::u16string& out, std::u16string_view piece);
  UBreakIterator* words();

  UBreakIterator* words_ = nullptr;  // opened on first use
};

void IcuTitleCase::append(std::u16string& out, std::u16string_view text) {
  for (std::size_t start = 0, end; start < text.size(); start = end) {
    end = pieceEnd(text, start);
    appendPiece(out, text.substr(start, end - start));
  }
}

void IcuTitleCase::appendPiece(std::u16string& out, std::u16string_view piece) {
  const std::size_t start = out.size();
  const auto length = static_cast<int32_t>(piece.size());
  auto capacity = static_cast<int32_t>(piece.size() + kSlack);
  for (;;) {
    out.resize(start + static_cast<std::size_t>(capacity));
    UErrorCode status = U_ZERO_ERROR;
    const int32_t mapped = u_strToTitle(out.data() + start, capacity, piece.data(), length, words(),
                                        kNoLocale, &status);
    if (status == U_BUFFER_OVERFLOW_ERROR) {
      capacity = mapped;
      continue;
    }
    checkStatus(status);
    out.resize(start + static_cast<std::size_t>(mapped));
    return;
  }
}

UBreakIterator* IcuTitleCase::words() {
  if (words_ == nullptr) {
    UErrorCode status = U_ZERO_ERROR;
    words_ = ubrk_open(UBRK_WORD, kNoLocale, nullptr, 0, &status);
    checkStatus(status);
  }
  return words_;
}

std::size_t lineEnd(std::u16string_view text, std::size_t from) {
  const std::size_t feed = text.find(u'\n', from);
  return feed == std::u16string_view::npos ? text.size() : feed + 1;
}

// Capitalizing words: the lines of simple characters by the tables, the capital of each word in
// title case and everything else in lower case; the other lines by ICU, a run of them in one call.
// A line feed ends every word and every context a mapping looks at, so each line maps as it would
// in the whole text.
class Capitalizer {
 public:
  Capitalizer() : title_(caseTable(CaseMapping::title)), lower_(caseTable(CaseMapping::lower)) {}

  // Appends text, capitalized, to out.
  void append(std::u16string& out, std::u16string_view text);

 private:
  void appendIcuLines(CaseOutput& out, std::u16string_view lines);
  // Writes text[begin, end) with a capital at each of capitals_.
  void appendCapitalized(CaseOutput& out, std::u16string_view text, std::size_t begin,
                         std::size_t end) const;
  // The same in one pass, the line lower-cased and then each capital written over its lower case:
  // false, with nothing written, when a capital or another code point of the line changes its
  // length.
  bool overwriteCapitals(CaseOutput& out, std::u16string_view text, std::size_t begin,
                         std::size_t end) const;

  const CaseTable& title_;
  const CaseTable& lower_;
  IcuTitleCase icu_;
  std::vector<std::size_t> capitals_;  // of the line at hand
  std::u16string icuMapped_;
};

void Capitalizer::append(std::u16string& out, std::u16string_view text) {
  CaseOutput output(out, text.size());
  std::size_t icuStart = 0;  // where the lines waiting for ICU start
  for (std::size_t start = 0; start < text.size();) {
    capitals_.clear();
    const LineWalk walk = findCapitals(text, start, capitals_);
    if (!walk.simple) {
      start = lineEnd(text, walk.stop);
      continue;
    }
    appendIcuLines(output, text.substr(icuStart, start - icuStart));
    appendCapitalized(output, text, start, walk.stop);
    start = icuStart = walk.stop;
  }
  appendIcuLines(output, text.substr(icuStart));
}

void Capitalizer::appendIcuLines(CaseOutput& out, std::u16string_view lines) {
  if (lines.empty()) return;
  icuMapped_.clear();
  icu_.append(icuMapped_, lines);
  out.put(icuMapped_, lines.size());
}

void Capitalizer::appendCapitalized(CaseOutput& out, std::u16string_view text, std::size_t begin,
                                    std::size_t end) const {
  if (overwriteCapitals(out, text, begin, end)) return;
  for (const std::size_t capital : capitals_) {
    lower_.mapRange(out, text, begin, capital);
    begin = title_.mapCodePoint(out, text, capital);
  }
  lower_.mapRange(out, text, begin, end);
}

bool Capitalizer::overwriteCapitals(CaseOutput& out, std::u16string_view text, std::size_t begin,
                                    std::size_t end) const {
  const auto fitsInPlace = [&](std::size_t at) {
    return title_.mapsToOneUnit(text[at]) || (title_.keeps(text, at) && lower_.keeps(text, at));
  };
  if (!std::all_of(capitals_.begin(), capitals_.end(), fitsInPlace)) return false;
  const std::size_t mark = out.size();
  if (!lower_.mapRange(out, text, begin, end)) {
    out.rewind(mark);
    return false;
  }
  for (const std::size_t at : capitals_) {
    if (title_.mapsToOneUnit(text[at])) out.overwrite(mark + at - begin, title_.unitOf(text[at]));
  }
  return true;
}

// Appends texts in one case mapping: upper and lower case by the tables, capitalizing by a
// Capitalizer, which keeps what it needs between texts.
class CaseChanger {
 public:
  explicit CaseChanger(CaseMapping mapping) : mapping_(mapping) {
    if (mapping == CaseMapping::title) capitalizer_.emplace();
  }

  void append(std::u16string& out, std::u16string_view text) {
    if (capitalizer_) {
      capitalizer_->append(out, text);
    } else {
      appendCaseMapped(out, text, mapping_);
    }
  }

 private:
  CaseMapping mapping_;
  std::optional<Capitalizer> capitalizer_;  // for title case only
};

std::u16string mapped(std::u16string_view text, CaseMapping mapping) {
  std::u16string result;
  result.reserve(text.size() + kSlack);
  CaseChanger(mapping).append(result, text);
  return result;
}

// The run-wise case change, as a walk over the text being edited in place: the length n is taken
// once, and each step maps the piece from the walk's index to the end of the attributes there (in
// the text as the earlier steps left it, never past n) and puts the mapped characters in the
// piece's place with the piece's attributes; the next step starts where the piece ended. A mapping
// that changes the length shifts what the later steps see, and that shift is part of the result
// that documents rely on: units a step added are mapped again by the next step, units a step
// removed let the walk pass over as many following units unmapped, and the units pushed past n go
// unexamined.
//
// The edited text is built in one pass: done_ holds the text before the walk's index, carried_ the
// units a step added beyond it (one set of attributes), and the source from next_ on the rest.
class RunWiseCaseChange {
 public:
  RunWiseCaseChange(const AttributedText& source, CaseMapping mapping)
      : source_(source), runs_(source.runs()), changer_(mapping) {}

  // The source with the walk's edits applied.
  AttributedText result() &&;

 private:
  // Moves the piece of at most limit units that starts at the walk's index into piece_; its
  // attributes into pieceAttributes_.
  void takePiece(std::size_t limit);
  // Copies the source units up to until, unmapped, with their attributes.
  void copySource(std::size_t until);

  const AttributedText& source_;
  const std::vector<AttributedText::Run> runs_;
  CaseChanger changer_;
  AttributedText done_;
  std::u16string carried_;
  AttributeDictionary carriedAttributes_;
  std::size_t next_ = 0;  // the first source unit not yet taken
  std::size_t run_ = 0;   // the source run that holds next_
  std::u16string piece_;
  AttributeDictionary pieceAttributes_;
  std::u16string mapped_;
};

AttributedText RunWiseCaseChange::result() && {
  const std::size_t n = source_.length();
  for (std::size_t index = 0; index < n && (!carried_.empty() || next_ < n);) {
    takePiece(n - index);
    mapped_.clear();
    changer_.append(mapped_, piece_);
    index += piece_.size();
    const std::u16string_view mapped = mapped_;
    if (index >= n) {
      done_.appendString(mapped, pieceAttributes_);
      break;
    }
    // The piece ended where its attributes did, so nothing carried is left: what follows the
    // index is the rest of the mapped units, then the source.
    const std::size_t passed = std::min(piece_.size(), mapped.size());
    done_.appendString(mapped.substr(0, passed), pieceAttributes_);
    carried_ = mapped.substr(passed);
    carriedAttributes_ = pieceAttributes_;
    copySource(std::min(n, next_ + (piece_.size() - passed)));
  }
  done_.appendString(carried_, carriedAttributes_);
  copySource(n);
  return std::move(done_);
}

void RunWiseCaseChange::takePiece(std::size_t limit) {
  pieceAttributes_ = carried_.empty() ? runs_[run_].attributes : carriedAttributes_;
  const std::size_t fromCarried = std::min(limit, carried_.size());
  piece_.assign(carried_, 0, fromCarried);
  carried_.erase(0, fromCarried);
  while (piece_.size() < limit && run_ < runs_.size() &&
         runs_[run_].attributes == pieceAttributes_) {
    const std::size_t runEnd = runs_[run_].range.end();
    const std::size_t until = std::min(runEnd, next_ + (limit - piece_.size()));
    piece_.append(source_.string(), next_, until - next_);
    next_ = until;
    if (next_ == runEnd) ++run_;
  }
}

void RunWiseCaseChange::copySource(std::size_t until) {
  while (next_ < until) {
    const std::size_t runEnd = runs_[run_].range.end();
    const std::size_t end = std::min(until, runEnd);
    done_.appendString(std::u16string_view(source_.string()).substr(next_, end - next_),
                       runs_[run_].attributes);
    next_ = end;
    if (next_ == runEnd) ++run_;
  }
}

void changeCaseRunByRun(AttributedText& text, CaseMapping mapping) {
  if (text.empty()) return;
  text = RunWiseCaseChange(text, mapping).result();
}

// The full upper case of the one-unit string c.
std::u16string upperCaseOf(char16_t c) {
  const CaseTable& upper = caseTable(CaseMapping::upper);
  if (upper.mapsToOneUnit(c)) return std::u16string(1, upper.unitOf(c));
  std::u16string result;
  appendCaseMapped(result, {&c, 1}, CaseMapping::upper);
  return result;
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
