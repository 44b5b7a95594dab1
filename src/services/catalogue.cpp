// SPDX-License-Identifier: MIT
#include "services/catalogue.h"

#include <array>
#include <utility>

#include "runtime/defaults.h"
#include "runtime/formats.h"
#include "runtime/localization.h"
#include "services/attachments_and_links.h"
#include "services/case.h"
#include "services/insert.h"
#include "services/messages.h"
#include "services/quotes.h"
#include "services/reformat.h"
#include "services/rotate_and_encodings.h"
#include "services/shift_and_tabs.h"
#include "services/sort.h"
#include "services/spaces_and_line_endings.h"
#include "services/speech.h"
#include "services/statistics.h"
#include "services/textrix.h"
#include "services/trim.h"

namespace textrix {
namespace {

constexpr std::string_view kPlainTypes[] = {kStringPboardType};
constexpr std::string_view kRichTypes[] = {kStringPboardType, kRTFPboardType, kRTFDPboardType};
constexpr std::span<const std::string_view> kNoTypes;

constexpr std::span<const std::string_view> sendTypesOf(ReadMode mode) {
  switch (mode) {
    case ReadMode::plain:
      return kPlainTypes;
    case ReadMode::none:
      return kNoTypes;
    default:
      return kRichTypes;
  }
}

// Transforms made of one operation that has a form for each kind of text, or only a plain form.

// Applies edit (callable on std::u16string& and AttributedText&) to the selection in place.
template <class Edit>
constexpr TextTransform editing(Edit) {
  return [](ServiceText& text, Textrix&) { std::visit(Edit{}, text); };
}

// Applies edit to rich text only: plain text has nothing it could change.
template <class Edit>
constexpr TextTransform editingRichText(Edit) {
  return [](ServiceText& text, Textrix&) {
    if (auto* rich = std::get_if<AttributedText>(&text)) Edit{}(*rich);
  };
}

// Maps plain text to its result with map(std::u16string_view).
template <class Map>
constexpr PlainTransform mapping(Map) {
  return [](std::u16string_view text, Textrix&) -> std::optional<std::u16string> {
    return Map{}(text);
  };
}

// The services whose work needs more than one operation.

// The tab services convert rich text line by line; plain text in one scan, with the same result.
template <bool encode>
void convertTabsOfSelection(ServiceText& text, Textrix&) {
  const int width = Textrix::tabs();
  if (auto* plain = std::get_if<std::u16string>(&text)) {
    *plain = stringByConvertingTabs(*plain, width, encode);
    return;
  }
  AttributedLinesAndEmptyText selection =
      getEmptyMutableStringAndLines(std::get<AttributedText>(text));
  convertTabsOfLines(selection, width, encode);
  text = std::move(selection.result);
}

void reformatSelection(ServiceText& text, Textrix&) {
  if (auto* plain = std::get_if<std::u16string>(&text)) {
    *plain = reformattedStringByRemovingCharactersOfString(*plain, kReformatRemovedCharacters);
    return;
  }
  text = reformattedAttributedStringByRemovingCharactersOfString(std::get<AttributedText>(text),
                                                                 kReformatRemovedCharacters);
}

template <bool german>
std::optional<std::u16string> speakSelection(std::u16string_view text, Textrix& provider) {
  speakString(text, provider.environment().speechOutput, german);
  return std::nullopt;
}

std::optional<std::u16string> stopSpeech(std::u16string_view, Textrix&) {
  Textrix::stopSpeaking();
  return std::nullopt;
}

// The date and time services never read the selection and never fail.
template <auto format>
std::optional<std::u16string> insertDate(std::u16string_view, Textrix&) {
  return stringFromCurrentDate(format(UserDefaults::standardUserDefaults()));
}

// Shows the counts and then ends the process, unless speech is still going on: the process then
// ends at the first slice that finds it silent. The alert itself brings the provider to the front.
std::optional<std::u16string> showStatistics(std::u16string_view text, Textrix& provider) {
  const TextStatistics statistics = statisticsOfString(text);
  provider.environment().runAlertPanel(statisticsTitle(), statisticsMessage(statistics));
  if (!Textrix::isSpeaking()) provider.environment().terminate();
  return std::nullopt;
}

void convertToSmartQuotesOfUser(ServiceText& text, Textrix&) {
  const SmartQuotes quotes = localizedSmartQuotes();
  std::visit([&quotes](auto& selection) { convertToSmartQuotes(selection, quotes); }, text);
}

// An entry whose service writes back the kind of text it read.
constexpr ServiceEntry textService(std::string_view name, std::string_view handlerName,
                                   ReadMode mode, std::string_view message, std::string_view title,
                                   std::string_view summary,
                                   std::variant<PlainTransform, TextTransform> transform) {
  const std::span<const std::string_view> types = sendTypesOf(mode);
  return {name, handlerName, mode, message, types, types, title, summary, transform};
}

// An entry whose service writes nothing back.
constexpr ServiceEntry silentService(std::string_view name, std::string_view handlerName,
                                     ReadMode mode, std::string_view title,
                                     std::string_view summary, PlainTransform transform) {
  return {name, handlerName, mode, {}, sendTypesOf(mode), kNoTypes, title, summary, transform};
}

// An entry whose service writes plain text whatever it read.
constexpr ServiceEntry insertService(std::string_view name, std::string_view handlerName,
                                     ReadMode mode, std::string_view message,
                                     std::string_view title, std::string_view summary,
                                     PlainTransform transform) {
  return {name,        handlerName, mode,    message,  sendTypesOf(mode),
          kPlainTypes, title,       summary, transform};
}

// An entry whose service works on each line of plain text alone.
constexpr ServiceEntry lineByLine(ServiceEntry entry) {
  entry.linesIndependent = true;
  return entry;
}

// An entry of lineByLine whose service also works on UTF-8 as it is.
constexpr ServiceEntry alsoOnUtf8(ServiceEntry entry, Utf8Transform transform) {
  entry.utf8Transform = transform;
  return entry;
}

// An entry whose service speaks the text, so that it can be printed or recorded instead.
constexpr ServiceEntry speaking(ServiceEntry entry) {
  entry.speaks = true;
  return entry;
}

// The help of a service: its paragraph and its example, found by the service's name.
struct ServiceHelp {
  std::string_view name;
  std::string_view help;
  std::string_view example;
};

constexpr ServiceHelp kHelp[] = {
    {"upper",
     N_("Changes every letter to its capital form with the full Unicode mapping of no locale, so "
        "the "
        "text may grow (\"straße\" becomes \"STRASSE\"). Rich text keeps its attributes run by "
        "run."),
     "printf 'straße' | textrix upper"},
    {"lower",
     N_("Changes every letter to its small form with the full Unicode mapping of no locale. Rich "
        "text keeps its attributes run by run."),
     "printf 'HELLO World' | textrix lower"},
    {"capitalize-words",
     N_("Puts the first letter of every word (by the Unicode word boundaries) in title case and "
        "every other letter in lower case. Rich text keeps its attributes run by run."),
     "printf 'hELLO wORLD' | textrix capitalize-words"},
    {"capitalize-sentences",
     N_("Lower-cases the text, then capitalizes its first letter and the first letter after each "
        "'.', ':' or ';' and after an opening straight double quote; '!' and '?' end no sentence. "
        "Rich text comes back as plain text."),
     "printf 'ONE. two; three' | textrix capitalize-sentences"},
    {"shift-left",
     N_("Removes one indentation step from the start of every line: a tab, or blanks up to the tab "
        "width (the TabulatorWidth setting). Rich text comes back as plain text."),
     "printf '\\tone\\n    two' | textrix shift-left"},
    {"shift-right",
     N_("Puts a tab in front of every line, none after a final line break. Rich text comes back as "
        "plain text."),
     "printf 'one\\ntwo' | textrix shift-right"},
    {"entab",
     N_("Replaces every run of spaces and tabs that ends exactly on a tab stop with one tab; "
        "blanks "
        "short of a stop stay. Tab stops are every TabulatorWidth columns. Rich text keeps its "
        "attributes."),
     "printf 'a       b' | textrix entab"},
    {"detab",
     N_("Replaces every tab with the spaces up to the next tab stop, every TabulatorWidth columns. "
        "Rich text keeps its attributes."),
     "printf 'a\\tb' | textrix detab"},
    {"trim-left",
     N_("Removes the spaces and tabs at the start of every line. Rich text comes back as plain "
        "text."),
     "printf '  one\\n\\ttwo' | textrix trim-left"},
    {"trim-right",
     N_("Removes the spaces and tabs at the end of every line, keeping the line breaks. Rich text "
        "comes back as plain text."),
     "printf 'one  \\ntwo\\t' | textrix trim-right"},
    {"trim",
     N_("Removes the spaces and tabs at both ends of every line, keeping the line breaks. Rich "
        "text "
        "comes back as plain text."),
     "printf '  one  \\n two ' | textrix trim"},
    {"speak-native",
     N_("Reads the text aloud with the user's speech server, else with espeak-ng's default voice, "
        "and returns when the speech has ended. --print prints the text instead, --wav FILE "
        "records the speech in a WAV file. Writes no result."),
     "printf 'Hello' | textrix speak-native --wav hello.wav"},
    {"speak-german",
     N_("Respells German text as English-like phonetic text, spelling out digits and symbols in "
        "German words, and reads that aloud with the default voice. --print prints the respelled "
        "text, --wav FILE records the speech in a WAV file. Writes no result."),
     "printf 'ich' | textrix speak-german --print"},
    {"stop-speaking",
     N_("Stops the speech that a speak service of this process or of the provider is making. Reads "
        "no selection and writes no result."),
     "textrix call stop-speaking </dev/null"},
    {"sort-ascending",
     N_("Sorts the lines from A to Z, ignoring case. The line endings stay where they were, so a "
        "text without a final line break still ends without one. Rich text comes back as plain "
        "text."),
     "printf 'pear\\nApple\\nfig' | textrix sort-ascending"},
    {"sort-descending",
     N_("Sorts the lines from Z to A, ignoring case. The line endings stay where they were. Rich "
        "text comes back as plain text."),
     "printf 'pear\\nApple\\nfig' | textrix sort-descending"},
    {"insert-time",
     N_("Writes the current time in the NSTimeFormatString format in place of the selection, which "
        "is not read."),
     "textrix insert-time </dev/null"},
    {"insert-short-date",
     N_("Writes today's date in the NSShortDateFormatString format in place of the selection, "
        "which "
        "is not read."),
     "textrix insert-short-date </dev/null"},
    {"insert-long-date",
     N_("Writes today's date in the NSDateFormatString format in place of the selection, which is "
        "not read."),
     "textrix insert-long-date </dev/null"},
    {"insert-short-date-time",
     N_("Writes the short date and the time (NSShortDateFormatString and NSTimeFormatString) in "
        "place of the selection, which is not read."),
     "textrix insert-short-date-time </dev/null"},
    {"insert-long-date-time",
     N_("Writes the long date and the time (NSDateFormatString and NSTimeFormatString) in place of "
        "the selection, which is not read."),
     "textrix insert-long-date-time </dev/null"},
    {"insert-path",
     N_("Takes the selection as the path of a folder (a leading ~ is your home) and writes the "
        "paths "
        "of everything below it, at any depth, one a line. Reports its message when the path names "
        "no folder."),
     "printf '~/Documents' | textrix insert-path"},
    {"reformat",
     N_("Turns hard-wrapped, mail-quoted text into flowing paragraphs: removes the > and < marks, "
        "trims every line, joins the lines of a paragraph with single spaces and separates "
        "paragraphs by a blank line. Rich text keeps its attributes."),
     "printf '> Hello\\n> world.\\n>\\n> Bye\\n' | textrix reformat"},
    {"remove-attachments",
     N_("Removes the pictures and files embedded in rich text and keeps everything else; an RTFD "
        "with no attachment left comes back as RTF. Plain text comes back unchanged."),
     "textrix remove-attachments letter.rtfd >letter.rtf"},
    {"remove-links",
     N_("Turns the links of rich text into ordinary text, without their underline and colour. "
        "Plain "
        "text comes back unchanged."),
     "textrix remove-links page.rtf >plain-links.rtf"},
    {"remove-multiple-spaces",
     N_("Replaces every run of spaces and tabs with one space. Rich text keeps its attributes."),
     "printf 'a  \\t b' | textrix remove-multiple-spaces"},
    {"remove-multiple-feeds",
     N_("Replaces every run of line breaks with one, so that no empty line is left. Rich text "
        "keeps "
        "its attributes."),
     "printf 'one\\n\\n\\ntwo' | textrix remove-multiple-feeds"},
    {"remove-quotes",
     N_("Removes every > and < of mail quoting; the blanks after them stay. Rich text keeps its "
        "attributes."),
     "printf '> quoted\\n>> twice' | textrix remove-quotes"},
    {"remove-line-endings",
     N_("Joins the lines into one, with a space where each line break was. Rich text comes back as "
        "plain text."),
     "printf 'one\\ntwo\\r\\nthree' | textrix remove-line-endings"},
    {"macintosh-line-endings",
     N_("Ends every line with a carriage return (CR), whatever ended it before. Rich text comes "
        "back "
        "as plain text."),
     "printf 'one\\r\\ntwo\\n' | textrix macintosh-line-endings"},
    {"unix-line-endings",
     N_("Ends every line with a line feed (LF), whatever ended it before. Rich text comes back as "
        "plain text."),
     "printf 'one\\r\\ntwo\\r' | textrix unix-line-endings"},
    {"windows-line-endings",
     N_("Ends every line with a carriage return and a line feed (CR LF), whatever ended it before. "
        "Rich text comes back as plain text."),
     "printf 'one\\ntwo\\n' | textrix windows-line-endings"},
    {"rotate",
     N_("Moves each letter A to Z and a to z 13 places on in the alphabet (ROT13); other "
        "characters "
        "stay, and rotating twice gives the text back. Rich text comes back as plain text."),
     "printf 'Hello, World!' | textrix rotate"},
    {"mac2windows",
     N_("Repairs text whose Mac OS Roman bytes were read as Windows-1252: each character goes back "
        "to its Windows-1252 byte and is read as Mac OS Roman. Characters below U+0080 stay."),
     "printf '\\xc3\\xa9' | textrix mac2windows"},
    {"windows2mac",
     N_("Repairs text whose Windows-1252 bytes were read as Mac OS Roman: each character goes back "
        "to its Mac OS Roman byte and is read as Windows-1252. Characters below U+0080 stay."),
     "printf '\\xc3\\xa9' | textrix windows2mac"},
    {"smart-quotes",
     N_("Turns every straight double quote alternately into the opening and closing quote of your "
        "language, and every straight apostrophe into a typographic one. Rich text keeps its "
        "attributes."),
     "printf 'say \"hi\", it'\\''s' | textrix smart-quotes"},
    {"straight-quotes",
     N_("Turns typographic single quotes, apostrophes and accents into ' and typographic double "
        "quotes and guillemets into \". Rich text keeps its attributes."),
     "printf '\\xe2\\x80\\x9chi\\xe2\\x80\\x9d' | textrix straight-quotes"},
    {"statistics",
     N_("Counts the characters, spaces, words and lines of the text and prints the panel: its "
        "title, "
        "then the counts. Writes no result."),
     "printf 'hello world' | textrix statistics"},
};

// The help that kHelp holds for name; an empty paragraph for a name it lacks.
constexpr ServiceHelp helpOf(std::string_view name) {
  for (const ServiceHelp& help : kHelp) {
    if (help.name == name) return help;
  }
  return {name, {}, {}};
}

// The entries with their help put in, every one of them: a service without help does not build.
template <std::size_t size>
constexpr std::array<ServiceEntry, size> explained(std::array<ServiceEntry, size> entries) {
  for (ServiceEntry& entry : entries) {
    const ServiceHelp help = helpOf(entry.name);
    if (help.help.empty() || help.example.empty()) throw "a service without help";
    entry.help = help.help;
    entry.example = help.example;
  }
  return entries;
}

using M = ReadMode;

// The services in the order of the menu.
constexpr std::array kCatalogue = explained(std::array{
    lineByLine(textService("upper", "doUpperService:userData:error:", M::mutableCopy,
                           kUpperCaseMessage, N_("Upper Case"),
                           N_("Changes every letter to its capital form."),
                           editing([](auto& text) { uppercase(text); }))),
    lineByLine(textService("lower", "doLowerService:userData:error:", M::mutableCopy,
                           kLowerCaseMessage, N_("Lower Case"),
                           N_("Changes every letter to its small form."),
                           editing([](auto& text) { lowercase(text); }))),
    lineByLine(
        textService("capitalize-words", "doCapitalizeWordsService:userData:error:", M::mutableCopy,
                    kCapitalizeMessage, N_("Capitalize Words"),
                    N_("Capitalizes the first letter of every word and lower-cases the rest."),
                    editing([](auto& text) { capitalize(text); }))),
    textService(
        "capitalize-sentences", "doCapitalizeSentencesService:userData:error:", M::plain,
        kCapitalizeMessage, N_("Capitalize Sentences"),
        N_("Lower-cases the text, then capitalizes the first letter of each sentence."),
        mapping([](std::u16string_view text) { return stringByCapitalizingSentences(text); })),
    lineByLine(textService(
        "shift-left", "doShiftLeftService:userData:error:", M::plain, kShiftLeftMessage,
        N_("Shift Left"),
        N_("Removes one tab, or a tab's width of spaces, from the start of every line."),
        mapping([](std::u16string_view text) {
          return stringByShiftingLinesLeft(text, Textrix::tabs());
        }))),
    lineByLine(textService(
        "shift-right", "doShiftRightService:userData:error:", M::plain,
        kShiftRightMessage, N_("Shift Right"), N_("Indents every line by one tab."),
        mapping([](std::u16string_view text) { return stringByShiftingLinesRight(text); }))),
    lineByLine(textService(
        "entab", "doEntabService:userData:error:", M::lines, kTabsMessage, N_("Spaces to Tabs"),
        N_("Replaces the spaces that end on a tab stop with tabs."), convertTabsOfSelection<true>)),
    lineByLine(textService("detab", "doDetabService:userData:error:", M::lines, kTabsMessage,
                           N_("Tabs to Spaces"),
                           N_("Replaces every tab with the spaces up to the next tab stop."),
                           convertTabsOfSelection<false>)),
    alsoOnUtf8(lineByLine(textService("trim-left", "doTrimLeftService:userData:error:", M::plain,
                                      kTrimMessage, N_("Trim Line Starts"),
                                      N_("Removes the spaces and tabs at the start of every line."),
                                      mapping([](std::u16string_view text) {
                                        return stringByTrimmingLines(text, true, false);
                                      }))),
               [](std::string_view text) { return stringByTrimmingLineStarts(text); }),
    lineByLine(textService("trim-right", "doTrimRightService:userData:error:", M::plain,
                           kTrimMessage, N_("Trim Line Ends"),
                           N_("Removes the spaces and tabs at the end of every line."),
                           mapping([](std::u16string_view text) {
                             return stringByTrimmingLines(text, false, true);
                           }))),
    lineByLine(textService(
        "trim", "doTrimService:userData:error:", M::plain, kTrimMessage, N_("Trim Lines"),
        N_("Removes the spaces and tabs at both ends of every line."),
        mapping([](std::u16string_view text) { return stringByTrimmingLines(text, true, true); }))),
    speaking(silentService("speak-native", "doSpeakNativeService:userData:error:", M::plain,
                           N_("Speak"), N_("Reads the text aloud with the default voice."),
                           speakSelection<false>)),
    speaking(silentService(
        "speak-german", "doSpeakGermanService:userData:error:", M::plain, N_("Speak German"),
        N_("Reads German text aloud, respelled for the default voice."), speakSelection<true>)),
    silentService("stop-speaking", "doStopSpeakingService:userData:error:", M::none,
                  N_("Stop Speaking"), N_("Stops the speech in progress."), stopSpeech),
    textService("sort-ascending", "doSortAscendingService:userData:error:", M::plain, kSortMessage,
                N_("Sort Lines Ascending"), N_("Sorts the lines from A to Z, ignoring case."),
                mapping([](std::u16string_view text) {
                  return sortLines(text, sortCaseInsensitiveAscending);
                })),
    textService("sort-descending", "doSortDescendingService:userData:error:", M::plain,
                kSortMessage, N_("Sort Lines Descending"),
                N_("Sorts the lines from Z to A, ignoring case."),
                mapping([](std::u16string_view text) {
                  return sortLines(text, sortCaseInsensitiveDescending);
                })),
    insertService("insert-time", "doInsertTimeService:userData:error:", M::none, {},
                  N_("Insert Time"), N_("Puts the current time in place of the selection."),
                  insertDate<timeFormat>),
    insertService("insert-short-date", "doInsertShortDateService:userData:error:", M::none, {},
                  N_("Insert Short Date"),
                  N_("Puts today's date, in short form, in place of the selection."),
                  insertDate<shortDateFormat>),
    insertService("insert-long-date", "doInsertLongDateService:userData:error:", M::none, {},
                  N_("Insert Long Date"),
                  N_("Puts today's date, in long form, in place of the selection."),
                  insertDate<dateFormat>),
    insertService("insert-short-date-time", "doInsertShortDateTimeService:userData:error:", M::none,
                  {}, N_("Insert Short Date and Time"),
                  N_("Puts the short date and the time in place of the selection."),
                  insertDate<shortDateTimeFormat>),
    insertService("insert-long-date-time", "doInsertLongDateTimeService:userData:error:", M::none,
                  {}, N_("Insert Long Date and Time"),
                  N_("Puts the long date and the time in place of the selection."),
                  insertDate<dateTimeFormat>),
    insertService("insert-path", "doInsertPathService:userData:error:", M::plain,
                  kInsertPathMessage, N_("Insert Directory Listing"),
                  N_("Replaces a selected folder's path with the paths of everything in it."),
                  mapping([](std::u16string_view text) { return directoryListing(text); })),
    textService("reformat", "doReformatService:userData:error:", M::attributed, kReformatMessage,
                N_("Reformat Paragraphs"),
                N_("Joins hard-wrapped, mail-quoted lines into paragraphs without > marks."),
                reformatSelection),
    lineByLine(textService("remove-attachments", "doRemoveAttachmentsService:userData:error:",
                           M::mutableCopy, kRemoveAttachmentsMessage, N_("Remove Attachments"),
                           N_("Removes the pictures and files embedded in rich text."),
                           editingRichText([](AttributedText& text) { removeAttachments(text); }))),
    lineByLine(
        textService("remove-links", "doRemoveLinksService:userData:error:", M::mutableCopy,
                    kRemoveLinksMessage, N_("Remove Links"),
                    N_("Turns links into ordinary text, without their underline and colour."),
                    editingRichText([](AttributedText& text) { removeLinks(text); }))),
    lineByLine(textService("remove-multiple-spaces",
                           "doRemoveMultipleSpacesService:userData:error:", M::mutableCopy,
                           kRemoveMultipleSpacesMessage, N_("Remove Multiple Spaces"),
                           N_("Replaces every run of spaces and tabs with one space."),
                           editing([](auto& text) { removeMultipleSpaces(text); }))),
    // Removing multiple line breaks reports the spaces message: the two share it.
    textService("remove-multiple-feeds", "doRemoveMultipleFeedsService:userData:error:",
                M::mutableCopy, kRemoveMultipleSpacesMessage, N_("Remove Multiple Line Breaks"),
                N_("Replaces every run of line breaks with one, removing empty lines."),
                editing([](auto& text) { removeMultipleFeeds(text); })),
    lineByLine(textService("remove-quotes", "doRemoveQuotesService:userData:error:", M::mutableCopy,
                           kRemoveQuotesMessage, N_("Remove Quote Marks"),
                           N_("Removes every > and < of mail quoting."),
                           editing([](auto& text) { removeQuotes(text); }))),
    alsoOnUtf8(
        lineByLine(textService(
            "remove-line-endings", "doRemoveLineEndingsService:userData:error:", M::plain,
            kLineEndingsMessage, N_("Remove Line Endings"),
            N_("Joins the lines into one, with a space where each line ended."),
            mapping([](std::u16string_view text) { return replaceLineEndings(text, u" "); }))),
        [](std::string_view text) { return replaceLineEndings(text, " "); }),
    alsoOnUtf8(
        lineByLine(textService(
            "macintosh-line-endings",
            "doMacintoshLineEndingsService:userData:error:", M::plain, kLineEndingsMessage,
            N_("Macintosh Line Endings (CR)"), N_("Ends every line with a carriage return (CR)."),
            mapping([](std::u16string_view text) { return replaceLineEndings(text, u"\r"); }))),
        [](std::string_view text) { return replaceLineEndings(text, "\r"); }),
    alsoOnUtf8(
        lineByLine(textService(
            "unix-line-endings", "doUnixLineEndingsService:userData:error:", M::plain,
            kLineEndingsMessage, N_("Unix Line Endings (LF)"),
            N_("Ends every line with a line feed (LF)."),
            mapping([](std::u16string_view text) { return replaceLineEndings(text, u"\n"); }))),
        [](std::string_view text) { return replaceLineEndings(text, "\n"); }),
    alsoOnUtf8(
        lineByLine(textService(
            "windows-line-endings", "doWindowsLineEndingsService:userData:error:", M::plain,
            kLineEndingsMessage, N_("Windows Line Endings (CR LF)"),
            N_("Ends every line with a carriage return and a line feed (CR LF)."),
            mapping([](std::u16string_view text) { return replaceLineEndings(text, u"\r\n"); }))),
        [](std::string_view text) { return replaceLineEndings(text, "\r\n"); }),
    alsoOnUtf8(lineByLine(textService(
                   "rotate", "doRotateService:userData:error:", M::plain, kRotateMessage,
                   N_("Rotate Letters (ROT13)"),
                   N_("Moves each letter A to Z 13 places on; doing it twice restores the text."),
                   mapping([](std::u16string_view text) {
                     return stringByRotating13(std::u16string(text));
                   }))),
               [](std::string_view text) { return stringByRotating13(std::string(text)); }),
    lineByLine(textService(
        "mac2windows", "doMac2WindowsService:userData:error:", M::plain, kEncodingMessage,
        N_("Repair Mac Text for Windows"),
        N_("Repairs Mac text read as Windows text: its Windows-1252 bytes as Mac Roman."),
        mapping([](std::u16string_view text) { return mac2Windows(text); }))),
    lineByLine(textService(
        "windows2mac", "doWindows2MacService:userData:error:", M::plain, kEncodingMessage,
        N_("Repair Windows Text for Mac"),
        N_("Repairs Windows text read as Mac text: its Mac Roman bytes as Windows-1252."),
        mapping([](std::u16string_view text) { return windows2Mac(text); }))),
    textService("smart-quotes", "doSmartQuotesService:userData:error:", M::attributedCopy,
                kQuotesMessage, N_("Smart Quotes"),
                N_("Turns typewriter quotes and apostrophes into typographic ones."),
                convertToSmartQuotesOfUser),
    lineByLine(textService(
        "straight-quotes",
        "doStraightQuotesService:userData:error:", M::attributedCopy, kQuotesMessage,
        N_("Straight Quotes"),
        N_("Turns typographic quotes, guillemets and apostrophes into typewriter ones."),
        editing([](auto& text) { convertToStraightQuotes(text); }))),
    silentService("statistics", "doStatisticsService:userData:error:", M::plain, N_("Statistics"),
                  N_("Counts the characters, spaces, words and lines, and shows the counts."),
                  showStatistics),
});

bool offersPlainTextOnly(const ServicePasteboard& pasteboard) {
  return !pasteboard.containsType(kRTFDPboardType) && !pasteboard.containsType(kRTFPboardType) &&
         pasteboard.containsType(kStringPboardType);
}

// The selection as plain text, viewed where the pasteboard holds it when plain text is all it
// offers, so that the service reads it without a copy; rich text is read into storage. The view
// lasts until the pasteboard or storage changes.
std::optional<std::u16string_view> plainSelection(const Service& service,
                                                  const ServicePasteboard& pasteboard,
                                                  std::u16string& storage) {
  if (offersPlainTextOnly(pasteboard)) return pasteboard.stringForType(kStringPboardType);
  std::optional<ServiceText> text = service.getStringOfPboard(pasteboard, false);
  if (!text) return std::nullopt;
  storage = std::get<std::u16string>(std::move(*text));
  return storage;
}

// The selection with its attributes, read by the operation that the read mode names; each gives
// the caller a text of its own. Plain text alone is moved off the pasteboard rather than copied:
// a service that reads with attributes always writes its result back in its place.
std::optional<ServiceText> attributedSelection(const Service& service,
                                               ServicePasteboard& pasteboard, ReadMode mode) {
  if (offersPlainTextOnly(pasteboard)) {
    if (std::optional<std::u16string> text = pasteboard.takeString(kStringPboardType)) {
      return ServiceText(std::move(*text));
    }
  }
  switch (mode) {
    case ReadMode::mutableCopy:
    case ReadMode::lines:
      return service.getMutableStringOfPboard(pasteboard);
    case ReadMode::attributedCopy: {
      const std::optional<ServiceText> text = service.getStringOfPboard(pasteboard, true);
      return Service::mutableCopyOfPboardString(text ? &*text : nullptr);
    }
    default:
      return service.getStringOfPboard(pasteboard, true);
  }
}

std::optional<ServiceText> plainResult(Textrix& provider, const ServiceEntry& entry,
                                       const ServicePasteboard& pasteboard) {
  const auto transform = std::get<PlainTransform>(entry.transform);
  if (entry.readMode == ReadMode::none) return transform({}, provider);
  std::u16string storage;
  const std::optional<std::u16string_view> text = plainSelection(provider, pasteboard, storage);
  if (!text) return std::nullopt;
  return transform(*text, provider);
}

std::optional<ServiceText> attributedResult(Textrix& provider, const ServiceEntry& entry,
                                            ServicePasteboard& pasteboard) {
  std::optional<ServiceText> text = attributedSelection(provider, pasteboard, entry.readMode);
  if (text) std::get<TextTransform>(entry.transform)(*text, provider);
  return text;
}

}  // namespace

std::span<const ServiceEntry> serviceCatalogue() {
  return kCatalogue;
}

const ServiceEntry* findService(std::string_view name) {
  for (const ServiceEntry& entry : kCatalogue) {
    if (entry.name == name || entry.handlerName == name) return &entry;
  }
  return nullptr;
}

void performService(Textrix& provider, const ServiceEntry& entry, ServicePasteboard& pasteboard,
                    std::string_view, std::string& error) {
  std::optional<ServiceText> result = std::holds_alternative<PlainTransform>(entry.transform)
                                          ? plainResult(provider, entry, pasteboard)
                                          : attributedResult(provider, entry, pasteboard);
  if (!result) {
    error = entry.errorMessage;
    return;
  }
  provider.writeString(std::move(result), pasteboard);
}

}  // namespace textrix
