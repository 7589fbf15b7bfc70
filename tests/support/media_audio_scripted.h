// SPDX-License-Identifier: MIT
//
// An audio framework that answers as a test tells it to and notes what it is
// asked.
#ifndef QOLM_TESTS_SUPPORT_MEDIA_AUDIO_SCRIPTED_H_
#define QOLM_TESTS_SUPPORT_MEDIA_AUDIO_SCRIPTED_H_

#include <cstddef>
#include <cstdint>
#include <cstring>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "media/audio_framework.h"

namespace qolm::test {

struct ScriptedSound {
  bool succeeded = true;
  bool end_of_stream = false;
  bool has_sample = true;
  bool has_buffer = true;
  bool lock_succeeds = true;
  bool bytes_are_null = false;
  std::vector<uint8_t> bytes;
};

inline ScriptedSound SoundOf(const std::vector<int16_t>& samples) {
  ScriptedSound sound;
  if (samples.empty()) return sound;
  sound.bytes.resize(samples.size() * sizeof(int16_t));
  std::memcpy(sound.bytes.data(), samples.data(), sound.bytes.size());
  return sound;
}

struct AudioScript {
  bool open_succeeds = true;
  bool selection_succeeds = true;
  int requests_refused = 0;
  media::AudioReader::PcmType type;  // what the reader says it delivers
  std::string failure_reason;
  std::deque<ScriptedSound> sounds;  // an empty list is a failing read

  // What was asked, and what is still held.
  std::vector<std::string> calls;
  std::vector<std::filesystem::path> paths;
  int held = 0;   // readers, samples and buffers alive
  int locks = 0;  // locks not given back
};

class ScriptedAudioFramework : public media::AudioFramework {
 public:
  explicit ScriptedAudioFramework(AudioScript& script) : script_(script) {}

  std::unique_ptr<media::AudioReader> Open(const std::filesystem::path& path,
                                           const ReaderAttributes& attributes) override {
    script_.paths.push_back(path);
    script_.calls.push_back(
        "open hardware=" + std::to_string(attributes.enable_hardware_transforms) +
        " low latency=" + std::to_string(attributes.low_latency));
    if (!script_.open_succeeds) return nullptr;
    return std::make_unique<Reader>(script_);
  }

 private:
  class Held {
   public:
    explicit Held(AudioScript& script) : script_(script) { ++script_.held; }
    ~Held() { --script_.held; }
    Held(const Held&) = delete;
    Held& operator=(const Held&) = delete;

   protected:
    AudioScript& script_;
  };

  class Buffer : public media::AudioBuffer, private Held {
   public:
    Buffer(AudioScript& script, ScriptedSound sound) : Held(script), sound_(std::move(sound)) {}

    std::optional<Bytes> Lock() override {
      if (!sound_.lock_succeeds) return std::nullopt;
      ++script_.locks;
      return Bytes{sound_.bytes_are_null ? nullptr : sound_.bytes.data(), sound_.bytes.size()};
    }
    void Unlock() override { --script_.locks; }

   private:
    ScriptedSound sound_;
  };

  class Sample : public media::AudioSample, private Held {
   public:
    Sample(AudioScript& script, ScriptedSound sound) : Held(script), sound_(std::move(sound)) {}

    std::unique_ptr<media::AudioBuffer> ConvertToContiguousBuffer() override {
      if (!sound_.has_buffer) return nullptr;
      return std::make_unique<Buffer>(script_, sound_);
    }

   private:
    ScriptedSound sound_;
  };

  class Reader : public media::AudioReader, private Held {
   public:
    explicit Reader(AudioScript& script) : Held(script) {}

    bool SelectFirstAudioStream() override {
      script_.calls.push_back("select first audio");
      return script_.selection_succeeds;
    }
    bool SetOutputPcm(const PcmType& request) override {
      std::string call = "pcm";
      if (request.channels) call += " channels=" + std::to_string(*request.channels);
      if (request.sample_rate) call += " rate=" + std::to_string(*request.sample_rate);
      if (request.bits_per_sample) call += " bits=" + std::to_string(*request.bits_per_sample);
      script_.calls.push_back(call);
      return script_.requests_refused-- <= 0;
    }
    PcmType CurrentPcmType() override { return script_.type; }
    std::string failure_reason() const override { return script_.failure_reason; }
    ReadResult ReadSample() override {
      ReadResult result;
      if (script_.sounds.empty()) return result;
      ScriptedSound sound = std::move(script_.sounds.front());
      script_.sounds.pop_front();
      result.succeeded = sound.succeeded;
      result.end_of_stream = sound.end_of_stream;
      if (sound.has_sample) result.sample = std::make_unique<Sample>(script_, std::move(sound));
      return result;
    }
  };

  AudioScript& script_;
};

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_MEDIA_AUDIO_SCRIPTED_H_
