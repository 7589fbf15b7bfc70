// SPDX-License-Identifier: MIT
#include "video/transform/level_selection.h"

#include <gtest/gtest.h>

#include <array>
#include <cmath>
#include <random>
#include <vector>

#include "video/kernels/video_kernels.h"
#include "video/transform/quant_table.h"

namespace qolm::video {
namespace {

struct Block {
  alignas(32) std::array<float, 64> coefficients{};  // natural order
  std::array<int16_t, 64> nearest{};                 // natural order
  uint64_t nonzero = 0;

  // Puts `steps` quantiser steps at scan position k.
  void Set(size_t k, float steps, const QuantTable& table) {
    coefficients[kZigzag[k]] = steps * table.step[kZigzag[k]];
  }
  void Quantise(const QuantTable& table) {
    nonzero =
        ScalarVideoKernels().quantise(coefficients.data(), table.step.data(), 0.5F, nearest.data());
  }
};

std::array<int16_t, 64> Select(Block& block, const QuantTable& table, bool rate_rule) {
  block.Quantise(table);
  std::array<int16_t, 64> zigzag{};
  SelectLevels(MakeLevelSelection(table, rate_rule), table, block.coefficients.data(),
               block.nearest.data(), block.nonzero, zigzag.data());
  return zigzag;
}

Block RandomBlock(const QuantTable& table, uint32_t seed) {
  std::mt19937 random(seed);
  Block block;
  // From single weak levels to blocks that reach the clamp.
  const double spread = std::pow(10.0, static_cast<double>(seed % 8) / 2.0 - 0.5);
  std::normal_distribution<double> value(0.0, spread);
  for (size_t k = 0; k < 64; ++k) {
    if (random() % 4 < seed % 4) continue;
    block.Set(k, static_cast<float>(value(random)), table);
  }
  return block;
}

TEST(SelectLevels, AllNearestLevelsAreKeptWithoutRateRule) {
  for (uint32_t seed = 0; seed < 400; ++seed) {
    const QuantTable table = BuildInterQuantTable(static_cast<int32_t>(seed % 100 + 1), false);
    Block block = RandomBlock(table, seed);
    const std::array<int16_t, 64> zigzag = Select(block, table, false);
    for (size_t k = 0; k < 64; ++k) ASSERT_EQ(zigzag[k], block.nearest[kZigzag[k]]);
  }
}

TEST(SelectLevels, LevelsNeverGrowAndKeepTheirSign) {
  int shrunk = 0;
  int kept = 0;
  for (uint32_t seed = 0; seed < 2000; ++seed) {
    const QuantTable table =
        BuildInterQuantTable(static_cast<int32_t>(seed % 100 + 1), seed % 2 == 0);
    Block block = RandomBlock(table, seed);
    const std::array<int16_t, 64> zigzag = Select(block, table, true);
    for (size_t k = 0; k < 64; ++k) {
      const int nearest = block.nearest[kZigzag[k]];
      if (nearest >= 0) {
        ASSERT_GE(zigzag[k], 0);
        ASSERT_LE(zigzag[k], nearest);
      } else {
        ASSERT_LE(zigzag[k], 0);
        ASSERT_GE(zigzag[k], nearest);
      }
      if (nearest != 0) ++(zigzag[k] == nearest ? kept : shrunk);
    }
  }
  EXPECT_GT(shrunk, 0);
  EXPECT_GT(kept, shrunk);
}

TEST(SelectLevels, AnIsolatedWeakHighFrequencyIsDropped) {
  const QuantTable table = BuildInterQuantTable(45, false);
  for (const float sign : {1.0F, -1.0F}) {
    for (const size_t k : {20U, 40U, 63U}) {
      Block block;
      block.Set(k, sign * 0.52F, table);
      EXPECT_EQ(Select(block, table, true), (std::array<int16_t, 64>{})) << k;
      EXPECT_NE(block.nonzero, 0U);
    }
  }
}

// With equal steps, so that only the estimated bits differ between positions.
TEST(SelectLevels, LastPositionNeedsNoEndOfBlock) {
  QuantTable table;
  table.step.fill(20.0F);
  // A level of 1 reduces the distortion by 2 * steps - 1 squared steps. With its zeros it
  // costs 16.6 bits of a tenth each, and 2.3 more unless it ends the block.
  const auto is_stored = [&table](size_t k, float steps) {
    Block block;
    block.Set(k, steps, table);
    return Select(block, table, true)[k] != 0;
  };
  EXPECT_TRUE(is_stored(63, 1.40F));
  EXPECT_FALSE(is_stored(62, 1.40F));
  EXPECT_FALSE(is_stored(63, 1.30F));
  EXPECT_TRUE(is_stored(62, 1.46F));
}

TEST(SelectLevels, StrongLevelsAreKept) {
  const QuantTable table = BuildInterQuantTable(45, false);
  for (const size_t k : {0U, 1U, 20U, 63U}) {
    for (const float steps : {8.0F, -8.0F, 100.0F}) {
      Block block;
      block.Set(k, steps, table);
      const std::array<int16_t, 64> zigzag = Select(block, table, true);
      EXPECT_GE(std::abs(zigzag[k]), static_cast<int>(std::fabs(steps)) - 1);
    }
  }
}

TEST(SelectLevels, WeakLevelDoesNotDropStrongOne) {
  const QuantTable table = BuildInterQuantTable(45, false);
  Block block;
  block.Set(0, 12.0F, table);
  block.Set(60, 0.52F, table);
  const std::array<int16_t, 64> zigzag = Select(block, table, true);
  EXPECT_GE(zigzag[0], 11);
  EXPECT_EQ(zigzag[60], 0);
}

TEST(SelectLevels, ClampedLevelsAndAnEmptyBlock) {
  const QuantTable table = BuildInterQuantTable(100, false);
  Block block;
  block.Set(0, 5000.0F, table);
  block.Set(3, -5000.0F, table);
  const std::array<int16_t, 64> zigzag = Select(block, table, true);
  EXPECT_LE(zigzag[0], kMaxLevel);
  EXPECT_GE(zigzag[0], kMaxLevel - 1);
  EXPECT_GE(zigzag[3], kMinLevel);
  EXPECT_LE(zigzag[3], kMinLevel + 1);

  Block empty;
  EXPECT_EQ(Select(empty, table, true), (std::array<int16_t, 64>{}));
}

// Coefficients around the thresholds: single ones, a few, and all equal.
Block BorderlineBlock(const QuantTable& table, uint32_t seed) {
  std::mt19937 random(seed);
  std::uniform_real_distribution<float> around(0.45F, 1.55F);
  Block block;
  const float alike = around(random);
  const uint32_t kind = random() % 4;
  for (size_t k = 0; k < 64; ++k) {
    const float steps = kind == 0 ? 0.5F + alike / 16.0F : around(random);
    if (kind == 0 || (kind == 1 && k == 63) || random() % 64 < kind) {
      block.Set(k, random() % 2 == 0 ? steps : -steps, table);
    }
  }
  return block;
}

struct Verdicts {
  int by_energy = 0;
  int by_gain = 0;
  int looked_at = 0;
  int stored = 0;
};

void Judge(const Block& block, const QuantTable& table, const LevelSelection& selection,
           Verdicts& verdicts) {
  const SkipThresholds limits = MakeSkipThresholds(selection, table);
  float energy = (selection.dc_weight - 1.0F) * block.coefficients[0] * block.coefficients[0];
  for (const float coefficient : block.coefficients) energy += coefficient * coefficient;
  const bool too_weak = energy < limits.energy;
  const bool gains_nothing =
      !ScalarVideoKernels().may_have_nonzero_levels(block.coefficients.data(), limits);
  std::array<int16_t, 64> zigzag{};
  SelectLevels(selection, table, block.coefficients.data(), block.nearest.data(), block.nonzero,
               zigzag.data());
  const bool stored = zigzag != std::array<int16_t, 64>{};
  if (too_weak) ++verdicts.by_energy;
  if (gains_nothing) ++verdicts.by_gain;
  if (!too_weak && !gains_nothing) ++verdicts.looked_at;
  if (stored) ++verdicts.stored;
  EXPECT_FALSE(stored && (too_weak || gains_nothing));
}

TEST(SkipThresholds, BlocksBelowThresholdsHaveNoLevels) {
  for (const bool rate_rule : {false, true}) {
    for (const bool chroma : {false, true}) {
      for (const auto& make : {MakeLevelSelection, MakeUnreferencedLevelSelection}) {
        Verdicts verdicts;
        for (uint32_t seed = 0; seed < 40'000; ++seed) {
          const auto quality = static_cast<int32_t>(seed % 100 + 1);
          const QuantTable luma = BuildInterQuantTable(quality, false);
          const QuantTable table = chroma ? BuildInterQuantTable(quality, true) : luma;
          Block block = BorderlineBlock(table, seed);
          block.Quantise(table);
          Judge(block, table, make(luma, rate_rule), verdicts);
        }
        EXPECT_GT(verdicts.by_energy, 1000);
        EXPECT_GT(verdicts.by_gain, verdicts.by_energy);
        // Most blocks above the thresholds do have levels.
        EXPECT_GT(verdicts.stored, verdicts.looked_at / 2);
      }
    }
  }
}

}  // namespace
}  // namespace qolm::video
