// SPDX-License-Identifier: MIT
#include "audio/adpcm.h"

#include <algorithm>
#include <cstdlib>

namespace qolm::audio {

const std::array<int32_t, 89> kAdpcmSteps = {
    7,     8,     9,     10,    11,    12,    13,    14,    16,    17,    19,   21,    23,
    25,    28,    31,    34,    37,    41,    45,    50,    55,    60,    66,   73,    80,
    88,    97,    107,   118,   130,   143,   157,   173,   190,   209,   230,  253,   279,
    307,   337,   371,   408,   449,   494,   544,   598,   658,   724,   796,  876,   963,
    1060,  1166,  1282,  1411,  1552,  1707,  1878,  2066,  2272,  2499,  2749, 3024,  3327,
    3660,  4026,  4428,  4871,  5358,  5894,  6484,  7132,  7845,  8630,  9493, 10442, 11487,
    12635, 13899, 15289, 16818, 18500, 20350, 22385, 24623, 27086, 29794, 32767};

const std::array<int32_t, 16> kAdpcmIndexChanges = {-1, -1, -1, -1, 2, 4, 6, 8,
                                                    -1, -1, -1, -1, 2, 4, 6, 8};

int16_t AdpcmDecodeSample(uint8_t code, AdpcmState& state) {
  const int32_t step = kAdpcmSteps[static_cast<size_t>(state.step_index)];
  int32_t delta = step >> 3;
  if ((code & 4) != 0) delta += step;
  if ((code & 2) != 0) delta += step >> 1;
  if ((code & 1) != 0) delta += step >> 2;
  const int32_t moved = state.predictor + ((code & 8) != 0 ? -delta : delta);
  state.predictor = std::clamp(moved, -32768, 32767);
  state.step_index =
      std::clamp(state.step_index + kAdpcmIndexChanges[code & 15u], 0, kAdpcmLastStepIndex);
  return static_cast<int16_t>(state.predictor);
}

uint8_t AdpcmEncodeSample(int16_t sample, AdpcmState& state) {
  const int32_t step = kAdpcmSteps[static_cast<size_t>(state.step_index)];
  const int32_t difference = sample - state.predictor;
  int32_t remainder = std::abs(difference);
  uint8_t code = difference < 0 ? 8 : 0;
  if (remainder >= step) {
    code |= 4;
    remainder -= step;
  }
  if (remainder >= step >> 1) {
    code |= 2;
    remainder -= step >> 1;
  }
  if (remainder >= step >> 2) code |= 1;
  AdpcmDecodeSample(code, state);
  return code;
}

}  // namespace qolm::audio
