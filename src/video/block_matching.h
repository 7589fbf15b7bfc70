// What the motion searches share: blocks of a luma plane and what it costs to
// predict them from another place of a reference plane.
#ifndef QOLM_VIDEO_BLOCK_MATCHING_H_
#define QOLM_VIDEO_BLOCK_MATCHING_H_

#include <cstddef>
#include <cstdint>

#include "video/motion_field.h"
#include "video/video_kernels.h"

namespace qolm::video {

// The part of a block that lies inside the picture, in luma samples.
struct LumaBlock {
  int x;
  int y;
  int width;
  int height;
};

// Bits of a vector's two difference bytes, roughly: small ones are frequent.
int VectorBits(const MotionVector& vector, const MotionVector& predictor);

// Sum of absolute differences over a block of any size.
uint32_t PartialSad(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride,
                    int columns, int rows);

// Compares blocks of `source` with moved blocks of `reference`, two luma planes
// of width x height that must outlive it.
class BlockMatcher {
 public:
  BlockMatcher(const uint8_t* source, const uint8_t* reference, uint32_t width, uint32_t height);

  LumaBlock MacroblockAt(uint32_t column, uint32_t row) const;

  // Whether a search may choose this vector: its components lie within -31..31
  // and the moved block inside the reference.
  bool Allows(const LumaBlock& block, int dx, int dy) const;

  // Sum of absolute differences over the block moved by a vector that Allows
  // accepts.
  uint32_t Cost(const LumaBlock& block, const MotionVector& vector) const;

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

#endif  // QOLM_VIDEO_BLOCK_MATCHING_H_
