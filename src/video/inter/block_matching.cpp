// SPDX-License-Identifier: MIT
#include "video/inter/block_matching.h"

#include <algorithm>
#include <cstdlib>

namespace qolm::video {

uint32_t PartialSad(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride,
                    int columns, int rows) {
  uint32_t sum = 0;
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < columns; ++c) {
      sum += static_cast<uint32_t>(std::abs(a[r * a_stride + c] - b[r * b_stride + c]));
    }
  }
  return sum;
}

BlockMatcher::BlockMatcher(const uint8_t* source, const uint8_t* reference, uint32_t width,
                           uint32_t height)
    : kernels_(ActiveVideoKernels()),
      source_(source),
      reference_(reference),
      width_(static_cast<int>(width)),
      height_(static_cast<int>(height)) {}

LumaBlock BlockMatcher::MacroblockAt(uint32_t column, uint32_t row) const {
  const int x = static_cast<int>(column) * 16;
  const int y = static_cast<int>(row) * 16;
  return {x, y, std::min(16, width_ - x), std::min(16, height_ - y)};
}

VectorRange BlockMatcher::RangeOf(const LumaBlock& block) const {
  return {std::max(-kMaxVector, -block.x), std::min(kMaxVector, width_ - block.x - block.width),
          std::max(-kMaxVector, -block.y), std::min(kMaxVector, height_ - block.y - block.height)};
}

uint32_t BlockMatcher::Cost(const LumaBlock& block, const MotionVector& vector) const {
  const uint8_t* const source = Source(block);
  const uint8_t* const reference = Reference(block, vector);
  if (block.width == 16 && block.height == 16) {
    return kernels_.sad_16x16(source, width_, reference, width_);
  }
  if (block.width % 8 == 0 && block.height % 8 == 0) {  // also the last row of 1920x1080
    uint32_t sum = 0;
    for (ptrdiff_t y = 0; y < block.height; y += 8) {
      for (ptrdiff_t x = 0; x < block.width; x += 8) {
        const ptrdiff_t at = y * width_ + x;
        sum += kernels_.sad_8x8(source + at, width_, reference + at, width_);
      }
    }
    return sum;
  }
  return PartialSad(source, width_, reference, width_, block.width, block.height);
}

void BlockMatcher::CostsAcross(const LumaBlock& block, const MotionVector& vector, int count,
                               uint16_t* costs) const {
  const uint8_t* const reference = Reference(block, vector);
  constexpr ptrdiff_t kBytesRead = 16;  // of every row
  const uint8_t* const end = reference_ + static_cast<ptrdiff_t>(width_) * height_;
  if (block.width == 8 && block.height == 8 &&
      end - reference >= ptrdiff_t{7} * width_ + kBytesRead) {
    kernels_.sad_8x8_across(Source(block), width_, reference, width_, costs);
    return;
  }
  for (int i = 0; i < count; ++i) {
    const MotionVector moved{static_cast<int8_t>(vector.dx + i), vector.dy};
    costs[i] = static_cast<uint16_t>(Cost(block, moved));
  }
}

}  // namespace qolm::video
