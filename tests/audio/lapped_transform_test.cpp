// SPDX-License-Identifier: MIT
#include "audio/lapped_transform.h"

#include <gtest/gtest.h>

#include <cmath>

#include "audio/band_quantiser.h"
#include "audio/cosine_table.h"
#include "audio/test_signals.h"
#include "audio/transform_kernels.h"
#include "base/simd_level.h"
#include "support/thread_counts.h"
#include "video/kernels/kernel_levels.h"

namespace qolm::audio {
namespace {

using test::Samples;

constexpr double kPi = 3.14159265358979323846;

// The sum by definition, without folding.
std::vector<double> NaiveForward(const Samples& samples, size_t n, size_t block) {
  std::vector<double> coefficients(n, 0.0);
  for (size_t k = 0; k < n; ++k) {
    for (size_t i = 0; i < 2 * n; ++i) {
      const auto at = static_cast<double>(i);
      const auto length = static_cast<double>(n);
      const auto window = static_cast<float>(std::sin((at + 0.5) * kPi / (2.0 * length)));
      const float product = static_cast<float>(samples[block * n + i]) * window;
      coefficients[k] +=
          static_cast<double>(product) *
          std::cos(kPi / length * (at + 0.5 + length / 2.0) * (static_cast<double>(k) + 0.5));
    }
  }
  return coefficients;
}

std::vector<double> Forward(const LappedTransform& transform, const Samples& samples) {
  std::vector<double> coefficients(samples.size() - transform.frame_length());
  transform.Forward(samples, coefficients);
  return coefficients;
}

TEST(CosineOfPi, MatchesLibraryCosine) {
  for (const uint64_t q : {1ull, 2ull, 3ull, 7ull, 256ull, 3840ull, 262140ull}) {
    for (uint64_t p = 0; p <= 5 * q; p += 1 + q / 1000) {
      const double argument = kPi * static_cast<double>(p) / static_cast<double>(q);
      EXPECT_NEAR(CosineOfPi(p, q), std::cos(argument), 3e-15) << p << '/' << q;
    }
  }
  EXPECT_EQ(CosineOfPi(0, 5), 1.0);
  EXPECT_EQ(CosineOfPi(5, 5), -1.0);
  EXPECT_EQ(CosineOfPi(3, 6), 0.0);
  EXPECT_EQ(CosineOfPi(9, 6), 0.0);
  for (uint64_t p = 0; p <= 3840; ++p) {
    ASSERT_EQ(CosineOfPi(p, 3840), CosineOfPi(2 * 3840 - p, 3840));
    ASSERT_EQ(CosineOfPi(p, 3840), -CosineOfPi(3840 - p, 3840));
  }
}

TEST(LappedTransform, MatchesDirectSum) {
  for (const uint32_t n : {64u, 65u, 160u, 220u, 441u, 640u, 960u}) {
    const LappedTransform transform(n);
    const Samples samples = test::Noise(8 * n, 32767, n);
    const std::vector<double> coefficients = Forward(transform, samples);
    for (const size_t block : {0u, 3u, 6u}) {
      const std::vector<double> naive = NaiveForward(samples, n, block);
      for (size_t k = 0; k < n; ++k) {
        ASSERT_NEAR(coefficients[block * n + k], naive[k], 1e-6) << n << ' ' << k;
      }
    }
  }
}

TEST(LappedTransform, QuantisedLevelsMatchDirectSum) {
  for (const uint32_t n : {64u, 441u, 960u}) {
    const LappedTransform transform(n);
    const BandEdges edges = BandEdgesFor(n);
    const Samples samples = test::SpeechLike(6 * n, 50 * n);
    const std::vector<double> coefficients = Forward(transform, samples);
    for (size_t block = 0; block < 5; ++block) {
      const std::vector<double> naive = NaiveForward(samples, n, block);
      std::vector<uint8_t> scales(kBandCount), naive_scales(kBandCount);
      std::vector<int16_t> levels(n), naive_levels(n);
      QuantiseFrame(edges, kMainStrength, coefficients.data() + block * n, scales.data(),
                    levels.data());
      QuantiseFrame(edges, kMainStrength, naive.data(), naive_scales.data(), naive_levels.data());
      ASSERT_EQ(scales, naive_scales);
      for (size_t b = 0; b < kBandCount; ++b) {
        for (size_t k = edges[b]; k < edges[b + 1]; ++k) {
          const double quotient = std::fabs(naive[k]) / StepOfScale(scales[b]);
          const bool at_border = std::fabs(quotient - std::floor(quotient) - 0.5) < 1e-6 ||
                                 std::fabs(quotient - 0.75) < 1e-9;
          if (at_border) continue;
          ASSERT_EQ(levels[k], naive_levels[k]) << n << ' ' << k;
        }
      }
    }
  }
}

TEST(LappedTransform, OverlapAddReconstructsSignal) {
  for (const uint32_t n : {64u, 65u, 441u, 960u}) {
    const LappedTransform transform(n);
    const Samples samples = test::Noise(9 * n, 32767, n);
    const std::vector<double> coefficients = Forward(transform, samples);
    std::vector<float> blocks(2 * coefficients.size());
    transform.Inverse(coefficients, blocks);
    // The first and the last frame are covered by one block only.
    for (size_t i = n; i < 8 * n; ++i) {
      const size_t block = i / n;
      const float sum = blocks[2 * block * n + i % n] + blocks[(2 * block - 1) * n + i % n];
      ASSERT_NEAR(sum, samples[i], 0.02) << n << ' ' << i;
    }
  }
}

TEST(LappedTransform, SameBitsForEveryBatch) {
  for (const uint32_t n : {64u, 67u, 441u, 960u}) {
    const LappedTransform transform(n);
    for (const size_t count : {1u, 5u, 6u, 7u, 13u}) {
      const Samples samples = test::Noise((count + 1) * n, 30000, n);
      const std::vector<double> together = Forward(transform, samples);
      for (size_t b = 0; b < count; ++b) {
        const auto first = samples.begin() + static_cast<ptrdiff_t>(b * n);
        const std::vector<double> alone =
            Forward(transform, Samples(first, first + static_cast<ptrdiff_t>(2 * n)));
        ASSERT_TRUE(std::equal(alone.begin(), alone.end(),
                               together.begin() + static_cast<ptrdiff_t>(b * n)));
      }
    }
  }
}

TEST(LappedTransform, SameBitsForEverySimdLevel) {
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  for (const uint32_t n : {64u, 67u, 441u, 960u}) {
    const LappedTransform transform(n);
    for (const size_t count : {1u, 5u, 6u, 7u, 13u}) {
      const Samples samples = test::Noise((count + 1) * n, 30000, n);
      ForceSimdLevel(SimdLevel::kScalar);
      const std::vector<double> scalar = Forward(transform, samples);
      std::vector<float> scalar_blocks(2 * count * n);
      transform.Inverse(scalar, scalar_blocks);
      ForceSimdLevel(DetectedSimdLevel());
      const std::vector<double> best = Forward(transform, samples);
      std::vector<float> best_blocks(2 * count * n);
      transform.Inverse(best, best_blocks);
      ASSERT_EQ(scalar, best);
      ASSERT_EQ(scalar_blocks, best_blocks);
    }
  }
}

// The kernels are bit-identical, so only the pointer shows which one is used.
TEST(LappedTransform, Avx2VariantIsUsed) {
  EXPECT_EQ(AddTileProductsFor(SimdLevel::kScalar), AddTileProductsScalar);
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  EXPECT_NE(AddTileProductsFor(SimdLevel::kAvx2), AddTileProductsScalar);
}

// 2^20 products are enough for several workers: two blocks of 960 by 960 are more, 192 of 64 by 64
// fewer.
TEST(LappedTransform, UsesWorkersForLargeInputs) {
  const LappedTransform transform(64);
  for (const auto& [blocks, threads] : {std::pair{192u, 0u}, {8u, 0u}}) {
    const Samples samples = test::Noise((blocks + 1) * 64, 30000);
    EXPECT_EQ(test::StartedThreads([&] { Forward(transform, samples); }), threads) << blocks;
  }
  const LappedTransform longer(960);
  const Samples samples = test::Noise(3 * 960, 30000);
  EXPECT_EQ(test::StartedThreads([&] { Forward(longer, samples); }), 2u);
}

TEST(LappedTransform, SameBitsForEveryWorkerCount) {
  const LappedTransform transform(960);
  const Samples samples = test::Noise((transform.batch_blocks() + 1) * 960, 30000);
  const std::vector<double> expected = Forward(transform, samples);
  test::WithEachThreadCount([&] { EXPECT_EQ(Forward(transform, samples), expected); });
}

}  // namespace
}  // namespace qolm::audio
