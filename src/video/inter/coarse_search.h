// The first step of the motion search: on every second sample of every second
// row it looks for the vector from which the exact search starts.
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

  // Keeps the first of equals.
  void Offer(const MotionVector& other, uint32_t other_cost) {
    if (other_cost < cost) *this = {other, other_cost};
  }
};

class CoarseSearch {
 public:
  // Two luma planes of width x height.
  CoarseSearch(const uint8_t* source, const uint8_t* reference, uint32_t width, uint32_t height);

  // Takes (dx, dy) when it is allowed and costs less.
  void Offer(const LumaBlock& block, const VectorRange& range, int dx, int dy,
             CoarseCandidate& best) const;

  // Goes outwards from `centre` in square rings, each finished before its result
  // counts, until a vector is good enough.
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
