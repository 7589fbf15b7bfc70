// SPDX-License-Identifier: MIT
#include "media/ffmpeg/numbers.h"

extern "C" {
#include <libavutil/avutil.h>
}

#include <gtest/gtest.h>

#include <cmath>
#include <limits>

namespace qolm::media::ffmpeg {
namespace {

constexpr Ratio kMillisecondClock = {1, 1000};

TEST(Numbers, ATimeBaseIsAlwaysAClock) {
  EXPECT_EQ(TimeBaseOf({1, 1000}), kMillisecondClock);
  EXPECT_EQ(TimeBaseOf({3600, 1}), (Ratio{3600, 1}));
  for (const AVRational wrong : {AVRational{0, 1}, {1, 0}, {0, 0}, {-1, 25}, {1, -25}, {3601, 1}}) {
    EXPECT_EQ(TimeBaseOf(wrong), (Ratio{1, 1'000'000})) << wrong.num << "/" << wrong.den;
  }
}

TEST(Numbers, ARateIsPositiveOrUnknown) {
  EXPECT_EQ(FrameRateOf({30000, 1001}), (Ratio{30000, 1001}));
  for (const AVRational wrong : {AVRational{0, 1}, {1, 0}, {0, 0}, {-25, 1}, {25, -1}}) {
    EXPECT_FALSE(FrameRateOf(wrong).is_positive()) << wrong.num << "/" << wrong.den;
  }
}

TEST(Numbers, TimestampsStayWhereSumsCanHoldThem) {
  EXPECT_EQ(TimestampOf(-5, kMillisecondClock), -5);
  EXPECT_EQ(TimestampOf(1'000'000'000'000'000, kMillisecondClock), 1'000'000'000'000'000);
  EXPECT_EQ(TimestampOf(1'000'000'000'000'001, kMillisecondClock), std::nullopt);
  EXPECT_EQ(TimestampOf(-1'000'000'000'000'001, kMillisecondClock), std::nullopt);
  EXPECT_EQ(TimestampOf(AV_NOPTS_VALUE, {1, INT32_MAX}), std::nullopt);
}

TEST(Numbers, ADurationIsPositiveAndNoLongerThanAMonth) {
  EXPECT_EQ(DurationOf(2500, kMillisecondClock), 2.5);
  EXPECT_EQ(DurationOf(31 * 24 * 3600, {1, 1}), 31.0 * 24 * 3600);
  for (const int64_t wrong :
       {int64_t{0}, int64_t{-1}, int64_t{31 * 24 * 3600 + 1}, INT64_MAX, int64_t{AV_NOPTS_VALUE}}) {
    EXPECT_EQ(DurationOf(wrong, {1, 1}), std::nullopt) << wrong;
  }
  EXPECT_EQ(DurationOf(1e19), std::nullopt);
  EXPECT_EQ(DurationOf(std::numeric_limits<double>::quiet_NaN()), std::nullopt);
  EXPECT_EQ(DurationOf(std::numeric_limits<double>::infinity()), std::nullopt);
}

TEST(Numbers, FramesAreCountedAsFarAsFilesHoldThem) {
  EXPECT_EQ(FramesIn(10.01, {30000, 1001}), 300);
  EXPECT_EQ(FramesIn(INT32_MAX, {1, 1}), INT32_MAX);
  EXPECT_EQ(FramesIn(1.0 + INT32_MAX, {1, 1}), std::nullopt);
  EXPECT_EQ(FramesIn(1e19, {30, 1}), std::nullopt);
  EXPECT_EQ(FramesIn(std::numeric_limits<double>::quiet_NaN(), {30, 1}), std::nullopt);
}

}  // namespace
}  // namespace qolm::media::ffmpeg
