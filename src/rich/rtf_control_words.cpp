// SPDX-License-Identifier: MIT
#include "rich/rtf_control_words.h"

#include <algorithm>
#include <array>
#include <cstdint>
#include <limits>
#include <optional>
#include <utility>

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
    {"aftncn", Word::sectionMarkup},
    {"aftnsep", Word::sectionMarkup},
    {"aftnsepc", Word::sectionMarkup},
    {"annotation", Word::bodyMarkup},
    {"ansi", Word::ansi},
    {"ansicpg", Word::ansicpg},
    {"atnauthor", Word::bodyMarkup},
    {"atnid", Word::bodyMarkup},
    {"b", Word::b},
    {"bin", Word::bin},
    {"bkmkend", Word::bodyMarkup},
    {"bkmkstart", Word::bodyMarkup},
    {"blue", Word::blue},
    {"bullet", Word::bullet},
    {"caps", Word::caps},
    {"cb", Word::cb},
    {"cell", Word::cell},
    {"cf", Word::cf},
    {"chatn", Word::generatedCharacter},
    {"chcbpat", Word::cb},
    {"chdate", Word::generatedCharacter},
    {"chdpa", Word::generatedCharacter},
    {"chdpl", Word::generatedCharacter},
    {"chftn", Word::generatedCharacter},
    {"chpgn", Word::generatedCharacter},
    {"chtime", Word::generatedCharacter},
    {"colortbl", Word::colortbl},
    {"cpg", Word::cpg},
    {"datafield", Word::skippedDestination},
    {"deff", Word::deff},
    {"dibitmap", Word::dibitmap},
    {"dn", Word::dn},
    {"emdash", Word::emdash},
    {"emfblip", Word::emfblip},
    {"emspace", Word::emspace},
    {"endash", Word::endash},
    {"enspace", Word::enspace},
    {"expnd", Word::expnd},
    {"expndtw", Word::expndtw},
    {"f", Word::f},
    {"fcharset", Word::fcharset},
    {"fi", Word::fi},
    {"field", Word::field},
    {"fldinst", Word::fldinst},
    {"fldrslt", Word::fldrslt},
    {"fonttbl", Word::fonttbl},
    {"footer", Word::sectionMarkup},
    {"footerf", Word::sectionMarkup},
    {"footerl", Word::sectionMarkup},
    {"footerr", Word::sectionMarkup},
    {"footnote", Word::bodyMarkup},
    {"fs", Word::fs},
    {"fsmilli", Word::fsmilli},
    {"ftncn", Word::sectionMarkup},
    {"ftnsep", Word::sectionMarkup},
    {"ftnsepc", Word::sectionMarkup},
    {"green", Word::green},
    {"header", Word::sectionMarkup},
    {"headerf", Word::sectionMarkup},
    {"headerl", Word::sectionMarkup},
    {"headerr", Word::sectionMarkup},
    {"height", Word::height},
    {"highlight", Word::cb},
    {"i", Word::i},
    {"ilvl", Word::ilvl},
    {"info", Word::skippedDestination},
    {"intbl", Word::intbl},
    {"itap", Word::itap},
    {"jpegblip", Word::jpegblip},
    {"keep", Word::keep},
    {"keepn", Word::keepn},
    {"ldblquote", Word::ldblquote},
    {"li", Word::li},
    {"line", Word::line},
    {"listoverridetable", Word::documentMarkup},
    {"listtable", Word::documentMarkup},
    {"listtext", Word::bodyMarkup},
    {"lquote", Word::lquote},
    {"ls", Word::ls},
    {"ltrmark", Word::ltrmark},
    {"ltrpar", Word::ltrpar},
    {"mac", Word::mac},
    {"macpict", Word::macpict},
    {"margb", Word::margb},
    {"margl", Word::margl},
    {"margr", Word::margr},
    {"margt", Word::margt},
    {"nestcell", Word::nestcell},
    {"nestrow", Word::nestrow},
    {"nesttableprops", Word::bodyMarkup},
    {"nonesttables", Word::bodyMarkup},
    {"nonshppict", Word::nonshppict},
    {"nosupersub", Word::nosupersub},
    {"objdata", Word::skippedDestination},
    {"outlinelevel", Word::outlinelevel},
    {"page", Word::page},
    {"paperh", Word::paperh},
    {"paperw", Word::paperw},
    {"par", Word::par},
    {"pard", Word::pard},
    {"pc", Word::pc},
    {"pca", Word::pca},
    {"pich", Word::pich},
    {"pichgoal", Word::pichgoal},
    {"picscalex", Word::picscalex},
    {"picscaley", Word::picscaley},
    {"pict", Word::pict},
    {"picw", Word::picw},
    {"picwgoal", Word::picwgoal},
    {"plain", Word::plain},
    {"pmmetafile", Word::pmmetafile},
    {"pn", Word::bodyMarkup},
    {"pngblip", Word::pngblip},
    {"pntext", Word::bodyMarkup},
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
    {"rtlpar", Word::rtlpar},
    {"rxe", Word::bodyMarkup},
    {"sa", Word::sa},
    {"sb", Word::sb},
    {"scaps", Word::scaps},
    {"shp", Word::bodyMarkup},
    {"shpgrp", Word::bodyMarkup},
    {"shppict", Word::shppict},
    {"sl", Word::sl},
    {"slleading", Word::slleading},
    {"slmult", Word::slmult},
    {"strike", Word::strike},
    {"striked", Word::striked},
    {"stylesheet", Word::skippedDestination},
    {"sub", Word::sub},
    {"super", Word::super},
    {"tab", Word::tab},
    {"tb", Word::tb},
    {"tc", Word::bodyMarkup},
    {"tldot", Word::tldot},
    {"tleq", Word::tleq},
    {"tlhyph", Word::tlhyph},
    {"tlmdot", Word::tlmdot},
    {"tlth", Word::tlth},
    {"tlul", Word::tlul},
    {"tqc", Word::tqc},
    {"tqdec", Word::tqdec},
    {"tqr", Word::tqr},
    {"trowd", Word::trowd},
    {"tx", Word::tx},
    {"txe", Word::bodyMarkup},
    {"u", Word::u},
    {"uc", Word::uc},
    {"ul", Word::ul},
    {"uld", Word::uld},
    {"uldash", Word::uldash},
    {"uldashd", Word::uldashd},
    {"uldashdd", Word::uldashdd},
    {"uldb", Word::uldb},
    {"ulhwave", Word::ulhwave},
    {"ulldash", Word::ulldash},
    {"ulnone", Word::ulnone},
    {"ulth", Word::ulth},
    {"ulthd", Word::ulthd},
    {"ulthdash", Word::ulthdash},
    {"ulthdashd", Word::ulthdashd},
    {"ulthdashdd", Word::ulthdashdd},
    {"ulthldash", Word::ulthldash},
    {"ululdbwave", Word::ululdbwave},
    {"ulw", Word::ulw},
    {"ulwave", Word::ulwave},
    {"up", Word::up},
    {"v", Word::v},
    {"wbitmap", Word::wbitmap},
    {"wbmbitspixel", Word::wbmbitspixel},
    {"wbmplanes", Word::wbmplanes},
    {"wbmwidthbytes", Word::wbmwidthbytes},
    {"width", Word::width},
    {"wmetafile", Word::wmetafile},
    {"xe", Word::bodyMarkup},
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
  static constexpr std::size_t kSlots = 1024;  // a power of two, over three times the words

  // FNV-1a: a few operations per byte, and it spreads names that differ in one letter.
  static std::size_t hash(std::string_view name) {
    std::uint32_t value = 2166136261u;
    for (char c : name) value = (value ^ static_cast<unsigned char>(c)) * 16777619u;
    return value % kSlots;
  }

  std::array<WordEntry, kSlots> slots_{};
};

// \up and \dn without a number move the characters by 3 points.
constexpr int kDefaultRaise = 6;
constexpr int kTwipsPerQuarterPoint = 5;
// Outline levels run from 0 to 8; 9 is body text.
constexpr int kMaxOutlineLevel = 9;

// value * factor held to the range of int.
int clampedProduct(int value, int factor) {
  return static_cast<int>(std::clamp<std::int64_t>(std::int64_t{value} * factor,
                                                   std::numeric_limits<int>::min(),
                                                   std::numeric_limits<int>::max()));
}

// The words that name a picture's format in a \pict group, the file extension of each format, and
// whether the word takes a number (the metafile's mapping mode, the bitmap's type).
struct PictureWord {
  Word word;
  std::string_view name;
  PictureFormat format;
  std::string_view extension;
  bool numbered;
};

constexpr PictureWord kPictureWords[] = {
    {Word::pngblip, "pngblip", PictureFormat::png, "png", false},
    {Word::jpegblip, "jpegblip", PictureFormat::jpeg, "jpg", false},
    {Word::emfblip, "emfblip", PictureFormat::emf, "emf", false},
    {Word::wmetafile, "wmetafile", PictureFormat::wmf, "wmf", true},
    {Word::dibitmap, "dibitmap", PictureFormat::dib, "dib", true},
    {Word::wbitmap, "wbitmap", PictureFormat::ddb, "ddb", true},
    {Word::macpict, "macpict", PictureFormat::macPict, "pict", false},
    {Word::pmmetafile, "pmmetafile", PictureFormat::os2Metafile, "met", true},
};

const PictureWord* pictureWordOf(PictureFormat format) {
  for (const PictureWord& entry : kPictureWords) {
    if (entry.format == format) return &entry;
  }
  return nullptr;
}

// The picture format a word names, or none.
PictureFormat pictureFormatOfWord(Word word) {
  for (const PictureWord& entry : kPictureWords) {
    if (entry.word == word) return entry.format;
  }
  return PictureFormat::none;
}

// The member of size that a word of a \pict group states, or null.
std::optional<std::int32_t>* pictureSizeOfWord(Word word, AttachmentSize& size) {
  switch (word) {
    case Word::picw:
      return &size.pictureWidth;
    case Word::pich:
      return &size.pictureHeight;
    case Word::picwgoal:
      return &size.goalWidth;
    case Word::pichgoal:
      return &size.goalHeight;
    case Word::picscalex:
      return &size.scaleX;
    case Word::picscaley:
      return &size.scaleY;
    case Word::wbmbitspixel:
      return &size.bitsPerPixel;
    case Word::wbmplanes:
      return &size.planes;
    case Word::wbmwidthbytes:
      return &size.bytesPerRow;
    default:
      return nullptr;
  }
}

}  // namespace

Word lookUpWord(std::string_view name) {
  static const WordTable table;
  return table.find(name);
}

char16_t characterOfWord(Word word) {
  switch (word) {
    case Word::par:
    case Word::row:
    case Word::nestrow:
      return u'\n';
    case Word::line:
      return u'\u2028';
    case Word::tab:
    case Word::cell:
    case Word::nestcell:
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

namespace {

// The words of the \ul family and the underline style of each; the writer writes the first word
// listed for a style.
struct UnderlineWord {
  Word word;
  std::string_view name;
  std::int64_t style;
};

constexpr UnderlineWord kUnderlineWords[] = {
    {Word::ul, "ul", kUnderlineStyleSingle},
    {Word::uld, "uld", kUnderlineStyleSingle | kUnderlinePatternDot},
    {Word::uldash, "uldash", kUnderlineStyleSingle | kUnderlinePatternDash},
    {Word::uldashd, "uldashd", kUnderlineStyleSingle | kUnderlinePatternDashDot},
    {Word::uldashdd, "uldashdd", kUnderlineStyleSingle | kUnderlinePatternDashDotDot},
    {Word::ulldash, "ulldash", kUnderlineStyleSingle | kUnderlinePatternLongDash},
    {Word::ulwave, "ulwave", kUnderlineStyleSingle | kUnderlinePatternWave},
    {Word::ulw, "ulw", kUnderlineStyleSingle | kUnderlineByWord},
    {Word::uldb, "uldb", kUnderlineStyleDouble},
    {Word::ululdbwave, "ululdbwave", kUnderlineStyleDouble | kUnderlinePatternWave},
    {Word::ulth, "ulth", kUnderlineStyleThick},
    {Word::ulthd, "ulthd", kUnderlineStyleThick | kUnderlinePatternDot},
    {Word::ulthdash, "ulthdash", kUnderlineStyleThick | kUnderlinePatternDash},
    {Word::ulthdashd, "ulthdashd", kUnderlineStyleThick | kUnderlinePatternDashDot},
    {Word::ulthdashdd, "ulthdashdd", kUnderlineStyleThick | kUnderlinePatternDashDotDot},
    {Word::ulthldash, "ulthldash", kUnderlineStyleThick | kUnderlinePatternLongDash},
    {Word::ulhwave, "ulhwave", kUnderlineStyleThick | kUnderlinePatternWave},
};

}  // namespace

std::string_view pictureFileExtension(PictureFormat format) {
  const PictureWord* entry = pictureWordOf(format);
  return entry ? entry->extension : std::string_view("bin");
}

std::optional<std::pair<std::string_view, bool>> pictureFormatWord(PictureFormat format) {
  const PictureWord* entry = pictureWordOf(format);
  if (!entry) return std::nullopt;
  return std::make_pair(entry->name, entry->numbered);
}

std::optional<std::int64_t> underlineStyleOfWord(Word word) {
  for (const UnderlineWord& entry : kUnderlineWords) {
    if (entry.word == word) return entry.style;
  }
  return std::nullopt;
}

std::string_view underlineWordOfStyle(std::int64_t style) {
  for (std::int64_t tried : {style, style & ~kUnderlineByWord, style & 0xFF}) {
    for (const UnderlineWord& entry : kUnderlineWords) {
      if (entry.style == tried) return entry.name;
    }
  }
  return "ul";
}

// What each word does to the reader's state; words the table does not know do nothing.

bool RtfReader::applyDestination(Word word) {
  switch (word) {
    case Word::fonttbl:
    case Word::colortbl:
      // A table inside a field's instruction or a picture is part of what is kept as it was
      // written, and must not renumber the document's fonts or colours when it is read again.
      if (group().destination != Destination::text) {
        skipGroup();
        return true;
      }
      if (word == Word::fonttbl) {
        beginDestination(Destination::fontTable);
        return true;
      }
      beginDestination(Destination::colorTable);
      colorHasComponents_ = false;
      colorComponents_ = {};
      return true;
    case Word::field:
      group().field = static_cast<int>(fields_.size());
      group().ownsField = true;
      fields_.emplace_back().start = group().start;
      return true;
    case Word::fldinst:
      if (group().field >= 0) {
        beginDestination(Destination::fieldInstruction);
      } else {
        skipGroup();
      }
      return true;
    case Word::fldrslt:
      if (atFieldLevel()) {
        Field& field = fields_[static_cast<std::size_t>(group().field)];
        if (!field.parsed) {
          field.url = hyperlinkUrl(field.instruction);
          if (!field.url && !field.instructionGroups.empty()) {
            field.markup = markupOf(field.instructionGroups, field.start);
          }
          field.parsed = true;
        }
        if (field.url || field.markup) group().format.field = group().field;
      }
      formatChanged_ = true;
      return true;
    case Word::shppict:
      return true;
    case Word::pict:
      beginDestination(Destination::picture);
      picture_.clear();
      pictureFormat_ = PictureFormat::none;
      pictureFormatParameter_ = 0;
      pictureSize_ = {};
      pictureHighNibble_ = -1;
      return true;
    case Word::nextGraphic:
      beginDestination(Destination::attachmentName);
      attachmentName_.clear();
      attachmentSize_ = {};
      return true;
    case Word::nonshppict:
    case Word::skippedDestination:
      skipGroup();
      return true;
    case Word::bodyMarkup:
    case Word::sectionMarkup:
    case Word::documentMarkup:
      captureGroup(word);
      return true;
    default:
      return false;
  }
}

bool RtfReader::atFieldLevel() const {
  const GroupState& current = groups_.back();
  if (current.field < 0 || current.ownsField) return current.field >= 0;
  const GroupState& outer = groups_[groups_.size() - 2];  // a group inherits its field from it
  return outer.ownsField && outer.field == current.field;
}

void RtfReader::applyWord(Word word, const ControlWord& control) {
  if (applyMarkupWord(word, control)) return;
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
    default:
      break;
  }
  if (applyPictureWord(word, control)) return;
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
    case Word::ulnone:
      format.underline = 0;
      break;
    case Word::strike:
      format.strike = on;
      break;
    case Word::striked:
      format.doubleStrike = on;
      break;
    case Word::super:
      format.superscript = 1;
      break;
    case Word::sub:
      format.superscript = -1;
      break;
    case Word::nosupersub:
      format.superscript = 0;
      break;
    case Word::up:
      format.baselineOffset = control.hasParameter ? control.parameter : kDefaultRaise;
      break;
    case Word::dn:
      format.baselineOffset = -(control.hasParameter ? control.parameter : kDefaultRaise);
      break;
    case Word::expnd:
      format.kern = clampedProduct(control.parameter, kTwipsPerQuarterPoint);
      break;
    case Word::expndtw:
      format.kern = control.parameter;
      break;
    case Word::caps:
      format.allCaps = on;
      break;
    case Word::scaps:
      format.smallCaps = on;
      break;
    case Word::v:
      format.hidden = on;
      break;
    case Word::cf:
      format.foreground = control.parameter;
      break;
    case Word::cb:
      format.background = control.parameter;
      break;
    default:
      if (const auto style = underlineStyleOfWord(word)) format.underline = on ? *style : 0;
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
    case Word::intbl:
      paragraph.inTable = true;
      break;
    case Word::itap:
      paragraph.tableDepth = std::max(value, 0);
      break;
    case Word::ls:
      paragraph.list = std::max(value, 0);
      break;
    case Word::ilvl:
      paragraph.listLevel = std::max(value, 0);
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
    case Word::tx:
    case Word::tb:
      if (word == Word::tb) paragraph.nextTab.alignment = TabAlignment::bar;
      paragraph.nextTab.position = value;
      if (paragraph.tabStops.size() < kMaxTabStops) paragraph.tabStops.push_back(paragraph.nextTab);
      paragraph.nextTab = {};
      break;
    case Word::tqr:
      paragraph.nextTab.alignment = TabAlignment::right;
      break;
    case Word::tqc:
      paragraph.nextTab.alignment = TabAlignment::center;
      break;
    case Word::tqdec:
      paragraph.nextTab.alignment = TabAlignment::decimal;
      break;
    case Word::tldot:
      paragraph.nextTab.leader = TabLeader::dots;
      break;
    case Word::tlmdot:
      paragraph.nextTab.leader = TabLeader::middleDots;
      break;
    case Word::tlhyph:
      paragraph.nextTab.leader = TabLeader::hyphens;
      break;
    case Word::tlul:
      paragraph.nextTab.leader = TabLeader::underline;
      break;
    case Word::tlth:
      paragraph.nextTab.leader = TabLeader::thickLine;
      break;
    case Word::tleq:
      paragraph.nextTab.leader = TabLeader::equals;
      break;
    case Word::rtlpar:
      paragraph.direction = WritingDirection::rightToLeft;
      break;
    case Word::ltrpar:
      paragraph.direction = WritingDirection::leftToRight;
      break;
    case Word::outlinelevel:
      paragraph.outlineLevel = std::clamp(value, -1, kMaxOutlineLevel);
      break;
    case Word::keepn:
      paragraph.keepWithNext = !control.hasParameter || value != 0;
      break;
    case Word::keep:
      paragraph.keepTogether = !control.hasParameter || value != 0;
      break;
    default:
      break;
  }
}

bool RtfReader::applyPictureWord(Word word, const ControlWord& control) {
  const Destination destination = group().destination;
  if (destination == Destination::attachmentName) {
    if (word == Word::width) attachmentSize_.width = control.parameter;
    if (word == Word::height) attachmentSize_.height = control.parameter;
    return word == Word::width || word == Word::height;
  }
  if (destination != Destination::picture) return false;
  if (const PictureFormat format = pictureFormatOfWord(word); format != PictureFormat::none) {
    pictureFormat_ = format;
    pictureFormatParameter_ = control.parameter;
    return true;
  }
  if (std::optional<std::int32_t>* size = pictureSizeOfWord(word, pictureSize_)) {
    *size = control.parameter;
    return true;
  }
  return false;
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
