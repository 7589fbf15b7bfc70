// SPDX-License-Identifier: MIT
//
// The operations that AudioSource needs of a media framework, and nothing else.
//
// An adapter translates each call to its framework and decides nothing: which
// call failed, which attribute is missing and what a buffer holds is told as it
// is. Every object is owned by a unique_ptr and gives back what it holds when it
// is destroyed: buffers before their samples, samples before their reader,
// readers before their framework.
#ifndef QOLM_MEDIA_AUDIO_FRAMEWORK_H_
#define QOLM_MEDIA_AUDIO_FRAMEWORK_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace qolm::media {

// The media of one sample in one piece of memory.
class AudioBuffer {
 public:
  struct Bytes {
    const uint8_t* data = nullptr;  // need not be aligned
    size_t current_length = 0;
  };

  virtual ~AudioBuffer() = default;

  // Nothing when the lock fails; then Unlock must not be called.
  [[nodiscard]] virtual std::optional<Bytes> Lock() = 0;
  virtual void Unlock() = 0;
};

class AudioSample {
 public:
  virtual ~AudioSample() = default;

  // Null when the sample's media cannot be made contiguous.
  [[nodiscard]] virtual std::unique_ptr<AudioBuffer> ConvertToContiguousBuffer() = 0;
};

// One open file, of which only the first audio stream is looked at.
class AudioReader {
 public:
  // Attributes of an uncompressed integer format. In a request, one without a
  // value is left to the decoder; in an answer, the format does not have it.
  struct PcmType {
    std::optional<uint32_t> channels;
    std::optional<uint32_t> sample_rate;  // Hz
    std::optional<uint32_t> bits_per_sample;

    friend bool operator==(const PcmType&, const PcmType&) = default;
  };
  struct ReadResult {
    bool succeeded = false;
    bool end_of_stream = false;
    std::unique_ptr<AudioSample> sample;  // null in a stream gap
  };

  virtual ~AudioReader() = default;

  [[nodiscard]] virtual bool SelectFirstAudioStream() = 0;

  // False when the stream cannot be had so.
  [[nodiscard]] virtual bool SetOutputPcm(const PcmType& request) = 0;
  // No attribute has a value when the type itself cannot be had.
  [[nodiscard]] virtual PcmType CurrentPcmType() = 0;

  // Samples hold native-endian values, channels interleaved.
  [[nodiscard]] virtual ReadResult ReadSample() = 0;

  // Seconds of the audio read so far that were decoded with errors or not at all.
  virtual double damaged_seconds() const { return 0; }

  // Why the last call that failed did so, in a few words; may be empty.
  virtual std::string failure_reason() const { return {}; }
};

class AudioFramework {
 public:
  struct ReaderAttributes {
    bool enable_hardware_transforms = false;
    bool low_latency = false;
  };

  virtual ~AudioFramework() = default;

  // `path` is absolute. Null when the file cannot be opened.
  [[nodiscard]] virtual std::unique_ptr<AudioReader> Open(const std::filesystem::path& path,
                                                          const ReaderAttributes& attributes) = 0;
};

}  // namespace qolm::media

#endif  // QOLM_MEDIA_AUDIO_FRAMEWORK_H_
