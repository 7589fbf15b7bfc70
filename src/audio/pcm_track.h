// Decoded sound: interleaved 16-bit samples with their rate and channel count, or
// only how many there are.
#ifndef QOLM_AUDIO_PCM_TRACK_H_
#define QOLM_AUDIO_PCM_TRACK_H_

#include <cstdint>
#include <vector>

namespace qolm {

struct PcmTrack {
  uint32_t sample_rate = 0;      // Hz; 0 = no sound
  uint16_t channels = 0;         // 1 or 2; 0 = no sound
  std::vector<int16_t> samples;  // channels interleaved
};

struct SoundExtent {
  uint32_t sample_rate = 0;  // Hz; 0 = no sound
  uint16_t channels = 0;     // 1 or 2; 0 = no sound
  uint64_t values = 0;       // of all channels together
};

}  // namespace qolm

#endif  // QOLM_AUDIO_PCM_TRACK_H_
