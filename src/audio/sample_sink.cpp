// SPDX-License-Identifier: MIT
#include "audio/sample_sink.h"

#include <algorithm>

namespace qolm::audio {
namespace {

// About the cost of setting up a decoder and rejecting its payload.
constexpr uint64_t kMinWastedValues = uint64_t{1} << 18;

}  // namespace

SampleSink::SampleSink(PcmTrack& track)
    : track_(&track), held_{track.sample_rate, track.channels, track.samples.size()} {}

SampleSink::SampleSink(AudioExtent& extent) : extent_(&extent), held_(extent) {}

bool SampleSink::open(uint32_t sample_rate, uint16_t channels, uint64_t values, uint64_t max_values,
                      uint64_t weight) {
  // On 32-bit systems a vector may be unable to hold `max_values`.
  const uint64_t limit =
      track_ == nullptr ? max_values : std::min<uint64_t>(max_values, track_->samples.max_size());
  if (sample_rate == 0 || held_.values > limit) return false;
  if (values > (limit - held_.values) / weight) return false;
  const bool same_kind = held_.sample_rate == sample_rate && held_.channels == channels;
  if (held_.values > 0 && !same_kind) return false;
  added_ = {sample_rate, channels, 0};
  return true;
}

int16_t* SampleSink::extend(size_t values) {
  if (track_ == nullptr) {
    added_.values += values;
    discarded_.resize(std::max(discarded_.size(), values));
    return discarded_.data();
  }
  const auto end = static_cast<size_t>(held_.values + added_.values);
  track_->samples.resize(end + values);
  added_.values += values;
  return track_->samples.data() + end;
}

void SampleSink::commit() {
  wasted_values_ = extra_cost_;
  if (extent_ != nullptr) {
    *extent_ = {added_.sample_rate, added_.channels, held_.values + added_.values};
  } else if (held_.values == 0) {
    track_->sample_rate = added_.sample_rate;
    track_->channels = added_.channels;
  }
}

void SampleSink::roll_back() {
  if (track_ != nullptr) track_->samples.resize(static_cast<size_t>(held_.values));
  wasted_values_ = std::max(added_.values + extra_cost_, kMinWastedValues);
  added_.values = 0;
}

}  // namespace qolm::audio
