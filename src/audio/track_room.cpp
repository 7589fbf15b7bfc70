#include "audio/track_room.h"

#include <algorithm>

namespace qolm::audio {
namespace {

// About what it costs to set up a decoder and find out.
constexpr uint64_t kLeastValuesInVain = uint64_t{1} << 18;

}  // namespace

TrackRoom::TrackRoom(PcmTrack& track)
    : track_(&track), held_{track.sample_rate, track.channels, track.samples.size()} {}

TrackRoom::TrackRoom(SoundExtent& extent) : extent_(&extent), held_(extent) {}

bool TrackRoom::open(uint32_t sample_rate, uint16_t channels, uint64_t values, uint64_t max_values,
                     uint64_t weight) {
  // A machine of 32 bits may not even have the addresses.
  const uint64_t most =
      track_ == nullptr ? max_values : std::min<uint64_t>(max_values, track_->samples.max_size());
  if (sample_rate == 0 || held_.values > most) return false;
  if (values > (most - held_.values) / weight) return false;
  const bool same_kind = held_.sample_rate == sample_rate && held_.channels == channels;
  if (held_.values > 0 && !same_kind) return false;
  added_ = {sample_rate, channels, 0};
  return true;
}

int16_t* TrackRoom::extend(size_t values) {
  if (track_ == nullptr) {
    added_.values += values;
    unkept_.resize(std::max(unkept_.size(), values));
    return unkept_.data();
  }
  const auto end = static_cast<size_t>(held_.values + added_.values);
  track_->samples.resize(end + values);
  added_.values += values;
  return track_->samples.data() + end;
}

void TrackRoom::keep() {
  values_in_vain_ = spent_;
  if (extent_ != nullptr) {
    *extent_ = {added_.sample_rate, added_.channels, held_.values + added_.values};
  } else if (held_.values == 0) {
    track_->sample_rate = added_.sample_rate;
    track_->channels = added_.channels;
  }
}

void TrackRoom::take_back() {
  if (track_ != nullptr) track_->samples.resize(static_cast<size_t>(held_.values));
  values_in_vain_ = std::max(added_.values + spent_, kLeastValuesInVain);
  added_.values = 0;
}

}  // namespace qolm::audio
