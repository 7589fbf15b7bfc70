#include "media/ffmpeg/frame_timeline.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>

namespace qolm::media::ffmpeg {
namespace {

constexpr double kTolerance = 0.9;          // slots
constexpr double kBackwardJumpSeconds = 1;  // an earlier timestamp than this restarts the clock
constexpr double kSnapping = 0.0004;        // less than half of what parts 30 from 30000/1001
constexpr double kTypicalSnapping = 0.05;
constexpr double kRealGap = 1.5;  // slots from one picture to the next of a variable stream
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

// In doubles, since damaged files hold timestamps whose difference overflows.
double Distance(int64_t from, int64_t to) {
  return static_cast<double>(to) - static_cast<double>(from);
}

// The mean of the intervals within a fifth of the median one, so that gaps
// and bursts do not count; 0 when there is none.
double TypicalInterval(const StreamTimes& times) {
  std::vector<double> intervals;
  for (size_t i = 1; i < times.timestamps.size(); ++i) {
    const double interval = Distance(times.timestamps[i - 1], times.timestamps[i]);
    if (interval > 0) intervals.push_back(interval);
  }
  if (intervals.empty()) return 0;
  const auto middle = intervals.begin() + static_cast<std::ptrdiff_t>(intervals.size() / 2);
  std::nth_element(intervals.begin(), middle, intervals.end());
  const double median = *middle;
  double sum = 0;
  double count = 0;
  for (const double interval : intervals) {
    if (std::abs(interval - median) > median / 5) continue;
    sum += interval;
    ++count;
  }
  return sum / count * times.time_base.value();
}

Ratio ToThousandths(double rate) {
  const int64_t thousandths = std::llround(rate * 1000);
  const int64_t divisor = std::max<int64_t>(1, std::gcd(thousandths, int64_t{1000}));
  return {thousandths / divisor, 1000 / divisor};
}

// The rate that spreads the timestamps evenly from the first to the last.
Ratio MeasuredRate(const StreamTimes& times) {
  if (times.timestamps.size() < 2) return {};
  const double span =
      Distance(times.timestamps.front(), times.timestamps.back()) * times.time_base.value();
  const double rate = static_cast<double>(times.timestamps.size() - 1) / span;
  return span > 0 && rate <= kHighestRate ? ToThousandths(rate) : Ratio{};
}

bool IsUsable(Ratio rate) { return rate.is_positive() && rate.value() <= kHighestRate; }

bool AreWithin(Ratio a, Ratio b, double tolerance) {
  return std::abs(a.value() / b.value() - 1) < tolerance;
}

struct Outcome {
  int64_t repeats = 0;
  int64_t drops = 0;
  double longest_interval = 0;  // slots
};

Outcome Simulate(const StreamTimes& times, Ratio rate, double longest_gap_seconds) {
  FrameTimeline timeline(rate, times.time_base, longest_gap_seconds);
  const double slots_per_unit = rate.value() * times.time_base.value();
  Outcome outcome;
  std::optional<int64_t> last;
  for (const int64_t timestamp : times.timestamps) {
    const FrameTimeline::Placement placement = timeline.Place(timestamp);
    outcome.repeats += placement.repeats;
    outcome.drops += placement.drop ? 1 : 0;
    if (last) {
      outcome.longest_interval =
          std::max(outcome.longest_interval, Distance(*last, timestamp) * slots_per_unit);
    }
    last = timestamp;
  }
  return outcome;
}

// The rates to try for a constant stream, the likeliest first.
std::vector<Ratio> Candidates(const StreamTimes& times) {
  std::vector<Ratio> candidates;
  for (const Ratio rate : {times.average_rate, times.lowest_exact_rate, MeasuredRate(times)}) {
    if (!IsUsable(rate)) continue;
    const Ratio common = NearestCommonRate(rate.value());
    if (AreWithin(common, rate, kSnapping)) candidates.push_back(common);
    candidates.push_back(rate);
  }
  return candidates;
}

// What most of a variable stream's pictures follow.
Ratio TypicalRate(const StreamTimes& times, const std::vector<Ratio>& candidates) {
  const double interval = TypicalInterval(times);
  if (interval <= 0) return candidates.front();
  const double rate = std::min(1 / interval, kHighestVariableRate.value());
  const Ratio typical = ToThousandths(rate);
  if (!typical.is_positive()) return candidates.front();
  for (const Ratio candidate : candidates) {
    if (AreWithin(candidate, typical, kSnapping)) return candidate;
  }
  const Ratio common = NearestCommonRate(rate);
  return AreWithin(common, typical, kTypicalSnapping) ? common : typical;
}

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
  const std::vector<Ratio> candidates = Candidates(times);
  if (candidates.empty()) return std::nullopt;
  for (const Ratio rate : candidates) {
    const Outcome outcome = Simulate(times, rate, longest_gap_seconds);
    if (outcome.repeats == 0 && outcome.drops == 0 && outcome.longest_interval < kRealGap) {
      return rate;
    }
  }

  const double accepted_drops = kAcceptedDrops * static_cast<double>(times.timestamps.size());
  Ratio chosen = TypicalRate(times, candidates);
  for (const Ratio rate : kCommonRates) {
    const Outcome outcome = Simulate(times, chosen, longest_gap_seconds);
    if (static_cast<double>(outcome.drops) <= accepted_drops) break;
    if (rate.denominator != 1001 && rate.value() > chosen.value() &&
        rate.value() <= kHighestVariableRate.value()) {
      chosen = rate;
    }
  }
  return chosen;
}

std::optional<int64_t> DurationOfFrames(int64_t frames, Ratio rate) {
  if (frames <= 0) return 0;
  // Up to here doubles hold whole units, so that counting up ends.
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
