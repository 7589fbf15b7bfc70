// SPDX-License-Identifier: MIT
//
// Intra coding of one plane: 8x8 blocks in raster order, each predicted from its
// reconstructed neighbours.
#ifndef QOLM_VIDEO_INTRA_INTRA_PLANE_H_
#define QOLM_VIDEO_INTRA_INTRA_PLANE_H_

#include <cstdint>
#include <span>
#include <vector>

#include "video/transform/quant_table.h"

namespace qolm::video {

struct IntraPlaneRules {
  bool flat_blocks = true;    // drop levels of +-1 at scan positions from 16 on in flat blocks
  bool sparse_levels = true;  // drop +-1 levels from position 20 on by rate-distortion cost
  bool chroma = false;        // drop +-1 levels from position 16 on in every block
};

struct IntraPlaneLevels {
  std::vector<uint8_t> modes;   // one per block, 0..3
  std::vector<int16_t> levels;  // 64 per block, zigzag order
};

// Codes `source` (width x height) and writes its reconstruction, of the same
// size, to `reconstruction`.
IntraPlaneLevels CodeIntraPlane(const uint8_t* source, uint32_t width, uint32_t height,
                                const QuantTable& table, const IntraPlaneRules& rules,
                                uint8_t* reconstruction);

// The corresponding decoder step: reconstructs from one mode and 64 levels per block.
void ReconstructIntraPlane(std::span<const uint8_t> modes, std::span<const int16_t> levels,
                           uint32_t width, uint32_t height, const QuantTable& table,
                           uint8_t* reconstruction);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTRA_INTRA_PLANE_H_
