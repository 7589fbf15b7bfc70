// SPDX-License-Identifier: MIT
#include "video/intra/intra_plane.h"

#include <gtest/gtest.h>

#include <cmath>
#include <numeric>
#include <random>
#include <vector>

#include "video/intra/intra_prediction.h"
#include "video/intra/naive_intra.h"
#include "video/kernels/kernel_levels.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

constexpr IntraPlaneRules kNoRules{false, false, false};
constexpr IntraPlaneRules kFlatRule{true, false, false};
constexpr IntraPlaneRules kSparseRule{false, true, false};
constexpr IntraPlaneRules kChromaRule{false, false, true};

QuantTable UniformTable(float step) {
  QuantTable table;
  table.step.fill(step);
  return table;
}

// An 8x8 plane around 128, which its prediction is too, whose transform has
// about this coefficient at scan position k and none elsewhere.
std::vector<uint8_t> SingleCoefficientPlane(size_t k, float coefficient) {
  test::Matrix8x8 coefficients{};
  coefficients[kZigzag[k] / 8U][kZigzag[k] % 8U] = coefficient;
  const test::Matrix8x8 samples = test::NaiveInverse(coefficients);
  std::vector<uint8_t> plane(64);
  for (size_t i = 0; i < 64; ++i) {
    plane[i] = static_cast<uint8_t>(std::lround(128.0F + samples[i / 8][i % 8]));
  }
  return plane;
}

std::vector<int16_t> LevelsOf(const std::vector<uint8_t>& plane, float step,
                              const IntraPlaneRules& rules) {
  std::vector<uint8_t> reconstruction(64);
  return CodeIntraPlane(plane.data(), 8, 8, UniformTable(step), rules, reconstruction.data())
      .levels;
}

// All zero except `level` at position k.
std::vector<int16_t> OneLevel(size_t k, int16_t level) {
  std::vector<int16_t> levels(64);
  levels[k] = level;
  return levels;
}

TEST(CodeIntraPlane, TopLeftBlockIsDcPredictedFrom128) {
  const std::vector<uint8_t> plane(64, 200);
  std::vector<uint8_t> reconstruction(64);
  const IntraPlaneLevels coded =
      CodeIntraPlane(plane.data(), 8, 8, UniformTable(1.0F), kNoRules, reconstruction.data());
  EXPECT_EQ(coded.modes, std::vector<uint8_t>{0});
  EXPECT_EQ(coded.levels, OneLevel(0, (200 - 128) * 8));
  EXPECT_EQ(reconstruction, plane);
}

TEST(CodeIntraPlane, FirstOfEqualModesWins) {
  // Steps too large for any level: the reconstruction is 128 everywhere and
  // all modes of a block predict the same.
  std::vector<uint8_t> plane = test::RandomBytes(32 * 32, 1);
  for (uint8_t& sample : plane) sample = static_cast<uint8_t>(120 + sample % 16);
  std::vector<uint8_t> reconstruction(plane.size());
  const IntraPlaneLevels coded =
      CodeIntraPlane(plane.data(), 32, 32, UniformTable(255.0F), kNoRules, reconstruction.data());
  EXPECT_EQ(coded.modes, std::vector<uint8_t>(16, 0));
  EXPECT_EQ(reconstruction, std::vector<uint8_t>(plane.size(), 128));
}

TEST(CodeIntraPlane, StripesSelectTheirDirection) {
  std::vector<uint8_t> columns(16 * 16);
  std::vector<uint8_t> rows(16 * 16);
  for (size_t i = 0; i < columns.size(); ++i) {
    columns[i] = static_cast<uint8_t>(40 + 90 * (i % 16 % 2));
    rows[i] = static_cast<uint8_t>(40 + 90 * (i / 16 % 2));
  }
  std::vector<uint8_t> reconstruction(columns.size());
  const QuantTable table = UniformTable(1.0F);
  EXPECT_EQ(CodeIntraPlane(columns.data(), 16, 16, table, kNoRules, reconstruction.data()).modes,
            (std::vector<uint8_t>{0, 0, 2, 2}));
  EXPECT_EQ(CodeIntraPlane(rows.data(), 16, 16, table, kNoRules, reconstruction.data()).modes,
            (std::vector<uint8_t>{0, 1, 0, 1}));
}

TEST(CodeIntraPlane, AnAlmostExactModeDoesNotEndTheSearch) {
  // The last block is what its neighbours' plane gives, and one sample by 1 away from
  // their mean.
  std::vector<uint8_t> plane(16 * 16, 128);
  plane[16 * 7 + 8] = plane[16 * 10 + 7] = plane[16 * 10 + 8] = 127;
  std::vector<uint8_t> reconstruction(plane.size());
  const IntraPlaneLevels coded =
      CodeIntraPlane(plane.data(), 16, 16, UniformTable(0.0625F), kNoRules, reconstruction.data());
  EXPECT_EQ(reconstruction, plane);
  EXPECT_EQ(coded.modes, (std::vector<uint8_t>{0, 0, 0, kIntraPlanar}));
}

TEST(CodeIntraPlane, SparseRuleStartsAtPosition20) {
  // 0.7 of a step: 0.65 + 0.3^2 exceeds 0.7^2, so the level is dropped.
  for (const float sign : {1.0F, -1.0F}) {
    const auto level = static_cast<int16_t>(sign);
    const std::vector<uint8_t> before = SingleCoefficientPlane(19, sign * 28.0F);
    const std::vector<uint8_t> from = SingleCoefficientPlane(20, sign * 28.0F);
    EXPECT_EQ(LevelsOf(before, 40.0F, kNoRules), OneLevel(19, level));
    EXPECT_EQ(LevelsOf(from, 40.0F, kNoRules), OneLevel(20, level));
    EXPECT_EQ(LevelsOf(before, 40.0F, kSparseRule), OneLevel(19, level));
    EXPECT_EQ(LevelsOf(from, 40.0F, kSparseRule), OneLevel(20, 0));
  }
}

TEST(CodeIntraPlane, SparseRuleKeepsCheaperLevels) {
  // 0.65 + (1 - a)^2 > a^2 holds below a = 0.825.
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(40, 80.0F * 0.79F), 80.0F, kSparseRule),
            OneLevel(40, 0));
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(40, 80.0F * 0.86F), 80.0F, kSparseRule),
            OneLevel(40, 1));
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(40, 80.0F * 1.7F), 80.0F, kSparseRule),
            OneLevel(40, 2));
}

TEST(CodeIntraPlane, FlatRuleDropsWeakLevelsOfFlatBlocksFromPosition16) {
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(15, 10.0F), 10.0F, kFlatRule), OneLevel(15, 1));
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(16, 10.0F), 10.0F, kFlatRule), OneLevel(16, 0));
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(16, -10.0F), 10.0F, kFlatRule), OneLevel(16, 0));
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(16, 10.0F), 10.0F, kNoRules), OneLevel(16, 1));
  // A level of 2 is kept, and so is a 1 in a block that is not flat.
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(16, 20.0F), 10.0F, kFlatRule), OneLevel(16, 2));
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(16, 40.0F), 40.0F, kFlatRule), OneLevel(16, 1));
}

TEST(CodeIntraPlane, DeviationOfThreeIsNotFlat) {
  // Half the samples 128 - d, half 128 + d: the deviation is d. Position 35 and
  // its like carry the pattern; the levels below show whether the rule was applied.
  const auto checkered = [](int deviation) {
    std::vector<uint8_t> plane(64);
    for (size_t i = 0; i < 64; ++i) {
      plane[i] = static_cast<uint8_t>((i / 8 + i % 8) % 2 == 0 ? 128 + deviation : 128 - deviation);
    }
    return plane;
  };
  const auto weak_high_levels = [](const std::vector<int16_t>& levels) {
    int count = 0;
    for (size_t k = 16; k < 64; ++k) count += std::abs(levels[k]) == 1 ? 1 : 0;
    return count;
  };
  EXPECT_GT(weak_high_levels(LevelsOf(checkered(2), 3.0F, kNoRules)), 0);
  EXPECT_EQ(weak_high_levels(LevelsOf(checkered(2), 3.0F, kFlatRule)), 0);
  EXPECT_GT(weak_high_levels(LevelsOf(checkered(3), 3.0F, kFlatRule)), 0);
}

TEST(CodeIntraPlane, ChromaRuleDropsWeakLevelsInEveryBlock) {
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(15, 40.0F), 40.0F, kChromaRule), OneLevel(15, 1));
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(16, 40.0F), 40.0F, kChromaRule), OneLevel(16, 0));
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(63, -40.0F), 40.0F, kChromaRule), OneLevel(63, 0));
  EXPECT_EQ(LevelsOf(SingleCoefficientPlane(16, 80.0F), 40.0F, kChromaRule), OneLevel(16, 2));
}

TEST(CodeIntraPlane, ReconstructionUsesClampedLevels) {
  const std::vector<uint8_t> white(64, 255);
  const std::vector<uint8_t> black(64, 0);
  const QuantTable table = UniformTable(0.25F);  // DC 127 * 8 / 0.25 = 4064
  for (const auto* plane : {&white, &black}) {
    std::vector<uint8_t> reconstruction(64);
    const IntraPlaneLevels coded =
        CodeIntraPlane(plane->data(), 8, 8, table, kNoRules, reconstruction.data());
    EXPECT_EQ(coded.levels, OneLevel(0, plane == &white ? 2047 : -2048));
    // 2047 / 4 / 8 = 63.97 and -2048 / 4 / 8 = -64.
    EXPECT_EQ(reconstruction, std::vector<uint8_t>(64, plane == &white ? 192 : 64));
  }
}

struct PlaneSize {
  uint32_t width;
  uint32_t height;
};
constexpr PlaneSize kSizes[] = {{1, 1}, {1, 9},   {9, 1},   {2, 2},   {7, 5},
                                {8, 8}, {17, 33}, {64, 48}, {130, 70}};

TEST(CodeIntraPlane, MatchesFormulasAtEverySizeRuleAndSimdLevel) {
  for (const PlaneSize& size : kSizes) {
    const size_t count = size_t{size.width} * size.height;
    const std::vector<std::vector<uint8_t>> planes = {
        test::RandomBytes(count, 7), test::TexturePlane(size.width, size.height, 3, 5, 2),
        test::TexturedPicture(size.width, size.height, 9, 3).y};
    for (const auto& plane : planes) {
      for (const int quality : {1, 45, 90, 100}) {
        for (int bits = 0; bits < 8; ++bits) {
          const IntraPlaneRules rules{(bits & 1) != 0, (bits & 2) != 0, (bits & 4) != 0};
          const QuantTable table = BuildQuantTable(quality, rules.chroma);
          std::vector<uint8_t> expected_samples;
          const IntraPlaneLevels expected = test::NaiveCodeIntraPlane(
              plane, static_cast<int>(size.width), static_cast<int>(size.height), table, rules,
              expected_samples);
          for (const SimdLevel level : test::AvailableSimdLevels()) {
            const test::ScopedSimdLevel forced(level);
            std::vector<uint8_t> samples(count, 1);
            const IntraPlaneLevels coded =
                CodeIntraPlane(plane.data(), size.width, size.height, table, rules, samples.data());
            ASSERT_EQ(coded.modes, expected.modes) << size.width << "x" << size.height;
            ASSERT_EQ(coded.levels, expected.levels) << size.width << "x" << size.height;
            ASSERT_EQ(samples, expected_samples) << size.width << "x" << size.height;

            std::vector<uint8_t> decoded(count, 2);
            ReconstructIntraPlane(coded.modes, coded.levels, size.width, size.height, table,
                                  decoded.data());
            ASSERT_EQ(decoded, samples);
          }
        }
      }
    }
  }
}

// Block by block from the formulas.
std::vector<uint8_t> NaiveReconstruction(const std::vector<uint8_t>& modes,
                                         const std::vector<int16_t>& levels, const PlaneSize& size,
                                         const QuantTable& table) {
  std::vector<uint8_t> samples(size_t{size.width} * size.height);
  const test::NaivePlane plane{samples.data(), static_cast<int>(size.width),
                               static_cast<int>(size.height)};
  size_t block = 0;
  for (int y0 = 0; y0 < plane.height; y0 += 8) {
    for (int x0 = 0; x0 < plane.width; x0 += 8, ++block) {
      const test::NaiveBlock prediction = test::NaivePrediction(modes[block], plane, x0, y0);
      test::Matrix8x8 coefficients{};
      for (size_t k = 0; k < 64; ++k) {
        const size_t n = kZigzag[k];
        coefficients[n / 8][n % 8] = static_cast<float>(levels[64 * block + k]) * table.step[n];
      }
      const test::Matrix8x8 inverse = test::NaiveInverse(coefficients);
      for (int i = 0; i < 64; ++i) {
        const auto r = static_cast<size_t>(i / 8);
        const auto c = static_cast<size_t>(i % 8);
        if (x0 + i % 8 >= plane.width || y0 + i / 8 >= plane.height) continue;
        samples[static_cast<size_t>((y0 + i / 8) * plane.width + x0 + i % 8)] =
            test::NaiveSample(static_cast<uint8_t>(prediction[r][c]), inverse[r][c]);
      }
    }
  }
  return samples;
}

TEST(ReconstructIntraPlane, AcceptsAnyModeAndLevel) {
  // As in a damaged file: modes whose neighbours are missing and levels beyond the
  // encoder's range.
  const PlaneSize size{19, 13};
  std::vector<uint8_t> modes = test::RandomBytes(6, 1);
  for (uint8_t& mode : modes) mode = mode % 4;
  modes[0] = 3;
  std::vector<int16_t> levels(6 * 64);
  std::mt19937 random(2);
  for (const int kind : {0, 1, 2}) {
    for (size_t i = 0; i < levels.size(); ++i) {
      const auto any = static_cast<int16_t>(random() % 65536);
      levels[i] = kind == 0 ? any : i % 2 == 0 ? int16_t{32767} : int16_t{-32768};
      if (kind == 2 && i % 64 > 2) levels[i] = 0;
    }
    const QuantTable table = UniformTable(kind == 2 ? 1.0F : 255.0F);
    const std::vector<uint8_t> expected = NaiveReconstruction(modes, levels, size, table);
    for (const SimdLevel level : test::AvailableSimdLevels()) {
      const test::ScopedSimdLevel forced(level);
      std::vector<uint8_t> samples(expected.size());
      ReconstructIntraPlane(modes, levels, size.width, size.height, table, samples.data());
      EXPECT_EQ(samples, expected) << kind;
    }
  }
}

}  // namespace
}  // namespace qolm::video
