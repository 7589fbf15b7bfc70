// SPDX-License-Identifier: MIT
//
// The first stage of the motion search: finds the start vector of the full-resolution
// search on every second sample of every second row.
#ifndef QOLM_VIDEO_INTER_COARSE_SEARCH_H_
#define QOLM_VIDEO_INTER_COARSE_SEARCH_H_

#include <cstdint>
#include <limits>

#include "video/inter/block_matching.h"
#include "video/inter/motion_field.h"
#include "video/inter/phase_planes.h"
#include "video/kernels/video_kernels.h"

namespace qolm::video {

struct CoarseCandidate {
  MotionVector vector;
  uint32_t cost = std::numeric_limits<uint32_t>::max();  // sum over a quarter of the samples

  // The first of equal candidates wins.
  void Offer(const MotionVector& other, uint32_t other_cost) {
    if (other_cost < cost) *this = {other, other_cost};
  }
};

class CoarseSearch {
 public:
  // Two luma planes of width x height.
  CoarseSearch(const uint8_t* source, const uint8_t* reference, uint32_t width, uint32_t height);

  // Replaces `best` by (dx, dy) if that is in range and costs less.
  void Offer(const LumaBlock& block, const VectorRange& range, int dx, int dy,
             CoarseCandidate& best) const;

  // Searches square rings of growing radius around `centre` and stops after a ring in
  // which the best cost falls below a threshold.
  CoarseCandidate SearchRings(const LumaBlock& block, const VectorRange& range,
                              const CoarseCandidate& centre) const;

 private:
  struct Side;

  uint32_t Cost(const LumaBlock& block, int dx, int dy) const;
  void MeasureAcross(const LumaBlock& block, const VectorRange& range, Side& side) const;
  void MeasureDown(const LumaBlock& block, const VectorRange& range, Side& side) const;

  const VideoKernels& kernels_;
  const PhasePlanes source_;
  const PhasePlanes reference_;
};

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_COARSE_SEARCH_H_
