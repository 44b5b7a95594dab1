#include "services/catalogue.h"

#include <array>

#include "services/messages.h"

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

// An entry whose handler writes back the kind of text it read.
constexpr ServiceEntry textService(std::string_view name, std::string_view handlerName,
                                   ReadMode mode, std::string_view message, std::string_view title,
                                   Textrix::Handler handler) {
  return {name, handlerName, mode, message, sendTypesOf(mode), sendTypesOf(mode), title, handler};
}

// An entry whose handler writes nothing back.
constexpr ServiceEntry silentService(std::string_view name, std::string_view handlerName,
                                     ReadMode mode, std::string_view title,
                                     Textrix::Handler handler) {
  return {name, handlerName, mode, {}, sendTypesOf(mode), kNoTypes, title, handler};
}

// An entry whose handler writes plain text whatever it read.
constexpr ServiceEntry insertService(std::string_view name, std::string_view handlerName,
                                     ReadMode mode, std::string_view message,
                                     std::string_view title, Textrix::Handler handler) {
  return {name, handlerName, mode, message, sendTypesOf(mode), kPlainTypes, title, handler};
}

using M = ReadMode;
using T = Textrix;

// The services in the order of the menu.
const std::array kCatalogue = {
    textService("upper", "doUpperService:userData:error:", M::mutableCopy, kUpperCaseMessage,
                "Upper Case", &T::doUpperService),
    textService("lower", "doLowerService:userData:error:", M::mutableCopy, kLowerCaseMessage,
                "Lower Case", &T::doLowerService),
    textService("capitalize-words", "doCapitalizeWordsService:userData:error:", M::mutableCopy,
                kCapitalizeMessage, "Capitalize Words", &T::doCapitalizeWordsService),
    textService("capitalize-sentences", "doCapitalizeSentencesService:userData:error:", M::plain,
                kCapitalizeMessage, "Capitalize Sentences", &T::doCapitalizeSentencesService),
    textService("shift-left", "doShiftLeftService:userData:error:", M::plain, kShiftLeftMessage,
                "Shift Left", &T::doShiftLeftService),
    textService("shift-right", "doShiftRightService:userData:error:", M::plain, kShiftRightMessage,
                "Shift Right", &T::doShiftRightService),
    textService("entab", "doEntabService:userData:error:", M::lines, kTabsMessage, "Spaces to Tabs",
                &T::doEntabService),
    textService("detab", "doDetabService:userData:error:", M::lines, kTabsMessage, "Tabs to Spaces",
                &T::doDetabService),
    textService("trim-left", "doTrimLeftService:userData:error:", M::plain, kTrimMessage,
                "Trim Line Starts", &T::doTrimLeftService),
    textService("trim-right", "doTrimRightService:userData:error:", M::plain, kTrimMessage,
                "Trim Line Ends", &T::doTrimRightService),
    textService("trim", "doTrimService:userData:error:", M::plain, kTrimMessage, "Trim Lines",
                &T::doTrimService),
    silentService("speak-native", "doSpeakNativeService:userData:error:", M::plain, "Speak",
                  &T::doSpeakNativeService),
    silentService("speak-german", "doSpeakGermanService:userData:error:", M::plain, "Speak German",
                  &T::doSpeakGermanService),
    silentService("stop-speaking", "doStopSpeakingService:userData:error:", M::none,
                  "Stop Speaking", &T::doStopSpeakingService),
    textService("sort-ascending", "doSortAscendingService:userData:error:", M::plain, kSortMessage,
                "Sort Lines Ascending", &T::doSortAscendingService),
    textService("sort-descending", "doSortDescendingService:userData:error:", M::plain,
                kSortMessage, "Sort Lines Descending", &T::doSortDescendingService),
    insertService("insert-time", "doInsertTimeService:userData:error:", M::none, {}, "Insert Time",
                  &T::doInsertTimeService),
    insertService("insert-short-date", "doInsertShortDateService:userData:error:", M::none, {},
                  "Insert Short Date", &T::doInsertShortDateService),
    insertService("insert-long-date", "doInsertLongDateService:userData:error:", M::none, {},
                  "Insert Long Date", &T::doInsertLongDateService),
    insertService("insert-short-date-time", "doInsertShortDateTimeService:userData:error:", M::none,
                  {}, "Insert Short Date and Time", &T::doInsertShortDateTimeService),
    insertService("insert-long-date-time", "doInsertLongDateTimeService:userData:error:", M::none,
                  {}, "Insert Long Date and Time", &T::doInsertLongDateTimeService),
    insertService("insert-path", "doInsertPathService:userData:error:", M::plain,
                  kInsertPathMessage, "Insert Directory Listing", &T::doInsertPathService),
    textService("reformat", "doReformatService:userData:error:", M::attributed, kReformatMessage,
                "Reformat Paragraphs", &T::doReformatService),
    textService("remove-attachments", "doRemoveAttachmentsService:userData:error:", M::mutableCopy,
                kRemoveAttachmentsMessage, "Remove Attachments", &T::doRemoveAttachmentsService),
    textService("remove-links", "doRemoveLinksService:userData:error:", M::mutableCopy,
                kRemoveLinksMessage, "Remove Links", &T::doRemoveLinksService),
    textService(
        "remove-multiple-spaces", "doRemoveMultipleSpacesService:userData:error:", M::mutableCopy,
        kRemoveMultipleSpacesMessage, "Remove Multiple Spaces", &T::doRemoveMultipleSpacesService),
    textService("remove-multiple-feeds", "doRemoveMultipleFeedsService:userData:error:",
                M::mutableCopy, kRemoveMultipleSpacesMessage, "Remove Multiple Line Breaks",
                &T::doRemoveMultipleFeedsService),
    textService("remove-quotes", "doRemoveQuotesService:userData:error:", M::mutableCopy,
                kRemoveQuotesMessage, "Remove Quote Marks", &T::doRemoveQuotesService),
    textService("remove-line-endings", "doRemoveLineEndingsService:userData:error:", M::plain,
                kLineEndingsMessage, "Remove Line Endings", &T::doRemoveLineEndingsService),
    textService("macintosh-line-endings", "doMacintoshLineEndingsService:userData:error:", M::plain,
                kLineEndingsMessage, "Macintosh Line Endings (CR)",
                &T::doMacintoshLineEndingsService),
    textService("unix-line-endings", "doUnixLineEndingsService:userData:error:", M::plain,
                kLineEndingsMessage, "Unix Line Endings (LF)", &T::doUnixLineEndingsService),
    textService("windows-line-endings", "doWindowsLineEndingsService:userData:error:", M::plain,
                kLineEndingsMessage, "Windows Line Endings (CR LF)",
                &T::doWindowsLineEndingsService),
    textService("rotate", "doRotateService:userData:error:", M::plain, kRotateMessage,
                "Rotate Letters (ROT13)", &T::doRotateService),
    textService("mac2windows", "doMac2WindowsService:userData:error:", M::plain, kEncodingMessage,
                "Repair Mac Text for Windows", &T::doMac2WindowsService),
    textService("windows2mac", "doWindows2MacService:userData:error:", M::plain, kEncodingMessage,
                "Repair Windows Text for Mac", &T::doWindows2MacService),
    textService("smart-quotes", "doSmartQuotesService:userData:error:", M::attributedCopy,
                kQuotesMessage, "Smart Quotes", &T::doSmartQuotesService),
    textService("straight-quotes", "doStraightQuotesService:userData:error:", M::attributedCopy,
                kQuotesMessage, "Straight Quotes", &T::doStraightQuotesService),
    silentService("statistics", "doStatisticsService:userData:error:", M::plain, "Statistics",
                  &T::doStatisticsService),
};

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
                    std::string_view userData, std::string& error) {
  (provider.*entry.handler)(pasteboard, userData, error);
}

}  // namespace textrix
