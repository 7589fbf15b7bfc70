// SPDX-License-Identifier: MIT
//
// The two audio coders, by the number that the file header stores.
#ifndef QOLM_AUDIO_AUDIO_CODING_MODE_H_
#define QOLM_AUDIO_AUDIO_CODING_MODE_H_

#include <cstdint>

namespace qolm::audio {

enum class AudioCodingMode : uint16_t { kAdpcm = 1, kTransform = 2 };

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_AUDIO_CODING_MODE_H_
