// SPDX-License-Identifier: MIT
#include "services/speech.h"

#include <espeak-ng/espeak_ng.h>
#include <espeak-ng/speak_lib.h>
#include <pcaudiolib/audio.h>
#include <unistd.h>

#include <algorithm>
#include <atomic>
#include <bit>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <memory>
#include <mutex>
#include <optional>
#include <span>
#include <thread>
#include <vector>

#include "services/case.h"
#include "services/german_phonemes.h"
#include "services/speech_dispatcher.h"
#include "services/textrix.h"
#include "text/encodings.h"
#include "util/shared_library.h"

namespace textrix {
namespace {

// The character words: one pass, since no word holds a character that has a word.

constexpr std::uint8_t kNoWord = 0xFF;

// For each ASCII unit, its index in kCharacterWords, or kNoWord.
std::array<std::uint8_t, 0x80> characterWordIndex() {
  std::array<std::uint8_t, 0x80> index;
  index.fill(kNoWord);
  for (std::size_t k = 0; k < kCharacterWords.size(); ++k) {
    index[kCharacterWords[k].character] = static_cast<std::uint8_t>(k);
  }
  return index;
}

std::u16string withCharacterWords(std::u16string text) {
  static const std::array<std::uint8_t, 0x80> index = characterWordIndex();
  auto wordOf = [](char16_t c) { return c < index.size() ? index[c] : kNoWord; };
  std::size_t length = 0;
  bool any = false;
  for (char16_t c : text) {
    const std::uint8_t k = wordOf(c);
    any |= k != kNoWord;
    length += k == kNoWord ? 1 : kCharacterWords[k].word.size();
  }
  if (!any) return text;
  std::u16string out;
  out.reserve(length);
  std::size_t copiedTo = 0;
  for (std::size_t i = 0; i < text.size(); ++i) {
    const std::uint8_t k = wordOf(text[i]);
    if (k == kNoWord) continue;
    out.append(text, copiedTo, i - copiedTo);
    out.append(kCharacterWords[k].word);
    copiedTo = i + 1;
  }
  out.append(text, copiedTo);
  return out;
}

// The rows of kGermanPhonemes by the first code unit of their keys, each list in table order, so
// that a position tries only the rows that can match there. Keys that began at U+0100 or above
// would share one list, whose rows a position then tries whatever its first unit.
class PhonemeIndex {
 public:
  PhonemeIndex() {
    std::array<std::uint8_t, kBuckets + 1> counts{};
    for (const PhonemeRow& row : kGermanPhonemes) ++counts[bucketOf(row.german.front()) + 1];
    for (std::size_t b = 0; b < kBuckets; ++b) begin_[b + 1] = begin_[b] + counts[b + 1];
    std::array<std::uint8_t, kBuckets> next = {};
    std::copy_n(begin_.begin(), kBuckets, next.begin());
    for (std::size_t k = 0; k < kGermanPhonemes.size(); ++k) {
      rows_[next[bucketOf(kGermanPhonemes[k].german.front())]++] = static_cast<std::uint8_t>(k);
    }
  }

  std::span<const std::uint8_t> rowsStartingWith(char16_t c) const {
    const std::size_t b = bucketOf(c);
    return std::span(rows_).subspan(begin_[b], begin_[b + 1] - begin_[b]);
  }

 private:
  // One list for each unit below U+0100 and one for all the others.
  static constexpr std::size_t kBuckets = 0x101;
  static std::size_t bucketOf(char16_t c) { return std::min<std::size_t>(c, kBuckets - 1); }

  std::array<std::uint8_t, kBuckets + 1> begin_{};
  std::array<std::uint8_t, kPhonemeRowCount> rows_{};
};

// True when rest begins with key. Keys are a few units long: a plain loop beats a call of memcmp.
bool beginsWith(std::u16string_view rest, std::u16string_view key) {
  if (key.size() > rest.size()) return false;
  for (std::size_t j = 0; j < key.size(); ++j) {
    if (rest[j] != key[j]) return false;
  }
  return true;
}

// Every key is in NFC and no key, nor any character of one, is the canonical equivalent of a
// different sequence of as many code units, so comparing code units finds exactly the matches that
// a comparison up to canonical equivalence finds.
std::u16string respelled(std::u16string_view text) {
  static const PhonemeIndex index;
  std::u16string out;
  out.reserve(text.size() + text.size() / 2);
  std::size_t copiedTo = 0;
  for (std::size_t i = 0; i < text.size();) {
    const std::u16string_view rest = text.substr(i);
    std::optional<std::uint8_t> match;
    for (std::uint8_t k : index.rowsStartingWith(rest.front())) {
      if (beginsWith(rest, kGermanPhonemes[k].german)) {
        match = k;
        break;
      }
    }
    if (!match) {
      ++i;
      continue;
    }
    out.append(text.substr(copiedTo, i - copiedTo));
    out.append(kGermanPhonemes[*match].english);
    i += kGermanPhonemes[*match].german.size();
    copiedTo = i;
  }
  out.append(text.substr(copiedTo));
  return out;
}

void putLittleEndian(std::uint8_t* bytes, std::uint32_t value, int size) {
  for (int b = 0; b < size; ++b) bytes[b] = static_cast<std::uint8_t>(value >> (8 * b));
}

// The text as the engine takes it: UTF-8 ending at its first NUL, so U+0000 becomes a space.
std::string spokenUtf8(std::u16string_view text) {
  std::string utf8 = encodeUtf8(text);
  std::replace(utf8.begin(), utf8.end(), '\0', ' ');
  return utf8;
}

using SampleSink = std::function<bool(std::span<const std::int16_t>)>;

// The functions of the speech engine's library that speech uses. The library is loaded when speech
// is first made, so that a run without speech neither loads it nor needs it.
struct EspeakLibrary {
  static constexpr const char* kSoname = "libespeak-ng.so.1";
  decltype(&espeak_ng_InitializePath) initializePath;
  decltype(&espeak_ng_Initialize) initialize;
  decltype(&espeak_ng_ClearErrorContext) clearErrorContext;
  decltype(&espeak_ng_InitializeOutput) initializeOutput;
  decltype(&espeak_ng_GetSampleRate) sampleRate;
  decltype(&espeak_SetSynthCallback) setSynthCallback;
  decltype(&espeak_Synth) synthesize;

  // Each function by its name in the library.
  std::vector<SharedFunction> table() {
    return {{initializePath, "espeak_ng_InitializePath"},
            {initialize, "espeak_ng_Initialize"},
            {clearErrorContext, "espeak_ng_ClearErrorContext"},
            {initializeOutput, "espeak_ng_InitializeOutput"},
            {sampleRate, "espeak_ng_GetSampleRate"},
            {setSynthCallback, "espeak_SetSynthCallback"},
            {synthesize, "espeak_Synth"}};
  }
};

// The functions of the sound library that the player uses, loaded when speech is first played.
struct PcaudioLibrary {
  static constexpr const char* kSoname = "libpcaudio.so.0";
  decltype(&create_audio_device_object) createDeviceObject;
  decltype(&audio_object_open) open;
  decltype(&audio_object_write) write;
  decltype(&audio_object_flush) flush;
  decltype(&audio_object_drain) drain;
  decltype(&audio_object_close) close;

  // Each function by its name in the library.
  std::vector<SharedFunction> table() {
    return {{createDeviceObject, "create_audio_device_object"},
            {open, "audio_object_open"},
            {write, "audio_object_write"},
            {flush, "audio_object_flush"},
            {drain, "audio_object_drain"},
            {close, "audio_object_close"}};
  }
};

static_assert(sizeof(short) == sizeof(std::int16_t));

// The speech engine: one per process, set up on first use, synthesizing for one caller at a time
// into the sink that the caller hands over with the text.
class SpeechEngine {
 public:
  // Never destroyed: a player may still be synthesizing while the process ends.
  static SpeechEngine& shared() {
    static auto* engine = new SpeechEngine();
    return *engine;
  }

  bool synthesize(const std::string& utf8, const SampleSink& sink) {
    std::lock_guard lock(mutex_);
    if (!ready()) return false;
    // The sink travels as the speech's user data, which every event of a piece carries.
    espeak_->synthesize(utf8.c_str(), utf8.size() + 1, 0, POS_CHARACTER, 0, espeakCHARS_UTF8,
                        nullptr, const_cast<SampleSink*>(&sink));
    return true;
  }

  // Answered without waiting for a synthesis in progress once the engine is set up.
  std::uint32_t sampleRate() {
    if (setUp_) return sampleRate_;
    std::lock_guard lock(mutex_);
    return ready() ? sampleRate_.load() : 0;
  }

 private:
  bool ready() {
    if (!setUp_) {
      espeak_ = SharedLibrary<EspeakLibrary>::loaded().functions();
      sampleRate_ = espeak_ ? setUpEngine(*espeak_) : 0;
      setUp_ = true;
    }
    return sampleRate_ != 0;
  }

  // Sets up the engine with its default voice; the sample rate, or 0 when it cannot be set up.
  static std::uint32_t setUpEngine(const EspeakLibrary& espeak) {
    espeak.initializePath(nullptr);
    espeak_ng_ERROR_CONTEXT context = nullptr;
    const espeak_ng_STATUS status = espeak.initialize(&context);
    espeak.clearErrorContext(&context);
    if (status != ENS_OK) return 0;
    // Synchronous: the samples come back through receive, in the calling thread.
    if (espeak.initializeOutput(ENOUTPUT_MODE_SYNCHRONOUS, 0, nullptr) != ENS_OK) return 0;
    espeak.setSynthCallback(receive);
    return static_cast<std::uint32_t>(std::max(espeak.sampleRate(), 0));
  }

  // Answers 0 to go on, 1 to cut the speech off. No samples mark the end of the speech.
  static int receive(short* samples, int count, espeak_EVENT* events) {
    const auto* sink = events ? static_cast<const SampleSink*>(events[0].user_data) : nullptr;
    if (sink == nullptr) return 1;
    if (samples == nullptr || count <= 0) return 0;
    const std::span<const std::int16_t> piece(reinterpret_cast<const std::int16_t*>(samples),
                                              static_cast<std::size_t>(count));
    return (*sink)(piece) ? 0 : 1;
  }

  std::mutex mutex_;
  const EspeakLibrary* espeak_ = nullptr;  // loaded by the one attempt to set up the engine
  std::atomic<bool> setUp_{false};         // the one attempt to set up the engine has been made
  std::atomic<std::uint32_t> sampleRate_{0};
};

constexpr audio_object_format kSampleFormat = std::endian::native == std::endian::little
                                                  ? AUDIO_OBJECT_FORMAT_S16LE
                                                  : AUDIO_OBJECT_FORMAT_S16BE;

// The sound device, opened by one player at a time; created once and never destroyed. Without the
// sound library there is no device object, and nothing is played.
struct SoundDevice {
  std::mutex inUse;
  const PcaudioLibrary* pcaudio = SharedLibrary<PcaudioLibrary>::loaded().functions();
  audio_object* object =
      pcaudio ? pcaudio->createDeviceObject(nullptr, "Textrix", "Speech") : nullptr;

  static SoundDevice& shared() {
    static auto* device = new SoundDevice();
    return *device;
  }
};

bool writeWav(const std::string& utf8, const std::string& path) {
  const std::uint32_t sampleRate = detail::speechSampleRate();
  if (sampleRate == 0) return false;
  std::ofstream file(path, std::ios::binary | std::ios::trunc);
  if (!file) return false;
  std::array<std::uint8_t, 44> header = wavHeader(0, sampleRate);
  file.write(reinterpret_cast<const char*>(header.data()), header.size());
  std::uint32_t dataBytes = 0;
  std::vector<std::uint8_t> bytes;
  detail::synthesizeSpeech(utf8, [&](std::span<const std::int16_t> samples) {
    const std::size_t room = (kMaxWavDataBytes - dataBytes) / 2;
    const std::size_t count = std::min(samples.size(), room);
    bytes.resize(2 * count);
    for (std::size_t s = 0; s < count; ++s) {
      putLittleEndian(&bytes[2 * s], static_cast<std::uint16_t>(samples[s]), 2);
    }
    file.write(reinterpret_cast<const char*>(bytes.data()),
               static_cast<std::streamsize>(bytes.size()));
    dataBytes += static_cast<std::uint32_t>(bytes.size());
    return count == samples.size() && file.good();
  });
  header = wavHeader(dataBytes, sampleRate);
  file.seekp(0);
  file.write(reinterpret_cast<const char*>(header.data()), header.size());
  file.close();
  return !file.fail();
}

// A text synthesized by espeak-ng with its default voice and played by a thread of its own, which
// opens the device, plays the samples as they come, and lets the device play out what it holds
// unless the speech was stopped.
class EspeakUtterance final : public Utterance {
 public:
  explicit EspeakUtterance(std::string utf8)
      : player_(&EspeakUtterance::play, this, std::move(utf8)) {}
  ~EspeakUtterance() override { stop(); }
  EspeakUtterance(const EspeakUtterance&) = delete;
  EspeakUtterance& operator=(const EspeakUtterance&) = delete;

  bool isSpeaking() const override { return playing_; }
  void stop() override {
    stopRequested_ = true;
    if (player_.joinable()) player_.join();
    playing_ = false;
  }

 private:
  void play(const std::string& utf8);

  std::atomic<bool> playing_{true};
  std::atomic<bool> stopRequested_{false};
  std::thread player_;  // last, so that it starts once the flags are there
};

void EspeakUtterance::play(const std::string& utf8) {
  SoundDevice& device = SoundDevice::shared();
  std::lock_guard lock(device.inUse);
  const std::uint32_t sampleRate = detail::speechSampleRate();
  if (device.object != nullptr &&
      device.pcaudio->open(device.object, kSampleFormat, sampleRate, 1) == 0) {
    detail::synthesizeSpeech(utf8, [&](std::span<const std::int16_t> samples) {
      return !stopRequested_ &&
             device.pcaudio->write(device.object, samples.data(), samples.size_bytes()) == 0 &&
             !stopRequested_;
    });
    if (stopRequested_) {
      device.pcaudio->flush(device.object);
    } else {
      device.pcaudio->drain(device.object);
    }
    device.pcaudio->close(device.object);
  }
  playing_ = false;
}

// espeak-ng's speech of utf8 on the sound device; none when there is no sound output or no engine.
std::unique_ptr<Utterance> playWithEspeak(std::string utf8) {
  if (!detail::hasSoundOutput() || detail::speechSampleRate() == 0) return nullptr;
  return std::make_unique<EspeakUtterance>(std::move(utf8));
}

// The synthesizer in use, or none: created by a speak, released by the next speak or by stop,
// and otherwise left as it is when the process ends.
std::unique_ptr<SpeechSynthesizer>& speaker() {
  static auto* held = new std::unique_ptr<SpeechSynthesizer>();
  return *held;
}

}  // namespace

std::u16string stringByConvertingGermanToEnglishPhonemes(std::u16string_view text) {
  std::u16string lowered(text);
  lowercase(lowered);
  return respelled(withCharacterWords(std::move(lowered)));
}

std::array<std::uint8_t, 44> wavHeader(std::uint32_t dataBytes, std::uint32_t sampleRate) {
  constexpr std::uint32_t kFormatBytes = 16, kPcm = 1, kChannels = 1, kBytesPerSample = 2;
  std::array<std::uint8_t, 44> header{};
  auto put = [&](std::size_t at, std::uint32_t value, int size) {
    putLittleEndian(header.data() + at, value, size);
  };
  auto tag = [&](std::size_t at, std::string_view name) {
    std::copy(name.begin(), name.end(), header.begin() + at);
  };
  tag(0, "RIFF");
  put(4, 36 + dataBytes, 4);
  tag(8, "WAVE");
  tag(12, "fmt ");
  put(16, kFormatBytes, 4);
  put(20, kPcm, 2);
  put(22, kChannels, 2);
  put(24, sampleRate, 4);
  put(28, sampleRate * kChannels * kBytesPerSample, 4);
  put(32, kChannels * kBytesPerSample, 2);
  put(34, 8 * kBytesPerSample, 2);
  tag(36, "data");
  put(40, dataBytes, 4);
  return header;
}

SpeechSynthesizer::SpeechSynthesizer(SpeechOutput output, SpeechLanguage language)
    : output_(std::move(output)), language_(language) {}

SpeechSynthesizer::~SpeechSynthesizer() {
  stopSpeaking();
}

bool SpeechSynthesizer::startSpeakingString(std::u16string_view text) {
  stopSpeaking();
  switch (output_.kind) {
    case SpeechOutput::Kind::device:
      return startSpeakingAloud(text);
    case SpeechOutput::Kind::wavFile:
      return writeWav(spokenUtf8(text), output_.wavPath);
    case SpeechOutput::Kind::printedText:
      if (!output_.printText) return false;
      output_.printText(text);
      return true;
  }
  return false;
}

// The user's speech server speaks when it answers; espeak-ng when not.
bool SpeechSynthesizer::startSpeakingAloud(std::u16string_view text) {
  std::string utf8 = spokenUtf8(text);
  utterance_ = speakThroughDispatcher(utf8, language_);
  if (!utterance_) utterance_ = playWithEspeak(std::move(utf8));
  return utterance_ != nullptr;
}

void SpeechSynthesizer::stopSpeaking() {
  if (utterance_) utterance_->stop();
  utterance_.reset();
}

bool detail::hasSoundOutput() {
  namespace fs = std::filesystem;
  std::error_code error;
  auto exists = [&](const fs::path& path) { return fs::exists(path, error); };
  if (const char* server = std::getenv("PULSE_SERVER"); server != nullptr && *server != '\0') {
    return true;
  }
  const char* runtimeDir = std::getenv("XDG_RUNTIME_DIR");
  const fs::path runtime = runtimeDir != nullptr && *runtimeDir != '\0'
                               ? fs::path(runtimeDir)
                               : fs::path("/run/user") / std::to_string(getuid());
  if (exists(runtime / "pulse" / "native") || exists(runtime / "pipewire-0")) return true;
  if (exists("/dev/dsp") || exists("/etc/asound.conf")) return true;
  if (const char* home = std::getenv("HOME");
      home != nullptr && exists(fs::path(home) / ".asoundrc")) {
    return true;
  }
  fs::directory_iterator entry("/dev/snd", error);
  for (; !error && entry != fs::directory_iterator(); entry.increment(error)) {
    const std::string name = entry->path().filename().string();
    if (name.starts_with("pcmC") && name.ends_with('p')) return true;
  }
  return false;
}

bool detail::synthesizeSpeech(const std::string& utf8, const SampleSink& sink) {
  return SpeechEngine::shared().synthesize(utf8, sink);
}

std::uint32_t detail::speechSampleRate() {
  return SpeechEngine::shared().sampleRate();
}

// The speak services never report an error: speech that cannot start is silence.
void speakString(std::u16string_view text, const SpeechOutput& output, bool german) {
  Textrix::stopSpeaking();
  speaker() = std::make_unique<SpeechSynthesizer>(
      output, german ? SpeechLanguage::german : SpeechLanguage::userDefault);
  speaker()->startSpeakingString(german ? stringByConvertingGermanToEnglishPhonemes(text) : text);
}

// The provider's speaker.

bool Textrix::isSpeaking() {
  return speaker() && speaker()->isSpeaking();
}

void Textrix::stopSpeaking() {
  if (!speaker()) return;
  speaker()->stopSpeaking();
  speaker().reset();
}

}  // namespace textrix
