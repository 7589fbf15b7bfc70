// SPDX-License-Identifier: MIT
#include "video/picture/deblock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <vector>

#include "video/kernels/guarded_bytes.h"
#include "video/kernels/kernel_levels.h"
#include "video/kernels/video_kernels.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

int Limit(float factor, float step, float least, float most) {
  return static_cast<int>(std::min(std::max(factor * step, least), most));
}

// A sequential reference implementation.
void NaiveDeblock(std::vector<uint8_t>& plane, size_t width, size_t height, float step) {
  if (width < 16 || height < 16) return;
  const int a = Limit(0.7F, step, 4.0F, 26.0F);
  const int b = Limit(0.35F, step, 2.0F, 12.0F);
  const int t = Limit(0.25F, step, 1.0F, 7.0F);
  const auto filter = [&](size_t q0_at, size_t distance) {
    const int p1 = plane[q0_at - 2 * distance];
    const int p0 = plane[q0_at - distance];
    const int q0 = plane[q0_at];
    const int q1 = plane[q0_at + distance];
    if (std::abs(q0 - p0) >= a || std::abs(p1 - p0) >= b || std::abs(q1 - q0) >= b) return;
    const int d = std::clamp((q0 - p0) / 2, -t, t);
    plane[q0_at - distance] = static_cast<uint8_t>(std::clamp(p0 + d, 0, 255));
    plane[q0_at] = static_cast<uint8_t>(std::clamp(q0 - d, 0, 255));
  };
  for (size_t y = 0; y < height; ++y) {
    for (size_t x = 8; x + 5 <= width; x += 8) filter(y * width + x, 1);
  }
  for (size_t x = 0; x < width; ++x) {
    for (size_t y = 8; y + 5 <= height; y += 8) filter(y * width + x, width);
  }
}

// Columns before `edge` hold `left`, the others `right`.
std::vector<uint8_t> StepPlane(size_t width, size_t height, size_t edge, uint8_t left,
                               uint8_t right) {
  std::vector<uint8_t> plane(width * height, left);
  for (size_t i = 0; i < plane.size(); ++i) {
    if (i % width >= edge) plane[i] = right;
  }
  return plane;
}

std::vector<uint8_t> Deblocked(std::vector<uint8_t> plane, uint32_t width, uint32_t height,
                               float step) {
  DeblockPlane(plane.data(), width, height, step);
  return plane;
}

// The two samples next to the edge at column 8 after filtering a 16x16 plane.
std::pair<int, int> FilteredEdge(uint8_t left, uint8_t right, float step) {
  const std::vector<uint8_t> plane = Deblocked(StepPlane(16, 16, 8, left, right), 16, 16, step);
  return {plane[7], plane[8]};
}

TEST(DeblockPlane, SmallPlanesAreNotFiltered) {
  for (const auto& [width, height] : {std::pair{15U, 64U}, {64U, 15U}, {1U, 1U}, {15U, 15U}}) {
    const std::vector<uint8_t> plane = StepPlane(width, height, std::min(8U, width), 100, 104);
    EXPECT_EQ(Deblocked(plane, width, height, 40.0F), plane);
  }
}

TEST(DeblockPlane, EdgeNeedsFiveColumnsAfterIt) {
  const auto edge_is_filtered = [](uint32_t width, size_t edge) {
    const std::vector<uint8_t> plane = StepPlane(width, 16, edge, 100, 104);
    return Deblocked(plane, width, 16, 40.0F) != plane;
  };
  EXPECT_FALSE(edge_is_filtered(15, 8));
  EXPECT_TRUE(edge_is_filtered(16, 8));
  EXPECT_TRUE(edge_is_filtered(20, 8));
  EXPECT_FALSE(edge_is_filtered(20, 16));
  EXPECT_TRUE(edge_is_filtered(21, 8));
  EXPECT_TRUE(edge_is_filtered(21, 16));
  EXPECT_FALSE(edge_is_filtered(24, 12));  // not on the grid
}

TEST(DeblockPlane, EdgeNeedsFiveRowsBelowIt) {
  const auto edge_is_filtered = [](uint32_t height, size_t edge) {
    std::vector<uint8_t> plane(size_t{16} * height, 100);
    std::fill(plane.begin() + static_cast<ptrdiff_t>(16 * edge), plane.end(), uint8_t{104});
    return Deblocked(plane, 16, height, 40.0F) != plane;
  };
  EXPECT_TRUE(edge_is_filtered(16, 8));
  EXPECT_TRUE(edge_is_filtered(20, 8));
  EXPECT_FALSE(edge_is_filtered(20, 16));
  EXPECT_TRUE(edge_is_filtered(21, 16));
}

TEST(DeblockPlane, BothSidesChangeByHalfTheStep) {
  EXPECT_EQ(FilteredEdge(100, 108, 40.0F), (std::pair{104, 104}));
  EXPECT_EQ(FilteredEdge(108, 100, 40.0F), (std::pair{104, 104}));
  // Halves truncate toward zero in both directions.
  EXPECT_EQ(FilteredEdge(100, 105, 40.0F), (std::pair{102, 103}));
  EXPECT_EQ(FilteredEdge(105, 100, 40.0F), (std::pair{103, 102}));
  EXPECT_EQ(FilteredEdge(100, 101, 40.0F), (std::pair{100, 101}));
  EXPECT_EQ(FilteredEdge(101, 100, 40.0F), (std::pair{101, 100}));
  EXPECT_EQ(FilteredEdge(0, 3, 40.0F), (std::pair{1, 2}));
  EXPECT_EQ(FilteredEdge(255, 250, 40.0F), (std::pair{253, 252}));
}

TEST(DeblockPlane, ThresholdsScaleWithStepAndAreClamped) {
  // Step 1: jump below 4, correction at most 1.
  EXPECT_EQ(FilteredEdge(100, 103, 1.0F), (std::pair{101, 102}));
  EXPECT_EQ(FilteredEdge(100, 104, 1.0F), (std::pair{100, 104}));
  // Step 10: jump below 7, correction at most 2.
  EXPECT_EQ(FilteredEdge(100, 106, 10.0F), (std::pair{102, 104}));
  EXPECT_EQ(FilteredEdge(100, 107, 10.0F), (std::pair{100, 107}));
  EXPECT_EQ(FilteredEdge(106, 100, 10.0F), (std::pair{104, 102}));
  // Step 255 and far beyond: jump below 26, correction at most 7.
  for (const float step : {255.0F, 1600.0F}) {
    EXPECT_EQ(FilteredEdge(100, 125, step), (std::pair{107, 118}));
    EXPECT_EQ(FilteredEdge(125, 100, step), (std::pair{118, 107}));
    EXPECT_EQ(FilteredEdge(100, 126, step), (std::pair{100, 126}));
  }
}

TEST(DeblockPlane, LargeStepsNextToEdgeDisableFilter) {
  const auto filtered = [](int p1, int q1, float step) {
    std::vector<uint8_t> plane = StepPlane(16, 16, 8, 100, 102);
    for (size_t y = 0; y < 16; ++y) {
      plane[y * 16 + 6] = static_cast<uint8_t>(p1);
      plane[y * 16 + 9] = static_cast<uint8_t>(q1);
    }
    return Deblocked(plane, 16, 16, step)[7] == 101;
  };
  // Step 1 gives 2, step 20 gives 7 and step 255 gives 12.
  EXPECT_TRUE(filtered(101, 103, 1.0F));
  EXPECT_FALSE(filtered(102, 103, 1.0F));
  EXPECT_FALSE(filtered(101, 104, 1.0F));
  EXPECT_TRUE(filtered(94, 108, 20.0F));
  EXPECT_FALSE(filtered(93, 108, 20.0F));
  EXPECT_FALSE(filtered(94, 109, 20.0F));
  EXPECT_TRUE(filtered(111, 91, 255.0F));
  EXPECT_FALSE(filtered(112, 91, 255.0F));
  EXPECT_FALSE(filtered(111, 90, 255.0F));
}

TEST(DeblockPlane, HorizontalEdgesUseVerticalResult) {
  // Four quadrants. Where both edges cross, the rows' pass first brings 100 and
  // 108 to 104 and 104, 110 and 118 to 114 and 114; then 104 and 114 meet.
  std::vector<uint8_t> plane(256);
  for (size_t y = 0; y < 16; ++y) {
    for (size_t x = 0; x < 16; ++x) {
      plane[16 * y + x] = static_cast<uint8_t>(100 + (x >= 8 ? 8 : 0) + (y >= 8 ? 10 : 0));
    }
  }
  plane = Deblocked(plane, 16, 16, 40.0F);
  EXPECT_EQ(plane[16 * 0 + 7], 104);
  EXPECT_EQ(plane[16 * 0 + 8], 104);
  EXPECT_EQ(plane[16 * 7 + 7], 109);
  EXPECT_EQ(plane[16 * 8 + 8], 109);
  EXPECT_EQ(plane[16 * 7 + 0], 105);
  EXPECT_EQ(plane[16 * 8 + 15], 113);
}

TEST(DeblockPlane, MatchesSequentialFilterAtEverySize) {
  for (const auto& [width, height] : {std::pair{16U, 16U},
                                      {17U, 21U},
                                      {20U, 40U},
                                      {21U, 33U},
                                      {64U, 48U},
                                      {130U, 70U},
                                      {16U, 200U},
                                      {261U, 140U}}) {
    for (const float step : {1.0F, 11.0F, 16.0F, 37.3F, 200.0F}) {
      std::vector<uint8_t> plane = test::TexturePlane(width, height, 0, 0, width);
      // Block-wise offsets make jumps at the grid.
      for (size_t i = 0; i < plane.size(); ++i) {
        const size_t block = (i % width / 8) * 3 + (i / width / 8) * 5;
        plane[i] = static_cast<uint8_t>(std::min<size_t>(plane[i] / 2 + block % 11, 255));
      }
      std::vector<uint8_t> expected = plane;
      NaiveDeblock(expected, width, height, step);
      for (const SimdLevel level : test::AvailableSimdLevels()) {
        const test::ScopedSimdLevel forced(level);
        EXPECT_EQ(Deblocked(plane, width, height, step), expected) << width << "x" << height;
      }
    }
  }
}

TEST(DeblockKernels, VariantsAgreeForEveryLimitAndStayInRow) {
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const VideoKernels& kernels = VideoKernelsFor(level);
    for (const int across : {1, 4, 26, 255}) {
      for (const int beside : {1, 2, 12, 255}) {
        for (const int correction : {0, 1, 7, 127}) {
          const DeblockLimits limits{across, beside, correction};
          for (const size_t width : {size_t{16}, size_t{37}, size_t{64}, size_t{101}}) {
            const auto row_of = [&](uint32_t seed) {
              test::GuardedBytes row(width);
              std::vector<uint8_t> bytes = test::RandomBytes(width, seed);
              // Half of the rows are calm, so that edges pass the limits.
              for (uint8_t& byte : bytes)
                byte = seed % 8 < 4 ? byte : static_cast<uint8_t>(byte / 16);
              std::copy(bytes.begin(), bytes.end(), row.data());
              return row;
            };
            for (uint32_t seed = 0; seed < 8; ++seed) {
              test::GuardedBytes row = row_of(seed);
              test::GuardedBytes expected = row_of(seed);
              kernels.deblock_vertical_edges(limits, row.data(), width);
              ScalarVideoKernels().deblock_vertical_edges(limits, expected.data(), width);
              ASSERT_EQ(row.Contents(), expected.Contents());
              ASSERT_TRUE(row.GuardsIntact());

              test::GuardedBytes p1 = row_of(seed + 8);
              test::GuardedBytes q1 = row_of(seed + 16);
              test::GuardedBytes p0[2] = {row_of(seed + 24), row_of(seed + 24)};
              test::GuardedBytes q0[2] = {row_of(seed + 32), row_of(seed + 32)};
              kernels.deblock_horizontal_edge(limits, p1.data(), p0[0].data(), q0[0].data(),
                                              q1.data(), width);
              ScalarVideoKernels().deblock_horizontal_edge(limits, p1.data(), p0[1].data(),
                                                           q0[1].data(), q1.data(), width);
              ASSERT_EQ(p0[0].Contents(), p0[1].Contents());
              ASSERT_EQ(q0[0].Contents(), q0[1].Contents());
              ASSERT_TRUE(p0[0].GuardsIntact() && q0[0].GuardsIntact());
            }
          }
        }
      }
    }
  }
}

TEST(DeblockReference, EachPlaneUsesItsSizeAndStep) {
  YuvPlanes planes = test::TexturedPicture(45, 37, 3, 0);
  for (auto* plane : {&planes.y, &planes.cb, &planes.cr}) {
    for (uint8_t& sample : *plane) sample = static_cast<uint8_t>(100 + sample / 12);
  }
  YuvPlanes expected = planes;
  NaiveDeblock(expected.y, 45, 37, 30.0F);
  NaiveDeblock(expected.cb, 23, 19, 12.0F);
  NaiveDeblock(expected.cr, 23, 19, 12.0F);
  ASSERT_NE(expected.y, planes.y);
  ASSERT_NE(expected.cb, planes.cb);
  DeblockReference(planes, 30.0F, 12.0F);
  EXPECT_EQ(planes.y, expected.y);
  EXPECT_EQ(planes.cb, expected.cb);
  EXPECT_EQ(planes.cr, expected.cr);
}

}  // namespace
}  // namespace qolm::video
