// SPDX-License-Identifier: MIT
//
// The residual of one plane of a predicted or bidirectional picture.
#ifndef QOLM_VIDEO_TRANSFORM_RESIDUAL_H_
#define QOLM_VIDEO_TRANSFORM_RESIDUAL_H_

#include <cstdint>

#include "video/transform/block_codec.h"
#include "video/transform/level_selection.h"
#include "video/transform/quant_table.h"

namespace qolm::video {

// Codes block row `block_row` of a plane: transforms and quantises source - prediction.
// `coded` and `levels` point to the row's first block: coded[b] is 1 when block b has a
// non-zero level, and only then its 64 levels are written, in zigzag order. With
// `reconstruct` the reconstruction replaces the prediction in `plane`. Rows are
// independent.
void CodeResidualRow(const VideoKernels& kernels, const uint8_t* source, const BlockGrid& grid,
                     uint32_t block_row, const QuantTable& table, const LevelSelection& selection,
                     bool reconstruct, uint8_t* coded, int16_t* levels, uint8_t* plane);

// The corresponding decoder step.
void ReconstructResidualRow(const VideoKernels& kernels, const int16_t* levels,
                            const BlockGrid& grid, uint32_t block_row, const QuantTable& table,
                            uint8_t* plane);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_TRANSFORM_RESIDUAL_H_
