// SPDX-License-Identifier: MIT
#include "media/ffmpeg/frame_timeline.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace qolm::media::ffmpeg {
namespace {

constexpr double kTolerance = 0.9;   // slots
constexpr double kBackwardJump = 1;  // seconds; an earlier timestamp than this restarts the clock

// In doubles, since the difference of damaged ones overflows.
double Distance(int64_t from, int64_t to) {
  return static_cast<double>(to) - static_cast<double>(from);
}

}  // namespace

FrameTimeline::FrameTimeline(Ratio rate, Ratio time_base, FileClock clock)
    : rate_(rate.value()), time_unit_(time_base.value()), clock_(std::move(clock)) {}

bool FrameTimeline::IsJump(std::optional<int64_t> timestamp) const {
  if (!timestamp || !last_timestamp_) return false;
  const double step = Distance(*last_timestamp_, *timestamp) * time_unit_;
  return step > FileClock::kSureStep || step < -kBackwardJump;
}

FrameTimeline::Placement FrameTimeline::Place(std::optional<int64_t> timestamp,
                                              std::optional<int64_t> next) {
  auto behind = FileClock::Behind::kNothing;
  if (IsJump(timestamp) && next) {
    const bool nearer_to_last =
        std::abs(Distance(*last_timestamp_, *next)) < std::abs(Distance(*timestamp, *next));
    const bool ahead = *timestamp > *last_timestamp_;
    const bool back_in_order = ahead ? *next < *timestamp : *next >= *last_timestamp_;
    if (nearer_to_last && back_in_order) timestamp.reset();
    behind = FileClock::Behind::kGoesOn;
  }

  double position = started_ ? last_position_ + 1 : 0;
  Placement placement;
  if (timestamp) {
    const double on_grid = ToSlots(*timestamp);
    const bool advances = !last_timestamp_ || *timestamp > *last_timestamp_;
    bool clock_restarts = !last_timestamp_;
    if (last_timestamp_) {
      const double last = static_cast<double>(*last_timestamp_) * time_unit_;
      const double time = static_cast<double>(*timestamp) * time_unit_;
      clock_restarts = advances ? !clock_.IsReal(last, time, behind) : last - time > kBackwardJump;
    }
    placement.restarts = clock_restarts && last_timestamp_;
    if (clock_restarts) {
      origin_ = on_grid - position;
    } else if (advances) {
      placement.step = Distance(*last_timestamp_, *timestamp) * time_unit_ * rate_;
      position = std::max(on_grid - origin_, last_position_);
    }
    last_timestamp_ = timestamp;
  }
  started_ = true;
  last_position_ = position;

  const double distance = position - static_cast<double>(slots_filled_);
  if (distance < -kTolerance) {
    placement.drop = true;
    return placement;
  }
  if (distance > kTolerance) placement.repeats = std::llround(distance);
  slots_filled_ += placement.repeats + 1;
  return placement;
}

int64_t FrameTimeline::RepeatsAtEnd(int64_t duration) {
  const double slots = ToSlots(duration);
  // A duration of about one slot is the picture's own; any rest is rounding.
  if (!started_ || slots < 1.5) return 0;
  const double last = static_cast<double>(last_timestamp_.value_or(0)) * time_unit_;
  const double end = last + static_cast<double>(duration) * time_unit_;
  if (!clock_.IsReal(last, end, FileClock::Behind::kNothing)) return 0;
  return std::max<int64_t>(
      0, std::llround(last_position_ + slots - static_cast<double>(slots_filled_)));
}

std::optional<int64_t> DurationOfFrames(int64_t frames, Ratio rate) {
  if (frames <= 0) return 0;
  // Doubles are exact up to here, so that the loop ends.
  constexpr double kMostUnits = int64_t{1} << 53;
  const double rate_value = rate.value();
  const double units = std::ceil(static_cast<double>(frames) / rate_value * 1e7 - 1e-3);
  if (!(units < kMostUnits)) return std::nullopt;
  auto duration = static_cast<int64_t>(units);
  while (static_cast<int64_t>(rate_value * static_cast<double>(duration) * 1e-7) < frames) {
    ++duration;
  }
  return duration;
}

}  // namespace qolm::media::ffmpeg
