// SPDX-License-Identifier: MIT
#include "media/ffmpeg/frame_rate.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <optional>
#include <utility>
#include <vector>

#include "media/jittered_timestamps.h"

namespace qolm::media::ffmpeg {
namespace {

constexpr Ratio kMillisecondTicks = {1, 1000};
const FileClock kContinuousClock(false, std::nullopt);

std::optional<Ratio> Choose(std::vector<int64_t> timestamps, Ratio time_base, Ratio average,
                            Ratio lowest_exact) {
  return ChooseConstantRate({time_base, std::move(timestamps), average, lowest_exact},
                            kContinuousClock);
}

TEST(ChooseConstantRate, KeepsTheDeclaredRateOfAConstantStream) {
  for (const Ratio rate :
       {Ratio{24000, 1001}, Ratio{24, 1}, Ratio{25, 1}, Ratio{25, 2}, Ratio{30000, 1001},
        Ratio{30, 1}, Ratio{50, 1}, Ratio{60000, 1001}, Ratio{15, 1}, Ratio{100, 3}, Ratio{1, 5}}) {
    EXPECT_EQ(
        Choose(Timestamps(rate, kMillisecondTicks, 500, 0, 40), kMillisecondTicks, rate, {0, 0}),
        rate);
  }
}

TEST(ChooseConstantRate, TakesTheCommonRateThatARoundedOneMeans) {
  const auto timestamps = Timestamps({30000, 1001}, kMillisecondTicks, 3000, 0, 0);
  EXPECT_EQ(Choose(timestamps, kMillisecondTicks, {2997, 100}, {0, 0}), (Ratio{30000, 1001}));
  EXPECT_EQ(Choose(timestamps, kMillisecondTicks, {0, 0}, {0, 0}), (Ratio{30000, 1001}));
}

TEST(ChooseConstantRate, DistrustsADeclaredRateThatDoesNotFit) {
  const auto timestamps = Timestamps({25, 1}, kMillisecondTicks, 1000, 0, 0);
  EXPECT_EQ(Choose(timestamps, kMillisecondTicks, {90000, 1}, {50, 1}), (Ratio{25, 1}));
}

TEST(ChooseConstantRate, AVariableStreamGetsItsTypicalRate) {
  // 30 a second with every twentieth picture missing.
  std::vector<int64_t> timestamps;
  for (int i = 0; i < 600; ++i) {
    if (i % 20 != 7) timestamps.push_back(i * 3000);
  }
  EXPECT_EQ(Choose(timestamps, {1, 90000}, {285, 10}, {90000, 1}), (Ratio{30, 1}));
}

TEST(ChooseConstantRate, SparsePicturesTakeTheRateOfTheirTicks) {
  for (const auto& [ticks, rate] : {std::pair{Ratio{25, 1}, Ratio{25, 1}},
                                    {Ratio{5, 1}, Ratio{5, 1}},
                                    {Ratio{30000, 1001}, Ratio{30000, 1001}},
                                    {Ratio{60, 1}, Ratio{60, 1}}}) {
    const Ratio own_clock = {ticks.denominator, ticks.numerator};
    for (const Ratio time_base : {kMillisecondTicks, Ratio{1, 90000}, own_clock}) {
      const auto all = Timestamps(ticks, time_base, 2000, 0, 0);
      std::vector<int64_t> timestamps;
      for (size_t i = 0; i < all.size(); i += 7 + i * i % 5) timestamps.push_back(all[i]);
      EXPECT_EQ(Choose(timestamps, time_base, {2493, 1000}, {1000, 1}), rate);
      EXPECT_EQ(Choose(timestamps, time_base, {0, 0}, {0, 0}), rate);
    }
  }
  // The container's own rate comes before a lower one.
  std::vector<int64_t> timestamps;
  for (int i = 0; i < 100; ++i) timestamps.push_back(i * 200 + i / 7 * 400);
  EXPECT_EQ(Choose(timestamps, kMillisecondTicks, {25, 1}, {0, 0}), (Ratio{25, 1}));
  EXPECT_EQ(Choose(timestamps, kMillisecondTicks, {0, 0}, {0, 0}), (Ratio{5, 1}));
}

TEST(ChooseConstantRate, TimestampsThatComeTwiceDoNotDoubleTheRate) {
  // As of MPEG programs, whose packets do not all tell their time.
  auto timestamps = Timestamps({25, 1}, {1, 90000}, 264, 0, 0);
  for (size_t i = 220; i < 240; ++i) timestamps[i] -= 7200;
  std::sort(timestamps.begin(), timestamps.end());
  EXPECT_EQ(Choose(timestamps, {1, 90000}, {25, 1}, {25, 1}), (Ratio{25, 1}));
}

TEST(ChooseConstantRate, HolesDoNotChangeTheRate) {
  for (const auto& [rate, declared] : {std::pair{Ratio{25, 2}, Ratio{25, 1}},
                                       {Ratio{15, 1}, Ratio{30, 1}},
                                       {Ratio{2997, 200}, Ratio{30000, 1001}},
                                       {Ratio{30000, 1001}, Ratio{60000, 1001}},
                                       {Ratio{25, 1}, Ratio{25, 1}},
                                       {Ratio{25, 1}, Ratio{50, 1}},
                                       {Ratio{30, 1}, Ratio{30, 1}},
                                       {Ratio{30000, 1001}, Ratio{30000, 1001}}}) {
    for (const Ratio time_base : {kMillisecondTicks, Ratio{1, 90000}}) {
      auto timestamps = Timestamps(rate, time_base, 400, 0, 40);
      EXPECT_EQ(Choose(timestamps, time_base, declared, declared), rate);
      timestamps.erase(timestamps.begin() + 200, timestamps.begin() + 211);
      EXPECT_EQ(Choose(timestamps, time_base, declared, declared), rate) << declared.numerator;
      timestamps.erase(timestamps.begin() + 90, timestamps.begin() + 91);
      timestamps.erase(timestamps.begin() + 30, timestamps.begin() + 50);
      EXPECT_EQ(Choose(timestamps, time_base, declared, declared), rate) << declared.numerator;
    }
  }
}

TEST(ChooseConstantRate, AnUnevenStartDoesNotChangeTheRate) {
  // As recordings that were cut without being coded again have it.
  struct Cut {
    std::vector<int64_t> start;
    Ratio time_base;
    int64_t interval;
    Ratio declared;
    Ratio rate;
  };
  for (const Cut& cut : {Cut{{106, 106, 106}, kMillisecondTicks, 40, {25, 1}, {25, 1}},
                         Cut{{135540, 135541, 135542}, {1, 90000}, 3600, {25, 1}, {25, 1}},
                         Cut{{0, 6, 7, 8, 9, 10, 11}, {1, 50}, 2, {50, 1}, {25, 1}},
                         Cut{{0, 2, 4, 6, 8, 10, 12, 14, 17}, {1, 25}, 2, {25, 1}, {25, 2}}}) {
    std::vector<int64_t> timestamps = cut.start;
    for (int i = 0; i < 76; ++i) timestamps.push_back(timestamps.back() + cut.interval);
    EXPECT_EQ(Choose(timestamps, cut.time_base, cut.declared, cut.declared), cut.rate);
  }
  // Too much of a short one for a mere start.
  EXPECT_EQ(Choose({0, 1, 2, 3, 5, 7, 9, 11}, {1, 50}, {50, 1}, {50, 1}), (Ratio{50, 1}));
}

TEST(ChooseConstantRate, AScreenRecordingKeepsItsFastParts) {
  // Mostly still at 5 a second, a third of the pictures in bursts of 60.
  std::vector<int64_t> timestamps;
  int64_t time = 0;
  for (int i = 0; i < 300; ++i) {
    timestamps.push_back(time);
    time += i % 30 < 10 ? 1500 : 18000;
  }
  EXPECT_EQ(Choose(timestamps, {1, 90000}, {8, 1}, {60, 1}), (Ratio{60, 1}));
}

// Times that no rate's ticks hold: `fast` of every ten intervals are of one length, in
// microseconds, the others are longer and all different.
std::vector<int64_t> UnevenTimes(int fast, int64_t interval) {
  std::vector<int64_t> timestamps;
  int64_t time = 0;
  for (int64_t i = 0; i < 400; ++i) {
    timestamps.push_back(time);
    time += i % 10 < fast ? interval : 100'003 + i * i * 7'919 % 800'011;
  }
  return timestamps;
}

TEST(ChooseConstantRate, AnUnevenStreamPlaysAtSixtyAtMost) {
  EXPECT_EQ(Choose(UnevenTimes(6, 4167), {1, 1'000'000}, {0, 0}, {0, 0}), (Ratio{60, 1}));
}

TEST(ChooseConstantRate, AnUnevenStreamPlaysAsMostOfItDoes) {
  EXPECT_EQ(Choose(UnevenTimes(7, 40'000), {1, 1'000'000}, {0, 0}, {0, 0}), (Ratio{25, 1}));
}

TEST(ChooseConstantRate, SparsePicturesTakeNoFasterTicksThanSixty) {
  std::vector<int64_t> timestamps;
  int64_t tick = 0;  // of a hundred a second
  for (int64_t i = 0; i < 200; ++i) {
    timestamps.push_back(tick * 900);
    tick += 7 + i * i % 5;
  }
  const auto rate = Choose(timestamps, {1, 90000}, {0, 0}, {0, 0});
  ASSERT_TRUE(rate);
  EXPECT_LE(rate->value(), 60);
}

TEST(ChooseConstantRate, AFastStreamKeepsAllItsPictures) {
  for (const Ratio rate : {Ratio{240, 1}, Ratio{2000, 1}, Ratio{90'000, 1}}) {
    const auto timestamps = Timestamps(rate, {1, 1'000'000}, 12, 0, 0);
    EXPECT_EQ(Choose(timestamps, {1, 1'000'000}, rate, {0, 0}), rate);
    // With a hole it is of variable rate, and still as fast.
    auto with_a_hole = Timestamps(rate, {1, 1'000'000}, 200, 0, 0);
    with_a_hole.erase(with_a_hole.begin() + 100, with_a_hole.begin() + 120);
    const auto chosen = Choose(with_a_hole, {1, 1'000'000}, rate, {0, 0});
    ASSERT_TRUE(chosen);
    EXPECT_NEAR(chosen->value() / rate.value(), 1, 0.01);
  }
}

TEST(ChooseConstantRate, AnUnlikelyDeclaredRateNeedsTheTimestampsToConfirmIt) {
  EXPECT_EQ(Choose({0}, kMillisecondTicks, {90'000, 1}, {25, 1}), (Ratio{25, 1}));
  EXPECT_EQ(Choose({0, 40, 80}, kMillisecondTicks, {90'000, 1}, {0, 0}), (Ratio{25, 1}));
}

TEST(ChooseConstantRate, JoinedRecordingsKeepTheirRate) {
  for (const Ratio rate : {Ratio{25, 1}, Ratio{30000, 1001}}) {
    std::vector<int64_t> timestamps = Timestamps(rate, kMillisecondTicks, 100, 0, 1400);
    for (int i = 0; i < 2; ++i) {
      const auto next = Timestamps(rate, kMillisecondTicks, 100, 0, 1400 - i * 700);
      timestamps.insert(timestamps.end(), next.begin(), next.end());
    }
    EXPECT_EQ(Choose(timestamps, kMillisecondTicks, rate, {0, 0}), rate);
    EXPECT_EQ(Choose(timestamps, kMillisecondTicks, {0, 0}, {0, 0}), rate);
    EXPECT_EQ(Choose(timestamps, kMillisecondTicks, {rate.numerator * 2, rate.denominator}, {0, 0}),
              rate);
  }
}

TEST(ChooseConstantRate, ShortBurstsTakeTheRateThatTheContainerDeclares) {
  // Three pictures a second, 33 and 34 milliseconds apart.
  for (const Ratio declared : {Ratio{30, 1}, Ratio{30000, 1001}}) {
    std::vector<int64_t> timestamps;
    for (int second = 0; second < 10; ++second) {
      for (const int offset : {0, 33, 67}) timestamps.push_back(second * 1000 + offset);
    }
    EXPECT_EQ(Choose(timestamps, kMillisecondTicks, declared, {0, 0}), declared);
  }
}

TEST(ChooseConstantRate, WithoutAnyHintThereIsNone) {
  EXPECT_EQ(Choose({}, kMillisecondTicks, {0, 0}, {0, 1}), std::nullopt);
  EXPECT_EQ(Choose({5}, kMillisecondTicks, {0, 0}, {0, 0}), std::nullopt);
  EXPECT_EQ(Choose({}, kMillisecondTicks, {25, 1}, {0, 0}), (Ratio{25, 1}));
}

}  // namespace
}  // namespace qolm::media::ffmpeg
