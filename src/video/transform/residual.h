// The residual of one plane of a predicted or bidirectional picture.
#ifndef QOLM_VIDEO_TRANSFORM_RESIDUAL_H_
#define QOLM_VIDEO_TRANSFORM_RESIDUAL_H_

#include <cstdint>

#include "video/transform/block_codec.h"
#include "video/transform/level_selection.h"
#include "video/transform/quant_table.h"

namespace qolm::video {

// Codes block row `block_row` of a plane: transforms source - prediction,
// tells in the row's part of `coded` (0 or 1) which blocks store anything, puts 64
// levels in zigzag order into the row's part of `levels` for each of these, and, with
// `reconstruct`, replaces the prediction in `plane` by the reconstruction. Rows are
// independent of each other.
void CodeResidualRow(const VideoKernels& kernels, const uint8_t* source, const BlockGrid& grid,
                     uint32_t block_row, const QuantTable& table, const LevelSelection& selection,
                     bool reconstruct, uint8_t* coded, int16_t* levels, uint8_t* plane);

// The decoder's half.
void ReconstructResidualRow(const VideoKernels& kernels, const int16_t* levels,
                            const BlockGrid& grid, uint32_t block_row, const QuantTable& table,
                            uint8_t* plane);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_TRANSFORM_RESIDUAL_H_
