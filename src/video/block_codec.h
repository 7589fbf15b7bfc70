// What every coder does with one 8x8 block once it has a prediction.
//
// Reconstruction exists once, here: encoder and decoder both call it, which is
// what makes drift impossible.
#ifndef QOLM_VIDEO_BLOCK_CODEC_H_
#define QOLM_VIDEO_BLOCK_CODEC_H_

#include <cstddef>
#include <cstdint>

#include "video/intra_prediction.h"
#include "video/quant_table.h"
#include "video/video_kernels.h"

namespace qolm::video {

// A plane's grid of 8x8 blocks, in raster order; the last column and row may
// hang over the plane's edge.
struct BlockGrid {
  uint32_t width;   // of the plane, in samples
  uint32_t height;  // of the plane, in samples

  uint32_t Columns() const { return width / 8 + (width % 8 != 0 ? 1 : 0); }
  uint32_t Rows() const { return height / 8 + (height % 8 != 0 ? 1 : 0); }
  size_t Count() const { return size_t{Columns()} * Rows(); }
  bool IsInside(uint32_t x0, uint32_t y0) const { return x0 + 8 <= width && y0 + 8 <= height; }
};

// A block's samples with their stride: in the plane itself where the block lies
// inside, in `storage` with the last column and row repeated where it does not.
struct BlockView {
  const uint8_t* samples;
  ptrdiff_t stride;
};
BlockView ViewBlock(const uint8_t* plane, const BlockGrid& grid, uint32_t x0, uint32_t y0,
                    Block8x8& storage);

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

#endif  // QOLM_VIDEO_BLOCK_CODEC_H_
