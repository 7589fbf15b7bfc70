// SPDX-License-Identifier: MIT
#include "video/inter/motion_field.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace qolm::video {
namespace {

using Bytes = std::vector<uint8_t>;
using Field = std::vector<MacroblockMotion>;

MacroblockMotion Whole(int dx, int dy) {
  MacroblockMotion motion;
  motion.vectors.fill({static_cast<int8_t>(dx), static_cast<int8_t>(dy)});
  return motion;
}

MacroblockMotion Split(std::array<MotionVector, 4> vectors) {
  MacroblockMotion motion;
  motion.split = 1;
  motion.vectors = vectors;
  return motion;
}

Field RandomField(const MacroblockGrid& grid, int range, uint32_t seed) {
  std::mt19937 random(seed);
  Field field(grid.Count());
  const auto component = [&] {
    return static_cast<int8_t>(static_cast<int>(random() % static_cast<uint32_t>(2 * range)) -
                               range);
  };
  for (MacroblockMotion& motion : field) {
    motion.split = random() % 3 == 0 ? 1 : 0;
    for (MotionVector& vector : motion.vectors) vector = {component(), component()};
    if (motion.split == 0) motion.vectors.fill(motion.vectors[0]);
  }
  return field;
}

bool SameMotion(const Field& a, const Field& b) {
  return std::equal(a.begin(), a.end(), b.begin(), b.end(),
                    [](const MacroblockMotion& one, const MacroblockMotion& other) {
                      if (one.split != other.split) return false;
                      for (size_t q = 0; q < 4; ++q) {
                        if (one.Quarter(q) != other.Quarter(q)) return false;
                      }
                      return true;
                    });
}

Field RoundTrip(const MacroblockGrid& grid, const Field& field, bool prediction) {
  const Bytes map = PackSplitMap(field);
  const Bytes bytes = CodeMotionBytes(grid, field, prediction);
  EXPECT_EQ(MotionByteCount(grid, map), bytes.size());
  return DecodeMotionField(grid, map, bytes, prediction);
}

TEST(MacroblockGrid, RoundsUp) {
  const MacroblockGrid one(1, 1);
  EXPECT_EQ(one.columns, 1U);
  EXPECT_EQ(one.rows, 1U);
  const MacroblockGrid full_hd(1920, 1080);
  EXPECT_EQ(full_hd.columns, 120U);
  EXPECT_EQ(full_hd.rows, 68U);
  const MacroblockGrid exact(32, 17);
  EXPECT_EQ(exact.columns, 2U);
  EXPECT_EQ(exact.rows, 2U);
}

TEST(MedianPredictor, NeighboursOutsideThePictureAreZero) {
  const MacroblockGrid grid(48, 32);
  Field field = {Whole(10, -10), Whole(20, -20), Whole(30, -30),
                 Whole(4, 4),    Whole(5, 5),    Whole(6, 6)};
  // First macroblock: nothing. Top row: only the left one, so the median is 0.
  EXPECT_EQ(MedianPredictor(grid, field, 0), (MotionVector{0, 0}));
  EXPECT_EQ(MedianPredictor(grid, field, 1), (MotionVector{0, 0}));
  // First column: 0, 10, 20.
  EXPECT_EQ(MedianPredictor(grid, field, 3), (MotionVector{10, -10}));
  // Inside: 4, 20, 30.
  EXPECT_EQ(MedianPredictor(grid, field, 4), (MotionVector{20, -20}));
  // Last column: left 5, top 30 and, instead of the top right, the top left 20.
  EXPECT_EQ(MedianPredictor(grid, field, 5), (MotionVector{20, -20}));
}

TEST(MedianPredictor, SingleColumnUsesTopOnly) {
  const MacroblockGrid grid(16, 48);
  const Field field = {Whole(9, -9), Whole(8, 8), Whole(1, 1)};
  EXPECT_EQ(MedianPredictor(grid, field, 1), (MotionVector{0, 0}));
  EXPECT_EQ(MedianPredictor(grid, field, 2), (MotionVector{0, 0}));
}

TEST(MedianPredictor, ComponentsAreIndependentAndSigned) {
  const MacroblockGrid grid(48, 32);
  Field field(6);
  field[0] = Whole(0, 0);
  field[1] = Whole(-3, 100);  // top
  field[2] = Whole(5, -128);  // top right
  field[3] = Whole(-7, -1);   // left
  EXPECT_EQ(MedianPredictor(grid, field, 4), (MotionVector{-3, -1}));
  // All orders of the same three values have the same median.
  std::array<int, 3> values = {-128, -1, 127};
  do {
    field[1] = Whole(values[0], 0);
    field[2] = Whole(values[1], 0);
    field[3] = Whole(values[2], 0);
    EXPECT_EQ(MedianPredictor(grid, field, 4).dx, -1);
  } while (std::next_permutation(values.begin(), values.end()));
}

TEST(MedianPredictor, UsesFirstVectorOfSplitNeighbour) {
  const MacroblockGrid grid(48, 32);
  Field field(6);
  field[1] = Split({{{7, 7}, {1, 1}, {2, 2}, {3, 3}}});
  field[2] = Whole(9, 9);
  field[3] = Split({{{8, 6}, {1, 1}, {2, 2}, {3, 3}}});
  EXPECT_EQ(MedianPredictor(grid, field, 4), (MotionVector{8, 7}));
}

TEST(SplitMap, OneBitPerMacroblockFromLowestBit) {
  Field field(10);
  EXPECT_EQ(PackSplitMap(field), (Bytes{0, 0}));
  field[0].split = 1;
  field[3].split = 1;
  field[9].split = 1;
  EXPECT_EQ(PackSplitMap(field), (Bytes{0x09, 0x02}));
}

TEST(MotionBytes, ZeroMotionIsAll128) {
  const MacroblockGrid grid(100, 50);
  const Field field(grid.Count());
  for (const bool prediction : {true, false}) {
    EXPECT_EQ(CodeMotionBytes(grid, field, prediction), Bytes(2 * grid.Count(), 128));
  }
}

TEST(MotionBytes, UniformPanCodesOneDifference) {
  const MacroblockGrid grid(64, 48);
  const Field field(grid.Count(), Whole(5, -2));
  const Bytes listed = CodeMotionBytes(grid, field, false);
  EXPECT_EQ(listed[0], 133);
  EXPECT_EQ(listed[1], 126);
  EXPECT_EQ(Bytes(listed.begin() + 2, listed.end()), Bytes(listed.size() - 2, 128));
}

TEST(MotionBytes, QuartersArePredictedFromEarlierQuarters) {
  const MacroblockGrid grid(16, 16);
  const Field field = {Split({{{1, 2}, {4, 6}, {9, 12}, {16, 20}}})};
  EXPECT_EQ(CodeMotionBytes(grid, field, true),
            (Bytes{129, 130, 128 + 3, 128 + 4, 128 + 8, 128 + 10, 128 + 12, 128 + 14}));
  // Without prediction the fourth follows the third.
  EXPECT_EQ(CodeMotionBytes(grid, field, false),
            (Bytes{129, 130, 128 + 3, 128 + 4, 128 + 5, 128 + 6, 128 + 7, 128 + 8}));
}

TEST(MotionBytes, WithoutPredictionPreviousVectorIsPredictor) {
  const MacroblockGrid grid(48, 16);
  const Field field = {Whole(1, 1), Split({{{2, 2}, {3, 3}, {4, 4}, {5, 5}}}), Whole(7, 9)};
  EXPECT_EQ(CodeMotionBytes(grid, field, false),
            (Bytes{129, 129, 129, 129, 129, 129, 129, 129, 129, 129, 130, 132}));
}

TEST(MotionBytes, TwoBytesPerVectorEightWhenSplit) {
  const MacroblockGrid grid(70, 40);
  Field field(grid.Count());
  EXPECT_EQ(CodeMotionBytes(grid, field, true).size(), 2 * grid.Count());
  for (MacroblockMotion& motion : field) motion.split = 1;
  for (const bool prediction : {true, false}) {
    EXPECT_EQ(CodeMotionBytes(grid, field, prediction).size(), 8 * grid.Count());
  }
  EXPECT_EQ(MotionByteCount(grid, PackSplitMap(field)), 8 * grid.Count());
}

TEST(MotionBytes, BitsAfterLastMacroblockAreIgnored) {
  const MacroblockGrid grid(48, 16);
  EXPECT_EQ(MotionByteCount(grid, Bytes{0xF8}), 6U);
  EXPECT_EQ(MotionByteCount(grid, Bytes{0xFF}), 24U);
}

TEST(MotionField, RandomFieldsRoundTrip) {
  for (const auto& [width, height] :
       {std::pair{1U, 1U}, {16U, 100U}, {100U, 16U}, {33U, 33U}, {130U, 70U}, {320U, 200U}}) {
    const MacroblockGrid grid(width, height);
    // 32 as the search makes them; 128 wraps around in the difference bytes.
    for (const int range : {32, 128}) {
      for (uint32_t seed = 0; seed < 10; ++seed) {
        const Field field = RandomField(grid, range, seed);
        EXPECT_TRUE(SameMotion(RoundTrip(grid, field, true), field));
        EXPECT_TRUE(SameMotion(RoundTrip(grid, field, false), field));
      }
    }
  }
}

TEST(MotionField, AnyBytesAreDecoded) {
  // Differences wrap: 0 means -128.
  const MacroblockGrid grid(48, 16);
  const Field field = DecodeMotionField(grid, Bytes{0}, Bytes{0, 255, 0, 255, 128, 0}, false);
  EXPECT_EQ(field[0].vectors[0], (MotionVector{-128, 127}));
  EXPECT_EQ(field[1].vectors[0], (MotionVector{0, -2}));
  EXPECT_EQ(field[2].vectors[0], (MotionVector{0, 126}));
}

}  // namespace
}  // namespace qolm::video
