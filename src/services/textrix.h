// The provider: one object whose handlers serve the requests of the catalogue. Every handler takes
// the request's pasteboard, a user-data string that no handler reads, and an error slot. On
// success it writes its result onto the pasteboard; on failure it stores its one message in the
// error slot and leaves the pasteboard as it was. Handlers never throw.
//
//   textrix::Textrix provider;
//   std::string error;
//   provider.doUpperService(pasteboard, "", error);
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "runtime/defaults.h"
#include "runtime/exchange.h"
#include "services/sort.h"

namespace textrix {

class Textrix final : public Service {
 public:
  using Handler = void (Textrix::*)(ServicePasteboard& pboard, std::string_view userData,
                                    std::string& error);

  using Service::Service;

  // The tab width, 2 to 99: the TabulatorWidth setting (4 when absent), read, clamped and written
  // back once per process; later calls return the first answer.
  static std::int32_t tabs();

  void doUpperService(ServicePasteboard& pboard, std::string_view userData, std::string& error);
  void doLowerService(ServicePasteboard& pboard, std::string_view userData, std::string& error);
  void doCapitalizeWordsService(ServicePasteboard& pboard, std::string_view userData,
                                std::string& error);
  void doCapitalizeSentencesService(ServicePasteboard& pboard, std::string_view userData,
                                    std::string& error);

  // True while the synthesizer of the last speak is speaking.
  static bool isSpeaking();
  // Stops the synthesizer of the last speak, if any, and releases it.
  static void stopSpeaking();
  void doSpeakNativeService(ServicePasteboard& pboard, std::string_view userData,
                            std::string& error);
  void doSpeakGermanService(ServicePasteboard& pboard, std::string_view userData,
                            std::string& error);
  void doStopSpeakingService(ServicePasteboard& pboard, std::string_view userData,
                             std::string& error);

  void doShiftLeftService(ServicePasteboard& pboard, std::string_view userData, std::string& error);
  void doShiftRightService(ServicePasteboard& pboard, std::string_view userData,
                           std::string& error);
  void doEntabService(ServicePasteboard& pboard, std::string_view userData, std::string& error);
  void doDetabService(ServicePasteboard& pboard, std::string_view userData, std::string& error);
  void tabService(ServicePasteboard& pboard, std::string_view userData, std::string& error,
                  bool encode);

  void doTrimLeftService(ServicePasteboard& pboard, std::string_view userData, std::string& error);
  void doTrimRightService(ServicePasteboard& pboard, std::string_view userData, std::string& error);
  void doTrimService(ServicePasteboard& pboard, std::string_view userData, std::string& error);
  void trimService(ServicePasteboard& pboard, std::string_view userData, std::string& error,
                   bool left, bool right);

  void doRemoveMultipleSpacesService(ServicePasteboard& pboard, std::string_view userData,
                                     std::string& error);
  void doRemoveMultipleFeedsService(ServicePasteboard& pboard, std::string_view userData,
                                    std::string& error);
  void doRemoveLineEndingsService(ServicePasteboard& pboard, std::string_view userData,
                                  std::string& error);
  void doMacintoshLineEndingsService(ServicePasteboard& pboard, std::string_view userData,
                                     std::string& error);
  void doUnixLineEndingsService(ServicePasteboard& pboard, std::string_view userData,
                                std::string& error);
  void doWindowsLineEndingsService(ServicePasteboard& pboard, std::string_view userData,
                                   std::string& error);
  void replaceLineEndingsService(ServicePasteboard& pboard, std::string_view userData,
                                 std::string& error, std::u16string_view substitute);

  void doReformatService(ServicePasteboard& pboard, std::string_view userData, std::string& error);

  void doRemoveQuotesService(ServicePasteboard& pboard, std::string_view userData,
                             std::string& error);
  void doSmartQuotesService(ServicePasteboard& pboard, std::string_view userData,
                            std::string& error);
  void doStraightQuotesService(ServicePasteboard& pboard, std::string_view userData,
                               std::string& error);

  void doRemoveAttachmentsService(ServicePasteboard& pboard, std::string_view userData,
                                  std::string& error);
  void doRemoveLinksService(ServicePasteboard& pboard, std::string_view userData,
                            std::string& error);

  void doRotateService(ServicePasteboard& pboard, std::string_view userData, std::string& error);
  void doMac2WindowsService(ServicePasteboard& pboard, std::string_view userData,
                            std::string& error);
  void doWindows2MacService(ServicePasteboard& pboard, std::string_view userData,
                            std::string& error);

  void doSortAscendingService(ServicePasteboard& pboard, std::string_view userData,
                              std::string& error);
  void doSortDescendingService(ServicePasteboard& pboard, std::string_view userData,
                               std::string& error);
  void sortService(ServicePasteboard& pboard, std::string_view userData, std::string& error,
                   StringComparator selector);

  void doInsertTimeService(ServicePasteboard& pboard, std::string_view userData,
                           std::string& error);
  void doInsertShortDateService(ServicePasteboard& pboard, std::string_view userData,
                                std::string& error);
  void doInsertLongDateService(ServicePasteboard& pboard, std::string_view userData,
                               std::string& error);
  void doInsertShortDateTimeService(ServicePasteboard& pboard, std::string_view userData,
                                    std::string& error);
  void doInsertLongDateTimeService(ServicePasteboard& pboard, std::string_view userData,
                                   std::string& error);
  void doInsertPathService(ServicePasteboard& pboard, std::string_view userData,
                           std::string& error);

  void doStatisticsService(ServicePasteboard& pboard, std::string_view userData,
                           std::string& error);
};

namespace detail {
// Steps of tabs() after the cache: read TabulatorWidth from the store, clamp it to 2..99, write it
// back and save the store.
std::int32_t readTabs(UserDefaults& defaults);
}  // namespace detail

}  // namespace textrix
