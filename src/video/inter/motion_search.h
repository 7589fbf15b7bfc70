// The motion search of predicted pictures, and of bidirectional ones in each of
// their anchors.
//
// Rings of growing radius around a search centre on every second sample, a
// refinement to whole samples, and four vectors where one does not do. The
// result depends on the planes and the options alone, never on the threads.
#ifndef QOLM_VIDEO_INTER_MOTION_SEARCH_H_
#define QOLM_VIDEO_INTER_MOTION_SEARCH_H_

#include <cstdint>
#include <vector>

#include "video/inter/motion_field.h"

namespace qolm::video {

struct MotionSearchOptions {
  bool pre_analysis = true;  // estimate the picture's global motion first
  bool four_vectors = true;  // split macroblocks where one vector does not do
  float vector_cost = 0.0F;  // sum of absolute differences that one bit of a vector is worth
};

// Both planes are width x height luma. Every component of the result lies
// within -31..31 and every block of the result that is not moved by (0, 0) lies
// wholly inside the reference.
std::vector<MacroblockMotion> SearchMotion(const uint8_t* source, const uint8_t* reference,
                                           uint32_t width, uint32_t height,
                                           const MotionSearchOptions& options);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_MOTION_SEARCH_H_
