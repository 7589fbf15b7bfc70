// SPDX-License-Identifier: MIT
//
// Cosines that are bit-identical on every platform, independent of the C library: they
// determine the transform's rounding decisions and thus the bytes of a file.
#ifndef QOLM_AUDIO_COSINE_TABLE_H_
#define QOLM_AUDIO_COSINE_TABLE_H_

#include <cstdint>

namespace qolm::audio {

// cos(pi * numerator / denominator) with an absolute error of at most 2 ulp of 1. The
// denominator is 1..2^30. Arguments symmetric about a multiple of pi / 2 give the same
// bits up to the sign; zeros are exact.
double CosineOfPi(uint64_t numerator, uint64_t denominator);

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_COSINE_TABLE_H_
