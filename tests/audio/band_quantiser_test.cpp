// SPDX-License-Identifier: MIT
#include "audio/band_quantiser.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

namespace qolm::audio {
namespace {

using ::testing::Each;
using ::testing::ElementsAre;

TEST(BandEdges, ShortestFrame) {
  EXPECT_THAT(BandEdgesFor(64),
              ElementsAre(0, 1, 2, 4, 6, 9, 12, 17, 21, 27, 33, 40, 47, 53, 59, 62, 64));
}

TEST(BandEdges, AscendAndEndWithTheFrame) {
  for (const uint32_t length : {64u, 65u, 160u, 441u, 640u, 882u, 960u, 3840u, 65535u}) {
    const BandEdges edges = BandEdgesFor(length);
    EXPECT_EQ(edges.front(), 0u);
    EXPECT_EQ(edges.back(), length);
    EXPECT_TRUE(std::is_sorted(edges.begin(), edges.end(), std::less_equal<>())) << length;
  }
  EXPECT_THAT(BandEdgesFor(960), ElementsAre(0, 14, 34, 58, 91, 134, 187, 250, 322, 403, 494, 595,
                                             701, 802, 888, 931, 960));
}

uint8_t ScaleByLogarithm(double loudness) {
  return static_cast<uint8_t>(
      std::clamp(std::round(std::log2(std::max(loudness, 2.0)) * 4.0 + 16.0), 1.0, 63.0));
}

TEST(ScaleOfLoudness, MatchesRoundedLogarithm) {
  EXPECT_EQ(ScaleOfLoudness(0.0), 20);
  EXPECT_EQ(ScaleOfLoudness(2.0), 20);
  EXPECT_EQ(ScaleOfLoudness(1e300), 63);
  for (double loudness = 0.5; loudness < 20000.0; loudness *= 1.0000173) {
    ASSERT_EQ(ScaleOfLoudness(loudness), ScaleByLogarithm(loudness)) << loudness;
  }
  // On both sides of each limit, as close as the logarithm can distinguish.
  for (int scale = 21; scale <= 63; ++scale) {
    const double limit = std::exp2((2.0 * scale - 33.0) / 8.0);
    EXPECT_EQ(ScaleOfLoudness(limit * (1.0 - 1e-14)), scale - 1);
    EXPECT_EQ(ScaleOfLoudness(limit * (1.0 + 1e-14)), scale);
    EXPECT_EQ(ScaleByLogarithm(limit * (1.0 - 1e-14)), scale - 1);
    EXPECT_EQ(ScaleByLogarithm(limit * (1.0 + 1e-14)), scale);
  }
}

TEST(StepOfScale, IsPowerOfTwoInQuarterSteps) {
  for (int scale = 1; scale <= 63; ++scale) {
    const auto step = static_cast<float>(std::max(1.0, std::exp2((scale - 16.0) * 0.25)));
    EXPECT_EQ(StepOfScale(static_cast<uint8_t>(scale)), step) << scale;
  }
}

struct Frame {
  std::vector<uint8_t> scales = std::vector<uint8_t>(kBandCount, 99);
  std::vector<int16_t> levels = std::vector<int16_t>(64, 99);

  explicit Frame(const std::vector<double>& coefficients, float strength = kMainStrength) {
    QuantiseFrame(BandEdgesFor(64), strength, coefficients.data(), scales.data(), levels.data());
  }
};

TEST(QuantiseFrame, NothingReachesTheFloorOfTwenty) {
  const Frame frame(std::vector<double>(64, 19.999));
  EXPECT_THAT(frame.scales, Each(0));
  EXPECT_THAT(frame.levels, Each(0));
  const Frame loud(std::vector<double>(64, 20.0));
  // 20 / 8 * 1.6 = 4: 2 * 4 + 16. Step 2^2.
  EXPECT_THAT(loud.scales, Each(24));
  EXPECT_THAT(loud.levels, Each(5));
}

TEST(QuantiseFrame, ABandBelowAHundredthOfTheLoudestIsSilent) {
  std::vector<double> coefficients(64, 0.0);
  coefficients[0] = 10000.0;
  coefficients[1] = 100.0;
  coefficients[2] = 141.0;  // two coefficients: 99.7
  const Frame frame(coefficients);
  EXPECT_EQ(frame.scales[0], 60);  // 2000: 4 * 10.966 + 16 = 59.86
  EXPECT_EQ(frame.levels[0], 5);   // 10000 / 2048
  EXPECT_EQ(frame.scales[1], 33);  // 20: 4 * 4.32 + 16
  EXPECT_EQ(frame.levels[1], 5);   // 100 / 19.03
  EXPECT_EQ(frame.scales[2], 0);
  EXPECT_EQ(frame.levels[2], 0);
}

TEST(QuantiseFrame, StrengthSetsTheStep) {
  std::vector<double> coefficients(64, -20.0);
  const Frame side(coefficients, kSideStrength);
  EXPECT_THAT(side.scales, Each(25));  // 5: 9.29 + 16
  EXPECT_THAT(side.levels, Each(-4));  // 20 / 4.757 = 4.2
}

TEST(QuantiseFrame, TheDeadZoneEndsAtThreeQuartersOfAStep) {
  // Last two bands of 3 and 2 coefficients.
  std::vector<double> coefficients(64, 0.0);
  coefficients[62] = 40.0;
  coefficients[63] = 0.0;
  // rms 28.28: 5.657 -> 4 * 2.5 + 16 = 26, step 2^2.5 = 5.65685...
  const Frame frame(coefficients);
  ASSERT_EQ(frame.scales[15], 26);
  const double step = StepOfScale(26);
  coefficients[63] = 0.75 * step;
  EXPECT_EQ(Frame(coefficients).levels[63], 1);
  coefficients[63] = std::nextafter(0.75 * step, 0.0);
  EXPECT_EQ(Frame(coefficients).levels[63], 0);
  coefficients[63] = -0.75 * step;
  EXPECT_EQ(Frame(coefficients).levels[63], -1);
  coefficients[63] = -1.5 * step;
  EXPECT_EQ(Frame(coefficients).levels[63], -2);
}

TEST(QuantiseFrame, LevelsAreClamped) {
  std::vector<double> coefficients(64, 0.0);
  coefficients[62] = 1e8;
  coefficients[63] = -1e8;
  const Frame frame(coefficients);
  EXPECT_EQ(frame.scales[15], 63);
  EXPECT_EQ(frame.levels[62], 2047);
  EXPECT_EQ(frame.levels[63], -2048);
}

TEST(QuantiseFrame, RoundsAsTheLibraryDoes) {
  std::mt19937 random(3);
  for (int round = 0; round < 200; ++round) {
    std::vector<double> coefficients(64);
    for (double& value : coefficients) value = static_cast<double>(random() % 2000001) / 7.0 - 1e5;
    const Frame frame(coefficients);
    const BandEdges edges = BandEdgesFor(64);
    for (size_t b = 0; b < kBandCount; ++b) {
      for (size_t k = edges[b]; k < edges[b + 1]; ++k) {
        const double step = StepOfScale(frame.scales[b]);
        float level = 0.0F;
        if (frame.scales[b] != 0 && std::fabs(coefficients[k]) >= 0.75 * step) {
          level = std::round(static_cast<float>(coefficients[k] / step));
        }
        ASSERT_EQ(frame.levels[k], level);
      }
    }
  }
}

// The quotient is converted to float before rounding, which turns slightly less than 3.5
// into 3.5.
TEST(QuantiseFrame, RoundsTheQuotientToAFloatFirst) {
  std::vector<double> coefficients(64, 0.0);
  coefficients[62] = 1000.0;
  const double step = StepOfScale(45);  // 152.2; the rms is 801 with 3.5 of them
  for (const double sign : {1.0, -1.0}) {
    coefficients[63] = sign * 3.5 * step * (1.0 - 1e-9);
    const Frame frame(coefficients);
    ASSERT_EQ(frame.scales[15], 45);
    EXPECT_EQ(frame.levels[63], 4 * sign);
    coefficients[63] = sign * 3.5 * step * (1.0 - 1e-6);
    EXPECT_EQ(Frame(coefficients).levels[63], 3 * sign);
  }
}

TEST(IsQuantisedFrame, ChecksRangesAndSilentBands) {
  const BandEdges edges = BandEdgesFor(64);
  Frame frame(std::vector<double>(64, 20.0));
  const auto is_quantised = [&] {
    return IsQuantisedFrame(edges, frame.scales.data(), frame.levels.data());
  };
  EXPECT_TRUE(is_quantised());
  frame.scales[3] = 64;
  EXPECT_FALSE(is_quantised());
  frame.scales[3] = 0;
  EXPECT_FALSE(is_quantised());
  frame.levels[4] = frame.levels[5] = 0;
  EXPECT_TRUE(is_quantised());
  frame.levels[63] = 2048;
  EXPECT_FALSE(is_quantised());
  frame.levels[63] = -2048;
  EXPECT_TRUE(is_quantised());
  frame.levels[63] = -2049;
  EXPECT_FALSE(is_quantised());
  frame.levels[63] = 0;
  frame.levels[4] = -1;
  EXPECT_FALSE(is_quantised());
}

}  // namespace
}  // namespace qolm::audio
