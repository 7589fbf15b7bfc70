// SPDX-License-Identifier: MIT
#include "video/intra/intra_plane.h"

#include <bit>
#include <cmath>
#include <cstdlib>

#include "video/intra/intra_prediction.h"
#include "video/transform/block_codec.h"

namespace qolm::video {
namespace {

// The first scan positions at which the rules may drop a level.
constexpr int kSparseStart = 20;
constexpr int kWeakLevelStart = 16;

bool IsFlat(const BlockView& block) {
  int sum = 0;
  for (int r = 0; r < 8; ++r) {
    for (int c = 0; c < 8; ++c) sum += block.samples[r * block.stride + c];
  }
  // In integers: mean and deviation scaled by 64.
  int deviation = 0;
  for (int r = 0; r < 8; ++r) {
    for (int c = 0; c < 8; ++c) {
      deviation += std::abs(64 * block.samples[r * block.stride + c] - sum);
    }
  }
  return deviation < 3 * 64 * 64;
}

struct ModeChoice {
  uint8_t mode = kIntraDc;
  Block8x8 prediction;
};

void ChooseIntraMode(const VideoKernels& kernels, const IntraNeighbours& neighbours,
                     const BlockView& source, ModeChoice& choice) {
  static constexpr uint8_t kBoth[] = {kIntraDc, kIntraHorizontal, kIntraVertical, kIntraPlanar};
  static constexpr uint8_t kLeftOnly[] = {kIntraDc, kIntraHorizontal};
  static constexpr uint8_t kTopOnly[] = {kIntraDc, kIntraVertical};
  static constexpr uint8_t kNone[] = {kIntraDc};
  std::span<const uint8_t> candidates = kNone;
  if (neighbours.has_left && neighbours.has_top) {
    candidates = kBoth;
  } else if (neighbours.has_left) {
    candidates = kLeftOnly;
  } else if (neighbours.has_top) {
    candidates = kTopOnly;
  }

  uint32_t best = 1000000;
  for (const uint8_t mode : candidates) {
    Block8x8 prediction;
    PredictIntraBlock(mode, neighbours, prediction);
    const uint32_t sum = kernels.sad_8x8(source.samples, source.stride, prediction.data(), 8);
    if (sum >= best) continue;
    best = sum;
    choice.mode = mode;
    choice.prediction = prediction;
    if (best == 0) break;
  }
}

// Whether dropping a level of +-1 lowers the rate-distortion cost.
bool SparseRuleDrops(float coefficient, float step) {
  const float magnitude = std::fabs(coefficient);
  const float error = magnitude - step;
  return 0.65F * step * step + error * error > magnitude * magnitude;
}

// Writes the levels that the rules keep in scan order to `zigzag`, which must be
// zero-initialised.
void StoreLevels(const int16_t* natural_levels, uint64_t nonzero, const float* coefficients,
                 const QuantTable& table, const IntraPlaneRules& rules, bool flat,
                 int16_t* zigzag) {
  for (; nonzero != 0; nonzero &= nonzero - 1) {
    const size_t natural = static_cast<size_t>(std::countr_zero(nonzero));
    const int k = kScanPosition[natural];
    const int16_t level = natural_levels[natural];
    if (std::abs(level) == 1) {
      if (rules.sparse_levels && k >= kSparseStart &&
          SparseRuleDrops(coefficients[natural], table.step[natural])) {
        continue;
      }
      if ((rules.chroma || flat) && k >= kWeakLevelStart) continue;
    }
    zigzag[k] = level;
  }
}

}  // namespace

IntraPlaneLevels CodeIntraPlane(const uint8_t* source, uint32_t width, uint32_t height,
                                const QuantTable& table, const IntraPlaneRules& rules,
                                uint8_t* reconstruction) {
  const VideoKernels& kernels = ActiveVideoKernels();
  const BlockGrid grid{width, height};
  IntraPlaneLevels coded;
  coded.modes.resize(grid.Count());
  coded.levels.resize(grid.Count() * 64);

  size_t block = 0;
  for (uint32_t y0 = 0; y0 < height; y0 += 8) {
    for (uint32_t x0 = 0; x0 < width; x0 += 8, ++block) {
      Block8x8 storage;
      const BlockView view = ViewBlock(source, grid, x0, y0, storage);
      const bool flat = rules.flat_blocks && IsFlat(view);
      ModeChoice choice;
      ChooseIntraMode(kernels, GatherIntraNeighbours(reconstruction, width, height, x0, y0), view,
                      choice);
      coded.modes[block] = choice.mode;

      alignas(32) float coefficients[64];
      kernels.forward_dct(view.samples, view.stride, choice.prediction.data(), 8, coefficients);
      int16_t natural_levels[64];
      const uint64_t nonzero =
          kernels.quantise(coefficients, table.step.data(), 0.5F, natural_levels);
      int16_t* const levels = coded.levels.data() + block * 64;
      StoreLevels(natural_levels, nonzero, coefficients, table, rules, flat, levels);
      ReconstructBlock(kernels, table, {choice.prediction.data(), 8}, levels, grid, x0, y0,
                       reconstruction);
    }
  }
  return coded;
}

void ReconstructIntraPlane(std::span<const uint8_t> modes, std::span<const int16_t> levels,
                           uint32_t width, uint32_t height, const QuantTable& table,
                           uint8_t* reconstruction) {
  const VideoKernels& kernels = ActiveVideoKernels();
  const BlockGrid grid{width, height};
  size_t block = 0;
  for (uint32_t y0 = 0; y0 < height; y0 += 8) {
    for (uint32_t x0 = 0; x0 < width; x0 += 8, ++block) {
      Block8x8 prediction;
      PredictIntraBlock(modes[block], GatherIntraNeighbours(reconstruction, width, height, x0, y0),
                        prediction);
      ReconstructBlock(kernels, table, {prediction.data(), 8}, levels.data() + block * 64, grid, x0,
                       y0, reconstruction);
    }
  }
}

}  // namespace qolm::video
