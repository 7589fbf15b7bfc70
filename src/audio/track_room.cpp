#include "audio/track_room.h"

#include <cstddef>

namespace qolm::audio {

bool TrackTakes(const PcmTrack& track, uint32_t sample_rate, uint16_t channels, uint64_t values,
                uint64_t max_values) {
  const uint64_t held = track.samples.size();
  if (sample_rate == 0 || held > max_values || values > max_values - held) return false;
  return held == 0 || (track.sample_rate == sample_rate && track.channels == channels);
}

int16_t* ExtendTrack(PcmTrack& track, uint32_t sample_rate, uint16_t channels, uint64_t values) {
  // Resizing grows by doubling where it must, so many small pieces stay cheap.
  const size_t held = track.samples.size();
  track.samples.resize(held + static_cast<size_t>(values));
  if (held == 0) {
    track.sample_rate = sample_rate;
    track.channels = channels;
  }
  return track.samples.data() + held;
}

}  // namespace qolm::audio
