#include "rich/rtf_control_words.h"

#include <algorithm>
#include <array>

#include "rich/rtf_reader.h"

namespace textrix::detail {
namespace {

// One word of the table; the table lists names in byte order so that a new one has one place.
struct WordEntry {
  std::string_view name;
  Word word;
};

constexpr auto kWords = std::to_array<WordEntry>({
    {"NeXTGraphic", Word::nextGraphic},
    {"aftncn", Word::skippedDestination},
    {"aftnsep", Word::skippedDestination},
    {"aftnsepc", Word::skippedDestination},
    {"annotation", Word::skippedDestination},
    {"ansi", Word::ansi},
    {"ansicpg", Word::ansicpg},
    {"atnauthor", Word::skippedDestination},
    {"atnid", Word::skippedDestination},
    {"b", Word::b},
    {"bin", Word::bin},
    {"bkmkend", Word::skippedDestination},
    {"bkmkstart", Word::skippedDestination},
    {"blue", Word::blue},
    {"bullet", Word::bullet},
    {"cb", Word::cb},
    {"cell", Word::cell},
    {"cf", Word::cf},
    {"chcbpat", Word::cb},
    {"colortbl", Word::colortbl},
    {"cpg", Word::cpg},
    {"datafield", Word::skippedDestination},
    {"deff", Word::deff},
    {"emdash", Word::emdash},
    {"emspace", Word::emspace},
    {"endash", Word::endash},
    {"enspace", Word::enspace},
    {"f", Word::f},
    {"fcharset", Word::fcharset},
    {"fi", Word::fi},
    {"field", Word::field},
    {"fldinst", Word::fldinst},
    {"fldrslt", Word::fldrslt},
    {"fonttbl", Word::fonttbl},
    {"footer", Word::skippedDestination},
    {"footerf", Word::skippedDestination},
    {"footerl", Word::skippedDestination},
    {"footerr", Word::skippedDestination},
    {"footnote", Word::skippedDestination},
    {"fs", Word::fs},
    {"fsmilli", Word::fsmilli},
    {"ftncn", Word::skippedDestination},
    {"ftnsep", Word::skippedDestination},
    {"ftnsepc", Word::skippedDestination},
    {"green", Word::green},
    {"header", Word::skippedDestination},
    {"headerf", Word::skippedDestination},
    {"headerl", Word::skippedDestination},
    {"headerr", Word::skippedDestination},
    {"highlight", Word::cb},
    {"i", Word::i},
    {"info", Word::skippedDestination},
    {"jpegblip", Word::jpegblip},
    {"ldblquote", Word::ldblquote},
    {"li", Word::li},
    {"line", Word::line},
    {"listoverridetable", Word::skippedDestination},
    {"listtable", Word::skippedDestination},
    {"lquote", Word::lquote},
    {"ltrmark", Word::ltrmark},
    {"mac", Word::mac},
    {"margb", Word::margb},
    {"margl", Word::margl},
    {"margr", Word::margr},
    {"margt", Word::margt},
    {"nonshppict", Word::nonshppict},
    {"objdata", Word::skippedDestination},
    {"page", Word::page},
    {"paperh", Word::paperh},
    {"paperw", Word::paperw},
    {"par", Word::par},
    {"pard", Word::pard},
    {"pc", Word::pc},
    {"pca", Word::pca},
    {"pict", Word::pict},
    {"plain", Word::plain},
    {"pn", Word::skippedDestination},
    {"pngblip", Word::pngblip},
    {"pntxta", Word::skippedDestination},
    {"pntxtb", Word::skippedDestination},
    {"qc", Word::qc},
    {"qj", Word::qj},
    {"ql", Word::ql},
    {"qmspace", Word::qmspace},
    {"qr", Word::qr},
    {"rdblquote", Word::rdblquote},
    {"red", Word::red},
    {"revtbl", Word::skippedDestination},
    {"ri", Word::ri},
    {"row", Word::row},
    {"rquote", Word::rquote},
    {"rtlmark", Word::rtlmark},
    {"rxe", Word::skippedDestination},
    {"sa", Word::sa},
    {"sb", Word::sb},
    {"shppict", Word::shppict},
    {"sl", Word::sl},
    {"slleading", Word::slleading},
    {"slmult", Word::slmult},
    {"stylesheet", Word::skippedDestination},
    {"tab", Word::tab},
    {"tc", Word::skippedDestination},
    {"txe", Word::skippedDestination},
    {"u", Word::u},
    {"uc", Word::uc},
    {"ul", Word::ul},
    {"uld", Word::ul},
    {"uldash", Word::ul},
    {"uldashd", Word::ul},
    {"uldashdd", Word::ul},
    {"uldb", Word::ul},
    {"ulhwave", Word::ul},
    {"ulldash", Word::ul},
    {"ulnone", Word::ulnone},
    {"ulth", Word::ul},
    {"ulthd", Word::ul},
    {"ulthdash", Word::ul},
    {"ulthdashd", Word::ul},
    {"ulthdashdd", Word::ul},
    {"ulthldash", Word::ul},
    {"ululdbwave", Word::ul},
    {"ulw", Word::ul},
    {"ulwave", Word::ul},
    {"xe", Word::skippedDestination},
    {"zwj", Word::zwj},
    {"zwnj", Word::zwnj},
});

// The words in an open-addressing hash table, built once: a lookup hashes the name and compares it
// with one or two entries, instead of the many comparisons of a search over the sorted list.
class WordTable {
 public:
  WordTable() {
    for (const WordEntry& entry : kWords) {
      std::size_t slot = hash(entry.name);
      while (!slots_[slot].name.empty()) slot = (slot + 1) % kSlots;
      slots_[slot] = entry;
    }
  }

  // The word of name, or Word::unknown.
  Word find(std::string_view name) const {
    if (name.empty()) return Word::unknown;
    for (std::size_t slot = hash(name);; slot = (slot + 1) % kSlots) {
      if (slots_[slot].name.empty()) return Word::unknown;
      if (slots_[slot].name == name) return slots_[slot].word;
    }
  }

 private:
  static constexpr std::size_t kSlots = 512;  // a power of two, over three times the words

  // FNV-1a: a few operations per byte, and it spreads names that differ in one letter.
  static std::size_t hash(std::string_view name) {
    std::uint32_t value = 2166136261u;
    for (char c : name) value = (value ^ static_cast<unsigned char>(c)) * 16777619u;
    return value % kSlots;
  }

  std::array<WordEntry, kSlots> slots_{};
};

}  // namespace

Word lookUpWord(std::string_view name) {
  static const WordTable table;
  return table.find(name);
}

char16_t characterOfWord(Word word) {
  switch (word) {
    case Word::par:
    case Word::row:
      return u'\n';
    case Word::line:
      return u'\u2028';
    case Word::tab:
    case Word::cell:
      return u'\t';
    case Word::page:
      return u'\f';
    case Word::emdash:
      return u'\u2014';
    case Word::endash:
      return u'\u2013';
    case Word::emspace:
      return u'\u2003';
    case Word::enspace:
      return u'\u2002';
    case Word::qmspace:
      return u'\u2005';
    case Word::bullet:
      return u'\u2022';
    case Word::lquote:
      return u'\u2018';
    case Word::rquote:
      return u'\u2019';
    case Word::ldblquote:
      return u'\u201C';
    case Word::rdblquote:
      return u'\u201D';
    case Word::zwj:
      return u'\u200D';
    case Word::zwnj:
      return u'\u200C';
    case Word::ltrmark:
      return u'\u200E';
    case Word::rtlmark:
      return u'\u200F';
    default:
      return 0;
  }
}

// What each word does to the reader's state; words the table does not know do nothing.

bool RtfReader::applyDestination(Word word) {
  switch (word) {
    case Word::fonttbl:
      beginDestination(Destination::fontTable);
      return true;
    case Word::colortbl:
      beginDestination(Destination::colorTable);
      colorHasComponents_ = false;
      colorComponents_ = {};
      return true;
    case Word::field:
      group().field = static_cast<int>(fields_.size());
      fields_.emplace_back();
      return true;
    case Word::fldinst:
      if (group().field >= 0) {
        beginDestination(Destination::fieldInstruction);
      } else {
        skipGroup();
      }
      return true;
    case Word::fldrslt:
      if (group().field >= 0) {
        Field& field = fields_[static_cast<std::size_t>(group().field)];
        if (!field.parsed) {
          field.url = hyperlinkUrl(field.instruction);
          field.parsed = true;
        }
        if (field.url) group().format.field = group().field;
      }
      formatChanged_ = true;
      return true;
    case Word::shppict:
      return true;
    case Word::pict:
      beginDestination(Destination::picture);
      picture_.clear();
      pictureExtension_ = {};
      pictureHighNibble_ = -1;
      return true;
    case Word::nextGraphic:
      beginDestination(Destination::attachmentName);
      attachmentName_.clear();
      return true;
    case Word::nonshppict:
    case Word::skippedDestination:
      skipGroup();
      return true;
    default:
      return false;
  }
}

void RtfReader::applyWord(Word word, const ControlWord& control) {
  if (const char16_t c = characterOfWord(word)) {
    appendUnits(std::u16string_view(&c, 1));
    return;
  }
  switch (word) {
    case Word::u: {
      const auto unit = static_cast<char16_t>(static_cast<unsigned>(control.parameter) & 0xFFFF);
      appendUnits(std::u16string_view(&unit, 1));
      fallbackToSkip_ = group().unicodeSkip;
      return;
    }
    case Word::fcharset:
      if (fontEntry_ >= 0) setFontCodePage(codePageOfCharset(control.parameter));
      return;
    case Word::cpg:
      if (fontEntry_ >= 0) setFontCodePage(control.parameter);
      return;
    case Word::red:
    case Word::green:
    case Word::blue:
      colorComponents_[static_cast<std::size_t>(word) - static_cast<std::size_t>(Word::red)] =
          std::clamp(control.parameter, 0, 255);
      colorHasComponents_ = true;
      return;
    case Word::pngblip:
      pictureExtension_ = "png";
      return;
    case Word::jpegblip:
      pictureExtension_ = "jpg";
      return;
    default:
      break;
  }
  applyCharacterFormat(word, control);
  applyParagraphFormat(word, control);
  applyDocumentWord(word, control);
  formatChanged_ = true;
}

void RtfReader::applyCharacterFormat(Word word, const ControlWord& control) {
  CharacterState& format = group().format;
  const bool on = !control.hasParameter || control.parameter != 0;
  switch (word) {
    case Word::plain: {
      const int field = format.field;
      const ParagraphState paragraph = format.paragraph;
      format = CharacterState{};
      format.field = field;
      format.paragraph = paragraph;
      break;
    }
    case Word::f:
      if (group().destination == Destination::fontTable) {
        finishFontEntry();
        fontEntry_ = control.parameter;
        fonts_[fontEntry_] = FontEntry{};
        fontName_.clear();
      } else {
        format.font = control.parameter;
      }
      break;
    case Word::fs:
      format.pointSize = (control.hasParameter ? control.parameter : 24) / 2.0;
      break;
    case Word::fsmilli:
      format.pointSize = control.parameter / 1000.0;
      break;
    case Word::b:
      format.bold = on;
      break;
    case Word::i:
      format.italic = on;
      break;
    case Word::ul:
      format.underline = on;
      break;
    case Word::ulnone:
      format.underline = false;
      break;
    case Word::cf:
      format.foreground = control.parameter;
      break;
    case Word::cb:
      format.background = control.parameter;
      break;
    default:
      break;
  }
}

void RtfReader::applyParagraphFormat(Word word, const ControlWord& control) {
  ParagraphState& paragraph = group().format.paragraph;
  const int value = control.parameter;
  switch (word) {
    case Word::pard:
      paragraph = ParagraphState{};
      break;
    case Word::ql:
      paragraph.alignment = TextAlignment::left;
      break;
    case Word::qr:
      paragraph.alignment = TextAlignment::right;
      break;
    case Word::qc:
      paragraph.alignment = TextAlignment::center;
      break;
    case Word::qj:
      paragraph.alignment = TextAlignment::justified;
      break;
    case Word::fi:
      paragraph.firstIndent = value;
      break;
    case Word::li:
      paragraph.leftIndent = value;
      break;
    case Word::ri:
      paragraph.rightIndent = value;
      break;
    case Word::sb:
      paragraph.spaceBefore = value;
      break;
    case Word::sa:
      paragraph.spaceAfter = value;
      break;
    case Word::sl:
      paragraph.lineSpacing = value;
      break;
    case Word::slmult:
      paragraph.lineMultiple = value != 0;
      break;
    case Word::slleading:
      paragraph.leading = value;
      break;
    default:
      break;
  }
}

void RtfReader::applyDocumentWord(Word word, const ControlWord& control) {
  const int value = control.parameter;
  const double points = value / kTwipsPerPoint;
  switch (word) {
    case Word::ansi:
      codePage_ = kDefaultCodePage;
      break;
    case Word::mac:
      codePage_ = 10000;
      break;
    case Word::pc:
      codePage_ = 437;
      break;
    case Word::pca:
      codePage_ = 850;
      break;
    case Word::ansicpg:
      codePage_ = value > 0 ? value : kDefaultCodePage;
      doubleByteCodePageSeen_ |= isDoubleByteCodePage(codePage_);
      break;
    case Word::deff:
      defaultFont_ = value;
      break;
    case Word::uc:
      group().unicodeSkip = std::max(value, 0);
      break;
    case Word::paperw:
      documentAttributes_.paperWidth = points;
      break;
    case Word::paperh:
      documentAttributes_.paperHeight = points;
      break;
    case Word::margl:
      documentAttributes_.leftMargin = points;
      break;
    case Word::margr:
      documentAttributes_.rightMargin = points;
      break;
    case Word::margt:
      documentAttributes_.topMargin = points;
      break;
    case Word::margb:
      documentAttributes_.bottomMargin = points;
      break;
    default:
      break;
  }
}

}  // namespace textrix::detail
