// SPDX-License-Identifier: MIT
//
// Block matching for the motion searches: the cost of predicting blocks of a luma plane
// from displaced blocks of a reference plane.
#ifndef QOLM_VIDEO_INTER_BLOCK_MATCHING_H_
#define QOLM_VIDEO_INTER_BLOCK_MATCHING_H_

#include <bit>
#include <cstddef>
#include <cstdint>
#include <cstdlib>

#include "video/inter/motion_field.h"
#include "video/kernels/video_kernels.h"

namespace qolm::video {

// The part of a block inside the picture, in luma samples.
struct LumaBlock {
  int x;
  int y;
  int width;
  int height;
};

// The search range of a block.
struct VectorRange {
  int dx_low;
  int dx_high;
  int dy_low;
  int dy_high;
  bool Contains(int dx, int dy) const {
    return dx_low <= dx && dx <= dx_high && dy_low <= dy && dy <= dy_high;
  }
};

// Estimated rate in bits of a vector's two difference bytes.
inline int VectorBits(const MotionVector& vector, const MotionVector& predictor) {
  const auto component_bits = [](int difference) {
    return 2 * static_cast<int>(std::bit_width(static_cast<unsigned>(std::abs(difference))));
  };
  return component_bits(vector.dx - predictor.dx) + component_bits(vector.dy - predictor.dy);
}

// Sum of absolute differences over a block of any size.
uint32_t PartialSad(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride,
                    int columns, int rows);

// Compares blocks of `source` with displaced blocks of `reference`, two luma planes of
// width x height that must outlive it.
class BlockMatcher {
 public:
  BlockMatcher(const uint8_t* source, const uint8_t* reference, uint32_t width, uint32_t height);

  LumaBlock MacroblockAt(uint32_t column, uint32_t row) const;

  // The vectors with components within -kMaxVector..kMaxVector that keep the displaced
  // block inside the reference.
  VectorRange RangeOf(const LumaBlock& block) const;

  // Sum of absolute differences of the block displaced by a vector of its range.
  uint32_t Cost(const LumaBlock& block, const MotionVector& vector) const;

  // The same for a block of at most 8x8 and `count` (at most 8) vectors from `vector` on,
  // each one sample further right. `costs` must have 8 elements, of which those from
  // `count` on are unspecified afterwards.
  void CostsAcross(const LumaBlock& block, const MotionVector& vector, int count,
                   uint16_t* costs) const;

  const uint8_t* Source(const LumaBlock& block) const {
    return source_ + static_cast<ptrdiff_t>(block.y) * width_ + block.x;
  }
  const uint8_t* Reference(const LumaBlock& block, const MotionVector& vector) const {
    return reference_ + static_cast<ptrdiff_t>(block.y + vector.dy) * width_ + block.x + vector.dx;
  }
  int width() const { return width_; }
  int height() const { return height_; }

 private:
  const VideoKernels& kernels_;
  const uint8_t* const source_;
  const uint8_t* const reference_;
  const int width_;
  const int height_;
};

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_BLOCK_MATCHING_H_
