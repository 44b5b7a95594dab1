// SPDX-License-Identifier: MIT
// The speech services: speak the selection with the user's voice, speak it after respelling German
// as English-like phonetic text, and stop speaking.
//
// Speech goes where the provider's environment says (SpeechOutput): to the sound device, spoken in
// the background while the provider goes on serving; into a WAV file; or, as text, to a printer
// function. Speech to the device goes through the user's speech-dispatcher server when one is
// running, so that the voice, rate, pitch, volume and synthesizer the user chose there apply
// (services/speech_dispatcher.h); else espeak-ng synthesizes it with its default voice and the
// sound library plays it. A WAV file is always espeak-ng's. At most one synthesizer exists at a
// time: a new speech cuts off the one before it. Each library is loaded when speech first needs
// it; where none can speak, that speech is silence.
//
//   textrix::stringByConvertingGermanToEnglishPhonemes(u"Ich kann 2 sehen");
//       // "EEHSH KUN  TSwIGH  sAY HEN"
//   textrix::SpeechSynthesizer speaker(output, textrix::SpeechLanguage::german);
//   speaker.startSpeakingString(u"Hallo");
//   while (speaker.isSpeaking()) wait();
//
// Positions and lengths are UTF-16 code units.
#pragma once

#include <array>
#include <cstdint>
#include <functional>
#include <memory>
#include <span>
#include <string>
#include <string_view>

#include "runtime/exchange.h"

namespace textrix {

// text lower-cased (full mapping, no locale), then each of + % & < > = and the digits 0 to 9
// replaced by its German word with a space on either side ('<' by "größer", '>' by "kleiner"),
// then respelled from left to right: at each position the first row of kGermanPhonemes whose key
// the text continues with is replaced by its rendering, and the scan goes on after the rendering;
// where no row matches, the code unit stays. A key longer than the rest of the text does not
// match. One pass for each of the three steps, whatever the length of text.
std::u16string stringByConvertingGermanToEnglishPhonemes(std::u16string_view text);

// The speak services: stops the speech of the last call, then starts speaking text (when german is
// set, after the German rewriting and asking the speech server for German) to output, with a
// synthesizer that Textrix::isSpeaking and Textrix::stopSpeaking then ask. Speech that cannot
// start is silence, never an error.
void speakString(std::u16string_view text, const SpeechOutput& output, bool german);

// The 44-byte header of a WAV file of 16-bit mono PCM at sampleRate samples a second followed by
// dataBytes bytes of samples: a RIFF chunk of dataBytes + 36 bytes holding the format chunk and
// the data chunk, all sizes little-endian. dataBytes is at most kMaxWavDataBytes.
std::array<std::uint8_t, 44> wavHeader(std::uint32_t dataBytes, std::uint32_t sampleRate);
inline constexpr std::uint32_t kMaxWavDataBytes = 0xFFFFFFFFu - 36u - 1u;  // even: whole samples

// The language a speech asks the speech server for: the one the user configured there, or German.
// espeak-ng always speaks with its default voice.
enum class SpeechLanguage { userDefault, german };

// A text being spoken aloud on the sound device by one engine: the user's speech server or
// espeak-ng with the sound library. Its methods are called from one thread at a time; the engine
// may end the speech from a thread of its own.
class Utterance {
 public:
  virtual ~Utterance() = default;
  // True from the start of the speech until its end, its failure or its stop.
  virtual bool isSpeaking() const = 0;
  // Cuts the speech off, if it is still going, and returns when the engine has let go of it.
  virtual void stop() = 0;
};

// One speech, sent where output says. Speaking never reports an error: a speech that cannot be
// made is simply not heard.
class SpeechSynthesizer {
 public:
  explicit SpeechSynthesizer(SpeechOutput output,
                             SpeechLanguage language = SpeechLanguage::userDefault);
  // Cuts off the speech still playing.
  ~SpeechSynthesizer();
  SpeechSynthesizer(const SpeechSynthesizer&) = delete;
  SpeechSynthesizer& operator=(const SpeechSynthesizer&) = delete;

  // Starts speaking text (a U+0000 is spoken as a space). To the device: returns at once and
  // speaks in the background, through the user's speech server when one answers, else with
  // espeak-ng (nothing is heard when there is no sound output). To a WAV file: returns when the
  // file holds the whole speech of espeak-ng (speech past kMaxWavDataBytes is left out). As text:
  // hands text to printText. False when nothing could be started (no speech server and no sound
  // output, no speech engine, a file that cannot be written); a second call first stops the first
  // speech.
  bool startSpeakingString(std::u16string_view text);
  // True from the start of a speech to the device until it has been spoken, or it failed, or it
  // was stopped; never true for a file or text.
  bool isSpeaking() const { return utterance_ && utterance_->isSpeaking(); }
  // Cuts off the speech to the device and waits for its engine to let go of it; nothing when it
  // is silent.
  void stopSpeaking();

 private:
  bool startSpeakingAloud(std::u16string_view text);

  SpeechOutput output_;
  SpeechLanguage language_;
  std::unique_ptr<Utterance> utterance_;  // the speech to the device, or none
};

namespace detail {
// True when some sound output may be reachable: a PulseAudio or PipeWire server (PULSE_SERVER, or
// a server socket in XDG_RUNTIME_DIR), a sound card's playback device (/dev/snd/pcm*p), an OSS
// device (/dev/dsp) or an ALSA configuration that may name another output. False means speech to
// the device would be lost.
bool hasSoundOutput();

// Synthesizes utf8 (text in UTF-8 without U+0000) with the engine's default voice and hands its
// 16-bit samples to sink, piece by piece, until sink answers false. The engine is set up on the
// first call and used by one caller at a time. False when there is no engine (its library or its
// data missing).
bool synthesizeSpeech(const std::string& utf8,
                      const std::function<bool(std::span<const std::int16_t>)>& sink);
// The engine's samples per second, or 0 when there is no engine.
std::uint32_t speechSampleRate();
}  // namespace detail

}  // namespace textrix
