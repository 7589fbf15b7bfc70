// SPDX-License-Identifier: MIT
//
// The operations that AudioSource needs of a media framework, and nothing else.
//
// An adapter translates each call to its framework and makes no decisions: failed calls,
// missing attributes and the contents of buffers are reported unchanged. Every object is
// owned by a unique_ptr and releases what it holds on destruction: buffers before their
// samples, samples before their reader, readers before their framework.
#ifndef QOLM_MEDIA_AUDIO_FRAMEWORK_H_
#define QOLM_MEDIA_AUDIO_FRAMEWORK_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

namespace qolm::media {

// The audio of one sample in contiguous memory.
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

  // Null when the sample's audio cannot be made contiguous.
  [[nodiscard]] virtual std::unique_ptr<AudioBuffer> ConvertToContiguousBuffer() = 0;
};

// One open file, of which only the first audio stream is used.
class AudioReader {
 public:
  // Attributes of an uncompressed integer format. In a request, one without a
  // value is chosen by the decoder; in a result, the format lacks it.
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

  // False when the stream cannot be converted to it.
  [[nodiscard]] virtual bool SetOutputPcm(const PcmType& request) = 0;
  // All attributes are empty when the type itself is unavailable.
  [[nodiscard]] virtual PcmType CurrentPcmType() = 0;

  // Samples hold native-endian values, channels interleaved.
  [[nodiscard]] virtual ReadResult ReadSample() = 0;

  // Seconds of the audio read so far that were decoded with errors or not at all.
  virtual double damaged_seconds() const { return 0; }

  // The reason of the last failed call, as a short phrase; may be empty.
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
