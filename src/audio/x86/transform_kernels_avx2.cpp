// SPDX-License-Identifier: MIT
//
// The AVX2 variant of the transform's kernel. Compiled without FMA: the sums
// must round after every product, as the scalar definition does.
#include <immintrin.h>

#include "audio/transform_kernels.h"
#include "audio/x86/transform_kernels_x86.h"

namespace qolm::audio::x86 {
namespace {

// The sums of one block, one column per lane; every lane adds in the scalar order.
struct BlockSums {
  __m256d low;
  __m256d high;

  explicit BlockSums(const double* sums)
      : low(_mm256_loadu_pd(sums)), high(_mm256_loadu_pd(sums + 4)) {}

  void Add(const double* value, __m256d low_columns, __m256d high_columns) {
    const __m256d factor = _mm256_broadcast_sd(value);
    low = _mm256_add_pd(low, _mm256_mul_pd(factor, low_columns));
    high = _mm256_add_pd(high, _mm256_mul_pd(factor, high_columns));
  }

  void Store(double* sums) const {
    _mm256_storeu_pd(sums, low);
    _mm256_storeu_pd(sums + 4, high);
  }
};

}  // namespace

static_assert(kTileFrames == 6 && kTileColumns == 8, "the sums below are written for this tile");

// Six variables instead of an array, which compilers may not keep in registers.
void AddTileProductsAvx2(const double* values, const double* basis, size_t count, double* sums) {
  BlockSums block0(sums);
  BlockSums block1(sums + 8);
  BlockSums block2(sums + 16);
  BlockSums block3(sums + 24);
  BlockSums block4(sums + 32);
  BlockSums block5(sums + 40);
  for (size_t i = 0; i < count; ++i) {
    const __m256d low_columns = _mm256_loadu_pd(basis);
    const __m256d high_columns = _mm256_loadu_pd(basis + 4);
    block0.Add(values, low_columns, high_columns);
    block1.Add(values + 1, low_columns, high_columns);
    block2.Add(values + 2, low_columns, high_columns);
    block3.Add(values + 3, low_columns, high_columns);
    block4.Add(values + 4, low_columns, high_columns);
    block5.Add(values + 5, low_columns, high_columns);
    basis += 8;
    values += 6;
  }
  block0.Store(sums);
  block1.Store(sums + 8);
  block2.Store(sums + 16);
  block3.Store(sums + 24);
  block4.Store(sums + 32);
  block5.Store(sums + 40);
}

}  // namespace qolm::audio::x86
