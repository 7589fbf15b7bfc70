// SPDX-License-Identifier: MIT
//
// Decoded audio: interleaved 16-bit samples with their rate and channel count, or the
// extent of such a track without its samples.
#ifndef QOLM_AUDIO_PCM_TRACK_H_
#define QOLM_AUDIO_PCM_TRACK_H_

#include <cstdint>
#include <vector>

namespace qolm {

struct PcmTrack {
  uint32_t sample_rate = 0;      // Hz; 0 = no audio
  uint16_t channels = 0;         // 1 or 2; 0 = no audio
  std::vector<int16_t> samples;  // channels interleaved
};

struct AudioExtent {
  uint32_t sample_rate = 0;  // Hz; 0 = no audio
  uint16_t channels = 0;     // 1 or 2; 0 = no audio
  uint64_t values = 0;       // of all channels together
};

}  // namespace qolm

#endif  // QOLM_AUDIO_PCM_TRACK_H_
