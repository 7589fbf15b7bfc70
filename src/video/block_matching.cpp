#include "video/block_matching.h"

#include <algorithm>
#include <bit>
#include <cstdlib>

namespace qolm::video {

int VectorBits(const MotionVector& vector, const MotionVector& predictor) {
  const auto component_bits = [](int difference) {
    return 2 * static_cast<int>(std::bit_width(static_cast<unsigned>(std::abs(difference))));
  };
  return component_bits(vector.dx - predictor.dx) + component_bits(vector.dy - predictor.dy);
}

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

bool BlockMatcher::Allows(const LumaBlock& block, int dx, int dy) const {
  return std::abs(dx) <= kMaxVector && std::abs(dy) <= kMaxVector && block.x + dx >= 0 &&
         block.y + dy >= 0 && block.x + dx + block.width <= width_ &&
         block.y + dy + block.height <= height_;
}

uint32_t BlockMatcher::Cost(const LumaBlock& block, const MotionVector& vector) const {
  const uint8_t* const source = Source(block);
  const uint8_t* const reference = Reference(block, vector);
  if (block.width == 16 && block.height == 16) {
    return kernels_.sad_16x16(source, width_, reference, width_);
  }
  if (block.width == 8 && block.height == 8) {
    return kernels_.sad_8x8(source, width_, reference, width_);
  }
  return PartialSad(source, width_, reference, width_, block.width, block.height);
}

}  // namespace qolm::video
