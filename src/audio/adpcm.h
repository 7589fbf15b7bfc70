// SPDX-License-Identifier: MIT
//
// IMA ADPCM, one sample as a 4-bit code: a sign bit and three bits of the
// distance to the predicted sample, measured in steps that grow and shrink with
// the codes (IMA Digital Audio Focus and Technical Working Groups, "Recommended
// Practices for Enhancing Digital Audio Compatibility in Multimedia Systems",
// 1992).
#ifndef QOLM_AUDIO_ADPCM_H_
#define QOLM_AUDIO_ADPCM_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace qolm::audio {

inline constexpr int32_t kAdpcmLastStepIndex = 88;

extern const std::array<int32_t, 89> kAdpcmSteps;
extern const std::array<int32_t, 16> kAdpcmIndexChanges;  // by code

// What one channel carries from sample to sample; fresh in every payload.
struct AdpcmState {
  int32_t predictor = 0;   // -32768..32767
  int32_t step_index = 0;  // 0..88
};

// The code (0..15) of `sample`; moves the state as the decoder will.
uint8_t AdpcmEncodeSample(int16_t sample, AdpcmState& state);

// The sample of `code` (0..15).
int16_t AdpcmDecodeSample(uint8_t code, AdpcmState& state);

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_ADPCM_H_
