// SPDX-License-Identifier: MIT
#include "video/inter/block_matching.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include "video/kernels/kernel_levels.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

// Blocks at the right and lower edges have any size; some consist of whole 8x8 blocks, such
// as the 16x8 blocks of the last row of 1080 lines.
TEST(BlockMatcher, CostIsSadForEveryBlockSize) {
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

// Every vector of the range keeps the block inside and has components of at most 31.
TEST(BlockMatcher, RangeIsLimitedBy31AndByTheEdges) {
  const std::vector<uint8_t> plane(200 * 150);
  const BlockMatcher matcher(plane.data(), plane.data(), 200, 150);
  const auto expect_range = [&](const LumaBlock& block, const VectorRange& expected) {
    const VectorRange range = matcher.RangeOf(block);
    EXPECT_EQ(range.dx_low, expected.dx_low);
    EXPECT_EQ(range.dx_high, expected.dx_high);
    EXPECT_EQ(range.dy_low, expected.dy_low);
    EXPECT_EQ(range.dy_high, expected.dy_high);
    EXPECT_TRUE(range.Contains(expected.dx_low, expected.dy_high));
    EXPECT_FALSE(range.Contains(expected.dx_low - 1, 0));
    EXPECT_FALSE(range.Contains(0, expected.dy_high + 1));
  };
  expect_range({80, 64, 16, 16}, {-31, 31, -31, 31});
  expect_range({32, 32, 16, 16}, {-31, 31, -31, 31});
  expect_range({31, 30, 16, 16}, {-31, 31, -30, 31});
  expect_range({0, 0, 16, 16}, {0, 31, 0, 31});
  expect_range({192, 144, 8, 6}, {-31, 0, -31, 0});
  expect_range({153, 104, 16, 16}, {-31, 31, -31, 30});
}

// Adjacent positions, up to the last byte of the reference.
TEST(BlockMatcher, CostsAcrossMatchSingleCosts) {
  const std::vector<uint8_t> source = test::RandomBytes(24 * 16, 1);
  const std::vector<uint8_t> reference = test::RandomBytes(24 * 16, 2);
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const test::ScopedSimdLevel forced(level);
    const BlockMatcher matcher(source.data(), reference.data(), 24, 16);
    for (const LumaBlock& block : {LumaBlock{8, 4, 8, 8}, LumaBlock{8, 4, 5, 8}}) {
      for (int dy = -4; dy <= 4; ++dy) {
        for (int dx = -8; dx <= 8; ++dx) {
          const int count = std::min(5, 8 - dx + 1);  // as far as the block stays inside
          std::array<uint16_t, 8> costs;
          matcher.CostsAcross(block, {static_cast<int8_t>(dx), static_cast<int8_t>(dy)}, count,
                              costs.data());
          for (int i = 0; i < count; ++i) {
            const MotionVector vector{static_cast<int8_t>(dx + i), static_cast<int8_t>(dy)};
            ASSERT_EQ(costs[static_cast<size_t>(i)], matcher.Cost(block, vector))
                << dx << ',' << dy;
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace qolm::video
