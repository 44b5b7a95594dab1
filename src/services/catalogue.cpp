// SPDX-License-Identifier: MIT
#include "services/catalogue.h"

#include <array>
#include <utility>

#include "runtime/defaults.h"
#include "runtime/formats.h"
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

using M = ReadMode;

// The services in the order of the menu.
const std::array kCatalogue = {
    lineByLine(textService(
        "upper", "doUpperService:userData:error:", M::mutableCopy, kUpperCaseMessage, "Upper Case",
        "Changes every letter to its capital form.", editing([](auto& text) { uppercase(text); }))),
    lineByLine(textService(
        "lower", "doLowerService:userData:error:", M::mutableCopy, kLowerCaseMessage, "Lower Case",
        "Changes every letter to its small form.", editing([](auto& text) { lowercase(text); }))),
    lineByLine(textService("capitalize-words", "doCapitalizeWordsService:userData:error:",
                           M::mutableCopy, kCapitalizeMessage, "Capitalize Words",
                           "Capitalizes the first letter of every word and lower-cases the rest.",
                           editing([](auto& text) { capitalize(text); }))),
    textService(
        "capitalize-sentences", "doCapitalizeSentencesService:userData:error:", M::plain,
        kCapitalizeMessage, "Capitalize Sentences",
        "Lower-cases the text, then capitalizes the first letter of each sentence.",
        mapping([](std::u16string_view text) { return stringByCapitalizingSentences(text); })),
    lineByLine(textService(
        "shift-left", "doShiftLeftService:userData:error:", M::plain, kShiftLeftMessage,
        "Shift Left", "Removes one tab, or a tab's width of spaces, from the start of every line.",
        mapping([](std::u16string_view text) {
          return stringByShiftingLinesLeft(text, Textrix::tabs());
        }))),
    lineByLine(textService(
        "shift-right", "doShiftRightService:userData:error:", M::plain, kShiftRightMessage,
        "Shift Right", "Indents every line by one tab.",
        mapping([](std::u16string_view text) { return stringByShiftingLinesRight(text); }))),
    lineByLine(textService(
        "entab", "doEntabService:userData:error:", M::lines, kTabsMessage, "Spaces to Tabs",
        "Replaces the spaces that end on a tab stop with tabs.", convertTabsOfSelection<true>)),
    lineByLine(textService("detab", "doDetabService:userData:error:", M::lines, kTabsMessage,
                           "Tabs to Spaces",
                           "Replaces every tab with the spaces up to the next tab stop.",
                           convertTabsOfSelection<false>)),
    lineByLine(textService("trim-left", "doTrimLeftService:userData:error:", M::plain, kTrimMessage,
                           "Trim Line Starts",
                           "Removes the spaces and tabs at the start of every line.",
                           mapping([](std::u16string_view text) {
                             return stringByTrimmingLines(text, true, false);
                           }))),
    lineByLine(textService("trim-right", "doTrimRightService:userData:error:", M::plain,
                           kTrimMessage, "Trim Line Ends",
                           "Removes the spaces and tabs at the end of every line.",
                           mapping([](std::u16string_view text) {
                             return stringByTrimmingLines(text, false, true);
                           }))),
    lineByLine(textService(
        "trim", "doTrimService:userData:error:", M::plain, kTrimMessage, "Trim Lines",
        "Removes the spaces and tabs at both ends of every line.",
        mapping([](std::u16string_view text) { return stringByTrimmingLines(text, true, true); }))),
    silentService("speak-native", "doSpeakNativeService:userData:error:", M::plain, "Speak",
                  "Reads the text aloud with the default voice.", speakSelection<false>),
    silentService("speak-german", "doSpeakGermanService:userData:error:", M::plain, "Speak German",
                  "Reads German text aloud, respelled for the default voice.",
                  speakSelection<true>),
    silentService("stop-speaking", "doStopSpeakingService:userData:error:", M::none,
                  "Stop Speaking", "Stops the speech in progress.", stopSpeech),
    textService("sort-ascending", "doSortAscendingService:userData:error:", M::plain, kSortMessage,
                "Sort Lines Ascending", "Sorts the lines from A to Z, ignoring case.",
                mapping([](std::u16string_view text) {
                  return sortLines(text, sortCaseInsensitiveAscending);
                })),
    textService("sort-descending", "doSortDescendingService:userData:error:", M::plain,
                kSortMessage, "Sort Lines Descending",
                "Sorts the lines from Z to A, ignoring case.",
                mapping([](std::u16string_view text) {
                  return sortLines(text, sortCaseInsensitiveDescending);
                })),
    insertService("insert-time", "doInsertTimeService:userData:error:", M::none, {}, "Insert Time",
                  "Puts the current time in place of the selection.", insertDate<timeFormat>),
    insertService("insert-short-date", "doInsertShortDateService:userData:error:", M::none, {},
                  "Insert Short Date",
                  "Puts today's date, in short form, in place of the selection.",
                  insertDate<shortDateFormat>),
    insertService("insert-long-date", "doInsertLongDateService:userData:error:", M::none, {},
                  "Insert Long Date", "Puts today's date, in long form, in place of the selection.",
                  insertDate<dateFormat>),
    insertService("insert-short-date-time", "doInsertShortDateTimeService:userData:error:", M::none,
                  {}, "Insert Short Date and Time",
                  "Puts the short date and the time in place of the selection.",
                  insertDate<shortDateTimeFormat>),
    insertService("insert-long-date-time", "doInsertLongDateTimeService:userData:error:", M::none,
                  {}, "Insert Long Date and Time",
                  "Puts the long date and the time in place of the selection.",
                  insertDate<dateTimeFormat>),
    insertService("insert-path", "doInsertPathService:userData:error:", M::plain,
                  kInsertPathMessage, "Insert Directory Listing",
                  "Replaces a selected folder's path with the paths of everything in it.",
                  mapping([](std::u16string_view text) { return directoryListing(text); })),
    textService("reformat", "doReformatService:userData:error:", M::attributed, kReformatMessage,
                "Reformat Paragraphs",
                "Joins hard-wrapped, mail-quoted lines into paragraphs without > marks.",
                reformatSelection),
    lineByLine(textService("remove-attachments", "doRemoveAttachmentsService:userData:error:",
                           M::mutableCopy, kRemoveAttachmentsMessage, "Remove Attachments",
                           "Removes the pictures and files embedded in rich text.",
                           editingRichText([](AttributedText& text) { removeAttachments(text); }))),
    lineByLine(textService("remove-links", "doRemoveLinksService:userData:error:", M::mutableCopy,
                           kRemoveLinksMessage, "Remove Links",
                           "Turns links into ordinary text, without their underline and colour.",
                           editingRichText([](AttributedText& text) { removeLinks(text); }))),
    lineByLine(textService("remove-multiple-spaces",
                           "doRemoveMultipleSpacesService:userData:error:", M::mutableCopy,
                           kRemoveMultipleSpacesMessage, "Remove Multiple Spaces",
                           "Replaces every run of spaces and tabs with one space.",
                           editing([](auto& text) { removeMultipleSpaces(text); }))),
    // Removing multiple line breaks reports the spaces message: the two share it.
    textService("remove-multiple-feeds", "doRemoveMultipleFeedsService:userData:error:",
                M::mutableCopy, kRemoveMultipleSpacesMessage, "Remove Multiple Line Breaks",
                "Replaces every run of line breaks with one, removing empty lines.",
                editing([](auto& text) { removeMultipleFeeds(text); })),
    lineByLine(textService("remove-quotes", "doRemoveQuotesService:userData:error:", M::mutableCopy,
                           kRemoveQuotesMessage, "Remove Quote Marks",
                           "Removes every > and < of mail quoting.",
                           editing([](auto& text) { removeQuotes(text); }))),
    lineByLine(textService(
        "remove-line-endings", "doRemoveLineEndingsService:userData:error:", M::plain,
        kLineEndingsMessage, "Remove Line Endings",
        "Joins the lines into one, with a space where each line ended.",
        mapping([](std::u16string_view text) { return replaceLineEndings(text, u" "); }))),
    lineByLine(textService(
        "macintosh-line-endings", "doMacintoshLineEndingsService:userData:error:", M::plain,
        kLineEndingsMessage, "Macintosh Line Endings (CR)",
        "Ends every line with a carriage return (CR).",
        mapping([](std::u16string_view text) { return replaceLineEndings(text, u"\r"); }))),
    lineByLine(textService(
        "unix-line-endings", "doUnixLineEndingsService:userData:error:", M::plain,
        kLineEndingsMessage, "Unix Line Endings (LF)", "Ends every line with a line feed (LF).",
        mapping([](std::u16string_view text) { return replaceLineEndings(text, u"\n"); }))),
    lineByLine(textService(
        "windows-line-endings", "doWindowsLineEndingsService:userData:error:", M::plain,
        kLineEndingsMessage, "Windows Line Endings (CR LF)",
        "Ends every line with a carriage return and a line feed (CR LF).",
        mapping([](std::u16string_view text) { return replaceLineEndings(text, u"\r\n"); }))),
    lineByLine(
        textService("rotate", "doRotateService:userData:error:", M::plain, kRotateMessage,
                    "Rotate Letters (ROT13)",
                    "Moves each letter A to Z 13 places on; doing it twice restores the text.",
                    mapping([](std::u16string_view text) {
                      return stringByRotating13(std::u16string(text));
                    }))),
    lineByLine(
        textService("mac2windows", "doMac2WindowsService:userData:error:", M::plain,
                    kEncodingMessage, "Repair Mac Text for Windows",
                    "Repairs Mac text read as Windows text: its Windows-1252 bytes as Mac Roman.",
                    mapping([](std::u16string_view text) { return mac2Windows(text); }))),
    lineByLine(
        textService("windows2mac", "doWindows2MacService:userData:error:", M::plain,
                    kEncodingMessage, "Repair Windows Text for Mac",
                    "Repairs Windows text read as Mac text: its Mac Roman bytes as Windows-1252.",
                    mapping([](std::u16string_view text) { return windows2Mac(text); }))),
    textService("smart-quotes", "doSmartQuotesService:userData:error:", M::attributedCopy,
                kQuotesMessage, "Smart Quotes",
                "Turns typewriter quotes and apostrophes into typographic ones.",
                convertToSmartQuotesOfUser),
    lineByLine(
        textService("straight-quotes", "doStraightQuotesService:userData:error:", M::attributedCopy,
                    kQuotesMessage, "Straight Quotes",
                    "Turns typographic quotes, guillemets and apostrophes into typewriter ones.",
                    editing([](auto& text) { convertToStraightQuotes(text); }))),
    silentService("statistics", "doStatisticsService:userData:error:", M::plain, "Statistics",
                  "Counts the characters, spaces, words and lines, and shows the counts.",
                  showStatistics),
};

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
