// SPDX-License-Identifier: MIT
#include "media/ffmpeg/frame_timeline.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cmath>
#include <cstdint>
#include <optional>
#include <vector>

#include "media/jittered_timestamps.h"

namespace qolm::media::ffmpeg {
namespace {

using ::testing::ElementsAre;

constexpr Ratio kMilliseconds = {1, 1000};
const FileClock kPlainClock(false, std::nullopt);
const FileClock kSplicedClock(true, std::nullopt);

// The picture that each slot shows.
std::vector<int> Slots(Ratio rate, Ratio time_base,
                       const std::vector<std::optional<int64_t>>& timestamps,
                       const FileClock& clock = kPlainClock, int64_t last_duration = 0) {
  FrameTimeline timeline(rate, time_base, clock);
  std::vector<int> slots;
  for (size_t i = 0; i < timestamps.size(); ++i) {
    const FrameTimeline::Placement placement =
        timeline.Place(timestamps[i], i + 1 < timestamps.size() ? timestamps[i + 1] : std::nullopt);
    for (int64_t n = 0; n < placement.repeats; ++n) slots.push_back(static_cast<int>(i) - 1);
    if (!placement.drop) slots.push_back(static_cast<int>(i));
    EXPECT_EQ(timeline.slots_filled(), static_cast<int64_t>(slots.size()));
  }
  for (int64_t n = timeline.RepeatsAtEnd(last_duration); n > 0; --n) slots.push_back(slots.back());
  return slots;
}

std::vector<int> Upward(int count) {
  std::vector<int> numbers;
  for (int i = 0; i < count; ++i) numbers.push_back(i);
  return numbers;
}

TEST(FrameTimeline, RoundedTimestampsPassEachPictureOnce) {
  for (const Ratio rate : {Ratio{24000, 1001}, Ratio{25, 1}, Ratio{30000, 1001}, Ratio{60, 1},
                           Ratio{120, 1}, Ratio{25, 2}}) {
    for (const int64_t start : {int64_t{0}, int64_t{-7}, int64_t{123456}}) {
      std::vector<std::optional<int64_t>> timestamps;
      for (const int64_t t : Timestamps(rate, kMilliseconds, 100'000, 0, start)) {
        timestamps.emplace_back(t);
      }
      EXPECT_EQ(Slots(rate, kMilliseconds, timestamps), Upward(100'000)) << rate.value();
    }
  }
}

TEST(FrameTimeline, JitterOfAThirdOfAFramePassesEachPictureOnce) {
  std::vector<std::optional<int64_t>> timestamps;
  for (const int64_t t : Timestamps({30, 1}, {1, 90000}, 10'000, 0.33, 0))
    timestamps.emplace_back(t);
  EXPECT_EQ(Slots({30, 1}, {1, 90000}, timestamps), Upward(10'000));
}

TEST(FrameTimeline, AMissingPictureIsReplacedByTheOneBefore) {
  EXPECT_THAT(Slots({25, 1}, kMilliseconds, {0, 40, 120, 160}), ElementsAre(0, 1, 1, 2, 3));
}

TEST(FrameTimeline, ALongGapHoldsThePicture) {
  EXPECT_THAT(Slots({10, 1}, kMilliseconds, {0, 100, 600, 700}),
              ElementsAre(0, 1, 1, 1, 1, 1, 2, 3));
}

TEST(FrameTimeline, CrowdedPicturesAreDropped) {
  EXPECT_THAT(Slots({10, 1}, kMilliseconds, {0, 50, 100, 150, 200, 250, 300}),
              ElementsAre(0, 1, 3, 5));
}

TEST(FrameTimeline, AccumulatesNoDrift) {
  // 29 pictures a second on a grid of 30: one repeat each second.
  std::vector<std::optional<int64_t>> timestamps;
  for (const int64_t t : Timestamps({29, 1}, kMilliseconds, 29 * 600, 0, 0))
    timestamps.emplace_back(t);
  const std::vector<int> slots = Slots({30, 1}, kMilliseconds, timestamps);
  EXPECT_NEAR(static_cast<double>(slots.size()), 30 * 600, 1.5);
}

TEST(FrameTimeline, MissingAndEqualTimestampsFollowOneByOne) {
  EXPECT_EQ(Slots({25, 1}, kMilliseconds, std::vector<std::optional<int64_t>>(50)), Upward(50));
  EXPECT_EQ(Slots({25, 1}, kMilliseconds, std::vector<std::optional<int64_t>>(50, 7)), Upward(50));
  EXPECT_EQ(Slots({25, 1}, kMilliseconds,
                  {std::nullopt, std::nullopt, 1080, 1120, std::nullopt, 1200, 1200, 1280}),
            Upward(8));
}

TEST(FrameTimeline, AClockThatJumpsGoesOnFromThere) {
  EXPECT_EQ(Slots({25, 1}, kMilliseconds, {95000, 95040, 0, 40, 80}), Upward(5));
  EXPECT_EQ(Slots({25, 1}, kMilliseconds, {0, 40, 20'000, 20'040}, kSplicedClock), Upward(4));
}

// A clock that goes back by less than a second is no new one: what was shown already is
// not shown again, and pictures without a time go on behind it.
TEST(FrameTimeline, AClockThatGoesBackALittleIsWaitedFor) {
  std::vector<std::optional<int64_t>> timestamps;
  for (int64_t i = 0; i <= 25; ++i) timestamps.emplace_back(i * 40);
  timestamps.insert(timestamps.end(), {600, 640, std::nullopt, 1080, 1120});
  std::vector<int> expected = Upward(27);
  expected.insert(expected.end(), {28, 30});
  EXPECT_EQ(Slots({25, 1}, kMilliseconds, timestamps), expected);
}

TEST(FrameTimeline, AnEndlessGapIsNotFilled) {
  EXPECT_EQ(Slots({60, 1}, {1, 1}, {0, INT64_MAX - 1}), Upward(2));
  EXPECT_EQ(Slots({60, 1}, {1, 1}, {INT64_MIN + 1, INT64_MAX - 1}), Upward(2));
}

TEST(FrameTimeline, APictureStandsAsLongAsTheFileSupportsIt) {
  const auto length = [](const std::vector<std::optional<int64_t>>& timestamps,
                         const FileClock& clock) {
    return Slots({1, 1}, kMilliseconds, timestamps, clock).size();
  };
  constexpr int64_t kLong = 3'900'000;  // 65 minutes
  const FileClock declared(false, 3901.0);
  const FileClock declared_shorter(false, 5.0);
  FileClock covered(true, std::nullopt);
  covered.Cover(0, 3901);
  EXPECT_EQ(length({0, kLong}, declared), 3901U);
  EXPECT_EQ(length({0, kLong}, covered), 3901U);
  EXPECT_EQ(length({0, kLong, kLong + 1000}, kPlainClock), 3902U);
  EXPECT_EQ(length({0, kLong}, kPlainClock), 2U);
  EXPECT_EQ(length({0, kLong, kLong + 1000}, declared_shorter), 3U);
  EXPECT_EQ(length({0, kLong, kLong + 1000}, kSplicedClock), 3U);
}

TEST(FrameTimeline, ASingleWildTimestampIsNoTimestamp) {
  const FileClock declared(false, 100'000.0);
  for (const int64_t wild : {int64_t{50'000}, int64_t{9'000'000}, int64_t{-9'000'000}, INT64_MAX}) {
    for (const FileClock& clock : {kPlainClock, kSplicedClock, declared}) {
      EXPECT_EQ(Slots({25, 1}, kMilliseconds, {20'000, 20'040, wild, 20'120, 20'160}, clock),
                Upward(5))
          << wild;
    }
  }
}

TEST(FrameTimeline, ALongLastPictureIsHeld) {
  EXPECT_THAT(Slots({10, 1}, kMilliseconds, {0, 100}, kPlainClock, 300), ElementsAre(0, 1, 1, 1));
  // For as many slots as come nearest to its duration.
  EXPECT_THAT(Slots({10, 1}, kMilliseconds, {0, 100}, kPlainClock, 260), ElementsAre(0, 1, 1, 1));
  EXPECT_THAT(Slots({10, 1}, kMilliseconds, {0, 100}, kPlainClock, 240), ElementsAre(0, 1, 1));
  EXPECT_THAT(Slots({10, 1}, kMilliseconds, {0, 100}, kPlainClock, 160), ElementsAre(0, 1, 1));
  EXPECT_THAT(Slots({10, 1}, kMilliseconds, {0, 100}, kPlainClock, 140), ElementsAre(0, 1));
  EXPECT_THAT(Slots({10, 1}, kMilliseconds, {0, 100}, kPlainClock, 100), ElementsAre(0, 1));
  EXPECT_THAT(Slots({10, 1}, kMilliseconds, {0, 100}, kPlainClock, 0), ElementsAre(0, 1));
  EXPECT_THAT(Slots({10, 1}, kMilliseconds, {0, 100}, kPlainClock, INT64_MAX), ElementsAre(0, 1));
}

TEST(DurationOfFrames, CountsBackToTheSameFrames) {
  for (const Ratio rate : {Ratio{24000, 1001}, Ratio{25, 1}, Ratio{30000, 1001}, Ratio{60, 1},
                           Ratio{25, 2}, Ratio{100, 3}, Ratio{1, 5}, Ratio{120000, 1001}}) {
    for (int64_t frames = 0; frames < 200'000; frames += frames < 3000 ? 1 : 997) {
      const auto duration = DurationOfFrames(frames, rate);
      ASSERT_TRUE(duration);
      EXPECT_EQ(static_cast<int64_t>(rate.value() * static_cast<double>(*duration) * 1e-7), frames)
          << rate.value();
    }
  }
}

TEST(DurationOfFrames, TellsNothingPastItsUnits) {
  EXPECT_EQ(DurationOfFrames(INT64_MAX, {30, 1}), std::nullopt);
  EXPECT_EQ(DurationOfFrames(INT32_MAX, {1, INT32_MAX}), std::nullopt);
  EXPECT_EQ(DurationOfFrames(INT32_MAX, {3, 1}), 7158278823333334);
}

}  // namespace
}  // namespace qolm::media::ffmpeg
