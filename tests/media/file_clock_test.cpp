// SPDX-License-Identifier: MIT
#include "media/ffmpeg/file_clock.h"

#include <gtest/gtest.h>

#include <optional>

namespace qolm::media::ffmpeg {
namespace {

using Behind = FileClock::Behind;

constexpr double kHour = 3600;
constexpr double kMonth = 31 * 24 * kHour;
constexpr std::optional<double> kUndeclared;

TEST(FileClock, ShortStepsAreRealInEveryFile) {
  for (const bool restarts : {false, true}) {
    FileClock clock(restarts, 1.0);
    for (int i = 0; i < 10'000; ++i) {
      EXPECT_TRUE(clock.IsReal(i * 10.0, (i + 1) * 10.0, Behind::kLeavesAgain));
    }
  }
}

TEST(FileClock, TheDeclaredDurationSupportsAnyStepWithinIt) {
  FileClock clock(false, 30 * kHour);
  for (int i = 0; i < 3; ++i) {
    EXPECT_TRUE(clock.IsReal(i * 10 * kHour, (i + 1) * 10 * kHour, Behind::kNothing));
  }
  EXPECT_FALSE(clock.IsReal(29 * kHour, 30.5 * kHour, Behind::kGoesOn));
}

TEST(FileClock, TheDeclaredDurationIsRoundedByAShortStepAtMost) {
  FileClock clock(false, 30 * kHour);
  EXPECT_TRUE(clock.IsReal(0, 30 * kHour + 10, Behind::kNothing));
  EXPECT_FALSE(clock.IsReal(0, 30 * kHour + 10.1, Behind::kNothing));
}

TEST(FileClock, AnotherStreamSupportsTheStepThatItCoversWithoutAHole) {
  for (const bool restarts : {false, true}) {
    FileClock covered(restarts, kUndeclared);
    for (double t = 0; t < 2 * kHour; t += 0.5) covered.Cover(t, t + 0.02);
    EXPECT_TRUE(covered.IsReal(1, 2 * kHour - 1, Behind::kNothing));
    EXPECT_TRUE(covered.IsReal(1, 2 * kHour - 1, Behind::kNothing));

    FileClock with_a_hole(restarts, kUndeclared);
    for (double t = 0; t < 2 * kHour; t += 0.5) {
      if (t < 1000 || t > 1002) with_a_hole.Cover(t, t + 0.02);
    }
    EXPECT_FALSE(with_a_hole.IsReal(1, 2 * kHour - 1, Behind::kNothing));
    EXPECT_TRUE(with_a_hole.IsReal(1010, 2 * kHour - 1, Behind::kNothing));
  }
}

TEST(FileClock, SpansOfSeveralStreamsAndRestartsAreKeptApart) {
  FileClock clock(true, kUndeclared);
  for (int i = 0; i < 100; ++i) clock.Cover(i * 1000.0, i * 1000.0 + 500);
  EXPECT_TRUE(clock.IsReal(99'000, 99'500, Behind::kNothing));
  EXPECT_FALSE(clock.IsReal(98'000, 99'500, Behind::kNothing));
  clock.Cover(5, 3);  // ends before it begins
  EXPECT_EQ(clock.covered_end(), 99'500);
}

// Each span and each step are longer than what is real without support.
TEST(FileClock, TheLatestSpansAreRemembered) {
  constexpr double kSpan = 2 * kHour;
  FileClock clock(true, kUndeclared);
  for (int i = 0; i < 100; ++i) clock.Cover(i * 3 * kHour, i * 3 * kHour + kSpan);
  for (int i = 36; i < 100; ++i) {
    EXPECT_TRUE(clock.IsReal(i * 3 * kHour, i * 3 * kHour + kSpan, Behind::kNothing)) << i;
  }
  EXPECT_FALSE(clock.IsReal(0, kSpan, Behind::kNothing));
}

TEST(FileClock, ASpanThatGrowsOutlivesOthers) {
  constexpr double kFar = 1000 * kHour;
  FileClock clock(true, kUndeclared);
  for (int i = 0; i < 100; ++i) {
    clock.Cover(i * 100.0, (i + 1) * 100.0);
    clock.Cover(kFar + i * kHour, kFar + i * kHour + 1);
  }
  EXPECT_TRUE(clock.IsReal(0, 10'000, Behind::kNothing));
}

TEST(FileClock, WhatGoesOnBehindSupportsAStepWhereNothingIsDeclared) {
  FileClock plain(false, kUndeclared);
  EXPECT_TRUE(plain.IsReal(0, 20 * kHour, Behind::kGoesOn));
  EXPECT_TRUE(plain.IsReal(20 * kHour, 40 * kHour, Behind::kGoesOn));
  EXPECT_FALSE(plain.IsReal(40 * kHour, 60 * kHour, Behind::kNothing));

  FileClock declared(false, 5.0);
  EXPECT_FALSE(declared.IsReal(0, 20 * kHour, Behind::kGoesOn));
  FileClock spliced(true, kUndeclared);
  EXPECT_FALSE(spliced.IsReal(0, 11, Behind::kGoesOn));
}

TEST(FileClock, UnsupportedStepsAddUpToAnHourAtMost) {
  FileClock clock(false, 5.0);
  EXPECT_TRUE(clock.IsReal(0, 0.6 * kHour, Behind::kGoesOn));
  EXPECT_FALSE(clock.IsReal(0.6 * kHour, 1.2 * kHour, Behind::kGoesOn));
  EXPECT_TRUE(clock.IsReal(0.6 * kHour, 0.9 * kHour, Behind::kGoesOn));
}

TEST(FileClock, AStepThatIsLeftAgainOrLongerThanAMonthIsBroken) {
  FileClock clock(false, 2 * kMonth);
  clock.Cover(0, 2 * kMonth);
  EXPECT_FALSE(clock.IsReal(0, 11, Behind::kLeavesAgain));
  EXPECT_TRUE(clock.IsReal(0, kMonth, Behind::kGoesOn));
  EXPECT_FALSE(clock.IsReal(0, kMonth + 1, Behind::kGoesOn));
}

}  // namespace
}  // namespace qolm::media::ffmpeg
