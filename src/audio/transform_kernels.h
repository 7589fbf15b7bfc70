// SPDX-License-Identifier: MIT
//
// The inner kernel of the transform: a tile of the product of packed blocks and basis
// columns.
//
// The scalar function is the definition. Variants are bit-identical because every sum
// adds its products one by one in ascending order, without fused multiply-add.
#ifndef QOLM_AUDIO_TRANSFORM_KERNELS_H_
#define QOLM_AUDIO_TRANSFORM_KERNELS_H_

#include <cstddef>

#include "base/simd_level.h"

namespace qolm::audio {

// Twelve four-lane sums, which with their factors fill sixteen vector registers.
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
