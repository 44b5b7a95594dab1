// SPDX-License-Identifier: MIT
#include "rich/rtf_markup.h"

#include <gtest/gtest.h>

#include <string>

#include "rich/rtf.h"
#include "support/files.h"
#include "text/attributed_text.h"

namespace textrix {
namespace {

std::string readAndWrite(std::string_view rtf) {
  const RichTextReading reading = readRtf(rtf);
  EXPECT_TRUE(reading.ok()) << reading.error.message() << " at " << reading.error.offset;
  return writeRtf(reading.text);
}

TEST(RtfMarkup, RenumbersFontAndColourWordsAndNothingElse) {
  const auto font = [](int n) { return n + 10; };
  const auto color = [](int n) { return n * 2; };
  EXPECT_EQ(
      detail::renumberReferences(R"({\f1\af2\cf3\clcbpat4\brdrcf5 x\fs24\fi-3})", font, color),
      R"({\f11\af12\cf6\clcbpat8\brdrcf10 x\fs24\fi-3})");
  // \'xx, escaped symbols and the bytes of \bin are never taken for words.
  EXPECT_EQ(detail::renumberReferences("\\'f1\\\\f1\\bin3 \\f1\\f1", font, color),
            "\\'f1\\\\f1\\bin3 \\f1\\f11");
}

TEST(RtfMarkup, StatesTheFallbackCountOnlyWhereUnicodeIsWritten) {
  EXPECT_EQ(detail::withUnicodeSkip(R"({\*\footnote \u8226?x})", 1),
            R"({\*\footnote\uc1 \u8226?x})");
  EXPECT_EQ(detail::withUnicodeSkip(R"({\listtext\u-4064??})", 2), R"({\listtext\uc2 \u-4064??})");
  EXPECT_EQ(detail::withUnicodeSkip(R"({\footnote \ul x})", 1), R"({\footnote \ul x})");
  EXPECT_EQ(detail::withUnicodeSkip(R"({\footnote \u8226 x})", 0), R"({\footnote \u8226 x})");
}

struct KeptCase {
  const char* name;
  const char* rtf;
  std::u16string text;  // the characters read
  std::string written;  // what the writer puts back, in place
};

class RtfMarkupKept : public testing::TestWithParam<KeptCase> {};

TEST_P(RtfMarkupKept, ReadsAroundTheMarkupAndWritesItBackInPlace) {
  const KeptCase& c = GetParam();
  const RichTextReading reading = readRtf(c.rtf);
  ASSERT_TRUE(reading.ok());
  EXPECT_EQ(reading.text.string(), c.text);
  const std::string written = writeRtf(reading.text);
  EXPECT_NE(written.find(c.written), std::string::npos) << written;
  EXPECT_EQ(readAndWrite(written), written) << "a second reading changes it";
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RtfMarkupKept,
    testing::Values(
        KeptCase{"FootnoteWithItsFormattedMark",
                 R"({\rtf1 note{\super\chftn}{\*\footnote\chftn The text.} after})", u"note after",
                 R"(note{\super\chftn}{\*\footnote\chftn The text.} after)"},
        KeptCase{"TableRowsCellsAndLayout",
                 R"({\rtf1 \trowd\trgaph108\cellx1000\cellx2000\pard\intbl a\cell b\cell\row})",
                 u"a\tb\t\n",
                 R"(\trowd\trgaph108\cellx1000\cellx2000\pard\intbl a\cell b\cell\row)"},
        KeptCase{
            "ListTableAtTheHeadAndNumbersBeforeTheItem",
            R"({\rtf1{\*\listtable{\list\listid1}}{\listoverridetable{\listoverride\listid1\ls1}})"
            R"(\pard{\listtext 1.\tab}\ls1\ilvl0 item\par})",
            u"item\n",
            "{\\colortbl;}\n{\\*\\listtable{\\list\\listid1}}{\\listoverridetable{\\listoverride"
            "\\listid1\\ls1}}\n{\\listtext 1.\\tab}\\pard\\ls1\\ilvl0 item\\par"},
        KeptCase{"HeaderBeforeAnyTextGoesToTheHead", R"({\rtf1{\header\pard head\par}body})",
                 u"body", "}\n{\\header\\pard head\\par}\n\\pard body"},
        KeptCase{"FieldAroundItsResult", R"({\rtf1 a {\field{\*\fldinst DATE}{\fldrslt 1/2}} b})",
                 u"a 1/2 b", R"(a {\field{\*\fldinst DATE}{\fldrslt 1/2}} b)"},
        KeptCase{"FieldWithoutResultWhole", R"({\rtf1 a{\field{\*\fldinst PAGE}{\fldrslt }}b})",
                 u"ab", R"(a{\field{\*\fldinst PAGE}{\fldrslt }}b)"},
        KeptCase{"PictureOfNoKnownFormat", R"({\rtf1 a{\pict\picw10 0102}b})", u"ab",
                 R"(a{\pict\picw10 0102}b)"},
        KeptCase{"MarkupAtTheEndAfterTheLastCharacter", R"({\rtf1 end{\*\bkmkstart x}})", u"end",
                 R"(end{\*\bkmkstart x})"},
        KeptCase{"FontsAndColoursByTheWrittenTables",
                 R"({\rtf1{\fonttbl{\f0 Times;}{\f5 Courier;}})"
                 R"({\colortbl;\red255\green0\blue0;\red0\green0\blue255;})"
                 R"({\f5 x}{\*\footnote \f5\cf2 n}{\f0 y}})",
                 u"xy", R"(x{\*\footnote \f0\cf1 n}\f1 y)"},
        KeptCase{"UnicodeFallbackOfTheDocument", R"({\rtf1 a{\*\footnote \u8226?n}b})", u"ab",
                 R"(a{\*\footnote\uc1 \u8226?n}b)"},
        KeptCase{"GroupStatingItsOwnFallbackCount",
                 R"({\rtf1 a{\super\uc2\chftn{\*\footnote \u8226??n}}b})", u"ab",
                 R"(a{\super\uc1 \uc2\chftn{\*\footnote \u8226??n}}b)"},
        KeptCase{"GeneratedNumberAfterTextAlone", R"({\rtf1 {\b a\chftn}b})", u"ab",
                 R"(a\chftn\b0 b)"},
        KeptCase{"DestinationAfterTextTakesTheRestOfItsGroup", R"({\rtf1 a{x\footnote n}b})",
                 u"axb", R"(x{\footnote n}b)"},
        KeptCase{"PictureAfterTextTakesTheRestOfItsGroup", R"({\rtf1 a{x\pict\picw10 0102}b})",
                 u"axb", R"(x{\pict\picw10 0102}b)"}),
    [](const testing::TestParamInfo<KeptCase>& info) { return info.param.name; });

TEST(RtfMarkup, AFootnoteBetweenBlanksStaysWhenTheyCollapse) {
  AttributedText text = readRtf(R"({\rtf1 a {\*\footnote n} b})").text;
  ASSERT_EQ(text.string(), u"a  b");
  text.rewrite([](EditSink& edits) { edits.replace(1, 2, u" "); });
  EXPECT_NE(writeRtf(text).find(R"(a{\*\footnote n} b)"), std::string::npos) << writeRtf(text);
}

// Markup that ends with a control word says the same whether text follows it at once or after
// the word's delimiting space.
TEST(RtfMarkup, KeepsNoDelimiterAfterItsLastWord) {
  const struct {
    const char* joined;
    const char* delimited;
    std::size_t before;  // the character the markup comes before
  } rows[] = {
      {R"({\rtf1 \trowd\cellx1000a\cell\row})", R"({\rtf1 \trowd\cellx1000 a\cell\row})", 0},
      {R"({\rtf1 {\b a\chftn}b})", R"({\rtf1 {\b a\chftn }b})", 1},
  };
  const auto markupOf = [](const char* rtf, std::size_t index) -> std::string {
    const RichTextReading reading = readRtf(rtf);
    const Markup* markup =
        reading.text.attributesAtIndex(index).get<Markup>(kRtfMarkupBeforeAttributeName);
    return markup != nullptr ? markup->code : "<none>";
  };

  for (const auto& row : rows) {
    SCOPED_TRACE(row.joined);
    EXPECT_NE(markupOf(row.joined, row.before), "<none>");
    EXPECT_EQ(markupOf(row.joined, row.before), markupOf(row.delimited, row.before));
  }
}

TEST(RtfMarkup, EqualPiecesAtTwoPlacesStayTwo) {
  const AttributedText text = readRtf(R"({\rtf1 a{\*\bkmkstart x}b{\*\bkmkstart x}c})").text;
  ASSERT_EQ(text.string(), u"abc");
  EXPECT_EQ(text.runs().size(), 3u);
}

struct EditCase {
  const char* name;
  std::size_t start;
  std::size_t length;
  std::u16string replacement;
  std::u16string edited;
  std::string written;
};

class RtfStructureEdits : public testing::TestWithParam<EditCase> {};

TEST_P(RtfStructureEdits, ChangeTheTextOfATableAndNeverItsCells) {
  const EditCase& c = GetParam();
  AttributedText text =
      readRtf(R"({\rtf1 \trowd\cellx1000\cellx2000\pard\intbl a b\cell c\cell\row})").text;
  ASSERT_EQ(text.string(), u"a b\tc\t\n");
  text.rewrite([&](EditSink& edits) { edits.replace(c.start, c.length, c.replacement); });
  EXPECT_EQ(text.string(), c.edited);
  EXPECT_NE(writeRtf(text).find(c.written), std::string::npos) << writeRtf(text);
}

INSTANTIATE_TEST_SUITE_P(
    Rows, RtfStructureEdits,
    testing::Values(EditCase{"TabOfACellAloneStays", 3, 1, u"    ", u"a b\tc\t\n", "a b\\cell c"},
                    EditCase{"RangeWithACellEndKeepsItAfter", 1, 3, u"_", u"a_\tc\t\n",
                             "a_\\cell c\\cell\\row"},
                    EditCase{"InsertionAfterACellIsText", 4, 0, u"\t", u"a b\t\tc\t\n",
                             "a b\\cell\\tab c"}),
    [](const testing::TestParamInfo<EditCase>& info) { return info.param.name; });

// Documents of word processors: every piece the text model has no place for comes back.
struct DocumentCase {
  const char* file;
  std::vector<std::string> kept;
};

class RtfMarkupDocuments : public testing::TestWithParam<DocumentCase> {};

TEST_P(RtfMarkupDocuments, KeepFootnotesListsTablesAndFields) {
  const std::string written = readAndWrite(fixture(GetParam().file));
  for (const std::string& piece : GetParam().kept) {
    EXPECT_NE(written.find(piece), std::string::npos) << piece;
  }
}

INSTANTIATE_TEST_SUITE_P(
    Fixtures, RtfMarkupDocuments,
    testing::Values(DocumentCase{"libreoffice_report.rtf",
                                 {"{\\*\\listtable", "{\\listoverridetable", "{\\header",
                                  "{\\footer", "\\chftn{\\*\\footnote", "\\ls1\\ilvl0",
                                  "\\cellx8640", "\\intbl", "\\cell\\row", "{\\*\\fldinst  DATE",
                                  "{\\shp"}},
                    DocumentCase{"pandoc_notes.rtf",
                                 {"{\\super\\chftn}{\\*\\footnote", "\\trowd \\trgaph120",
                                  "\\cell\\row", "HYPERLINK"}}));

}  // namespace
}  // namespace textrix
