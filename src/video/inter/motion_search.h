// SPDX-License-Identifier: MIT
//
// The motion search of predicted pictures, and of bidirectional ones in each of
// their anchors.
//
// A coarse ring search on every second sample, a refinement at full resolution, and four
// vectors per macroblock where one is not sufficient. The result does not depend on the
// number of threads.
#ifndef QOLM_VIDEO_INTER_MOTION_SEARCH_H_
#define QOLM_VIDEO_INTER_MOTION_SEARCH_H_

#include <cstdint>
#include <vector>

#include "video/inter/motion_field.h"

namespace qolm::video {

struct MotionSearchOptions {
  bool pre_analysis = true;  // estimate the picture's global motion first
  bool four_vectors = true;  // split macroblocks where one vector is not sufficient
  float vector_cost = 0.0F;  // lambda: absolute differences per bit of a vector
};

// Both planes are width x height luma. Every component of the result lies within -31..31,
// and every displaced block lies entirely inside the reference.
std::vector<MacroblockMotion> SearchMotion(const uint8_t* source, const uint8_t* reference,
                                           uint32_t width, uint32_t height,
                                           const MotionSearchOptions& options);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_MOTION_SEARCH_H_
