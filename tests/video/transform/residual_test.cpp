// SPDX-License-Identifier: MIT
#include "video/transform/residual.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cmath>
#include <random>
#include <vector>

#include "video/intra/naive_intra.h"
#include "video/kernels/kernel_levels.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

struct CodedPlane {
  std::vector<int16_t> levels;
  std::vector<uint8_t> samples;
  std::vector<uint8_t> blocks;  // whether they store anything
};

void ExpectBlocksTold(const CodedPlane& coded) {
  for (size_t b = 0; b < coded.blocks.size(); ++b) {
    const auto first = coded.levels.begin() + static_cast<ptrdiff_t>(64 * b);
    const bool holds_any = std::any_of(first, first + 64, [](int16_t level) { return level != 0; });
    ASSERT_EQ(coded.blocks[b], holds_any ? 1 : 0) << b;
  }
}

CodedPlane Code(const std::vector<uint8_t>& source, const std::vector<uint8_t>& prediction,
                const BlockGrid& grid, const QuantTable& table, const LevelSelection& selection) {
  CodedPlane coded{std::vector<int16_t>(64 * grid.Count()), prediction,
                   std::vector<uint8_t>(grid.Count(), 9)};
  for (uint32_t row = 0; row < grid.Rows(); ++row) {
    const size_t first = size_t{grid.Columns()} * row;
    CodeResidualRow(ActiveVideoKernels(), source.data(), grid, row, table, selection, true,
                    coded.blocks.data() + first, coded.levels.data() + 64 * first,
                    coded.samples.data());
  }
  return coded;
}

CodedPlane Code(const std::vector<uint8_t>& source, const std::vector<uint8_t>& prediction,
                const BlockGrid& grid, const QuantTable& table, bool rate_rule) {
  return Code(source, prediction, grid, table, MakeLevelSelection(table, rate_rule));
}

// All nearest levels, block by block; source and prediction repeat their last column and
// row.
CodedPlane NaiveCode(const std::vector<uint8_t>& source, const std::vector<uint8_t>& prediction,
                     const BlockGrid& grid, const QuantTable& table) {
  CodedPlane coded{{}, prediction, {}};
  const auto width = static_cast<int>(grid.width);
  const auto height = static_cast<int>(grid.height);
  const test::NaivePlane plane{source.data(), width, height};
  const test::NaivePlane predicted{prediction.data(), width, height};
  for (int y0 = 0; y0 < height; y0 += 8) {
    for (int x0 = 0; x0 < width; x0 += 8) {
      test::NaiveBlock block;
      for (int i = 0; i < 64; ++i) {
        block[static_cast<size_t>(i / 8)][static_cast<size_t>(i % 8)] =
            predicted.At(x0 + i % 8, y0 + i / 8);
      }
      const auto keep_all = [](int, int level, float, float) { return level; };
      const std::vector<int16_t> levels =
          test::NaiveCodeBlock(plane, block, x0, y0, table, keep_all, coded.samples);
      coded.levels.insert(coded.levels.end(), levels.begin(), levels.end());
    }
  }
  return coded;
}

TEST(CodeResidualRow, AllNearestLevelsAreCodedWithoutRateRule) {
  std::mt19937 random(4);
  for (const BlockGrid& grid : {BlockGrid{1, 1}, {8, 8}, {9, 17}, {64, 48}, {67, 35}}) {
    const size_t count = size_t{grid.width} * grid.height;
    // Noise of every strength, and faint specks on an exact prediction.
    for (const int strength : {0, 1, 2, 3, 8, 40, 255}) {
      const std::vector<uint8_t> prediction = test::RandomBytes(count, 5);
      std::vector<uint8_t> source = prediction;
      for (uint8_t& sample : source) {
        const int range = 2 * strength + 1;
        const int change = static_cast<int>(random() % static_cast<uint32_t>(range)) - strength;
        sample = static_cast<uint8_t>(std::clamp(sample + change, 0, 255));
      }
      std::vector<uint8_t> specks = prediction;
      for (size_t i = random() % 37; i < count; i += 1 + random() % 64) {
        const int change = static_cast<int>(random() % 41) - 20;
        specks[i] = static_cast<uint8_t>(std::clamp(specks[i] + change, 0, 255));
      }
      for (const auto& plane : {source, specks}) {
        for (const int quality : {1, 45, 100}) {
          const QuantTable table = BuildInterQuantTable(quality, false);
          const CodedPlane expected = NaiveCode(plane, prediction, grid, table);
          for (const SimdLevel level : test::AvailableSimdLevels()) {
            const test::ScopedSimdLevel forced(level);
            const CodedPlane coded = Code(plane, prediction, grid, table, false);
            ASSERT_EQ(coded.levels, expected.levels);
            ASSERT_EQ(coded.samples, expected.samples);
          }
        }
      }
    }
  }
}

// A block of `source` and its prediction, both padded by repeating the edges.
std::vector<int16_t> LevelsOfAnyBlock(const std::vector<uint8_t>& source,
                                      const std::vector<uint8_t>& prediction, const BlockGrid& grid,
                                      uint32_t x0, uint32_t y0, const QuantTable& table,
                                      const LevelSelection& selection) {
  const VideoKernels& kernels = ScalarVideoKernels();
  Block8x8 storage[2];
  const BlockView wanted = ViewBlock(source.data(), grid, x0, y0, storage[0]);
  const BlockView predicted = ViewBlock(prediction.data(), grid, x0, y0, storage[1]);
  alignas(32) float coefficients[64];
  kernels.forward_dct(wanted.samples, wanted.stride, predicted.samples, predicted.stride,
                      coefficients);
  int16_t nearest[64];
  const uint64_t nonzero = kernels.quantise(coefficients, table.step.data(), 0.5F, nearest);
  std::vector<int16_t> levels(64);
  SelectLevels(selection, table, coefficients, nearest, nonzero, levels.data());
  return levels;
}

TEST(CodeResidualRow, SkippingKeepsLevelsWithRateRule) {
  const BlockGrid grid{67, 35};
  const size_t count = size_t{grid.width} * grid.height;
  std::mt19937 random(11);
  int empty = 0;
  int coded_blocks = 0;
  for (int round = 0; round < 60; ++round) {
    const std::vector<uint8_t> prediction = test::RandomBytes(count, 5);
    std::vector<uint8_t> source = prediction;
    std::normal_distribution<double> noise(round % 3 - 1.0, 0.3 * (round % 20));
    for (uint8_t& sample : source) {
      sample = static_cast<uint8_t>(std::clamp(sample + std::lround(noise(random)), 0L, 255L));
    }
    const int quality = 5 * (round % 20) + 1;
    const QuantTable table = BuildInterQuantTable(quality, round % 2 == 0);
    const LevelSelection selection = MakeLevelSelection(BuildInterQuantTable(quality, false), true);
    std::vector<int16_t> expected;
    for (uint32_t y0 = 0; y0 < grid.height; y0 += 8) {
      for (uint32_t x0 = 0; x0 < grid.width; x0 += 8) {
        const std::vector<int16_t> levels =
            LevelsOfAnyBlock(source, prediction, grid, x0, y0, table, selection);
        ++(levels == std::vector<int16_t>(64) ? empty : coded_blocks);
        expected.insert(expected.end(), levels.begin(), levels.end());
      }
    }
    for (const SimdLevel level : test::AvailableSimdLevels()) {
      const test::ScopedSimdLevel forced(level);
      const CodedPlane coded = Code(source, prediction, grid, table, selection);
      ASSERT_EQ(coded.levels, expected);
      ExpectBlocksTold(coded);
    }
  }
  EXPECT_GT(empty, 100);
  EXPECT_GT(coded_blocks, 100);
}

TEST(CodeResidualRow, LevelThatJustRoundsUpIsCoded) {
  // 11 at the corner is 11 * 0.2405 at coefficient (1, 1), more than half of its
  // step of 4.8.
  const std::vector<uint8_t> prediction(64, 100);
  std::vector<uint8_t> source = prediction;
  source[0] = 111;
  const CodedPlane coded =
      Code(source, prediction, BlockGrid{8, 8}, BuildInterQuantTable(100, false), false);
  EXPECT_EQ(coded.levels[kScanPosition[9]], 1);
}

TEST(ReconstructResidualRow, MatchesEncoderReconstruction) {
  for (const BlockGrid& grid : {BlockGrid{1, 1}, {9, 17}, {64, 48}, {67, 35}}) {
    const size_t count = size_t{grid.width} * grid.height;
    const std::vector<uint8_t> prediction = test::RandomBytes(count, 5);
    const std::vector<uint8_t> source = test::RandomBytes(count, 6);
    for (const bool rate_rule : {false, true}) {
      const QuantTable table = BuildInterQuantTable(60, true);
      CodedPlane coded = Code(source, prediction, grid, table, rate_rule);
      std::vector<uint8_t> rebuilt = prediction;
      for (uint32_t row = 0; row < grid.Rows(); ++row) {
        ReconstructResidualRow(ActiveVideoKernels(),
                               coded.levels.data() + size_t{64} * grid.Columns() * row, grid, row,
                               table, rebuilt.data());
      }
      EXPECT_EQ(rebuilt, coded.samples);
    }
  }
}

}  // namespace
}  // namespace qolm::video
