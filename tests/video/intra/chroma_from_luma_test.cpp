// SPDX-License-Identifier: MIT
#include "video/intra/chroma_from_luma.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

#include "video/intra/naive_intra.h"
#include "video/kernels/kernel_levels.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

// One 8x8 chroma block over 16x16 luma whose 2x2 squares each hold one value.
struct OneBlock {
  std::vector<uint8_t> chroma = std::vector<uint8_t>(64);
  std::vector<uint8_t> luma = std::vector<uint8_t>(256);
};

OneBlock MakeBlock(const std::function<int(size_t)>& luma,
                   const std::function<int(size_t)>& chroma) {
  OneBlock block;
  for (size_t i = 0; i < 256; ++i) {
    block.luma[i] = static_cast<uint8_t>(luma((i / 32) * 8 + (i % 16) / 2));
  }
  for (size_t i = 0; i < 64; ++i) block.chroma[i] = static_cast<uint8_t>(chroma(i));
  return block;
}

struct Coded {
  CclcPlaneLevels levels;
  std::vector<uint8_t> reconstruction;
};

Coded Code(const OneBlock& block, const QuantTable& table) {
  Coded coded;
  coded.reconstruction.resize(64);
  coded.levels = CodeChromaCclc(block.chroma.data(), block.luma.data(), 8, 8, 16, 16, table,
                                coded.reconstruction.data());
  std::vector<uint8_t> decoded(64);
  ReconstructChromaCclc(coded.levels.params, coded.levels.levels, block.luma.data(), 8, 8, 16, 16,
                        table, decoded.data());
  EXPECT_EQ(decoded, coded.reconstruction);
  return coded;
}

// Steps so large that no level survives: the reconstruction is the prediction.
QuantTable HugeSteps() {
  QuantTable table;
  table.step.fill(1.0e6F);
  return table;
}

TEST(ChromaFromLuma, ConstantLumaPredictsChromaMean) {
  const auto constant = [](size_t) { return 77; };
  // 63 samples of 100 and one of 132: the sum 6432 is 100.5 times 64.
  Coded coded = Code(MakeBlock(constant, [](size_t i) { return i == 5 ? 132 : 100; }), HugeSteps());
  EXPECT_EQ(coded.levels.params[0].alpha, 0);
  EXPECT_EQ(coded.levels.params[0].beta, 101);
  EXPECT_EQ(coded.reconstruction, std::vector<uint8_t>(64, 101));
  coded = Code(MakeBlock(constant, [](size_t i) { return i == 5 ? 131 : 100; }), HugeSteps());
  EXPECT_EQ(coded.levels.params[0].beta, 100);
  coded = Code(MakeBlock(constant, [](size_t) { return 255; }), HugeSteps());
  EXPECT_EQ(coded.levels.params[0].beta, 255);
}

TEST(ChromaFromLuma, SmallDenominatorMeansConstantLuma) {
  // One sample that differs by 1: 64 * Sxx - Sx^2 = 63. Two: 124.
  const auto chroma = [](size_t i) { return i < 2 ? 140 : 100; };
  Coded coded = Code(MakeBlock([](size_t i) { return i < 1 ? 51 : 50; }, chroma), HugeSteps());
  EXPECT_EQ(coded.levels.params[0].alpha, 0);
  EXPECT_EQ(coded.levels.params[0].beta, 101);
  coded = Code(MakeBlock([](size_t i) { return i < 2 ? 51 : 50; }, chroma), HugeSteps());
  EXPECT_EQ(coded.levels.params[0].alpha, 127);  // slope 40
  EXPECT_EQ(coded.levels.params[0].beta, 0);     // 100 - 50 * 40, clamped
}

TEST(ChromaFromLuma, BetaUsesUnroundedSlope) {
  // Chroma 4 * luma - 100: alpha is clamped to 127 / 64, beta belongs to the
  // slope of 4 and would be near -100; lifted so that it is not clamped.
  const auto luma = [](size_t i) { return static_cast<int>(20 + i % 8); };
  const Coded steep =
      Code(MakeBlock(luma, [&](size_t i) { return 4 * luma(i) + 30; }), HugeSteps());
  EXPECT_EQ(steep.levels.params[0].alpha, 127);
  EXPECT_EQ(steep.levels.params[0].beta, 30);
  for (size_t i = 0; i < 64; ++i) {
    EXPECT_EQ(steep.reconstruction[i], (luma(i) * 127 + 32) / 64 + 30);
  }
  const auto high_luma = [](size_t i) { return static_cast<int>(4 + i % 8); };
  const Coded falling =
      Code(MakeBlock(high_luma, [&](size_t i) { return 200 - 4 * high_luma(i); }), HugeSteps());
  EXPECT_EQ(falling.levels.params[0].alpha, -128);
  EXPECT_EQ(falling.levels.params[0].beta, 200);
}

TEST(ChromaFromLuma, NegativeSlopeRoundsDown) {
  // Chroma falls by 1 where luma rises by 2: alpha -32.
  const auto luma = [](size_t i) { return static_cast<int>(100 + 2 * (i % 8) + 16 * (i / 8 % 2)); };
  OneBlock block = MakeBlock(luma, [&](size_t i) { return 200 - luma(i) / 2; });
  Coded coded = Code(block, HugeSteps());
  ASSERT_EQ(coded.levels.params[0].alpha, -32);
  ASSERT_EQ(coded.levels.params[0].beta, 200);
  EXPECT_EQ(coded.reconstruction, block.chroma);

  // The same line over odd luma: -32 * 101 + 32 = -3200, exactly -50; over 100:
  // -3168 / 64 = -49.5, which the shift takes to -50.
  std::vector<uint8_t> out(64);
  block = MakeBlock([](size_t i) { return i % 2 == 0 ? 100 : 103; }, [](size_t) { return 0; });
  const std::vector<CclcParams> params = {{-32, 200}};
  const std::vector<int16_t> levels(64);
  ReconstructChromaCclc(params, levels, block.luma.data(), 8, 8, 16, 16, HugeSteps(), out.data());
  EXPECT_EQ(out[0], 150);
  EXPECT_EQ(out[1], 149);  // (-3296 + 32) / 64 = -51
}

TEST(ChromaFromLuma, PredictionIsClampedToAByte) {
  const OneBlock block =
      MakeBlock([](size_t i) { return i % 2 == 0 ? 0 : 255; }, [](size_t) { return 0; });
  const std::vector<int16_t> levels(64);
  std::vector<uint8_t> out(64);
  const std::vector<CclcParams> rising = {{127, 20}};
  ReconstructChromaCclc(rising, levels, block.luma.data(), 8, 8, 16, 16, HugeSteps(), out.data());
  EXPECT_EQ(out[0], 20);
  EXPECT_EQ(out[1], 255);
  const std::vector<CclcParams> falling = {{-128, 255}};
  ReconstructChromaCclc(falling, levels, block.luma.data(), 8, 8, 16, 16, HugeSteps(), out.data());
  EXPECT_EQ(out[0], 255);
  EXPECT_EQ(out[1], 0);
}

TEST(ChromaFromLuma, LevelDroppingRulesDoNotApply) {
  // A weak ±1 at the last scan position over constant luma is kept.
  test::Matrix8x8 coefficients{};
  coefficients[7][7] = 28.0F;
  const test::Matrix8x8 samples = test::NaiveInverse(coefficients);
  const OneBlock block = MakeBlock(
      [](size_t) { return 60; },
      [&](size_t i) { return static_cast<int>(std::lround(128.0F + samples[i / 8][i % 8])); });
  QuantTable table;
  table.step.fill(40.0F);
  const Coded coded = Code(block, table);
  EXPECT_EQ(coded.levels.levels[63], 1);
}

TEST(ChromaFromLuma, MatchesFormulasAtEverySizeAndSimdLevel) {
  const std::vector<std::pair<uint32_t, uint32_t>> sizes = {{1, 1},   {1, 9},   {2, 2},   {7, 5},
                                                            {16, 16}, {17, 33}, {31, 15}, {31, 32},
                                                            {32, 31}, {64, 48}, {131, 71}};
  for (const auto& [width, height] : sizes) {
    for (const YuvPlanes& picture :
         {test::RandomPicture(width, height, 3), test::TexturedPicture(width, height, 4, 2)}) {
      const int chroma_width = static_cast<int>(picture.ChromaWidth());
      const int chroma_height = static_cast<int>(picture.ChromaHeight());
      for (const int quality : {1, 50, 100}) {
        const QuantTable table = BuildQuantTable(quality, true);
        std::vector<uint8_t> expected_samples;
        const CclcPlaneLevels expected = test::NaiveCodeCclc(
            picture.cb, chroma_width, chroma_height, picture.y, static_cast<int>(width),
            static_cast<int>(height), table, expected_samples);
        for (const SimdLevel level : test::AvailableSimdLevels()) {
          const test::ScopedSimdLevel forced(level);
          std::vector<uint8_t> samples(picture.cb.size());
          const CclcPlaneLevels coded =
              CodeChromaCclc(picture.cb.data(), picture.y.data(), picture.ChromaWidth(),
                             picture.ChromaHeight(), width, height, table, samples.data());
          ASSERT_EQ(coded.params.size(), expected.params.size());
          for (size_t i = 0; i < coded.params.size(); ++i) {
            ASSERT_EQ(coded.params[i].alpha, expected.params[i].alpha);
            ASSERT_EQ(coded.params[i].beta, expected.params[i].beta);
          }
          ASSERT_EQ(coded.levels, expected.levels);
          ASSERT_EQ(samples, expected_samples);

          std::vector<uint8_t> decoded(samples.size());
          ReconstructChromaCclc(coded.params, coded.levels, picture.y.data(), picture.ChromaWidth(),
                                picture.ChromaHeight(), width, height, table, decoded.data());
          ASSERT_EQ(decoded, samples);
        }
      }
    }
  }
}

}  // namespace
}  // namespace qolm::video
