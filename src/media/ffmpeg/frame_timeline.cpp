#include "media/ffmpeg/frame_timeline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>

namespace qolm::media::ffmpeg {
namespace {

constexpr double kTolerance = 0.9;          // slots
constexpr double kBackwardJumpSeconds = 1;  // an earlier timestamp than this restarts the clock
constexpr double kSnapping = 0.0004;        // less than half of what parts 30 from 30000/1001
constexpr double kAcceptedDrops = 0.02;
constexpr double kHighestRate = 1000;

constexpr std::array<Ratio, 22> kCommonRates = {
    {{1, 1},  {2, 1},        {5, 1},         {15, 2}, {8, 1},        {10, 1},
     {12, 1}, {25, 2},       {15, 1},        {20, 1}, {24000, 1001}, {24, 1},
     {25, 1}, {30000, 1001}, {30, 1},        {48, 1}, {50, 1},       {60000, 1001},
     {60, 1}, {100, 1},      {120000, 1001}, {120, 1}}};
constexpr Ratio kHighestVariableRate = {60, 1};

Ratio NearestCommonRate(double rate) {
  return *std::min_element(kCommonRates.begin(), kCommonRates.end(),
                           [rate](const Ratio& a, const Ratio& b) {
                             return std::abs(a.value() - rate) < std::abs(b.value() - rate);
                           });
}

struct Outcome {
  int64_t repeats = 0;
  int64_t drops = 0;
};

Outcome Simulate(const StreamTimes& times, Ratio rate, double longest_gap_seconds) {
  FrameTimeline timeline(rate, times.time_base, longest_gap_seconds);
  Outcome outcome;
  for (const int64_t timestamp : times.timestamps) {
    const FrameTimeline::Placement placement = timeline.Place(timestamp);
    outcome.repeats += placement.repeats;
    outcome.drops += placement.drop ? 1 : 0;
  }
  return outcome;
}

// The mean of the intervals within a fifth of the median one, so that gaps
// and bursts do not count; 0 when there is none.
double TypicalInterval(const StreamTimes& times) {
  std::vector<int64_t> intervals;
  for (size_t i = 1; i < times.timestamps.size(); ++i) {
    const int64_t interval = times.timestamps[i] - times.timestamps[i - 1];
    if (interval > 0) intervals.push_back(interval);
  }
  if (intervals.empty()) return 0;
  const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
  std::nth_element(intervals.begin(), middle, intervals.end());
  const double median = static_cast<double>(*middle);
  double sum = 0;
  double count = 0;
  for (const int64_t interval : intervals) {
    if (std::abs(static_cast<double>(interval) - median) > median / 5) continue;
    sum += static_cast<double>(interval);
    ++count;
  }
  return sum / count * times.time_base.value();
}

// The rate that spreads the timestamps evenly from the first to the last.
Ratio MeasuredRate(const StreamTimes& times) {
  if (times.timestamps.size() < 2) return {};
  const double span = static_cast<double>(times.timestamps.back() - times.timestamps.front()) *
                      times.time_base.value();
  if (span <= 0) return {};
  const double rate = static_cast<double>(times.timestamps.size() - 1) / span;
  if (rate > kHighestRate) return {};
  return {std::llround(rate * 1000), 1000};
}

bool IsUsable(Ratio rate) { return rate.is_positive() && rate.value() <= kHighestRate; }

}  // namespace

FrameTimeline::FrameTimeline(Ratio rate, Ratio time_base, double longest_gap_seconds)
    : slots_per_second_(rate.value()),
      slots_per_unit_(rate.value() * time_base.value()),
      longest_gap_slots_(longest_gap_seconds * rate.value()) {}

FrameTimeline::Placement FrameTimeline::Place(std::optional<int64_t> timestamp) {
  double position = started_ ? last_position_ + 1 : 0;
  if (timestamp) {
    const double on_grid = ToSlots(*timestamp);
    const bool advances = !last_timestamp_ || *timestamp > *last_timestamp_;
    const bool clock_restarts =
        !last_timestamp_ ||
        (advances ? on_grid - origin_ - last_position_ > longest_gap_slots_
                  : ToSlots(*last_timestamp_) - on_grid > kBackwardJumpSeconds * slots_per_second_);
    if (clock_restarts) {
      origin_ = on_grid - position;
    } else if (advances) {
      position = std::max(on_grid - origin_, last_position_);
    }
    last_timestamp_ = timestamp;
  }
  started_ = true;
  last_position_ = position;

  Placement placement;
  const double distance = position - static_cast<double>(slots_filled_);
  if (distance < -kTolerance) {
    placement.drop = true;
    return placement;
  }
  if (distance > kTolerance) placement.repeats = std::llround(distance);
  slots_filled_ += placement.repeats + 1;
  return placement;
}

int64_t FrameTimeline::RepeatsAtEnd(int64_t duration) const {
  const double slots = ToSlots(duration);
  // A duration of about one slot is the picture's own; the rest is rounding.
  if (!started_ || slots < 1.5 || slots > longest_gap_slots_) return 0;
  return std::max<int64_t>(
      0, std::llround(last_position_ + slots - static_cast<double>(slots_filled_)));
}

std::optional<Ratio> ChooseConstantRate(const StreamTimes& times, double longest_gap_seconds) {
  std::vector<Ratio> candidates;
  for (const Ratio rate : {times.average_rate, times.lowest_exact_rate, MeasuredRate(times)}) {
    if (!IsUsable(rate)) continue;
    const Ratio common = NearestCommonRate(rate.value());
    if (std::abs(common.value() / rate.value() - 1) < kSnapping) candidates.push_back(common);
    candidates.push_back(rate);
  }
  if (candidates.empty()) return std::nullopt;
  for (const Ratio rate : candidates) {
    const Outcome outcome = Simulate(times, rate, longest_gap_seconds);
    if (outcome.repeats == 0 && outcome.drops == 0) return rate;
  }

  const double interval = TypicalInterval(times);
  Ratio chosen = interval > 0 ? NearestCommonRate(1 / interval) : candidates.front();
  const double accepted_drops = kAcceptedDrops * static_cast<double>(times.timestamps.size());
  for (const Ratio rate : kCommonRates) {
    if (rate.value() < chosen.value() || rate.value() > kHighestVariableRate.value()) continue;
    chosen = rate;
    const Outcome outcome = Simulate(times, rate, longest_gap_seconds);
    if (static_cast<double>(outcome.drops) <= accepted_drops) break;
  }
  return chosen;
}

int64_t DurationOfFrames(int64_t frames, Ratio rate) {
  if (frames <= 0) return 0;
  const double rate_value = rate.value();
  int64_t duration =
      static_cast<int64_t>(std::ceil(static_cast<double>(frames) / rate_value * 1e7 - 1e-3));
  while (static_cast<int64_t>(rate_value * static_cast<double>(duration) * 1e-7) < frames) {
    ++duration;
  }
  return duration;
}

}  // namespace qolm::media::ffmpeg
