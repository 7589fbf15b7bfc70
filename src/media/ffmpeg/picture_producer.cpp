// SPDX-License-Identifier: MIT
#include "media/ffmpeg/picture_producer.h"

extern "C" {
#include <libavutil/display.h>
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <atomic>
#include <utility>

#include "media/ffmpeg/declared_times.h"
#include "media/ffmpeg/numbers.h"
#include "media/ffmpeg/picture_shape.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr Ratio kRateWhenUnknown = {30, 1};
constexpr int64_t kTimestampsPerSecond = 10'000'000;
constexpr double kRoundedLength = 1;  // seconds, of declared lengths
constexpr size_t kDisplayMatrixBytes = 9 * sizeof(int32_t);

// Per process, so that no two sources share numbers.
std::atomic<uint64_t> pictures_made = 0;

// The container's display matrix, or the one that the picture itself carries.
std::string OrientationOf(const AVStream& stream, const AVFrame& frame) {
  size_t size = 0;
  const uint8_t* const of_stream =
      av_stream_get_side_data(&stream, AV_PKT_DATA_DISPLAYMATRIX, &size);
  if (of_stream != nullptr && size >= kDisplayMatrixBytes) {
    return UprightFilters(reinterpret_cast<const int32_t*>(of_stream));
  }
  const AVFrameSideData* const of_frame =
      av_frame_get_side_data(&frame, AV_FRAME_DATA_DISPLAYMATRIX);
  if (of_frame != nullptr && of_frame->size >= kDisplayMatrixBytes) {
    return UprightFilters(reinterpret_cast<const int32_t*>(of_frame->data));
  }
  return {};
}

std::vector<std::string> NoticesOf(const AVFrame& frame, const PictureShape& shape,
                                   const FrameFilter& filter) {
  std::vector<std::string> notices;
  if (shape.left_as_stored) {
    notices.push_back("the source's pixels are not square (" +
                      std::to_string(frame.sample_aspect_ratio.num) + ":" +
                      std::to_string(frame.sample_aspect_ratio.den) +
                      "); the picture keeps its stored size");
  }
  if (filter.tone_mapping_failed()) {
    notices.push_back(
        "the source's high dynamic range cannot be mapped by this system's FFmpeg; "
        "its colours will look pale");
  }
  return notices;
}

}  // namespace

std::unique_ptr<PictureProducer> PictureProducer::Open(const std::filesystem::path& path,
                                                       const StopSignal& stop,
                                                       std::string& failure_reason) {
  std::unique_ptr<PictureProducer> producer(new PictureProducer);
  producer->decoder_ = Decoder::Open(path, stop, failure_reason);
  if (producer->decoder_ == nullptr) return nullptr;
  const AVStream& stream = producer->decoder_->stream();
  producer->timing_ = ScanTiming(path, stop, producer->decoder_->format(), stream);

  producer->timeline_.emplace(producer->rate(), TimeBaseOf(stream.time_base),
                              producer->timing_.clock);
  // A stream that declares its own end needs no other stream to confirm steps.
  if (!DeclaredEnd(producer->decoder_->format(), stream)) {
    producer->decoder_->ObserveOtherStreams(producer->timeline_->clock());
  }
  producer->decoder_->WatchForLosses(producer->rate(), producer->timing_.clock);
  producer->first_frame_ = producer->NextFrame();
  if (producer->first_frame_ == nullptr) {
    failure_reason = "no picture could be decoded";
    return nullptr;
  }
  producer->ForgetUnseenSlots();
  const PictureShape shape = ShapeOf(*producer->first_frame_);
  producer->width_ = shape.width;
  producer->height_ = shape.height;
  producer->notices_ = NoticesOf(*producer->first_frame_, shape, *producer->filter_);
  producer->converter_.emplace(producer->width_, producer->height_);
  return producer;
}

// The expected pictures that lie before the first one.
void PictureProducer::ForgetUnseenSlots() {
  const auto time = TimeOf(first_frame_.get());
  for (const StreamTiming::Start& start : timing_.starts) {
    if (timing_.slots && start.timestamp == time) {
      *timing_.slots -= std::min(*timing_.slots, start.unseen_slots);
      return;
    }
  }
}

std::optional<int64_t> PictureProducer::TimeOf(const AVFrame* frame) const {
  if (frame == nullptr) return std::nullopt;
  return TimestampOf(frame->pts, TimeBaseOf(decoder_->stream().time_base));
}

Ratio PictureProducer::rate() const { return timing_.rate.value_or(kRateWhenUnknown); }

std::optional<int64_t> PictureProducer::duration() const {
  if (!timing_.slots) return std::nullopt;
  int64_t slots = *timing_.slots;
  if (ended_ && timing_.slots_of_any_stream) {
    const FileClock& clock = timeline_->clock();
    const double reached = clock.covered_end().value_or(0) + kRoundedLength;
    if (reached >= clock.declared_end().value_or(0)) slots = std::min(slots, slot_);
  }
  return DurationOfFrames(slots, rate());
}

// The next upright, progressive frame; null at the end.
Frame PictureProducer::NextFrame() {
  if (first_frame_ != nullptr) return std::move(first_frame_);
  while (true) {
    if (filter_) {
      if (Frame frame = filter_->Receive()) return frame;
    }
    if (decoder_ended_) return nullptr;
    const AVFrame* const decoded = decoder_->Next();
    decoder_ended_ = decoded == nullptr;
    if (!filter_) {
      if (decoder_ended_) return nullptr;
      filter_.emplace(OrientationOf(decoder_->stream(), *decoded), decoder_->stream().time_base);
    }
    filter_->Send(decoded);
  }
}

// As above, first those that were decoded ahead.
Frame PictureProducer::TakeFrame() {
  return frame_behind_ != nullptr ? std::move(frame_behind_) : NextFrame();
}

int64_t PictureProducer::DamagedPictures() const {
  return decoder_->damaged_pictures() + unconverted_;
}

TimedPicture PictureProducer::Deliver(std::shared_ptr<const Picture> picture) {
  const int64_t timestamp =
      av_rescale(slot_++, rate().denominator * kTimestampsPerSecond, rate().numerator);
  losses_.damaged = DamagedPictures();
  return {std::move(picture), timestamp, losses_};
}

// The picture of a frame, which is that of the frame before where nothing
// changed. Comparing is cheaper than converting and ends at the first sample that
// differs. Null when it cannot be converted.
std::shared_ptr<const Picture> PictureProducer::PictureOf(std::shared_ptr<const AVFrame> frame) {
  if (converted_frame_ != nullptr && converter_->SameSamples(*frame, *converted_frame_)) {
    return converted_picture_;
  }
  converted_frame_.reset();
  std::unique_ptr<Picture> picture = converter_->Convert(frame);
  if (picture == nullptr) return nullptr;
  picture->number = ++pictures_made;
  converted_frame_ = std::move(frame);
  converted_picture_ = std::move(picture);
  return converted_picture_;
}

std::optional<TimedPicture> PictureProducer::Next() {
  while (true) {
    if (repeats_left_ > 0) {
      --repeats_left_;
      return Deliver(last_picture_);
    }
    if (next_picture_ != nullptr) {
      last_picture_ = std::move(next_picture_);
      return Deliver(last_picture_);
    }
    if (ended_) return std::nullopt;

    Frame frame = TakeFrame();
    if (frame == nullptr) {
      ended_ = true;
      losses_.damaged = DamagedPictures();
      if (last_picture_ != nullptr) repeats_left_ = timeline_->RepeatsAtEnd(last_duration_);
      continue;
    }
    const int64_t duration = frame->pkt_duration;
    const auto timestamp = TimeOf(frame.get());
    if (timeline_->IsJump(timestamp)) frame_behind_ = TakeFrame();
    std::shared_ptr<const Picture> picture = PictureOf(std::move(frame));
    if (picture == nullptr) {
      ++unconverted_;
      continue;
    }
    ++losses_.pictures;
    last_duration_ = duration;
    const FrameTimeline::Placement placement =
        timeline_->Place(timestamp, TimeOf(frame_behind_.get()));
    if (placement.drop) {
      ++losses_.left_out;
      continue;
    }
    repeats_left_ = placement.repeats;
    next_picture_ = std::move(picture);
  }
}

}  // namespace qolm::media::ffmpeg
