// SPDX-License-Identifier: MIT
#include "media/ffmpeg/lost_pictures.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/ffmpeg/numbers.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr double kHole = 1.5;   // slots from one picture to the next
constexpr int kReordered = 16;  // packets

}  // namespace

LostPictures::LostPictures(const std::filesystem::path& path, const AVFormatContext& format,
                           const AVStream& stream, Ratio rate, FileClock clock)
    : stream_(stream), rate_(rate), clock_(std::move(clock)), stretch_(path, format, stream) {}

void LostPictures::Note(const AVPacket& packet) {
  stretch_.Note(packet);
  if (packet.stream_index != stream_.index) return;
  const Ratio time_base = TimeBaseOf(stream_.time_base);
  const auto timestamp = TimestampOf(packet.pts, time_base);
  if (!timestamp) {
    ++untimed_;
    return;
  }
  const double time = static_cast<double>(*timestamp) * time_base.value();
  if (reordered_ > 0) {
    --reordered_;
    if (time > hole_from_) hole_to_ = std::min(hole_to_, time);
  }
  const double last = last_.value_or(time);
  const int64_t untimed = std::exchange(untimed_, 0);
  const bool is_hole = (time - last) * rate_.value() >= kHole;
  last_ = time < last - FileClock::kSureStep ? time : std::max(last, time);
  if (!is_hole || !clock_.IsReal(last, time, FileClock::Behind::kGoesOn)) return;
  if (!stretch_.IsBroken()) return;
  count_ += PicturesInHole();
  hole_from_ = last;
  hole_to_ = time;
  untimed_in_hole_ = untimed;
  reordered_ = kReordered;
}

int64_t LostPictures::PicturesInHole() const {
  const int64_t slots = FramesIn(hole_to_ - hole_from_, rate_).value_or(0);
  return std::max<int64_t>(0, slots - 1 - untimed_in_hole_);
}

}  // namespace qolm::media::ffmpeg
