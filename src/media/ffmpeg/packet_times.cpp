// SPDX-License-Identifier: MIT
#include "media/ffmpeg/packet_times.h"

#include <algorithm>
#include <cmath>
#include <utility>

#include "media/ffmpeg/numbers.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr size_t kMostReordered = 16;  // pictures
constexpr double kBackwardJump = 1;    // seconds
// Pictures that are reordered lie a few of their own intervals from their neighbours.
constexpr double kWildIntervals = 20;

double Distance(int64_t a, int64_t b) {
  return std::abs(static_cast<double>(a) - static_cast<double>(b));
}

}  // namespace

void PacketClock::Add(int64_t timestamp, int64_t duration) {
  const auto time = TimestampOf(timestamp, time_base_);
  if (!time) {
    untimed_at_start_ += timestamps_.size() <= kMostReordered ? 1 : 0;
    return;
  }
  timestamps_.push_back(*time);
  if (!last_ || *time >= *last_ ||
      Distance(*last_, *time) * time_base_.value() > FileClock::kSureStep) {
    last_ = time;
    duration_of_last_ = duration;
  }
}

std::vector<int64_t> PacketClock::InPresentationOrder() && {
  std::vector<int64_t> times = std::move(timestamps_);
  const double unit = time_base_.value();
  for (size_t i = 1; i + 1 < times.size(); ++i) {
    const double interval = Distance(times[i - 1], times[i + 1]);
    const double away =
        std::min(Distance(times[i - 1], times[i]), Distance(times[i], times[i + 1]));
    if (away * unit > FileClock::kSureStep && away > kWildIntervals * interval) {
      times[i] = times[i - 1];
    }
  }
  size_t run = 0;  // start of the run since the last restart
  for (size_t i = 1; i <= times.size(); ++i) {
    const auto here = times.begin() + static_cast<std::ptrdiff_t>(i);
    const auto reordered = static_cast<std::ptrdiff_t>(std::min(i - run, kMostReordered));
    bool ends = i == times.size();
    if (!ends) {
      const int64_t least = *std::min_element(here - reordered, here);
      ends = least > *here && Distance(least, *here) * unit > kBackwardJump;
    }
    if (!ends) continue;
    std::sort(times.begin() + static_cast<std::ptrdiff_t>(run), here);
    run = i;
  }
  return times;
}

std::optional<int64_t> NextTime(const std::vector<int64_t>& timestamps, size_t i) {
  return i + 1 < timestamps.size() ? std::optional(timestamps[i + 1]) : std::nullopt;
}

void CoverWith(const AVPacket& packet, const AVStream& stream, FileClock& clock) {
  const Ratio time_base = TimeBaseOf(stream.time_base);
  const auto time = TimestampOf(packet.pts != AV_NOPTS_VALUE ? packet.pts : packet.dts, time_base);
  if (!time) return;
  const double from = static_cast<double>(*time) * time_base.value();
  clock.Cover(from, from + DurationOf(packet.duration, time_base).value_or(0));
}

}  // namespace qolm::media::ffmpeg
