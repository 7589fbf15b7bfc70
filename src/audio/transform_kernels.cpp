// SPDX-License-Identifier: MIT
#include "audio/transform_kernels.h"

#if defined(QOLM_X86_KERNELS)
#include "audio/x86/transform_kernels_x86.h"
#endif

namespace qolm::audio {
namespace {

// The sums of one block and four neighbouring columns.
struct FourSums {
  double a, b, c, d;

  explicit FourSums(const double* sums) : a(sums[0]), b(sums[1]), c(sums[2]), d(sums[3]) {}

  void Add(double value, const double* columns) {
    a += value * columns[0];
    b += value * columns[1];
    c += value * columns[2];
    d += value * columns[3];
  }

  void Store(double* sums) const {
    sums[0] = a;
    sums[1] = b;
    sums[2] = c;
    sums[3] = d;
  }
};

}  // namespace

void AddTileProductsScalar(const double* values, const double* basis, size_t count, double* sums) {
  // Two blocks and four columns at a time, so that the eight sums fit the registers of
  // a baseline processor.
  for (size_t r = 0; r < kTileFrames; r += 2) {
    for (size_t c = 0; c < kTileColumns; c += 4) {
      FourSums first(sums + r * kTileColumns + c);
      FourSums second(sums + (r + 1) * kTileColumns + c);
      for (size_t i = 0; i < count; ++i) {
        const double* columns = basis + i * kTileColumns + c;
        first.Add(values[i * kTileFrames + r], columns);
        second.Add(values[i * kTileFrames + r + 1], columns);
      }
      first.Store(sums + r * kTileColumns + c);
      second.Store(sums + (r + 1) * kTileColumns + c);
    }
  }
}

AddTileProducts AddTileProductsFor(SimdLevel level) {
#if defined(QOLM_X86_KERNELS)
  if (level >= SimdLevel::kAvx2) return x86::AddTileProductsAvx2;
#else
  (void)level;
#endif
  return AddTileProductsScalar;
}

}  // namespace qolm::audio
