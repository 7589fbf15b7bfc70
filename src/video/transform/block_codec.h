// What every coder does with one 8x8 block once it has a prediction.
//
// Reconstruction exists once, here: encoder and decoder both call it, which is
// what makes drift impossible.
#ifndef QOLM_VIDEO_TRANSFORM_BLOCK_CODEC_H_
#define QOLM_VIDEO_TRANSFORM_BLOCK_CODEC_H_

#include <cstddef>
#include <cstdint>

#include "video/kernels/video_kernels.h"
#include "video/picture/blocks.h"
#include "video/transform/quant_table.h"

namespace qolm::video {

// Copies the levels whose bit in `nonzero` is set from their natural index to
// their scan position; `zigzag` is all zero before.
void StoreInScanOrder(const int16_t* natural, uint64_t nonzero, int16_t* zigzag);

// Rebuilds the block at (x0, y0) of `plane` from its prediction and its 64
// levels in zigzag order; samples outside the plane are not written. The
// prediction may lie in the plane itself.
void ReconstructBlock(const VideoKernels& kernels, const QuantTable& table,
                      const BlockView& prediction, const int16_t* levels, const BlockGrid& grid,
                      uint32_t x0, uint32_t y0, uint8_t* plane);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_TRANSFORM_BLOCK_CODEC_H_
