// SPDX-License-Identifier: MIT
//
// The operations that VideoSource needs of a media framework, and nothing else.
//
// An adapter translates each call to its framework and makes no decisions: failed calls,
// missing attributes and the contents of buffers are reported unchanged. Every object is
// owned by a unique_ptr and releases what it holds on destruction: buffers before their
// samples, samples before their reader, readers before their framework.
#ifndef QOLM_MEDIA_VIDEO_FRAMEWORK_H_
#define QOLM_MEDIA_VIDEO_FRAMEWORK_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace qolm::media {

// The pixels of one sample, four bytes B, G, R, X each, in contiguous memory.
class VideoBuffer {
 public:
  struct PitchedRows {
    // The row with the lowest address. With a positive pitch that is the top
    // row of the picture; with a negative pitch it is the bottom row, and the
    // rows above it follow at higher addresses.
    const uint8_t* first_row = nullptr;
    ptrdiff_t pitch = 0;  // bytes from a picture row to the one below it
  };
  struct Bytes {
    const uint8_t* data = nullptr;
    size_t current_length = 0;
  };

  virtual ~VideoBuffer() = default;

  // Pitched access. Nothing when the buffer does not support it or the lock fails;
  // Unlock2D must then not be called.
  [[nodiscard]] virtual std::optional<PitchedRows> Lock2D() = 0;
  virtual void Unlock2D() = 0;

  // Linear access, paired in the same way.
  [[nodiscard]] virtual std::optional<Bytes> Lock() = 0;
  virtual void Unlock() = 0;
};

class VideoSample {
 public:
  virtual ~VideoSample() = default;

  // As VideoFrame::picture_number.
  virtual uint64_t picture_number() const { return 0; }

  // Whether the sample can write its picture as VideoFrame stores it. It then needs no
  // buffer.
  virtual bool writes_rgba() const { return false; }
  virtual void WriteRgba(uint8_t* /*rgba*/) {}

  // Null when the sample's pixels cannot be made contiguous.
  [[nodiscard]] virtual std::unique_ptr<VideoBuffer> ConvertToContiguousBuffer() = 0;
};

// One open file, of which only the first video stream is used.
class VideoReader {
 public:
  enum class Streams { kAll, kFirstVideo };
  struct FrameRate {
    uint32_t numerator = 0;
    uint32_t denominator = 0;
  };
  struct FrameSize {
    uint32_t width = 0;   // pixels
    uint32_t height = 0;  // pixels
  };
  // What a source has lost so far, in pictures.
  struct Losses {
    int64_t damaged = 0;   // decoded with errors, or not at all
    int64_t left_out = 0;  // dropped to keep the constant rate
    int64_t pictures = 0;  // that could be decoded
  };
  struct ReadResult {
    bool succeeded = false;
    bool end_of_stream = false;
    std::unique_ptr<VideoSample> sample;  // null in a stream gap
    int64_t timestamp = 0;                // 100-nanosecond units
    Losses losses;                        // up to this sample; in total at the end
  };

  virtual ~VideoReader() = default;

  [[nodiscard]] virtual bool SetStreamSelection(Streams streams, bool selected) = 0;

  // Requests uncompressed 32-bit RGB. False when the stream cannot be converted to it.
  [[nodiscard]] virtual bool SetOutputRgb32() = 0;

  // Attributes as the framework stores them; nothing when they are absent.
  [[nodiscard]] virtual std::optional<FrameRate> NativeFrameRate() = 0;  // of native type 0
  [[nodiscard]] virtual std::optional<FrameSize> CurrentFrameSize() = 0;
  [[nodiscard]] virtual std::optional<int32_t> CurrentDefaultStride() = 0;  // bytes
  // 100-ns units. May be called again at the end of the stream, where the answer may have
  // changed: the declared length may have been another stream's.
  [[nodiscard]] virtual std::optional<int64_t> PresentationDuration() = 0;

  [[nodiscard]] virtual ReadResult ReadSample() = 0;

  // Notices for the user about the conversion of the stream, one phrase each.
  virtual std::vector<std::string> notices() const { return {}; }

  // The reason of the last failed call, as a short phrase; may be empty.
  virtual std::string failure_reason() const = 0;
};

class VideoFramework {
 public:
  struct ReaderAttributes {
    bool enable_hardware_transforms = false;
    bool enable_video_processing = false;  // convert any decoded format to the requested one
  };

  virtual ~VideoFramework() = default;

  // `path` is absolute. Without attributes the framework's defaults apply. Null when the
  // file cannot be opened.
  [[nodiscard]] virtual std::unique_ptr<VideoReader> Open(
      const std::filesystem::path& path, const std::optional<ReaderAttributes>& attributes) = 0;

  // The reason of the last failed Open, as a short phrase; may be empty.
  virtual std::string failure_reason() const = 0;
};

}  // namespace qolm::media

#endif  // QOLM_MEDIA_VIDEO_FRAMEWORK_H_
