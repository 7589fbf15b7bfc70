// SPDX-License-Identifier: MIT
#include "video/transform/residual.h"

#include <algorithm>

#include "entropy/nonzero_mask.h"

namespace qolm::video {
namespace {

// The energy of a block as defined by SkipThresholds.
float WeightedEnergy(const LevelSelection& selection, const ResidualEnergy& energy) {
  const auto sum = static_cast<float>(energy.sum);
  const float squared_dc = sum * sum / 64.0F;
  return static_cast<float>(energy.squares) + (selection.dc_weight - 1.0F) * squared_dc;
}

}  // namespace

void CodeResidualRow(const VideoKernels& kernels, const uint8_t* source, const BlockGrid& grid,
                     uint32_t block_row, const QuantTable& table, const LevelSelection& selection,
                     bool reconstruct, uint8_t* coded, int16_t* levels, uint8_t* plane) {
  const SkipThresholds limits = MakeSkipThresholds(selection, table);
  const uint32_t y0 = 8 * block_row;
  for (uint32_t x0 = 0; x0 < grid.width; x0 += 8, ++coded, levels += 64) {
    Block8x8 source_storage;
    Block8x8 prediction_storage;
    const BlockView source_block = ViewBlock(source, grid, x0, y0, source_storage);
    const BlockView prediction = ViewBlock(plane, grid, x0, y0, prediction_storage);
    const ResidualEnergy energy = kernels.residual_energy(source_block.samples, source_block.stride,
                                                          prediction.samples, prediction.stride);
    *coded = 0;
    if (WeightedEnergy(selection, energy) < limits.energy) continue;

    alignas(32) float coefficients[64];
    kernels.forward_dct(source_block.samples, source_block.stride, prediction.samples,
                        prediction.stride, coefficients);
    if (!kernels.may_have_nonzero_levels(coefficients, limits)) continue;
    int16_t nearest[64];
    const uint64_t nonzero = kernels.quantise(coefficients, table.step.data(), 0.5F, nearest);
    std::fill_n(levels, 64, int16_t{0});
    SelectLevels(selection, table, coefficients, nearest, nonzero, levels);
    *coded = entropy::NonZeroMask64(levels) != 0 ? 1 : 0;
    if (reconstruct && *coded != 0)
      ReconstructBlock(kernels, table, prediction, levels, grid, x0, y0, plane);
  }
}

void ReconstructResidualRow(const VideoKernels& kernels, const int16_t* levels,
                            const BlockGrid& grid, uint32_t block_row, const QuantTable& table,
                            uint8_t* plane) {
  const uint32_t y0 = 8 * block_row;
  for (uint32_t x0 = 0; x0 < grid.width; x0 += 8, levels += 64) {
    if (entropy::NonZeroMask64(levels) == 0) continue;  // the plane already holds the prediction
    Block8x8 storage;
    ReconstructBlock(kernels, table, ViewBlock(plane, grid, x0, y0, storage), levels, grid, x0, y0,
                     plane);
  }
}

}  // namespace qolm::video
