#include "video/motion_compensation.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "support/moving_picture.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

struct Plane {
  const std::vector<uint8_t>& samples;
  int width;
  int height;

  int At(int x, int y) const {
    return samples[static_cast<size_t>(std::clamp(y, 0, height - 1) * width +
                                       std::clamp(x, 0, width - 1))];
  }
};

int FloorHalf(int value) { return static_cast<int>(std::floor(value / 2.0)); }

// One chroma sample moved by a vector in half samples.
int ChromaSample(const Plane& plane, int x, int y, const MotionVector& vector) {
  const int left = x + FloorHalf(vector.dx);
  const int top = y + FloorHalf(vector.dy);
  const bool half_x = vector.dx % 2 != 0;
  const bool half_y = vector.dy % 2 != 0;
  if (half_x && half_y) {
    return (plane.At(left, top) + plane.At(left + 1, top) + plane.At(left, top + 1) +
            plane.At(left + 1, top + 1) + 2) /
           4;
  }
  if (half_x) return (plane.At(left, top) + plane.At(left + 1, top) + 1) / 2;
  if (half_y) return (plane.At(left, top) + plane.At(left, top + 1) + 1) / 2;
  return plane.At(left, top);
}

// Sample by sample, each with the vector of its quarter.
YuvPlanes NaiveCompensation(const YuvPlanes& reference, const MacroblockGrid& grid,
                            const std::vector<MacroblockMotion>& field) {
  YuvPlanes result = reference;
  const auto vector_at = [&](int x, int y, int size) {
    const MacroblockMotion& motion =
        field[static_cast<size_t>(y / size) * grid.columns + static_cast<size_t>(x / size)];
    const int quarter = (y % size) / (size / 2) * 2 + (x % size) / (size / 2);
    return motion.split != 0 ? motion.vectors[static_cast<size_t>(quarter)] : motion.vectors[0];
  };
  const Plane luma{reference.y, static_cast<int>(reference.width),
                   static_cast<int>(reference.height)};
  for (int y = 0; y < luma.height; ++y) {
    for (int x = 0; x < luma.width; ++x) {
      const MotionVector vector = vector_at(x, y, 16);
      result.y[static_cast<size_t>(y * luma.width + x)] =
          static_cast<uint8_t>(luma.At(x + vector.dx, y + vector.dy));
    }
  }
  const auto move_chroma = [&](const std::vector<uint8_t>& from, std::vector<uint8_t>& to) {
    const Plane plane{from, static_cast<int>(reference.ChromaWidth()),
                      static_cast<int>(reference.ChromaHeight())};
    for (int y = 0; y < plane.height; ++y) {
      for (int x = 0; x < plane.width; ++x) {
        to[static_cast<size_t>(y * plane.width + x)] =
            static_cast<uint8_t>(ChromaSample(plane, x, y, vector_at(x, y, 8)));
      }
    }
  };
  move_chroma(reference.cb, result.cb);
  move_chroma(reference.cr, result.cr);
  return result;
}

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

TEST(CompensateMotion, ChromaMovesByHalfSamplesRoundedDown) {
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

TEST(CompensateMotion, QuartersLieTopLeftTopRightBottomLeftBottomRight) {
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

TEST(CompensateMotion, AnyVectorReadsClampedCoordinates) {
  std::mt19937 random(2);
  for (const auto& [width, height] : {std::pair{1U, 1U},
                                      {1U, 9U},
                                      {9U, 1U},
                                      {7U, 5U},
                                      {16U, 16U},
                                      {17U, 33U},
                                      {31U, 15U},
                                      {64U, 48U},
                                      {130U, 71U}}) {
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
                                      NaiveCompensation(reference, grid, field)))
            << width << "x" << height;
      }
    }
  }
}

}  // namespace
}  // namespace qolm::video
