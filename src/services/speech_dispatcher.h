// SPDX-License-Identifier: MIT
// Speech through the user's own speech-dispatcher server, so that the voice, rate, pitch, volume
// and synthesizer that the user configured there speak the text. The server is asked, never
// started: where no server is running for the user, where its client library (libspeechd.so.2,
// loaded on first use) is missing, or where the server does not take the text, there is no
// utterance and the caller speaks another way.
//
// Each utterance has a connection of its own, which starts from the server's settings for this
// client ("USER:textrix:speech"): only German is asked for, by speak-german, and everything else is
// what the user configured, the language included.
//
//   std::unique_ptr<textrix::Utterance> speech =
//       textrix::speakThroughDispatcher("Guten Tag", textrix::SpeechLanguage::german);
//   if (!speech) speakAnotherWay();
//   while (speech->isSpeaking()) wait();
//
// The server is found where SPEECHD_ADDRESS says, else at the socket speech-dispatcher/speechd.sock
// of $XDG_RUNTIME_DIR.
#pragma once

#include <memory>
#include <string>

#include "services/speech.h"

namespace textrix {

// Starts speaking utf8 (UTF-8 without U+0000, any length) through the user's speech-dispatcher
// server, in language. Returns at once, with the utterance, which speaks until the server reports
// that the text has been spoken or cancelled, or until the server goes away; none when the text
// could not be handed to a running server.
std::unique_ptr<Utterance> speakThroughDispatcher(const std::string& utf8, SpeechLanguage language);

}  // namespace textrix
