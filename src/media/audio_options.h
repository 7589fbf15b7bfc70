// SPDX-License-Identifier: MIT
//
// The audio that the user requests of the source.
#ifndef QOLM_MEDIA_AUDIO_OPTIONS_H_
#define QOLM_MEDIA_AUDIO_OPTIONS_H_

#include <cstdint>

namespace qolm::media {

struct AudioOptions {
  uint8_t enabled = 1;          // decode and code the audio track
  int32_t sample_rate = 32000;  // Hz requested from the audio source
  int32_t channels = 1;         // 1 = mono, 2 = stereo
};

}  // namespace qolm::media

#endif  // QOLM_MEDIA_AUDIO_OPTIONS_H_
