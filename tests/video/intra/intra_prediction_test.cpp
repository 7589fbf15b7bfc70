// SPDX-License-Identifier: MIT
#include "video/intra/intra_prediction.h"

#include <gtest/gtest.h>

#include <vector>

#include "video/intra/naive_intra.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

IntraNeighbours Neighbours(bool has_left, bool has_top) {
  IntraNeighbours neighbours;
  neighbours.has_left = has_left;
  neighbours.has_top = has_top;
  // Sums 164 (left) and 1212 (top); both round up only with their offsets.
  if (has_left) neighbours.left = {10, 12, 14, 18, 20, 26, 30, 34};
  if (has_top) neighbours.top = {100, 110, 120, 150, 160, 170, 200, 202};
  return neighbours;
}

Block8x8 Predict(uint8_t mode, const IntraNeighbours& neighbours) {
  Block8x8 prediction;
  PredictIntraBlock(mode, neighbours, prediction);
  return prediction;
}

Block8x8 Filled(uint8_t value) {
  Block8x8 block;
  block.fill(value);
  return block;
}

TEST(PredictIntraBlock, WithoutNeighboursEveryModePredicts128) {
  for (uint8_t mode = 0; mode < 4; ++mode) {
    EXPECT_EQ(Predict(mode, Neighbours(false, false)), Filled(128));
  }
}

TEST(PredictIntraBlock, WithTopNeighbourOnly) {
  const IntraNeighbours neighbours = Neighbours(false, true);
  for (const uint8_t mode : std::vector<uint8_t>{0, 1, 3})
    EXPECT_EQ(Predict(mode, neighbours), Filled(152));
  const Block8x8 vertical = Predict(2, neighbours);
  for (size_t i = 0; i < 64; ++i) EXPECT_EQ(vertical[i], neighbours.top[i % 8]);
}

TEST(PredictIntraBlock, WithLeftNeighbourOnly) {
  const IntraNeighbours neighbours = Neighbours(true, false);
  for (const uint8_t mode : std::vector<uint8_t>{0, 2, 3})
    EXPECT_EQ(Predict(mode, neighbours), Filled(21));
  const Block8x8 horizontal = Predict(1, neighbours);
  for (size_t i = 0; i < 64; ++i) EXPECT_EQ(horizontal[i], neighbours.left[i / 8]);
}

TEST(PredictIntraBlock, WithBothNeighbours) {
  const IntraNeighbours neighbours = Neighbours(true, true);
  EXPECT_EQ(Predict(0, neighbours), Filled((164 + 1212 + 8) / 16));
  const Block8x8 horizontal = Predict(1, neighbours);
  const Block8x8 vertical = Predict(2, neighbours);
  for (size_t i = 0; i < 64; ++i) {
    EXPECT_EQ(horizontal[i], neighbours.left[i / 8]);
    EXPECT_EQ(vertical[i], neighbours.top[i % 8]);
  }
}

TEST(PredictIntraBlock, PlanarCornersAreLastNeighbourSamples) {
  const IntraNeighbours neighbours = Neighbours(true, true);
  const Block8x8 planar = Predict(3, neighbours);
  EXPECT_EQ(planar[0], (7 * 10 + 1 * 202 + 7 * 100 + 1 * 34 + 8) / 16);
  EXPECT_EQ(planar[7], (0 * 10 + 8 * 202 + 7 * 202 + 1 * 34 + 8) / 16);
  EXPECT_EQ(planar[56], (7 * 34 + 1 * 202 + 0 * 100 + 8 * 34 + 8) / 16);
  EXPECT_EQ(planar[63], (0 * 34 + 8 * 202 + 0 * 202 + 8 * 34 + 8) / 16);
  EXPECT_EQ(planar[8 * 3 + 5], (2 * 18 + 6 * 202 + 4 * 170 + 4 * 34 + 8) / 16);
}

TEST(PredictIntraBlock, ExtremeSamplesDoNotOverflow) {
  for (const uint8_t value : std::vector<uint8_t>{0, 255}) {
    IntraNeighbours neighbours = Neighbours(true, true);
    neighbours.left.fill(value);
    neighbours.top.fill(value);
    for (uint8_t mode = 0; mode < 4; ++mode) EXPECT_EQ(Predict(mode, neighbours), Filled(value));
  }
}

TEST(GatherIntraNeighbours, RepeatsLastSamplesAtPlaneEdges) {
  // 11x10: the second block column is 3 wide, the second block row 2 high.
  const std::vector<uint8_t> plane = test::RandomBytes(11 * 10, 4);
  const IntraNeighbours corner = GatherIntraNeighbours(plane.data(), 11, 10, 8, 8);
  EXPECT_TRUE(corner.has_left);
  EXPECT_TRUE(corner.has_top);
  for (size_t i = 0; i < 8; ++i) {
    EXPECT_EQ(corner.top[i], plane[7 * 11 + std::min<size_t>(8 + i, 10)]);
    EXPECT_EQ(corner.left[i], plane[std::min<size_t>(8 + i, 9) * 11 + 7]);
  }
  const IntraNeighbours first = GatherIntraNeighbours(plane.data(), 11, 10, 0, 0);
  EXPECT_FALSE(first.has_left);
  EXPECT_FALSE(first.has_top);
  const IntraNeighbours below = GatherIntraNeighbours(plane.data(), 11, 10, 0, 8);
  EXPECT_FALSE(below.has_left);
  EXPECT_TRUE(below.has_top);
  const IntraNeighbours beside = GatherIntraNeighbours(plane.data(), 11, 10, 8, 0);
  EXPECT_TRUE(beside.has_left);
  EXPECT_FALSE(beside.has_top);
}

TEST(PredictIntraBlock, EveryModeMatchesFormulaInOddPlanes) {
  for (const auto& [width, height] : {std::pair{1U, 9U}, {9U, 1U}, {17U, 33U}, {24U, 16U}}) {
    const std::vector<uint8_t> plane = test::RandomBytes(size_t{width} * height, width);
    const test::NaivePlane naive{plane.data(), static_cast<int>(width), static_cast<int>(height)};
    for (uint32_t y0 = 0; y0 < height; y0 += 8) {
      for (uint32_t x0 = 0; x0 < width; x0 += 8) {
        const IntraNeighbours neighbours =
            GatherIntraNeighbours(plane.data(), width, height, x0, y0);
        for (uint8_t mode = 0; mode < 4; ++mode) {
          const Block8x8 prediction = Predict(mode, neighbours);
          const test::NaiveBlock expected =
              test::NaivePrediction(mode, naive, static_cast<int>(x0), static_cast<int>(y0));
          for (size_t i = 0; i < 64; ++i) ASSERT_EQ(prediction[i], expected[i / 8][i % 8]);
        }
      }
    }
  }
}

}  // namespace
}  // namespace qolm::video
