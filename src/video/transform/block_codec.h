// SPDX-License-Identifier: MIT
//
// The residual coding of one predicted 8x8 block.
//
// Encoder and decoder share this implementation of the reconstruction, which rules out
// drift between them.
#ifndef QOLM_VIDEO_TRANSFORM_BLOCK_CODEC_H_
#define QOLM_VIDEO_TRANSFORM_BLOCK_CODEC_H_

#include <cstddef>
#include <cstdint>

#include "video/kernels/video_kernels.h"
#include "video/picture/blocks.h"
#include "video/transform/quant_table.h"

namespace qolm::video {

// Copies the levels whose bit in `nonzero` is set from natural order to scan order;
// `zigzag` must be zero-initialised.
void StoreInScanOrder(const int16_t* natural, uint64_t nonzero, int16_t* zigzag);

// Reconstructs the block at (x0, y0) of `plane` from its prediction and its 64 levels in
// zigzag order; samples outside the plane are not written. The prediction may be the
// block of the plane itself.
void ReconstructBlock(const VideoKernels& kernels, const QuantTable& table,
                      const BlockView& prediction, const int16_t* levels, const BlockGrid& grid,
                      uint32_t x0, uint32_t y0, uint8_t* plane);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_TRANSFORM_BLOCK_CODEC_H_
