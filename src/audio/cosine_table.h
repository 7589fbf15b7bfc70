// Cosines whose bits depend on no C library: the transform's rounding decisions
// rest on them, and files must not differ from one platform to the next.
#ifndef QOLM_AUDIO_COSINE_TABLE_H_
#define QOLM_AUDIO_COSINE_TABLE_H_

#include <cstdint>

namespace qolm::audio {

// cos(pi * numerator / denominator), within 2 units in the last place of 1. The
// denominator is 1..2^30. Arguments that mirror each other about a multiple of
// pi / 2 give the same bits, up to the sign; the zeros are exact.
double CosineOfPi(uint64_t numerator, uint64_t denominator);

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_COSINE_TABLE_H_
