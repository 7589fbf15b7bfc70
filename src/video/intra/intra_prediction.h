// SPDX-License-Identifier: MIT
//
// Spatial prediction of an 8x8 block from its reconstructed neighbours.
#ifndef QOLM_VIDEO_INTRA_INTRA_PREDICTION_H_
#define QOLM_VIDEO_INTRA_INTRA_PREDICTION_H_

#include <array>
#include <cstdint>

#include "video/picture/blocks.h"

namespace qolm::video {

enum IntraMode : uint8_t {
  kIntraDc = 0,
  kIntraHorizontal = 1,
  kIntraVertical = 2,
  kIntraPlanar = 3,
};

// The row above a block and the column to its left, padded beyond the plane by repeating
// its last sample.
struct IntraNeighbours {
  bool has_left = false;
  bool has_top = false;
  std::array<uint8_t, 8> left{};
  std::array<uint8_t, 8> top{};
};

// Reads the neighbours of the block whose top-left sample is (x0, y0), both
// multiples of 8 inside the plane.
IntraNeighbours GatherIntraNeighbours(const uint8_t* plane, uint32_t width, uint32_t height,
                                      uint32_t x0, uint32_t y0);

// `mode` is 0..3. Every mode is valid for every block: modes that need a missing
// neighbour fall back to DC prediction.
void PredictIntraBlock(uint8_t mode, const IntraNeighbours& neighbours, Block8x8& prediction);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTRA_INTRA_PREDICTION_H_
