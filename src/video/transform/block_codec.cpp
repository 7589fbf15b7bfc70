// SPDX-License-Identifier: MIT
#include "video/transform/block_codec.h"

#include <algorithm>
#include <bit>
#include <cstring>

#include "entropy/nonzero_mask.h"

namespace qolm::video {
namespace {

// Dequantised coefficients in natural order and the extent of the non-zero ones.
struct DequantisedBlock {
  alignas(32) float coefficients[64];
  int rows = 0;  // 0 when every level is zero
  int columns = 0;
};

void Dequantise(const QuantTable& table, const int16_t* levels, DequantisedBlock& block) {
  uint64_t nonzero = entropy::NonZeroMask64(levels);
  if (nonzero == 0) return;
  std::fill_n(block.coefficients, 64, 0.0F);
  for (; nonzero != 0; nonzero &= nonzero - 1) {
    const size_t k = static_cast<size_t>(std::countr_zero(nonzero));
    const size_t natural = kZigzag[k];
    block.coefficients[natural] = static_cast<float>(levels[k]) * table.step[natural];
    block.rows = std::max(block.rows, static_cast<int>(natural / 8) + 1);
    block.columns = std::max(block.columns, static_cast<int>(natural % 8) + 1);
  }
}

void CopyInside(const uint8_t* from, ptrdiff_t stride, const BlockGrid& grid, uint32_t x0,
                uint32_t y0, uint8_t* plane) {
  const uint32_t columns = std::min(8U, grid.width - x0);
  const uint32_t rows = std::min(8U, grid.height - y0);
  for (uint32_t r = 0; r < rows; ++r) {
    std::memmove(plane + size_t{y0 + r} * grid.width + x0,
                 from + static_cast<ptrdiff_t>(r) * stride, columns);
  }
}

}  // namespace

void StoreInScanOrder(const int16_t* natural, uint64_t nonzero, int16_t* zigzag) {
  for (; nonzero != 0; nonzero &= nonzero - 1) {
    const size_t index = static_cast<size_t>(std::countr_zero(nonzero));
    zigzag[kScanPosition[index]] = natural[index];
  }
}

void ReconstructBlock(const VideoKernels& kernels, const QuantTable& table,
                      const BlockView& prediction, const int16_t* levels, const BlockGrid& grid,
                      uint32_t x0, uint32_t y0, uint8_t* plane) {
  DequantisedBlock block;
  Dequantise(table, levels, block);
  if (block.rows == 0) {
    // A zero residual leaves the prediction unchanged.
    if (prediction.samples == plane + size_t{y0} * grid.width + x0) return;
    CopyInside(prediction.samples, prediction.stride, grid, x0, y0, plane);
    return;
  }
  if (grid.IsInside(x0, y0)) {
    kernels.inverse_dct_add(block.coefficients, block.rows, block.columns, prediction.samples,
                            prediction.stride, plane + size_t{y0} * grid.width + x0,
                            static_cast<ptrdiff_t>(grid.width));
    return;
  }
  Block8x8 samples;
  kernels.inverse_dct_add(block.coefficients, block.rows, block.columns, prediction.samples,
                          prediction.stride, samples.data(), 8);
  CopyInside(samples.data(), 8, grid, x0, y0, plane);
}

}  // namespace qolm::video
