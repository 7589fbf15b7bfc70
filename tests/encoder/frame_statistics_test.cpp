// SPDX-License-Identifier: MIT
#include "encoder/frame_statistics.h"

#include <gtest/gtest.h>

#include <cstdint>
#include <cstdlib>
#include <random>
#include <vector>

#include "video/kernels/kernel_levels.h"

namespace qolm::encoder {
namespace {

using Plane = std::vector<uint8_t>;

// A plane of 2 * samples bytes of 100, of which the first `changed` compared
// samples are 100 + difference.
Plane Changed(size_t samples, size_t changed, uint8_t difference) {
  Plane plane(2 * samples, 100);
  for (size_t i = 0; i < changed; ++i) plane[2 * i] = static_cast<uint8_t>(100 + difference);
  return plane;
}

FrameStatistics AgainstGrey(const Plane& plane) {
  return MeasureFrameDifference(plane, Plane(plane.size(), 100));
}

TEST(FrameStatistics, EmptyPlanesGiveZeros) {
  const FrameStatistics statistics = MeasureFrameDifference({}, {});
  EXPECT_EQ(statistics.mse, 0.0);
  EXPECT_EQ(statistics.mean_absolute_difference, 0.0);
  EXPECT_EQ(statistics.changed_fraction, 0.0);
  EXPECT_FALSE(statistics.is_static);
  EXPECT_FALSE(statistics.is_scene_change);
}

TEST(FrameStatistics, UsesEverySecondSample) {
  const Plane previous = {0, 0, 0, 0, 0};
  const Plane current = {3, 255, 5, 255, 4};
  const FrameStatistics statistics = MeasureFrameDifference(current, previous);
  EXPECT_EQ(statistics.mse, 50.0 / 3.0);
  EXPECT_EQ(statistics.mean_absolute_difference, 4.0);
  EXPECT_EQ(statistics.changed_fraction, 1.0 / 3.0);
}

TEST(FrameStatistics, IsSymmetric) {
  const Plane dark = {10};
  const Plane bright = {250};
  for (const FrameStatistics& statistics :
       {MeasureFrameDifference(dark, bright), MeasureFrameDifference(bright, dark)}) {
    EXPECT_EQ(statistics.mse, 57600.0);
    EXPECT_EQ(statistics.mean_absolute_difference, 240.0);
    EXPECT_EQ(statistics.changed_fraction, 1.0);
  }
}

TEST(FrameStatistics, MatchesDefinitionForNoiseOfManyLengths) {
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const test::ScopedSimdLevel forced(level);
    std::mt19937 random(1);
    for (const size_t length : {1U, 2U, 3U, 31U, 64U, 65'535U, 65'536U, 65'537U, 300'001U}) {
      Plane a(length);
      Plane b(length);
      for (uint8_t& value : a) value = static_cast<uint8_t>(random());
      for (uint8_t& value : b) value = static_cast<uint8_t>(random());
      double squares = 0;
      double sum = 0;
      double changed = 0;
      double n = 0;
      for (size_t i = 0; i < length; i += 2) {
        const int d = std::abs(a[i] - b[i]);
        squares += d * d;
        sum += d;
        changed += d >= 5 ? 1 : 0;
        n += 1;
      }
      const FrameStatistics statistics = MeasureFrameDifference(a, b);
      EXPECT_EQ(statistics.mse, squares / n) << length;
      EXPECT_EQ(statistics.mean_absolute_difference, sum / n) << length;
      EXPECT_EQ(statistics.changed_fraction, changed / n) << length;
    }
  }
}

TEST(FrameStatistics, LargestDifferencesDoNotOverflow) {
  for (const SimdLevel level : test::AvailableSimdLevels()) {
    const test::ScopedSimdLevel forced(level);
    const Plane black(4'000'000, 0);
    const Plane white(4'000'000, 255);
    EXPECT_EQ(MeasureFrameDifference(black, white).mse, 65025.0);
    EXPECT_EQ(MeasureFrameDifference(black, white).mean_absolute_difference, 255.0);
  }
}

TEST(FrameStatistics, StaticLimitsAreInclusive) {
  EXPECT_TRUE(AgainstGrey(Changed(1000, 0, 0)).is_static);
  EXPECT_TRUE(AgainstGrey(Changed(1000, 8, 5)).is_static);    // 0.008 changed
  EXPECT_FALSE(AgainstGrey(Changed(1000, 9, 5)).is_static);   // 0.009 changed
  EXPECT_TRUE(AgainstGrey(Changed(2000, 8, 25)).is_static);   // mse 2.5
  EXPECT_FALSE(AgainstGrey(Changed(2000, 8, 26)).is_static);  // mse 2.704
  EXPECT_TRUE(AgainstGrey(Changed(1000, 1000, 1)).is_static);
  EXPECT_FALSE(AgainstGrey(Changed(1000, 1000, 2)).is_static);  // mse 4, none changed by 5
}

TEST(FrameStatistics, SceneChangeNeedsAreaAndStrength) {
  EXPECT_TRUE(AgainstGrey(Changed(1000, 1000, 24)).is_scene_change);   // mean 24
  EXPECT_FALSE(AgainstGrey(Changed(1000, 1000, 18)).is_scene_change);  // mean 18, mse 324
  EXPECT_TRUE(AgainstGrey(Changed(1000, 1000, 19)).is_scene_change);   // mse 361
  EXPECT_TRUE(AgainstGrey(Changed(1000, 400, 60)).is_scene_change);    // exactly 0.4 changed
  EXPECT_FALSE(AgainstGrey(Changed(1000, 399, 150)).is_scene_change);
}

}  // namespace
}  // namespace qolm::encoder
