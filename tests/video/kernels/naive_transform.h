// SPDX-License-Identifier: MIT
//
// Reference implementations of the transform and the quantiser, directly from the
// formulas.
#ifndef QOLM_TESTS_VIDEO_KERNELS_NAIVE_TRANSFORM_H_
#define QOLM_TESTS_VIDEO_KERNELS_NAIVE_TRANSFORM_H_

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstdint>

#include "base/rounding.h"
#include "video/kernels/dct_basis.h"

namespace qolm::test {

using Matrix8x8 = std::array<std::array<float, 8>, 8>;

inline Matrix8x8 Basis() {
  Matrix8x8 basis;
  for (size_t u = 0; u < 8; ++u) {
    for (size_t x = 0; x < 8; ++x) basis[u][x] = video::GetDctBasis().rows[u][x];
  }
  return basis;
}

inline Matrix8x8 Transposed(const Matrix8x8& a) {
  Matrix8x8 result;
  for (size_t r = 0; r < 8; ++r) {
    for (size_t c = 0; c < 8; ++c) result[r][c] = a[c][r];
  }
  return result;
}

// Every sum begins with its first product and runs in ascending order.
inline Matrix8x8 Product(const Matrix8x8& a, const Matrix8x8& b) {
  Matrix8x8 result;
  for (size_t r = 0; r < 8; ++r) {
    for (size_t c = 0; c < 8; ++c) {
      float sum = a[r][0] * b[0][c];
      for (size_t k = 1; k < 8; ++k) sum = sum + a[r][k] * b[k][c];
      result[r][c] = sum;
    }
  }
  return result;
}

inline Matrix8x8 NaiveForward(const Matrix8x8& residual) {
  return Product(Product(Basis(), residual), Transposed(Basis()));
}

inline Matrix8x8 NaiveInverse(const Matrix8x8& coefficients) {
  return Product(Product(Transposed(Basis()), coefficients), Basis());
}

inline uint8_t NaiveSample(uint8_t prediction, float inverse) {
  const float value = static_cast<float>(prediction) + inverse;
  const float rounded = value + 0.5F;
  return static_cast<uint8_t>(std::min(std::max(rounded, 0.0F), 255.0F));
}

inline int NaiveLevel(float coefficient, float step) {
  const float rounded = RoundHalfAway(coefficient / step);  // halves away from zero
  return static_cast<int>(std::clamp(rounded, -2048.0F, 2047.0F));
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_VIDEO_KERNELS_NAIVE_TRANSFORM_H_
