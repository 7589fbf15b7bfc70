// SPDX-License-Identifier: MIT
#include "video/inter/motion_compensation.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

#include "support/moving_picture.h"
#include "video/inter/naive_motion.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

YuvPlanes Compensate(const YuvPlanes& reference, const std::vector<MacroblockMotion>& field) {
  YuvPlanes prediction;
  ResizeYuvPlanes(prediction, reference.width, reference.height);
  CompensateMotion(reference, MacroblockGrid(reference.width, reference.height), field, prediction);
  return prediction;
}

TEST(CompensateMotion, ZeroVectorsCopyTheReference) {
  for (const auto& [width, height] : {std::pair{1U, 1U}, {17U, 33U}, {130U, 70U}}) {
    const YuvPlanes reference = test::RandomPicture(width, height, 1);
    const std::vector<MacroblockMotion> field(MacroblockGrid(width, height).Count());
    EXPECT_TRUE(test::SamePicture(Compensate(reference, field), reference));
  }
}

TEST(CompensateMotion, ChromaUsesHalfSampleVectors) {
  YuvPlanes reference = test::FlatPicture(16, 16, 0, 0, 0);
  for (size_t i = 0; i < 64; ++i) {
    reference.cb[i] = static_cast<uint8_t>(10 * (i % 8));
    reference.cr[i] = static_cast<uint8_t>(10 * (i / 8) + i % 8);
  }
  std::vector<MacroblockMotion> field(1);
  // -3 is -2 and a half sample: the mean of the samples at -2 and -1.
  field[0].vectors[0] = {-3, 0};
  EXPECT_EQ(Compensate(reference, field).cb[4], 25);
  field[0].vectors[0] = {3, 0};
  EXPECT_EQ(Compensate(reference, field).cb[4], 55);
  field[0].vectors[0] = {2, 0};
  EXPECT_EQ(Compensate(reference, field).cb[4], 50);
  // (3,3), (4,3), (3,4), (4,4): (33 + 34 + 43 + 44 + 2) / 4.
  field[0].vectors[0] = {-1, -1};
  EXPECT_EQ(Compensate(reference, field).cr[4 * 8 + 4], 39);
  field[0].vectors[0] = {1, 0};  // (44 + 45 + 1) / 2
  EXPECT_EQ(Compensate(reference, field).cr[4 * 8 + 4], 45);
}

TEST(CompensateMotion, QuartersAreInRasterOrder) {
  YuvPlanes reference = test::FlatPicture(16, 16, 0, 0, 0);
  for (size_t i = 0; i < 256; ++i) reference.y[i] = static_cast<uint8_t>(i);
  std::vector<MacroblockMotion> field(1);
  field[0].split = 1;
  field[0].vectors = {{{1, 0}, {-1, 0}, {0, 1}, {0, -1}}};
  const YuvPlanes moved = Compensate(reference, field);
  EXPECT_EQ(moved.y[2 * 16 + 2], 2 * 16 + 3);
  EXPECT_EQ(moved.y[2 * 16 + 12], 2 * 16 + 11);
  EXPECT_EQ(moved.y[12 * 16 + 2], 13 * 16 + 2);
  EXPECT_EQ(moved.y[12 * 16 + 12], 11 * 16 + 12);
}

TEST(CompensateMotion, VectorsOutsideThePlaneAreClamped) {
  std::mt19937 random(2);
  for (const auto& [width, height] : {std::pair{1U, 1U},
                                      {1U, 9U},
                                      {9U, 1U},
                                      {7U, 5U},
                                      {16U, 16U},
                                      {17U, 33U},
                                      {31U, 15U},
                                      {64U, 48U},
                                      {130U, 71U},
                                      {261U, 141U}}) {
    const YuvPlanes reference = test::RandomPicture(width, height, width + height);
    const MacroblockGrid grid(width, height);
    for (const uint32_t range : {8U, 64U, 256U}) {
      for (int repeat = 0; repeat < 12; ++repeat) {
        std::vector<MacroblockMotion> field(grid.Count());
        for (MacroblockMotion& motion : field) {
          motion.split = random() % 2 == 0 ? 1 : 0;
          for (MotionVector& vector : motion.vectors) {
            const auto component = [&] {
              return static_cast<int8_t>(static_cast<int>(random() % range) -
                                         static_cast<int>(range / 2));
            };
            vector = {component(), component()};
          }
        }
        ASSERT_TRUE(test::SamePicture(Compensate(reference, field),
                                      test::NaiveCompensation(reference, field)))
            << width << "x" << height;
      }
    }
  }
}

}  // namespace
}  // namespace qolm::video
