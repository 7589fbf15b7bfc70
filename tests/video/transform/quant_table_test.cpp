// SPDX-License-Identifier: MIT
#include "video/transform/quant_table.h"

#include <gtest/gtest.h>

#include <bit>
#include <climits>
#include <cstddef>
#include <set>
#include <vector>

namespace qolm::video {
namespace {

// An independent copy of the example tables of ITU-T T.81, Annex K.
constexpr std::array<int, 64> kLuminance = {
    16, 11, 10, 16, 24,  40,  51,  61,  12, 12, 14, 19, 26,  58,  60,  55,
    14, 13, 16, 24, 40,  57,  69,  56,  14, 17, 22, 29, 51,  87,  80,  62,
    18, 22, 37, 56, 68,  109, 103, 77,  24, 35, 55, 64, 81,  104, 113, 92,
    49, 64, 78, 87, 103, 121, 120, 101, 72, 92, 95, 98, 112, 100, 103, 99};

std::array<int, 64> Chrominance() {
  std::array<int, 64> table;
  table.fill(99);
  const int corner[4][4] = {{17, 18, 24, 47}, {18, 21, 26, 66}, {24, 26, 56, 99}, {47, 66, 99, 99}};
  for (size_t r = 0; r < 4; ++r) {
    for (size_t c = 0; c < 4; ++c) table[8 * r + c] = corner[r][c];
  }
  return table;
}

// FNV-1a over the little-endian bytes of the tables of all qualities 1..100.
uint64_t HashOfAllQualities(QuantTable (*build)(int32_t, bool), bool chroma) {
  uint64_t hash = 14695981039346656037ULL;
  for (int quality = 1; quality <= 100; ++quality) {
    for (const float step : build(quality, chroma).step) {
      const uint32_t bits = std::bit_cast<uint32_t>(step);
      for (int shift = 0; shift < 32; shift += 8) {
        hash = (hash ^ ((bits >> shift) & 255U)) * 1099511628211ULL;
      }
    }
  }
  return hash;
}

TEST(QualityByte, OutOfRangeQualityIsClamped) {
  for (const int quality : {0, 1, 45, 50, 100, 101, 255}) {
    EXPECT_EQ(QualityByte(quality), quality);
  }
  EXPECT_EQ(QualityByte(-1), 1);
  EXPECT_EQ(QualityByte(-5), 1);
  EXPECT_EQ(QualityByte(INT_MIN), 1);
  EXPECT_EQ(QualityByte(256), 100);
  EXPECT_EQ(QualityByte(300), 100);
  EXPECT_EQ(QualityByte(INT_MAX), 100);
}

TEST(IntraQuantTable, QualityIsClampedToOneToHundred) {
  for (const bool chroma : {false, true}) {
    const QuantTable least = BuildQuantTable(1, chroma);
    const QuantTable most = BuildQuantTable(100, chroma);
    for (const int quality : {0, -1, INT_MIN}) {
      EXPECT_EQ(BuildQuantTable(quality, chroma).step, least.step);
    }
    for (const int quality : {101, 150, 255, INT_MAX}) {
      EXPECT_EQ(BuildQuantTable(quality, chroma).step, most.step);
    }
  }
}

TEST(IntraQuantTable, StepsRangeFromOneTo255) {
  for (const bool chroma : {false, true}) {
    for (const float step : BuildQuantTable(100, chroma).step) EXPECT_EQ(step, 1.0F);
    for (const float step : BuildQuantTable(1, chroma).step) EXPECT_EQ(step, 255.0F);
  }
}

TEST(IntraQuantTable, QualityFiftyIsTheBaseTable) {
  const QuantTable luma = BuildQuantTable(50, false);
  const QuantTable chroma = BuildQuantTable(50, true);
  const std::array<int, 64> chrominance = Chrominance();
  EXPECT_EQ(luma.step[0], 16.0F);
  EXPECT_EQ(chroma.step[0], 23.0F);
  for (size_t i = 0; i < 64; ++i) {
    EXPECT_EQ(luma.step[i], static_cast<float>(kLuminance[i])) << i;
    EXPECT_EQ(chroma.step[i], static_cast<float>((chrominance[i] * 135 + 50) / 100)) << i;
  }
}

TEST(IntraQuantTable, StepsRoundInSinglePrecision) {
  // 11 * 50 * 0.01 lies below 5.5 as a real number of the float 0.01; the
  // rounded product is 5.5 and goes up.
  EXPECT_EQ(BuildQuantTable(75, false).step[1], 6.0F);
  // Computed independently, one float operation at a time.
  EXPECT_EQ(HashOfAllQualities(BuildQuantTable, false), 0x77378A517C74B8C4ULL);
  EXPECT_EQ(HashOfAllQualities(BuildQuantTable, true), 0x20B8F4AA7479605EULL);
}

TEST(InterQuantTable, ScalesWithQuality) {
  EXPECT_FLOAT_EQ(BuildInterQuantTable(50, false).step[0], 16.0F * 110.0F * 0.02F);
  EXPECT_FLOAT_EQ(BuildInterQuantTable(100, false).step[0], 16.0F * 20.0F * 0.02F);
  EXPECT_FLOAT_EQ(BuildInterQuantTable(1, false).step[0], 1600.0F);
  EXPECT_FLOAT_EQ(BuildInterQuantTable(49, false).step[0], 16.0F * (5000.0F / 49.0F) * 0.02F);
  EXPECT_FLOAT_EQ(BuildInterQuantTable(50, true).step[0], 17.0F * 110.0F / 36.0F);
}

TEST(InterQuantTable, StepsAreAtLeastTwoAndNotIntegers) {
  bool reaches_two = false;
  for (int quality = 1; quality <= 100; ++quality) {
    for (const bool chroma : {false, true}) {
      for (const float step : BuildInterQuantTable(quality, chroma).step) {
        ASSERT_GE(step, 2.0F);
        reaches_two = reaches_two || step == 2.0F;
      }
    }
  }
  // The smallest luma entry at quality 100 is 10 * 20 * 0.02 = 4.
  EXPECT_FALSE(reaches_two);
  EXPECT_FLOAT_EQ(BuildInterQuantTable(100, false).step[2], 4.0F);
  EXPECT_NE(BuildInterQuantTable(50, false).step[0], 35.0F);
}

TEST(InterQuantTable, BaseEntriesAreCapped) {
  const std::array<int, 64> chrominance = Chrominance();
  for (const int quality : {1, 37, 50, 90, 100}) {
    const QuantTable luma = BuildInterQuantTable(quality, false);
    const QuantTable chroma = BuildInterQuantTable(quality, true);
    const float luma_cap = luma.step[6];      // base entry 51
    const float chroma_cap = chroma.step[4];  // base entry 99
    for (size_t i = 0; i < 64; ++i) {
      if (kLuminance[i] >= 48) {
        EXPECT_EQ(luma.step[i], luma_cap);
      } else {
        EXPECT_LT(luma.step[i], luma_cap);
      }
      if (chrominance[i] >= 64) {
        EXPECT_EQ(chroma.step[i], chroma_cap);
      } else {
        EXPECT_LT(chroma.step[i], chroma_cap);
      }
    }
  }
}

TEST(InterQuantTable, QualityIsClampedAndStepsRoundInSinglePrecision) {
  for (const bool chroma : {false, true}) {
    EXPECT_EQ(BuildInterQuantTable(0, chroma).step, BuildInterQuantTable(1, chroma).step);
    EXPECT_EQ(BuildInterQuantTable(255, chroma).step, BuildInterQuantTable(100, chroma).step);
  }
  // Computed independently, one float operation at a time.
  EXPECT_EQ(HashOfAllQualities(BuildInterQuantTable, false), 0x6EFB099924097D82ULL);
  EXPECT_EQ(HashOfAllQualities(BuildInterQuantTable, true), 0x27DC7C1FE1498E18ULL);
}

TEST(Zigzag, ScanFollowsDiagonals) {
  // Odd diagonals run downwards to the left, even ones upwards to the right.
  size_t k = 0;
  for (int diagonal = 0; diagonal < 15; ++diagonal) {
    for (int i = 0; i <= diagonal; ++i) {
      const int row = diagonal % 2 == 0 ? diagonal - i : i;
      const int column = diagonal - row;
      if (row > 7 || column > 7) continue;
      EXPECT_EQ(kZigzag[k], 8 * row + column) << k;
      EXPECT_EQ(kScanPosition[kZigzag[k]], k);
      ++k;
    }
  }
  EXPECT_EQ(k, 64U);
}

}  // namespace
}  // namespace qolm::video
