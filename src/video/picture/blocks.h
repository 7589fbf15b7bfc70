// SPDX-License-Identifier: MIT
//
// The 8x8 blocks of a plane.
#ifndef QOLM_VIDEO_PICTURE_BLOCKS_H_
#define QOLM_VIDEO_PICTURE_BLOCKS_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace qolm::video {

// 64 samples, row by row.
using Block8x8 = std::array<uint8_t, 64>;

// A plane's grid of 8x8 blocks in raster order; the last column and row may extend
// beyond the plane.
struct BlockGrid {
  uint32_t width;   // of the plane, in samples
  uint32_t height;  // of the plane, in samples

  uint32_t Columns() const { return width / 8 + (width % 8 != 0 ? 1 : 0); }
  uint32_t Rows() const { return height / 8 + (height % 8 != 0 ? 1 : 0); }
  size_t Count() const { return size_t{Columns()} * Rows(); }
  bool IsInside(uint32_t x0, uint32_t y0) const { return x0 + 8 <= width && y0 + 8 <= height; }
};

// A block's samples with their stride: in the plane itself when the block lies inside,
// otherwise a copy in `storage`, padded by repeating the plane's last column and row.
struct BlockView {
  const uint8_t* samples;
  ptrdiff_t stride;
};
BlockView ViewBlock(const uint8_t* plane, const BlockGrid& grid, uint32_t x0, uint32_t y0,
                    Block8x8& storage);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_PICTURE_BLOCKS_H_
