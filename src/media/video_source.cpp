// SPDX-License-Identifier: MIT
#include "media/video_source.h"

#include <algorithm>
#include <bit>
#include <cstring>
#include <limits>
#include <system_error>
#include <utility>

#include "media/row_grid.h"

namespace qolm::media {
namespace {

constexpr size_t kBytesPerPixel = 4;

// B, G, R, X to R, G, B, 255. Whole 32-bit words let the compiler vectorise the loop; the
// copies are unaligned loads and stores.
void ConvertRow(const uint8_t* bgrx, uint8_t* rgba, size_t pixels) {
  for (size_t i = 0; i < pixels; ++i) {
    uint32_t word;
    std::memcpy(&word, bgrx + i * kBytesPerPixel, sizeof(word));
    if constexpr (std::endian::native == std::endian::little) {
      word = 0xff000000u | ((word & 0x000000ffu) << 16) | (word & 0x0000ff00u) |
             ((word >> 16) & 0x000000ffu);
    } else {
      word = 0x000000ffu | ((word & 0x0000ff00u) << 16) | (word & 0x00ff0000u) |
             ((word >> 16) & 0x0000ff00u);
    }
    std::memcpy(rgba + i * kBytesPerPixel, &word, sizeof(word));
  }
}

int32_t SaturateToInt32(int64_t value) {
  return static_cast<int32_t>(std::clamp<int64_t>(value, std::numeric_limits<int32_t>::min(),
                                                  std::numeric_limits<int32_t>::max()));
}

// Runs an action at the end of a scope.
template <typename Action>
class OnExit {
 public:
  explicit OnExit(Action action) : action_(std::move(action)) {}
  ~OnExit() { action_(); }
  OnExit(const OnExit&) = delete;
  OnExit& operator=(const OnExit&) = delete;

 private:
  Action action_;
};

}  // namespace

VideoSource::VideoSource(std::unique_ptr<VideoFramework> framework)
    : framework_(std::move(framework)) {}

VideoSource::~VideoSource() { Close(); }

void VideoSource::Close() { reader_.reset(); }

bool VideoSource::Fail(const std::string& reason, const char* fallback) {
  failure_reason_ = reason.empty() ? fallback : reason;
  Close();
  return false;
}

bool VideoSource::Open(const std::filesystem::path& path) {
  Close();
  width_ = 0;
  height_ = 0;
  stride_ = 0;
  fps_numerator_ = 30;
  fps_denominator_ = 1;
  frame_count_ = 0;
  duration_ms_ = 0;
  losses_ = {};
  failure_reason_.clear();

  if (path.empty()) {
    return Fail(std::make_error_code(std::errc::no_such_file_or_directory).message(), "");
  }
  std::error_code error;
  const std::filesystem::path absolute_path = std::filesystem::absolute(path, error);
  if (error) return Fail(error.message(), "the path cannot be resolved");

  VideoFramework::ReaderAttributes attributes;
  attributes.enable_hardware_transforms = true;
  attributes.enable_video_processing = true;
  reader_ = framework_->Open(absolute_path, attributes);
  if (reader_ == nullptr) reader_ = framework_->Open(absolute_path, std::nullopt);
  if (reader_ == nullptr) return Fail(framework_->failure_reason(), "the file cannot be opened");

  // A refused selection alone is not a failure: without a video stream the output type is
  // refused too.
  const bool deselected = reader_->SetStreamSelection(VideoReader::Streams::kAll, false);
  const bool selected = reader_->SetStreamSelection(VideoReader::Streams::kFirstVideo, true);
  if (!reader_->SetOutputRgb32()) {
    return Fail(reader_->failure_reason(),
                deselected && selected ? "the video cannot be decoded" : "no video stream");
  }

  ReadAttributes();
  if (width_ < 1 || height_ < 1) return Fail(reader_->failure_reason(), "no picture size");
  return true;
}

void VideoSource::ReadAttributes() {
  const auto rate = reader_->NativeFrameRate();
  if (rate && rate->numerator != 0 && rate->denominator != 0) {
    fps_numerator_ = static_cast<int32_t>(rate->numerator);
    fps_denominator_ = static_cast<int32_t>(rate->denominator);
  }

  const auto size = reader_->CurrentFrameSize().value_or(VideoReader::FrameSize{});
  width_ = static_cast<int32_t>(size.width);
  height_ = static_cast<int32_t>(size.height);
  stride_ = reader_->CurrentDefaultStride().value_or(0);
  if (stride_ == 0) stride_ = SaturateToInt32(int64_t{width_} * int64_t{kBytesPerPixel});

  ReadDuration();
}

void VideoSource::ReadDuration() {
  const auto duration = reader_->PresentationDuration();
  if (!duration || *duration < 0) return;
  duration_ms_ = SaturateToInt32(*duration / 10000);
  if (fps_numerator_ > 0 && fps_denominator_ > 0) {
    const double frames = static_cast<double>(fps_numerator_) /
                          static_cast<double>(fps_denominator_) * static_cast<double>(*duration) *
                          1e-7;
    frame_count_ = frames < static_cast<double>(std::numeric_limits<int32_t>::max())
                       ? static_cast<int32_t>(frames)
                       : std::numeric_limits<int32_t>::max();
  }
}

// The stride of a linear buffer of `length` bytes.
size_t VideoSource::RowStride(size_t length) const {
  return FindRowGrid(length, static_cast<size_t>(width_) * kBytesPerPixel,
                     static_cast<size_t>(height_), static_cast<size_t>(std::max(stride_, 0)))
      .stride;
}

std::vector<std::string> VideoSource::notices() const {
  return reader_ != nullptr ? reader_->notices() : std::vector<std::string>();
}

bool VideoSource::ReadNextFrame(VideoFrame& frame) {
  if (reader_ == nullptr) return false;
  VideoReader::ReadResult result = reader_->ReadSample();
  losses_ = result.losses;
  if (result.end_of_stream) ReadDuration();
  if (!result.succeeded) failure_reason_ = reader_->failure_reason();
  if (!result.succeeded || result.end_of_stream || result.sample == nullptr) return false;
  const uint64_t picture_number = result.sample->picture_number();
  const size_t row_bytes = static_cast<size_t>(width_) * kBytesPerPixel;
  const size_t height = static_cast<size_t>(height_);
  // A frame whose pixels were moved away still has its number.
  if (picture_number != 0 && picture_number == frame.picture_number &&
      frame.pixels.size() == row_bytes * height) {
    frame.timestamp = result.timestamp;
    return true;
  }
  std::unique_ptr<VideoBuffer> buffer;
  if (!result.sample->writes_rgba()) {
    buffer = result.sample->ConvertToContiguousBuffer();
    if (buffer == nullptr) return true;
  }

  if (row_bytes > frame.pixels.max_size() / height) return false;
  frame.width = width_;
  frame.height = height_;
  frame.timestamp = result.timestamp;
  frame.picture_number = 0;
  frame.pixels.resize(row_bytes * height);
  uint8_t* const pixels = frame.pixels.data();

  if (buffer == nullptr) {
    result.sample->WriteRgba(pixels);
    frame.picture_number = picture_number;
    return true;
  }
  if (const auto rows = buffer->Lock2D()) {
    const OnExit unlock([&buffer] { buffer->Unlock2D(); });
    if (rows->first_row != nullptr) {
      const size_t distance = static_cast<size_t>(rows->pitch < 0 ? -rows->pitch : rows->pitch);
      for (size_t y = 0; y < height; ++y) {
        const size_t memory_row = rows->pitch < 0 ? height - 1 - y : y;
        ConvertRow(rows->first_row + memory_row * distance, pixels + y * row_bytes,
                   static_cast<size_t>(width_));
      }
      frame.picture_number = picture_number;
      return true;
    }
  }

  const auto bytes = buffer->Lock();
  if (!bytes) return true;
  const OnExit unlock([&buffer] { buffer->Unlock(); });
  if (bytes->data == nullptr) return true;
  const size_t length = bytes->current_length;
  const size_t stride = RowStride(length);
  for (size_t y = 0; y < height; ++y) {
    // Pixels beyond the end of a short buffer keep the previous picture's bytes.
    if (y > length / stride) break;
    const size_t available = std::min(length - y * stride, row_bytes);
    ConvertRow(bytes->data + y * stride, pixels + y * row_bytes, available / kBytesPerPixel);
  }
  return true;
}

}  // namespace qolm::media
