// SPDX-License-Identifier: MIT
#include "media/ffmpeg/audio_timeline.h"

#include <algorithm>
#include <cmath>
#include <utility>

namespace qolm::media::ffmpeg {
namespace {

// Shorter than the packets that are commonly lost, longer than jitter.
constexpr double kTolerance = 0.010;  // seconds, beyond the clock's own rounding
// As for pictures: an earlier timestamp than this restarts the clock.
constexpr double kBackwardJump = 1;  // seconds

}  // namespace

AudioTimeline::AudioTimeline(std::optional<double> picture_start, double clock_unit,
                             FileClock& clock, OriginBehindRestart origin_behind_restart)
    : picture_start_(picture_start),
      clock_unit_(clock_unit),
      tolerance_(kTolerance + clock_unit),
      clock_(clock),
      origin_behind_restart_(std::move(origin_behind_restart)) {}

double AudioTimeline::Correction(std::span<const Piece> upcoming) {
  if (upcoming.empty() || !upcoming.front().time) return 0;
  const double time = *upcoming.front().time;
  if (!origin_) {
    if (upcoming.front().behind_restart && origin_behind_restart_) {
      origin_ = origin_behind_restart_(upcoming.front());
      if (origin_) return time - *origin_ - position_;
    }
    origin_ = picture_start_.value_or(time - position_);
    const double offset = time - *origin_ - position_;
    const double zero = *origin_ + position_;
    if (!clock_.IsReal(std::min(zero, time), std::max(zero, time), FileClock::Behind::kNothing)) {
      origin_ = time - position_;
      return 0;
    }
    // Both clocks were rounded.
    return std::abs(offset) <= 2 * clock_unit_ ? 0 : offset;
  }

  const double distance = time - *origin_ - position_;
  double least = distance;
  double position = position_;
  for (const Piece& piece : upcoming) {
    if (piece.time) {
      const double here = *piece.time - *origin_ - position;
      if (std::abs(here) <= tolerance_ || (here < 0) != (distance < 0)) return 0;
      if (std::abs(here) < std::abs(least)) least = here;
    }
    position += piece.duration;
  }
  const double due = *origin_ + position_;
  if (least < -kBackwardJump || !clock_.IsReal(due, due + least, FileClock::Behind::kGoesOn)) {
    std::optional<double> origin;
    if (origin_behind_restart_) origin = origin_behind_restart_(upcoming.front());
    origin_ = origin.value_or(time - position_);
    return origin ? time - *origin - position_ : 0;
  }
  return least;
}

}  // namespace qolm::media::ffmpeg
