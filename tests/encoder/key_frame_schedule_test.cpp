// SPDX-License-Identifier: MIT
#include "encoder/key_frame_schedule.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <limits>
#include <vector>

namespace qolm::encoder {
namespace {

using ::testing::ElementsAre;

constexpr int32_t kHighest = std::numeric_limits<int32_t>::max();
constexpr int32_t kLowest = std::numeric_limits<int32_t>::min();

FrameStatistics Calm() { return {}; }
FrameStatistics Busy() {
  return {.mse = 100, .mean_absolute_difference = 10, .changed_fraction = 0.3};
}
FrameStatistics SceneChange() {
  return {.mse = 900,
          .mean_absolute_difference = 30,
          .changed_fraction = 1,
          .is_static = false,
          .is_scene_change = true};
}

// The key frames among `count` frames that all have the same statistics.
std::vector<int32_t> KeyFrames(int32_t count, int32_t gop, bool adaptive,
                               const FrameStatistics& statistics) {
  std::vector<int32_t> numbers;
  int32_t since_key = 0;
  for (int32_t i = 0; i < count; ++i) {
    if (KeyFrameDue(i, since_key, gop, adaptive, statistics)) {
      numbers.push_back(i);
      since_key = 0;
    } else {
      ++since_key;
    }
  }
  return numbers;
}

TEST(KeyFrameSchedule, GopCountsTheFramesBetweenTwoKeyFrames) {
  EXPECT_THAT(KeyFrames(200, 60, false, Calm()), ElementsAre(0, 61, 122, 183));
  EXPECT_THAT(KeyFrames(200, 60, true, Busy()), ElementsAre(0, 61, 122, 183));
  EXPECT_THAT(KeyFrames(5, 1, false, Busy()), ElementsAre(0, 2, 4));
}

TEST(KeyFrameSchedule, CalmFramesDoubleAnAdaptiveGop) {
  EXPECT_THAT(KeyFrames(300, 60, true, Calm()), ElementsAre(0, 121, 242));
}

TEST(KeyFrameSchedule, CalmGopIsCappedEvenBelowGopLength) {
  EXPECT_THAT(KeyFrames(400, 100, true, Calm()), ElementsAre(0, 181, 362));
  EXPECT_THAT(KeyFrames(400, 300, true, Calm()), ElementsAre(0, 181, 362));
  EXPECT_THAT(KeyFrames(400, 300, true, Busy()), ElementsAre(0, 301));
}

TEST(KeyFrameSchedule, GopOfZeroOrLessMakesEveryFrameAKeyFrame) {
  for (const int32_t gop : {0, -1, -60, kLowest}) {
    for (const bool adaptive : {false, true}) {
      EXPECT_THAT(KeyFrames(3, gop, adaptive, Calm()), ElementsAre(0, 1, 2)) << gop;
      EXPECT_THAT(KeyFrames(3, gop, adaptive, Busy()), ElementsAre(0, 1, 2)) << gop;
    }
  }
}

TEST(KeyFrameSchedule, LongestGopDoesNotOverflow) {
  EXPECT_FALSE(KeyFrameDue(5, 179, kHighest, true, Calm()));
  EXPECT_TRUE(KeyFrameDue(5, 180, kHighest, true, Calm()));
  EXPECT_FALSE(KeyFrameDue(5, kHighest - 1, kHighest, true, Busy()));
  EXPECT_FALSE(KeyFrameDue(5, kHighest - 1, kHighest, false, Calm()));
  EXPECT_TRUE(KeyFrameDue(5, kHighest, kHighest, false, Calm()));
}

TEST(KeyFrameSchedule, CalmLimitsAreExclusive) {
  FrameStatistics statistics;
  statistics.mean_absolute_difference = 5.0;
  EXPECT_TRUE(KeyFrameDue(61, 60, 60, true, statistics));
  statistics.mean_absolute_difference = 4.999;
  EXPECT_FALSE(KeyFrameDue(61, 60, 60, true, statistics));
  statistics.changed_fraction = 0.15;
  EXPECT_TRUE(KeyFrameDue(61, 60, 60, true, statistics));
}

TEST(KeyFrameSchedule, SceneCutNeedsTenFramesSinceKeyFrame) {
  EXPECT_FALSE(SceneCutDue(10, 9, SceneChange()));
  EXPECT_TRUE(SceneCutDue(11, 10, SceneChange()));
  EXPECT_FALSE(SceneCutDue(11, 10, Busy()));
  EXPECT_FALSE(SceneCutDue(0, 10, SceneChange()));
}

}  // namespace
}  // namespace qolm::encoder
