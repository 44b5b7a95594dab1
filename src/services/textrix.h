// SPDX-License-Identifier: MIT
// The provider object: the one exchange through which every service of the catalogue reads its
// selection and writes its result, with the state that lives as long as the process: the tab width,
// read once, and the synthesizer of the last speech.
//
//   textrix::Textrix provider(environment);
//   std::string error;
//   textrix::performService(provider, *textrix::findService("upper"), pasteboard, "", error);
#pragma once

#include <cstdint>

#include "runtime/defaults.h"
#include "runtime/exchange.h"

namespace textrix {

class Textrix final : public Service {
 public:
  using Service::Service;

  // The tab width, 2 to 99: the TabulatorWidth setting (4 when absent), read, clamped and written
  // back once per process; later calls return the first answer.
  static std::int32_t tabs();

  // True while the synthesizer of the last speak is speaking.
  static bool isSpeaking();
  // Stops the synthesizer of the last speak, if any, and releases it.
  static void stopSpeaking();
};

namespace detail {
// Steps of tabs() after the cache: read TabulatorWidth from the store, clamp it to 2..99, write it
// back and save the store.
std::int32_t readTabs(UserDefaults& defaults);
}  // namespace detail

}  // namespace textrix
