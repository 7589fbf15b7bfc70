// SPDX-License-Identifier: MIT
#include "video/transform/level_selection.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>
#include <cstdlib>

#include "video/transform/block_codec.h"

namespace qolm::video {
namespace {

// lambda = factor * DC step squared. The factor is tuned for the smallest size at equal
// PSNR.
constexpr float kLambdaFactor = 0.1F;

// Additional weight of errors of the DC level, which persist until the next key frame as
// visible blotches.
constexpr float kDcWeight = 3.0F;

// The same for pictures that are not used for reference.
constexpr float kUnreferencedLambdaFactor = 0.28F;
constexpr float kUnreferencedDcWeight = 1.0F;

// Estimated rate of the syntax elements of a block in bits. The actual rate depends on
// the frequency tables of the picture.
constexpr float kBlockBits = 5.0F;  // ends a run of empty blocks
constexpr float kEndOfBlockBits = 2.3F;
constexpr float kRunTokenBits = 3.2F;  // a zero run of one

struct BitTables {
  std::array<float, 64> run;     // by number of zeros
  std::array<float, 128> level;  // by magnitude
};

// Bit-identical on every platform, unlike the C library's logarithm, since it influences
// the choice of levels. Each squaring of a number in 1..2 yields one bit of its
// logarithm.
constexpr float Log2(size_t number) {
  constexpr int kBits = 39;
  double rest = static_cast<double>(number);
  double logarithm = 0.0;
  while (rest >= 2.0) {
    rest /= 2.0;
    logarithm += 1.0;
  }
  double bit = 0.5;
  for (int i = 0; i < kBits; ++i, bit /= 2.0) {
    rest *= rest;
    if (rest < 2.0) continue;
    rest /= 2.0;
    logarithm += bit;
  }
  return static_cast<float>(logarithm);
}

constexpr BitTables kBitTables = [] {
  BitTables bits{};
  for (size_t zeros = 1; zeros < bits.run.size(); ++zeros) {
    bits.run[zeros] = kRunTokenBits + Log2(zeros);
  }
  for (size_t level = 1; level < bits.level.size(); ++level) {
    const float product = 2.1F * Log2(level);
    bits.level[level] = 2.4F + product;
  }
  return bits;
}();

struct Candidate {
  int position;    // in the scan
  int16_t level;   // the better of nearest and nearest - 1, signed
  float cost;      // of coding it instead of zero, without the run before it
  bool mandatory;  // too large to become zero
};

}  // namespace

LevelSelection MakeLevelSelection(const QuantTable& luma, bool rate_rule) {
  return {rate_rule, kLambdaFactor * luma.step[0] * luma.step[0], kDcWeight};
}

LevelSelection MakeUnreferencedLevelSelection(const QuantTable& luma, bool rate_rule) {
  return {rate_rule, kUnreferencedLambdaFactor * luma.step[0] * luma.step[0],
          kUnreferencedDcWeight};
}

// The transform is orthonormal, so the energy of the coefficients equals that of the
// differences. Below (step / 2)^2 no coefficient rounds to 1; below (2.5 step)^2 none
// rounds to 3, the smallest mandatory level. Otherwise coded levels reduce the distortion
// by at most the energy and cost at least the bits of one level of 1.
//
// With known coefficients, the reduction is 0 for magnitudes below half a step and
// step * (2 * magnitude - step) for those that round to 1, each less the cost of the
// level's bits. Only a block whose last level is at position 63 needs no end-of-block
// token. The safety factor covers the rounding errors of all sums, including those of
// the transform.
SkipThresholds MakeSkipThresholds(const LevelSelection& selection, const QuantTable& table) {
  constexpr float kSafety = 0.99F;
  constexpr float kBlockOverheadBits = kBlockBits + kEndOfBlockBits;
  const float smallest_step = *std::min_element(table.step.begin(), table.step.end());
  const float squared_step = smallest_step * smallest_step;
  SkipThresholds limits;
  if (!selection.rate_rule) {
    limits.energy = kSafety * 0.25F * squared_step;
    for (size_t i = 0; i < 64; ++i) limits.large[i] = kSafety * 0.5F * table.step[i];
    return limits;
  }
  limits.energy = kSafety * std::min(selection.lambda * (kBlockOverheadBits + kBitTables.level[1]),
                                     6.25F * squared_step);
  limits.gain = kSafety * selection.lambda * kBlockOverheadBits;
  for (size_t i = 0; i < 64; ++i) {
    const float step = table.step[i];
    const float weight = i == 0 ? selection.dc_weight : 1.0F;
    const float bits = kBitTables.level[1] - (i == 63 ? kEndOfBlockBits : 0.0F);
    limits.large[i] = kSafety * 1.5F * step;
    limits.gain_slope[i] = 2.0F * weight * step;
    limits.gain_offset[i] = weight * step * step + selection.lambda * bits;
  }
  return limits;
}

void SelectLevels(const LevelSelection& selection, const QuantTable& table,
                  const float* coefficients, const int16_t* nearest, uint64_t nonzero,
                  int16_t* zigzag) {
  if (!selection.rate_rule) {
    StoreInScanOrder(nearest, nonzero, zigzag);
    return;
  }

  const float lambda = selection.lambda;
  uint64_t scan_positions = 0;
  for (; nonzero != 0; nonzero &= nonzero - 1) {
    scan_positions |= uint64_t{1} << kScanPosition[static_cast<size_t>(std::countr_zero(nonzero))];
  }

  std::array<Candidate, 64> candidates;
  size_t count = 0;
  for (; scan_positions != 0; scan_positions &= scan_positions - 1, ++count) {
    Candidate& candidate = candidates[count];
    candidate.position = std::countr_zero(scan_positions);
    const size_t natural = kZigzag[static_cast<size_t>(candidate.position)];
    const float step = table.step[natural];
    const float magnitude = std::fabs(coefficients[natural]);
    const float weight = candidate.position == 0 ? selection.dc_weight : 1.0F;
    const int largest = std::abs(nearest[natural]);
    candidate.mandatory = largest > 2;
    candidate.cost = 0.0F;
    for (int level = largest; level > 0 && level >= largest - 1; --level) {
      const float error = magnitude - static_cast<float>(level) * step;
      const float cost = weight * (error * error - magnitude * magnitude) +
                         lambda * kBitTables.level[static_cast<size_t>(std::min(level, 127))];
      if (level == largest || cost < candidate.cost) {
        candidate.cost = cost;
        candidate.level = static_cast<int16_t>(nearest[natural] < 0 ? -level : level);
      }
    }
  }

  // best[i]: least cost of the scan up to candidate i if that is coded;
  // previous[i]: the coded candidate before it, -1 for none. Paths cannot skip a mandatory
  // candidate.
  std::array<float, 64> best;
  std::array<int, 64> previous;
  int first_reachable = -1;
  for (int i = 0; i < static_cast<int>(count); ++i) {
    const Candidate& candidate = candidates[static_cast<size_t>(i)];
    float least = 0.0F;
    int from = -2;
    for (int j = i - 1; j >= first_reachable; --j) {
      const int last_position = j < 0 ? -1 : candidates[static_cast<size_t>(j)].position;
      const int zeros = candidate.position - last_position - 1;
      const float before = j < 0 ? lambda * kBlockBits : best[static_cast<size_t>(j)];
      const float cost = before + lambda * kBitTables.run[static_cast<size_t>(zeros)];
      if (from == -2 || cost < least) {
        least = cost;
        from = j;
      }
    }
    best[static_cast<size_t>(i)] = least + candidate.cost;
    previous[static_cast<size_t>(i)] = from;
    if (candidate.mandatory) first_reachable = i;
  }

  float least = 0.0F;  // of the empty block
  int last = -1;
  for (int i = static_cast<int>(count) - 1; i >= std::max(first_reachable, 0); --i) {
    const float end = candidates[static_cast<size_t>(i)].position < 63 ? kEndOfBlockBits : 0.0F;
    const float cost = best[static_cast<size_t>(i)] + lambda * end;
    const bool must_store = first_reachable >= 0 && last < 0;
    if (must_store || cost < least) {
      least = cost;
      last = i;
    }
  }
  for (int i = last; i >= 0; i = previous[static_cast<size_t>(i)]) {
    const Candidate& candidate = candidates[static_cast<size_t>(i)];
    zigzag[candidate.position] = candidate.level;
  }
}

}  // namespace qolm::video
