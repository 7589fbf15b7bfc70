#include "video/residual.h"

#include <algorithm>

#include "entropy/nonzero_mask.h"

namespace qolm::video {
namespace {

// No coefficient of the orthonormal transform exceeds a quarter of the block's
// sum of absolute differences (the largest product of two basis values is below
// 0.2405); the margin covers the rounding of the sums.
constexpr float kLargestCoefficientPerSad = 0.2501F;

// Below this sum every level rounds to zero.
float SmallestCodedSad(const QuantTable& table) {
  const float smallest_step = *std::min_element(table.step.begin(), table.step.end());
  return 0.5F * smallest_step / kLargestCoefficientPerSad;
}

}  // namespace

void CodeResidualRow(const VideoKernels& kernels, const uint8_t* source, const BlockGrid& grid,
                     uint32_t block_row, const QuantTable& table, const LevelSelection& selection,
                     bool reconstruct, int16_t* levels, uint8_t* plane) {
  const float smallest_coded_sad = SmallestCodedSad(table);
  const uint32_t y0 = 8 * block_row;
  for (uint32_t x0 = 0; x0 < grid.width; x0 += 8, levels += 64) {
    Block8x8 source_storage;
    Block8x8 prediction_storage;
    const BlockView source_block = ViewBlock(source, grid, x0, y0, source_storage);
    const BlockView prediction = ViewBlock(plane, grid, x0, y0, prediction_storage);
    const uint32_t sad = kernels.sad_8x8(source_block.samples, source_block.stride,
                                         prediction.samples, prediction.stride);
    std::fill_n(levels, 64, int16_t{0});
    if (static_cast<float>(sad) < smallest_coded_sad) continue;

    alignas(32) float coefficients[64];
    kernels.forward_dct(source_block.samples, source_block.stride, prediction.samples,
                        prediction.stride, coefficients);
    int16_t nearest[64];
    const uint64_t nonzero = kernels.quantize(coefficients, table.step.data(), 0.5F, nearest);
    if (nonzero == 0) continue;
    SelectLevels(selection, table, coefficients, nearest, nonzero, levels);
    if (reconstruct) ReconstructBlock(kernels, table, prediction, levels, grid, x0, y0, plane);
  }
}

void ReconstructResidualRow(const VideoKernels& kernels, const int16_t* levels,
                            const BlockGrid& grid, uint32_t block_row, const QuantTable& table,
                            uint8_t* plane) {
  const uint32_t y0 = 8 * block_row;
  for (uint32_t x0 = 0; x0 < grid.width; x0 += 8, levels += 64) {
    if (entropy::NonZeroMask64(levels) == 0) continue;  // the prediction stands there already
    Block8x8 storage;
    ReconstructBlock(kernels, table, ViewBlock(plane, grid, x0, y0, storage), levels, grid, x0, y0,
                     plane);
  }
}

}  // namespace qolm::video
