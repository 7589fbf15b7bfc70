// SPDX-License-Identifier: MIT
//
// Chroma-from-luma prediction: each 8x8 chroma block is predicted as a linear function
// of the co-located reconstructed luma.
#ifndef QOLM_VIDEO_INTRA_CHROMA_FROM_LUMA_H_
#define QOLM_VIDEO_INTRA_CHROMA_FROM_LUMA_H_

#include <cstdint>
#include <span>
#include <vector>

#include "video/picture/yuv_planes.h"
#include "video/transform/quant_table.h"

namespace qolm::video {

struct CclcParams {
  int8_t alpha = 0;    // slope in sixty-fourths
  uint8_t beta = 128;  // offset
};

struct CclcPlaneLevels {
  std::vector<CclcParams> params;  // one per chroma block
  std::vector<int16_t> levels;     // 64 per block, zigzag order
};

// Codes one chroma plane. `luma` is the reconstructed luma before deblocking,
// luma_width x luma_height; source and reconstruction are chroma_width x
// chroma_height.
CclcPlaneLevels CodeChromaCclc(const uint8_t* chroma_source, const uint8_t* luma,
                               uint32_t chroma_width, uint32_t chroma_height, uint32_t luma_width,
                               uint32_t luma_height, const QuantTable& table,
                               uint8_t* reconstruction);

// The corresponding decoder step.
void ReconstructChromaCclc(std::span<const CclcParams> params, std::span<const int16_t> levels,
                           const uint8_t* luma, uint32_t chroma_width, uint32_t chroma_height,
                           uint32_t luma_width, uint32_t luma_height, const QuantTable& table,
                           uint8_t* reconstruction);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTRA_CHROMA_FROM_LUMA_H_
