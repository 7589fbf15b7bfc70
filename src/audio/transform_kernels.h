// The one kernel in which the transform spends its time: a tile of sums of
// products of frames and basis columns.
//
// The scalar function is the definition; a variant gives the same bits, because
// every sum adds its products one by one in ascending order and nothing is
// contracted into a fused multiply-add.
#ifndef QOLM_AUDIO_TRANSFORM_KERNELS_H_
#define QOLM_AUDIO_TRANSFORM_KERNELS_H_

#include <cstddef>

#include "base/simd_level.h"

namespace qolm::audio {

// Twelve sums of four lanes: what sixteen wide registers hold next to the factors.
inline constexpr size_t kTileFrames = 6;
inline constexpr size_t kTileColumns = 8;

// sums[r * kTileColumns + c] += values[i * kTileFrames + r] *
// basis[i * kTileColumns + c], for i = 0 .. count - 1 in this order.
using AddTileProducts = void (*)(const double* values, const double* basis, size_t count,
                                 double* sums);

// The definition.
void AddTileProductsScalar(const double* values, const double* basis, size_t count, double* sums);

// The best variant that `level` (at most the detected one) allows.
AddTileProducts AddTileProductsFor(SimdLevel level);

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_TRANSFORM_KERNELS_H_
