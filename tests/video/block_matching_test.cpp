#include "video/block_matching.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <vector>

#include "video/kernel_levels.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

// Blocks at the right and the lower edge are of any size, and some of these are made
// of whole kernels: 16x8 is the lowest row of 1080 lines.
TEST(BlockMatcher, CostIsThePlainSumForBlocksOfEverySize) {
  constexpr int kWidth = 40;
  constexpr int kHeight = 36;
  const std::vector<uint8_t> source = test::RandomBytes(kWidth * kHeight, 1);
  const std::vector<uint8_t> reference = test::RandomBytes(kWidth * kHeight, 2);
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const test::ScopedSimdLevel forced(level);
    const BlockMatcher matcher(source.data(), reference.data(), kWidth, kHeight);
    for (int width = 1; width <= 16; ++width) {
      for (int height = 1; height <= 16; ++height) {
        const LumaBlock block{11, 9, width, height};
        const MotionVector vector{-5, 7};
        uint32_t sum = 0;
        for (int y = 0; y < height; ++y) {
          for (int x = 0; x < width; ++x) {
            const int wanted = source[static_cast<size_t>((9 + y) * kWidth + 11 + x)];
            const int found = reference[static_cast<size_t>((16 + y) * kWidth + 6 + x)];
            sum += static_cast<uint32_t>(std::abs(wanted - found));
          }
        }
        ASSERT_EQ(matcher.Cost(block, vector), sum) << width << "x" << height;
      }
    }
  }
}

}  // namespace
}  // namespace qolm::video
