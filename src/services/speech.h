// The speech services: speak the selection with the engine's default voice, speak it after
// respelling German as English-like phonetic text for that voice, and stop speaking.
//
// Speech goes where the provider's environment says (SpeechOutput): to the sound device, played
// in the background while the provider goes on serving; into a WAV file; or, as text, to a
// printer function. At most one synthesizer exists at a time: a new speech cuts off the one
// before it. The speech engine's library and the sound library are loaded when speech is first
// made; where one cannot be loaded, that speech is silence.
//
//   textrix::stringByConvertingGermanToEnglishPhonemes(u"Ich kann 2 sehen");
//       // "EEHSH KUN  TSwIGH  sAY HEN"
//   textrix::SpeechSynthesizer speaker(output);
//   speaker.startSpeakingString(u"Hello");
//   while (speaker.isSpeaking()) wait();
//
// Positions and lengths are UTF-16 code units.
#pragma once

#include <array>
#include <atomic>
#include <cstdint>
#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <thread>

#include "runtime/exchange.h"

namespace textrix {

// text lower-cased (full mapping, no locale), then each of + % & < > = and the digits 0 to 9
// replaced by its German word with a space on either side ('<' by "größer", '>' by "kleiner"),
// then respelled from left to right: at each position the first row of kGermanPhonemes whose key
// the text continues with is replaced by its rendering, and the scan goes on after the rendering;
// where no row matches, the code unit stays. A key longer than the rest of the text does not
// match. One pass for each of the three steps, whatever the length of text.
std::u16string stringByConvertingGermanToEnglishPhonemes(std::u16string_view text);

// The speak services: stops the speech of the last call, then starts speaking text (after the
// German rewriting when german is set) to output, with a synthesizer that Textrix::isSpeaking and
// Textrix::stopSpeaking then ask. Speech that cannot start is silence, never an error.
void speakString(std::u16string_view text, const SpeechOutput& output, bool german);

// The 44-byte header of a WAV file of 16-bit mono PCM at sampleRate samples a second followed by
// dataBytes bytes of samples: a RIFF chunk of dataBytes + 36 bytes holding the format chunk and
// the data chunk, all sizes little-endian. dataBytes is at most kMaxWavDataBytes.
std::array<std::uint8_t, 44> wavHeader(std::uint32_t dataBytes, std::uint32_t sampleRate);
inline constexpr std::uint32_t kMaxWavDataBytes = 0xFFFFFFFFu - 36u - 1u;  // even: whole samples

// One speech of the engine with its default voice, sent where output says. Speaking never
// reports an error: a speech that cannot be made is simply not heard.
class SpeechSynthesizer {
 public:
  explicit SpeechSynthesizer(SpeechOutput output);
  // Cuts off the speech still playing.
  ~SpeechSynthesizer();
  SpeechSynthesizer(const SpeechSynthesizer&) = delete;
  SpeechSynthesizer& operator=(const SpeechSynthesizer&) = delete;

  // Starts speaking text (a U+0000 is spoken as a space). To the device: returns at once and
  // plays in the background; nothing is heard when there is no sound output. To a WAV file:
  // returns when the file holds the whole speech (speech past kMaxWavDataBytes is left out). As
  // text: hands text to printText. False when nothing could be started (no sound output, no
  // speech engine, a file that cannot be written); a second call first stops the first speech.
  bool startSpeakingString(std::u16string_view text);
  // True from the start of a speech to the device until its last sample has been played, or it
  // failed, or it was stopped; never true for a file or text.
  bool isSpeaking() const { return playing_.load(); }
  // Cuts off the speech to the device and waits for the player to let go of the device; nothing
  // when it is silent.
  void stopSpeaking();

 private:
  bool startPlaying(std::u16string_view text);
  void play(std::string utf8);

  SpeechOutput output_;
  std::thread player_;
  std::atomic<bool> playing_{false};
  std::atomic<bool> stopRequested_{false};
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
