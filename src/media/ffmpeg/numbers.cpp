// SPDX-License-Identifier: MIT
#include "media/ffmpeg/numbers.h"

extern "C" {
#include <libavutil/avutil.h>
}

#include <cmath>
#include <limits>

namespace qolm::media::ffmpeg {
namespace {

// More frames than any file holds.
constexpr double kMostFrames = std::numeric_limits<int32_t>::max();

}  // namespace

Ratio TimeBaseOf(AVRational stated) {
  const Ratio base{stated.num, stated.den};
  return base.is_positive() && base.value() <= kLongestTick ? base : Ratio{1, 1'000'000};
}

Ratio FrameRateOf(AVRational stated) {
  const Ratio rate{stated.num, stated.den};
  return rate.is_positive() ? rate : Ratio{0, 1};
}

std::optional<int64_t> TimestampOf(int64_t stated, Ratio time_base) {
  if (stated == AV_NOPTS_VALUE) return std::nullopt;
  if (std::abs(static_cast<double>(stated) * time_base.value()) > kLatestTime) return std::nullopt;
  return stated;
}

std::optional<double> DurationOf(int64_t stated, Ratio time_base) {
  return DurationOf(static_cast<double>(stated) * time_base.value());
}

std::optional<double> DurationOf(double seconds) {
  // Written so that NaN fails too.
  return seconds > 0 && seconds <= kLongestDuration ? std::optional(seconds) : std::nullopt;
}

std::optional<int64_t> FramesIn(double seconds, Ratio rate) {
  const double frames = seconds * rate.value();
  if (!(frames >= 0 && frames <= kMostFrames)) return std::nullopt;
  return std::llround(frames);
}

}  // namespace qolm::media::ffmpeg
