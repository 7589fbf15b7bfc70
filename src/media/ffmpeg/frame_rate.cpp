// SPDX-License-Identifier: MIT
#include "media/ffmpeg/frame_rate.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <numeric>

#include "media/ffmpeg/frame_timeline.h"
#include "media/ffmpeg/packet_times.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr double kSnapping = 0.0004;  // less than half the difference of 30 and 30000/1001
constexpr double kSameNominalRate = 0.0015;
constexpr double kTypicalSnapping = 0.05;
constexpr double kRealGap = 1.5;  // slots from one picture to the next of a variable stream
constexpr double kAcceptedDrops = 0.02;
constexpr double kHighestDeclaredRate = 1000;  // unless the timestamps confirm it
constexpr double kHighestRate = 1'000'000;
constexpr double kConfirmed = 1.1;      // times the measured rate
constexpr double kSureTick = 0.001;     // slots
constexpr double kCoarsestTick = 0.1;   // slots; a clock as coarse as its ticks fits any
constexpr size_t kFewestTicks = 3;      // pictures
constexpr double kMostlyTypical = 0.9;  // of all intervals
constexpr size_t kLongestStart = 16;    // pictures

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

struct Interval {
  double seconds = 0;
  double share = 0;  // of all intervals
};

// The mean of the intervals within a fifth of the median, which excludes gaps and bursts; 0
// for none.
Interval TypicalInterval(const StreamTimes& times) {
  std::vector<double> intervals;
  for (size_t i = 1; i < times.timestamps.size(); ++i) {
    const double interval = Distance(times.timestamps[i - 1], times.timestamps[i]);
    if (interval > 0) intervals.push_back(interval);
  }
  if (intervals.empty()) return {};
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
  return {sum / count * times.time_base.value(), count / static_cast<double>(intervals.size())};
}

bool IsCommon(Ratio rate) {
  return std::find(kCommonRates.begin(), kCommonRates.end(), rate) != kCommonRates.end();
}

Ratio ToThousandths(double rate) {
  const int64_t thousandths = std::llround(rate * 1000);
  const int64_t divisor = std::max<int64_t>(1, std::gcd(thousandths, int64_t{1000}));
  return {thousandths / divisor, 1000 / divisor};
}

// The mean rate from the first timestamp to the last, excluding restarts of the clock. With
// a `slot`, in seconds, a longer interval counts as several slots.
Ratio MeasuredRate(const StreamTimes& times, const FileClock& clock, double slot) {
  FrameTimeline timeline({1, 1}, times.time_base, clock);
  double seconds = 0;
  double steps = 0;
  for (size_t i = 0; i < times.timestamps.size(); ++i) {
    const double step = timeline.Place(times.timestamps[i], NextTime(times.timestamps, i)).step;
    const bool same_time = i > 0 && times.timestamps[i] == times.timestamps[i - 1];
    const double held = slot > 0 ? std::round(step / slot) : 0;
    seconds += step;
    steps += step > 0 || same_time ? std::max(1.0, held) : 0;
  }
  const double rate = steps / seconds;
  return seconds > 0 && rate <= kHighestRate ? ToThousandths(rate) : Ratio{};
}

bool AreWithin(Ratio a, Ratio b, double tolerance) {
  return std::abs(a.value() / b.value() - 1) < tolerance;
}

struct Outcome {
  int64_t repeats = 0;
  int64_t drops = 0;
  int64_t holes = 0;  // intervals of more than a slot
};

Outcome Simulate(const StreamTimes& times, Ratio rate, const FileClock& clock) {
  FrameTimeline timeline(rate, times.time_base, clock);
  Outcome outcome;
  for (size_t i = 0; i < times.timestamps.size(); ++i) {
    const FrameTimeline::Placement placement =
        timeline.Place(times.timestamps[i], NextTime(times.timestamps, i));
    outcome.repeats += placement.repeats;
    outcome.drops += placement.drop ? 1 : 0;
    outcome.holes += placement.step >= kRealGap ? 1 : 0;
  }
  return outcome;
}

// The rates to try for a constant stream, the likeliest first.
std::vector<Ratio> Candidates(const StreamTimes& times, Ratio measured) {
  std::vector<Ratio> candidates;
  const double highest = std::max(kHighestDeclaredRate, measured.value() * kConfirmed);
  for (const Ratio rate : {times.average_rate, times.lowest_exact_rate, measured}) {
    if (!rate.is_positive() || rate.value() > highest) continue;
    const Ratio common = NearestCommonRate(rate.value());
    if (AreWithin(common, rate, kSnapping)) candidates.push_back(common);
    candidates.push_back(rate);
  }
  return candidates;
}

// The rate that most pictures of a variable stream follow.
Ratio TypicalRate(const StreamTimes& times, const std::vector<Ratio>& candidates) {
  const Interval interval = TypicalInterval(times);
  if (interval.seconds <= 0) return candidates.front();
  const double highest =
      interval.share >= kMostlyTypical ? kHighestRate : kHighestVariableRate.value();
  const double rate = std::min(1 / interval.seconds, highest);
  const Ratio typical = ToThousandths(rate);
  if (!typical.is_positive()) return candidates.front();
  for (const Ratio candidate : candidates) {
    if (AreWithin(candidate, typical, kSnapping)) return candidate;
    // Clocks of whole milliseconds cannot distinguish 30 from 30000/1001 in a few pictures;
    // the declared rate can.
    const double difference = std::abs(1 / candidate.value() - interval.seconds);
    if (IsCommon(candidate) && difference <= times.time_base.value() / 2) return candidate;
  }
  const Ratio common = NearestCommonRate(rate);
  return AreWithin(common, typical, kTypicalSnapping) ? common : typical;
}

double AcceptedDrops(const StreamTimes& times) {
  return kAcceptedDrops * static_cast<double>(times.timestamps.size());
}

// Whether every picture's time is a tick of `rate` within the rounding of its clock,
// counted from the clock's last restart.
bool AllAreOnGrid(const StreamTimes& times, Ratio rate) {
  const double slots = times.time_base.value() * rate.value();
  double tolerance = slots + kSureTick;
  if (tolerance > kCoarsestTick) {
    // Only a clock that counts these ticks itself is free of rounding.
    const double units = 1 / slots;
    if (units < 0.5 || std::abs(units - std::round(units)) > kSureTick) return false;
    tolerance = kSureTick;
  }
  int64_t start = times.timestamps.empty() ? 0 : times.timestamps.front();
  int64_t last = start;
  for (const int64_t time : times.timestamps) {
    if (time < last) start = time;
    last = time;
    const double position = Distance(start, time) * slots;
    if (std::abs(position - std::round(position)) > tolerance) return false;
  }
  return true;
}

struct Even {
  std::optional<Ratio> rate;  // that passes every picture exactly once
  bool is_sure = false;       // it is a common one, or all pictures lie on its ticks
};

Even EvenRate(const StreamTimes& times, const std::vector<Ratio>& candidates,
              const FileClock& clock) {
  Even even;
  for (const Ratio rate : candidates) {
    const Outcome outcome = Simulate(times, rate, clock);
    if (outcome.repeats > 0 || outcome.drops > 0 || outcome.holes > 0) continue;
    if (IsCommon(rate) || AllAreOnGrid(times, rate)) return {rate, true};
    if (!even.rate) even.rate = rate;
  }
  return even;
}

// The rate of a stream of which only the first pictures are uneven: in a recording that was
// cut, those before its first key frame have lost their times.
std::optional<Ratio> RateBehindUnevenStart(const StreamTimes& times, const FileClock& clock) {
  const size_t start = std::min(kLongestStart, times.timestamps.size() / 4);
  if (times.timestamps.size() - start < kFewestTicks) return std::nullopt;
  StreamTimes behind = times;
  behind.timestamps.erase(behind.timestamps.begin(),
                          behind.timestamps.begin() + static_cast<std::ptrdiff_t>(start));
  const Even even = EvenRate(behind, Candidates(behind, MeasuredRate(behind, clock, 0)), clock);
  return even.is_sure ? even.rate : std::nullopt;
}

// The rate of a stream that is constant except for a few gaps, as damage leaves them.
std::optional<Ratio> RateBetweenHoles(const StreamTimes& times, const FileClock& clock) {
  const Interval interval = TypicalInterval(times);
  if (interval.share < kMostlyTypical) return std::nullopt;
  for (const Ratio rate : Candidates(times, MeasuredRate(times, clock, interval.seconds))) {
    const Outcome outcome = Simulate(times, rate, clock);
    const double most_holes =
        (1 - kMostlyTypical) * static_cast<double>(times.timestamps.size() - 1);
    if (outcome.drops > 0 || static_cast<double>(outcome.holes) > most_holes) continue;
    if (AllAreOnGrid(times, rate)) return rate;
  }
  return std::nullopt;
}

// The rate on whose ticks all pictures of a variable stream lie: the declared one, or else
// the lowest such common one.
std::optional<Ratio> TickRate(const StreamTimes& times, const FileClock& clock) {
  std::vector<Ratio> rates(kCommonRates.begin(), kCommonRates.end());
  if (IsCommon(times.average_rate)) rates.insert(rates.begin(), times.average_rate);
  for (const Ratio rate : rates) {
    if (rate.value() > kHighestVariableRate.value() || !AllAreOnGrid(times, rate)) continue;
    if (static_cast<double>(Simulate(times, rate, clock).drops) > AcceptedDrops(times)) continue;
    // As with 30 and 30000/1001, the declared rate decides what a short stream cannot.
    const bool declared =
        IsCommon(times.average_rate) && AreWithin(times.average_rate, rate, kSameNominalRate);
    return declared ? times.average_rate : rate;
  }
  return std::nullopt;
}

}  // namespace

std::optional<Ratio> ChooseConstantRate(const StreamTimes& times, const FileClock& clock) {
  const std::vector<Ratio> candidates = Candidates(times, MeasuredRate(times, clock, 0));
  if (candidates.empty()) return std::nullopt;
  const Even even = EvenRate(times, candidates, clock);
  if (even.is_sure) return even.rate;
  if (const auto rate = RateBehindUnevenStart(times, clock)) return rate;
  if (times.timestamps.size() >= kFewestTicks) {
    if (const auto rate = RateBetweenHoles(times, clock)) return rate;
    if (const auto rate = TickRate(times, clock)) return rate;
  }
  if (even.rate) return even.rate;

  Ratio chosen = TypicalRate(times, candidates);
  for (const Ratio rate : kCommonRates) {
    const Outcome outcome = Simulate(times, chosen, clock);
    if (static_cast<double>(outcome.drops) <= AcceptedDrops(times)) break;
    if (rate.denominator != 1001 && rate.value() > chosen.value() &&
        rate.value() <= kHighestVariableRate.value()) {
      chosen = rate;
    }
  }
  return chosen;
}

}  // namespace qolm::media::ffmpeg
