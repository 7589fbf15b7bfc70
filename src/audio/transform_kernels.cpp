#include "audio/transform_kernels.h"

#include <array>

#if defined(QOLM_X86_KERNELS)
#include "audio/x86/transform_kernels_x86.h"
#endif

namespace qolm::audio {

void AddTileProductsScalar(const double* values, const double* basis, size_t count, double* sums) {
  // Two frames at a time: sixteen sums still fit narrow registers.
  for (size_t r = 0; r < kTileFrames; r += 2) {
    std::array<double, kTileColumns> first;
    std::array<double, kTileColumns> second;
    for (size_t c = 0; c < kTileColumns; ++c) {
      first[c] = sums[r * kTileColumns + c];
      second[c] = sums[(r + 1) * kTileColumns + c];
    }
    for (size_t i = 0; i < count; ++i) {
      const double a = values[i * kTileFrames + r];
      const double b = values[i * kTileFrames + r + 1];
      const double* column = basis + i * kTileColumns;
      for (size_t c = 0; c < kTileColumns; ++c) {
        first[c] += a * column[c];
        second[c] += b * column[c];
      }
    }
    for (size_t c = 0; c < kTileColumns; ++c) {
      sums[r * kTileColumns + c] = first[c];
      sums[(r + 1) * kTileColumns + c] = second[c];
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
