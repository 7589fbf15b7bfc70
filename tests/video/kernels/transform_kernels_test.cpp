// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <limits>
#include <numbers>
#include <random>
#include <vector>

#include "video/kernels/guarded_bytes.h"
#include "video/kernels/kernel_levels.h"
#include "video/kernels/naive_transform.h"
#include "video/kernels/video_kernels.h"
#include "video/sample_planes.h"
#include "video/transform/level_selection.h"
#include "video/transform/quant_table.h"

namespace qolm::video {
namespace {

using test::AvailableSimdLevels;
using test::GuardedBytes;
using test::Matrix8x8;

struct AlignedBlock {
  alignas(32) std::array<float, 64> values{};
};

Matrix8x8 Difference(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride) {
  Matrix8x8 result;
  for (ptrdiff_t r = 0; r < 8; ++r) {
    for (ptrdiff_t c = 0; c < 8; ++c) {
      result[static_cast<size_t>(r)][static_cast<size_t>(c)] =
          static_cast<float>(a[r * a_stride + c] - b[r * b_stride + c]);
    }
  }
  return result;
}

TEST(ForwardDct, MatchesMatrixProductAtEverySimdLevelAndStride) {
  for (const SimdLevel level : AvailableSimdLevels()) {
    const VideoKernels& kernels = VideoKernelsFor(level);
    for (const ptrdiff_t source_stride : {8, 13, 64}) {
      for (const ptrdiff_t prediction_stride : {8, 17}) {
        const auto sources = test::ExtremePlanes(static_cast<size_t>(7 * source_stride + 8));
        const auto predictions =
            test::ExtremePlanes(static_cast<size_t>(7 * prediction_stride + 8));
        for (size_t i = 0; i < sources.size(); ++i) {
          const auto& source = sources[i];
          const auto& prediction = predictions[(i * 7 + 61) % predictions.size()];
          AlignedBlock coefficients;
          kernels.forward_dct(source.data(), source_stride, prediction.data(), prediction_stride,
                              coefficients.values.data());
          const Matrix8x8 expected = test::NaiveForward(
              Difference(source.data(), source_stride, prediction.data(), prediction_stride));
          for (size_t k = 0; k < 64; ++k) {
            ASSERT_EQ(coefficients.values[k], expected[k / 8][k % 8]) << k;
          }
        }
      }
    }
  }
}

TEST(ForwardDct, MatchesDoublePrecisionTransform) {
  const auto cosine = [](size_t u, size_t x) {
    const double scale = u == 0 ? std::sqrt(0.125) : 0.5;
    return scale * std::cos((2.0 * static_cast<double>(x) + 1.0) * static_cast<double>(u) *
                            std::numbers::pi / 16.0);
  };
  const std::vector<uint8_t> zeros(64, 0);
  for (const auto& source : test::ExtremePlanes(64)) {
    AlignedBlock coefficients;
    ScalarVideoKernels().forward_dct(source.data(), 8, zeros.data(), 8, coefficients.values.data());
    for (size_t u = 0; u < 8; ++u) {
      for (size_t v = 0; v < 8; ++v) {
        double sum = 0.0;
        for (size_t r = 0; r < 8; ++r) {
          for (size_t c = 0; c < 8; ++c) sum += cosine(u, r) * source[8 * r + c] * cosine(v, c);
        }
        ASSERT_NEAR(static_cast<double>(coefficients.values[8 * u + v]), sum, 2e-3);
      }
    }
  }
}

TEST(ResidualEnergy, MatchesSumsAtEverySimdLevelAndStride) {
  for (const SimdLevel level : AvailableSimdLevels()) {
    const VideoKernels& kernels = VideoKernelsFor(level);
    for (const ptrdiff_t stride : {8, 13, 64}) {
      const auto planes = test::ExtremePlanes(static_cast<size_t>(7 * stride + 8));
      for (size_t i = 0; i < planes.size(); ++i) {
        const auto& source = planes[i];
        const auto& prediction = planes[(i * 7 + 61) % planes.size()];
        double sum = 0.0;
        double squares = 0.0;
        const Matrix8x8 residual = Difference(source.data(), stride, prediction.data(), stride);
        for (const auto& row : residual) {
          for (const float difference : row) {
            sum += double{difference};
            squares += double{difference} * double{difference};
          }
        }
        const ResidualEnergy energy =
            kernels.residual_energy(source.data(), stride, prediction.data(), stride);
        ASSERT_EQ(energy.sum, sum);
        ASSERT_EQ(energy.squares, squares);
      }
    }
  }
}

TEST(MayHaveNonzeroLevels, ComparesEverySumAndEveryMagnitude) {
  SkipThresholds limits;
  std::fill_n(limits.large, 64, 10.0F);
  std::fill_n(limits.gain_slope, 64, 1.0F);
  std::fill_n(limits.gain_offset, 64, 2.0F);
  limits.gain = 64.0F;
  for (const SimdLevel level : AvailableSimdLevels()) {
    const auto may_have_nonzero_levels = VideoKernelsFor(level).may_have_nonzero_levels;
    for (size_t i = 0; i < 64; ++i) {
      for (const float sign : {1.0F, -1.0F}) {
        AlignedBlock block;
        block.values[i] = sign * 10.0F;
        EXPECT_FALSE(may_have_nonzero_levels(block.values.data(), limits));
        block.values[i] = sign * 10.5F;
        EXPECT_TRUE(may_have_nonzero_levels(block.values.data(), limits)) << i;
        block.values.fill(sign * 3.0F);  // gains 1 each
        EXPECT_FALSE(may_have_nonzero_levels(block.values.data(), limits));
        block.values[i] = sign * 3.5F;
        EXPECT_TRUE(may_have_nonzero_levels(block.values.data(), limits)) << i;
        block.values[(i + 1) % 64] = 0.0F;  // gains nothing, and loses nothing
        EXPECT_FALSE(may_have_nonzero_levels(block.values.data(), limits));
      }
    }
  }
}

TEST(MayHaveNonzeroLevels, SimdLevelsAgree) {
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  std::mt19937 random(8);
  std::uniform_real_distribution<float> value(-1.2F, 1.2F);
  int answers[2] = {0, 0};
  for (int round = 0; round < 20'000; ++round) {
    const QuantTable table = BuildInterQuantTable(round % 100 + 1, round % 3 == 0);
    const SkipThresholds limits = MakeSkipThresholds(MakeLevelSelection(table, true), table);
    AlignedBlock block;
    for (size_t i = 0; i < 64; ++i) {
      block.values[i] = random() % 24 == 0 ? value(random) * table.step[i] : 0.0F;
    }
    const bool expected = ScalarVideoKernels().may_have_nonzero_levels(block.values.data(), limits);
    for (const SimdLevel level : AvailableSimdLevels()) {
      ASSERT_EQ(VideoKernelsFor(level).may_have_nonzero_levels(block.values.data(), limits),
                expected);
    }
    ++answers[expected ? 1 : 0];
  }
  EXPECT_GT(answers[0], 1000);
  EXPECT_GT(answers[1], 1000);
}

TEST(InverseDctAdd, InvertsTheForwardTransform) {
  for (const SimdLevel level : AvailableSimdLevels()) {
    const VideoKernels& kernels = VideoKernelsFor(level);
    const auto planes = test::ExtremePlanes(64);
    for (size_t i = 0; i < planes.size(); ++i) {
      const auto& prediction = planes[(i + 11) % planes.size()];
      AlignedBlock coefficients;
      kernels.forward_dct(planes[i].data(), 8, prediction.data(), 8, coefficients.values.data());
      std::vector<uint8_t> rebuilt(64);
      kernels.inverse_dct_add(coefficients.values.data(), 8, 8, prediction.data(), 8,
                              rebuilt.data(), 8);
      ASSERT_EQ(rebuilt, planes[i]);
    }
  }
}

TEST(InverseDctAdd, MatchesMatrixProductForEveryCoefficientExtent) {
  std::mt19937 random(3);
  for (int rows = 1; rows <= 8; ++rows) {
    for (int columns = 1; columns <= 8; ++columns) {
      for (const float range : {3.0F, 200.0F, 3000.0F, 5.0e6F}) {
        Matrix8x8 coefficients{};
        AlignedBlock block;
        std::uniform_real_distribution<float> value(-range, range);
        for (size_t r = 0; r < static_cast<size_t>(rows); ++r) {
          for (size_t c = 0; c < static_cast<size_t>(columns); ++c) {
            coefficients[r][c] = random() % 3 == 0 ? 0.0F : value(random);
            block.values[8 * r + c] = coefficients[r][c];
          }
        }
        const Matrix8x8 inverse = test::NaiveInverse(coefficients);
        const std::vector<uint8_t> prediction =
            test::RandomBytes(7 * 11 + 8, static_cast<uint32_t>(random()));
        for (const SimdLevel level : AvailableSimdLevels()) {
          GuardedBytes out(7 * 19 + 8);
          VideoKernelsFor(level).inverse_dct_add(block.values.data(), rows, columns,
                                                 prediction.data(), 11, out.data(), 19);
          ASSERT_TRUE(out.GuardsIntact());
          for (size_t r = 0; r < 8; ++r) {
            for (size_t c = 0; c < 19 && r * 19 + c < 7 * 19 + 8; ++c) {
              // Nothing is written after the eight samples of a row.
              const uint8_t expected =
                  c < 8 ? test::NaiveSample(prediction[11 * r + c], inverse[r][c]) : 0xA5;
              ASSERT_EQ(out.data()[19 * r + c], expected) << rows << " " << columns;
            }
          }
        }
      }
    }
  }
}

TEST(InverseDctAdd, WorksInPlace) {
  const std::vector<uint8_t> prediction = test::RandomBytes(64 * 8, 5);
  AlignedBlock block;
  for (size_t i = 0; i < 64; ++i) block.values[i] = static_cast<float>(i) - 20.0F;
  for (const SimdLevel level : AvailableSimdLevels()) {
    std::vector<uint8_t> apart(64);
    VideoKernelsFor(level).inverse_dct_add(block.values.data(), 8, 8, prediction.data(), 64,
                                           apart.data(), 8);
    std::vector<uint8_t> in_place = prediction;
    VideoKernelsFor(level).inverse_dct_add(block.values.data(), 8, 8, in_place.data(), 64,
                                           in_place.data(), 64);
    for (size_t i = 0; i < 64; ++i) ASSERT_EQ(in_place[64 * (i / 8) + i % 8], apart[i]);
  }
}

TEST(InverseDctAdd, ResultIsClampedAndTruncated) {
  AlignedBlock block;
  const std::vector<uint8_t> prediction(64, 100);
  for (const SimdLevel level : AvailableSimdLevels()) {
    const auto dc = [&](float coefficient) {
      block.values[0] = coefficient;
      std::vector<uint8_t> out(64);
      VideoKernelsFor(level).inverse_dct_add(block.values.data(), 1, 1, prediction.data(), 8,
                                             out.data(), 8);
      return out[0];
    };
    EXPECT_EQ(dc(0.0F), 100);
    EXPECT_EQ(dc(3.9F), 100);   // + 0.4875
    EXPECT_EQ(dc(4.1F), 101);   // + 0.5125
    EXPECT_EQ(dc(-3.9F), 100);  // - 0.4875
    EXPECT_EQ(dc(-4.1F), 99);   // - 0.5125
    EXPECT_EQ(dc(1.0e7F), 255);
    EXPECT_EQ(dc(-1.0e7F), 0);
  }
}

// Runs every level's quantiser, which must agree, and returns the levels.
std::vector<int16_t> QuantiseEverywhere(const AlignedBlock& coefficients, const AlignedBlock& steps,
                                        float round_up) {
  std::vector<int16_t> first;
  for (const SimdLevel level : AvailableSimdLevels()) {
    std::vector<int16_t> levels(64 + 8, 12345);
    const uint64_t mask = VideoKernelsFor(level).quantise(
        coefficients.values.data(), steps.values.data(), round_up, levels.data());
    for (size_t i = 64; i < levels.size(); ++i) EXPECT_EQ(levels[i], 12345);
    levels.resize(64);
    for (size_t i = 0; i < 64; ++i) EXPECT_EQ((mask >> i) & 1U, levels[i] != 0 ? 1U : 0U) << i;
    if (first.empty()) first = levels;
    EXPECT_EQ(levels, first);
  }
  return first;
}

TEST(Quantise, RoundsToNearestWithHalvesAwayFromZero) {
  AlignedBlock coefficients;
  AlignedBlock steps;
  steps.values.fill(16.0F);
  for (size_t i = 0; i < 32; ++i) {
    const float half = (static_cast<float>(i) + 0.5F) * 16.0F;
    coefficients.values[2 * i] = half;
    coefficients.values[2 * i + 1] = -half;
  }
  std::vector<int16_t> levels = QuantiseEverywhere(coefficients, steps, 0.5F);
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(levels[static_cast<size_t>(2 * i)], i + 1);
    EXPECT_EQ(levels[static_cast<size_t>(2 * i + 1)], -i - 1);
  }
  // The next float toward zero belongs to the lower level.
  for (float& value : coefficients.values) value = std::nextafter(value, 0.0F);
  levels = QuantiseEverywhere(coefficients, steps, 0.5F);
  for (int i = 0; i < 32; ++i) {
    EXPECT_EQ(levels[static_cast<size_t>(2 * i)], i);
    EXPECT_EQ(levels[static_cast<size_t>(2 * i + 1)], -i);
  }
}

TEST(Quantise, ClampsToTheLevelRange) {
  AlignedBlock coefficients;
  AlignedBlock steps;
  steps.values.fill(1.0F);
  const std::array<float, 12> values = {2046.4F,  2046.5F,  2047.4F,  2047.5F,  2048.0F,  1.0e9F,
                                        -2047.4F, -2047.5F, -2048.4F, -2048.5F, -2049.0F, -1.0e30F};
  const std::array<int, 12> expected = {2046,  2047,  2047,  2047,  2047,  2047,
                                        -2047, -2048, -2048, -2048, -2048, -2048};
  std::copy(values.begin(), values.end(), coefficients.values.begin());
  const std::vector<int16_t> levels = QuantiseEverywhere(coefficients, steps, 0.5F);
  for (size_t i = 0; i < values.size(); ++i) EXPECT_EQ(levels[i], expected[i]) << values[i];
}

TEST(Quantise, RandomInputsAgreeWithTheFormula) {
  std::mt19937 random(9);
  for (int repeat = 0; repeat < 400; ++repeat) {
    AlignedBlock coefficients;
    AlignedBlock steps;
    const bool whole = repeat % 2 == 0;
    for (size_t i = 0; i < 64; ++i) {
      steps.values[i] = static_cast<float>(1 + random() % 255);
      if (!whole) steps.values[i] += static_cast<float>(random() % 1000) / 1000.0F;
      coefficients.values[i] =
          static_cast<float>(static_cast<int>(random() % 8192) - 4096) / (whole ? 2.0F : 1.37F);
    }
    const std::vector<int16_t> levels = QuantiseEverywhere(coefficients, steps, 0.5F);
    for (size_t i = 0; i < 64; ++i) {
      ASSERT_EQ(levels[i], test::NaiveLevel(coefficients.values[i], steps.values[i]));
    }
  }
}

TEST(Quantise, RoundUpSetsRoundingThreshold) {
  AlignedBlock coefficients;
  AlignedBlock steps;
  steps.values.fill(8.0F);
  coefficients.values[0] = 5.0F;    // 0.625
  coefficients.values[1] = -6.0F;   // 0.75
  coefficients.values[2] = 13.99F;  // 1.74875
  coefficients.values[3] = 4.0F;    // 0.5
  const std::vector<int16_t> levels = QuantiseEverywhere(coefficients, steps, 0.75F);
  EXPECT_EQ(levels[0], 0);
  EXPECT_EQ(levels[1], -1);
  EXPECT_EQ(levels[2], 1);
  EXPECT_EQ(levels[3], 0);
}

}  // namespace
}  // namespace qolm::video
