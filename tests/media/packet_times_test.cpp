// SPDX-License-Identifier: MIT
#include "media/ffmpeg/packet_times.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <cstdint>
#include <utility>
#include <vector>

namespace qolm::media::ffmpeg {
namespace {

using ::testing::ElementsAre;

std::vector<int64_t> Ordered(const std::vector<int64_t>& timestamps) {
  PacketClock clock({1, 1000});
  for (const int64_t timestamp : timestamps) clock.Add(timestamp, 40);
  return std::move(clock).InPresentationOrder();
}

TEST(PacketClock, StoredOrderBecomesShownOrder) {
  EXPECT_THAT(Ordered({0, 160, 80, 40, 120, 320, 240, 200, 280}),
              ElementsAre(0, 40, 80, 120, 160, 200, 240, 280, 320));
  // Five seconds a picture, stored as far ahead.
  EXPECT_THAT(Ordered({0, 15'000, 5'000, 10'000, 30'000, 20'000, 25'000}),
              ElementsAre(0, 5'000, 10'000, 15'000, 20'000, 25'000, 30'000));
}

TEST(PacketClock, AClockThatRestartsBeginsAnotherRun) {
  EXPECT_THAT(Ordered({5'000, 5'120, 5'040, 5'080, 1'000, 1'120, 1'040, 1'080}),
              ElementsAre(5'000, 5'040, 5'080, 5'120, 1'000, 1'040, 1'080, 1'120));
  EXPECT_THAT(Ordered({3'000, 1'000, 0}), ElementsAre(3'000, 0, 1'000));
}

TEST(PacketClock, ASingleWildTimestampBecomesItsNeighbours) {
  EXPECT_THAT(Ordered({0, 40, 9'000'000, 120, 160}), ElementsAre(0, 40, 40, 120, 160));
  EXPECT_THAT(Ordered({0, 40, -9'000'000, 120, 160}), ElementsAre(0, 40, 40, 120, 160));
  EXPECT_THAT(Ordered({0, 40, 9'000'000, 9'000'040}), ElementsAre(0, 40, 9'000'000, 9'000'040));
}

TEST(PacketClock, KnowsTheDurationOfThePictureShownLast) {
  PacketClock clock({1, 1000});
  clock.Add(0, 10);
  clock.Add(80, 20);
  clock.Add(40, 30);
  EXPECT_EQ(clock.duration_of_last(), 20);
  clock.Add(INT64_MIN, 99);  // AV_NOPTS_VALUE
  EXPECT_EQ(clock.size(), 3U);
  EXPECT_EQ(clock.duration_of_last(), 20);
  clock.Add(-50'000, 50);  // another recording
  EXPECT_EQ(clock.duration_of_last(), 50);
}

TEST(PacketClock, CountsWhatHasNoTimestampNearTheStart) {
  PacketClock clock({1, 1000});
  clock.Add(INT64_MIN, 40);
  for (int i = 0; i < 16; ++i) clock.Add(i * 40, 40);
  clock.Add(INT64_MIN, 40);
  EXPECT_EQ(clock.untimed_at_start(), 2);
  clock.Add(640, 40);
  clock.Add(INT64_MIN, 40);
  EXPECT_EQ(clock.untimed_at_start(), 2);
  EXPECT_EQ(clock.size(), 17U);
}

}  // namespace
}  // namespace qolm::media::ffmpeg
