// SPDX-License-Identifier: MIT
// The control words the RTF reader knows and what each does: the table from name to Word, the
// character a character word stands for, and, in rtf_control_words.cpp, how the reader applies
// every other word to its state. A name is looked up once per control word read, so the names sit
// in a hash table instead of a chain of comparisons; an unknown name is ignored, so that documents
// from writers with words of their own still read.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string_view>
#include <utility>

#include "text/attributes.h"

namespace textrix::detail {

// A control word as written: \name, optionally followed by a signed number.
struct ControlWord {
  std::string_view name;  // empty when longer than any word the reader knows
  bool hasParameter = false;
  int parameter = 0;
  std::size_t end = 0;  // the offset after the word and its delimiting space
};

// What a control word does; names with one effect share a Word (\chcbpat and \highlight are
// \cb).
enum class Word : std::uint8_t {
  unknown,
  // destinations
  fonttbl,
  colortbl,
  field,
  fldinst,
  fldrslt,
  pict,
  shppict,
  nonshppict,
  nextGraphic,
  skippedDestination,
  bodyMarkup,      // kept as markup before the next character
  sectionMarkup,   // kept at the head of the document before any text, else as bodyMarkup
  documentMarkup,  // kept at the head of the document
  // markup that is not a destination
  generatedCharacter,  // a number the word processor puts in (a footnote's, a page's)
  trowd,               // a table row's layout: the words that follow, up to one the reader knows
  // document
  ansi,
  mac,
  pc,
  pca,
  ansicpg,
  deff,
  uc,
  u,
  bin,
  paperw,
  paperh,
  margl,
  margr,
  margt,
  margb,
  // font table and colour table entries
  fcharset,
  cpg,
  red,
  green,
  blue,
  // character formatting
  plain,
  f,
  fs,
  fsmilli,
  b,
  i,
  ul,
  uld,
  uldash,
  uldashd,
  uldashdd,
  uldb,
  ulhwave,
  ulldash,
  ulth,
  ulthd,
  ulthdash,
  ulthdashd,
  ulthdashdd,
  ulthldash,
  ululdbwave,
  ulw,
  ulwave,
  ulnone,
  strike,
  striked,
  super,
  sub,
  nosupersub,
  up,
  dn,
  expnd,
  expndtw,
  caps,
  scaps,
  v,
  cf,
  cb,
  // paragraph formatting
  pard,
  ql,
  qr,
  qc,
  qj,
  fi,
  li,
  ri,
  sb,
  sa,
  sl,
  slmult,
  slleading,
  tx,
  tb,
  tqr,
  tqc,
  tqdec,
  tldot,
  tlmdot,
  tlhyph,
  tlul,
  tlth,
  tleq,
  rtlpar,
  ltrpar,
  outlinelevel,
  keepn,
  keep,
  intbl,  // the paragraph is a table cell's
  itap,   // at this depth of nested tables
  ls,     // an item of this list
  ilvl,   // at this level
  // pictures and attachments
  pngblip,
  jpegblip,
  emfblip,
  wmetafile,
  dibitmap,
  wbitmap,
  macpict,
  pmmetafile,
  picw,
  pich,
  picwgoal,
  pichgoal,
  picscalex,
  picscaley,
  wbmbitspixel,
  wbmplanes,
  wbmwidthbytes,
  width,
  height,
  // characters
  par,
  line,
  tab,
  page,
  cell,
  row,
  nestcell,
  nestrow,
  emdash,
  endash,
  emspace,
  enspace,
  qmspace,
  bullet,
  lquote,
  rquote,
  ldblquote,
  rdblquote,
  zwj,
  zwnj,
  ltrmark,
  rtlmark,
};

// The word of a control word's name; Word::unknown for a name the reader does not know.
Word lookUpWord(std::string_view name);

// The character a control word stands for, or 0 when it stands for none.
char16_t characterOfWord(Word word);

// The extension of a file that holds a picture of the format ("png", "wmf", ...).
std::string_view pictureFileExtension(PictureFormat format);
// The word that names the format in a \pict group, and whether it takes a number; none for
// PictureFormat::none.
std::optional<std::pair<std::string_view, bool>> pictureFormatWord(PictureFormat format);

// The underline style (text/attributes.h) a word of the \ul family sets, or none for another word.
std::optional<std::int64_t> underlineStyleOfWord(Word word);
// The name of the word that sets a non-zero underline style: the style's own, else the nearest
// one RTF has (the style without by-word, else its line alone, else a single line).
std::string_view underlineWordOfStyle(std::int64_t style);

}  // namespace textrix::detail
