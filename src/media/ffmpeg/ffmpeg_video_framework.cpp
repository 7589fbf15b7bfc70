// SPDX-License-Identifier: MIT
#include "media/ffmpeg/ffmpeg_video_framework.h"

#include <exception>
#include <functional>
#include <limits>
#include <utility>

#include "media/ffmpeg/picture_producer.h"
#include "media/ffmpeg/read_ahead.h"

namespace qolm::media::ffmpeg {
namespace {

class PictureBuffer : public VideoBuffer {
 public:
  explicit PictureBuffer(std::shared_ptr<const PackedPicture> picture)
      : picture_(std::move(picture)) {}

  std::optional<PitchedRows> Lock2D() override {
    return PitchedRows{picture_->data(), static_cast<ptrdiff_t>(picture_->pitch())};
  }
  void Unlock2D() override {}
  std::optional<Bytes> Lock() override { return Bytes{picture_->data(), picture_->size()}; }
  void Unlock() override {}

 private:
  std::shared_ptr<const PackedPicture> picture_;
};

class PictureSample : public VideoSample {
 public:
  explicit PictureSample(std::shared_ptr<const Picture> picture) : picture_(std::move(picture)) {}

  uint64_t picture_number() const override { return picture_->number; }
  bool writes_rgba() const override { return picture_->yuv.has_value(); }
  void WriteRgba(uint8_t* rgba) override { picture_->yuv->WriteRgba(rgba); }
  std::unique_ptr<VideoBuffer> ConvertToContiguousBuffer() override {
    if (picture_->packed == nullptr) return nullptr;
    return std::make_unique<PictureBuffer>(picture_->packed);
  }

 private:
  std::shared_ptr<const Picture> picture_;
};

class FfmpegVideoReader : public VideoReader {
 public:
  explicit FfmpegVideoReader(std::function<bool()> interrupted) : stop_(std::move(interrupted)) {}

  bool Open(const std::filesystem::path& path) {
    producer_ = PictureProducer::Open(path, stop_, failure_reason_);
    return producer_ != nullptr;
  }

  // The first video stream is the only one that is ever read.
  bool SetStreamSelection(Streams, bool) override { return true; }
  bool SetOutputRgb32() override { return true; }

  std::optional<FrameRate> NativeFrameRate() override {
    const std::optional<Ratio>& rate = producer_->frame_rate();
    constexpr int64_t kLimit = std::numeric_limits<int32_t>::max();
    if (!rate || rate->numerator > kLimit || rate->denominator > kLimit) return std::nullopt;
    return FrameRate{static_cast<uint32_t>(rate->numerator),
                     static_cast<uint32_t>(rate->denominator)};
  }
  std::optional<FrameSize> CurrentFrameSize() override {
    return FrameSize{static_cast<uint32_t>(producer_->width()),
                     static_cast<uint32_t>(producer_->height())};
  }
  std::optional<int32_t> CurrentDefaultStride() override { return std::nullopt; }
  std::optional<int64_t> PresentationDuration() override { return producer_->duration(); }

  ReadResult ReadSample() override {
    if (!read_ahead_) read_ahead_.emplace(*producer_, stop_);
    std::optional<TimedPicture> picture = read_ahead_->Next();
    ReadResult result;
    result.end_of_stream = !picture;
    result.losses = picture ? picture->losses : producer_->losses();
    if (picture) {
      result.timestamp = picture->timestamp;
      result.sample = std::make_unique<PictureSample>(std::move(picture->picture));
    } else {
      failure_reason_ = producer_->read_failure();
    }
    result.succeeded = picture || failure_reason_.empty();
    return result;
  }

  std::vector<std::string> notices() const override { return producer_->notices(); }
  std::string failure_reason() const override { return failure_reason_; }

 private:
  StopSignal stop_;
  std::string failure_reason_;
  std::unique_ptr<PictureProducer> producer_;
  std::optional<ReadAhead> read_ahead_;  // from the first read on; ends before the producer
};

}  // namespace

std::unique_ptr<VideoReader> FfmpegVideoFramework::Open(const std::filesystem::path& path,
                                                        const std::optional<ReaderAttributes>&) {
  failure_reason_.clear();
  try {
    auto reader = std::make_unique<FfmpegVideoReader>(interrupted_);
    if (reader->Open(path)) return reader;
    failure_reason_ = reader->failure_reason();
  } catch (const std::bad_alloc&) {
    throw;  // unrelated to the file
  } catch (const std::exception& error) {
    failure_reason_ = error.what();
  }
  return nullptr;
}

}  // namespace qolm::media::ffmpeg
