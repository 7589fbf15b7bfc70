// SPDX-License-Identifier: MIT
#include "video/inter/motion_search.h"

#include <algorithm>
#include <array>
#include <limits>
#include <span>

#include "base/parallel_for.h"
#include "video/inter/block_matching.h"
#include "video/inter/coarse_search.h"
#include "video/kernels/video_kernels.h"

namespace qolm::video {
namespace {

constexpr int kQuarterRadius = 2;

// Four vectors are used only if they reduce the cost by at least this margin.
constexpr uint32_t kMinSplitCost = 1201;
constexpr uint32_t kSplitMargin = 900;

// Every fourth macroblock in both directions votes on the global motion: the non-zero
// vector with the most votes becomes a candidate of every macroblock.
constexpr uint32_t kGlobalSpacing = 4;

constexpr uint32_t kNoCost = std::numeric_limits<uint32_t>::max();

struct Candidate {
  MotionVector vector;
  uint32_t cost = kNoCost;   // sum of absolute differences
  uint32_t score = kNoCost;  // cost plus lambda * bits of the vector

  // The first of equal candidates wins.
  void Offer(const MotionVector& other, uint32_t other_cost, uint32_t other_score) {
    if (other_score < score) *this = {other, other_cost, other_score};
  }
};

class MotionSearch {
 public:
  MotionSearch(const uint8_t* source, const uint8_t* reference, uint32_t width, uint32_t height,
               const MotionSearchOptions& options)
      : matcher_(source, reference, width, height),
        grid_(width, height),
        options_(options),
        coarse_(source, reference, width, height) {}

  std::vector<MacroblockMotion> Run() {
    std::vector<MacroblockMotion> field(grid_.Count());
    if (options_.pre_analysis) global_ = EstimateGlobalMotion();

    ParallelFor(grid_.rows, IsLargeEnoughToParallelise(), [&](size_t row) {
      // The left vector is a candidate, so only rows are independent.
      MotionVector left;
      for (uint32_t column = 0; column < grid_.columns; ++column) {
        MacroblockMotion& motion = field[row * grid_.columns + column];
        motion = SearchMacroblock(matcher_.MacroblockAt(column, static_cast<uint32_t>(row)), left);
        left = motion.vectors[0];
      }
    });
    SmoothField(field);
    return field;
  }

 private:
  bool IsLargeEnoughToParallelise() const {
    return static_cast<size_t>(matcher_.width()) * static_cast<size_t>(matcher_.height()) >=
           kMinParallelSamples;
  }

  // lambda * bits of `vector`, in absolute differences.
  uint32_t VectorCost(const MotionVector& vector, const MotionVector& predictor) const {
    return static_cast<uint32_t>(options_.vector_cost *
                                 static_cast<float>(VectorBits(vector, predictor)));
  }

  void OfferFull(const LumaBlock& block, const VectorRange& range, int dx, int dy,
                 const MotionVector& predictor, Candidate& best) const {
    if (!range.Contains(dx, dy)) return;
    const MotionVector vector{static_cast<int8_t>(dx), static_cast<int8_t>(dy)};
    // Candidates that cannot win are not measured: the current best, and those whose
    // vector bits alone cost too much.
    if (vector == best.vector && best.score != kNoCost) return;
    const uint32_t vector_cost = VectorCost(vector, predictor);
    if (vector_cost >= best.score) return;
    const uint32_t cost = matcher_.Cost(block, vector);
    best.Offer(vector, cost, cost + vector_cost);
  }

  MotionVector EstimateGlobalMotion() const {
    constexpr size_t kSpan = 2 * kMaxVector + 1;
    std::vector<uint32_t> votes(kSpan * kSpan);
    const uint32_t voting_rows = grid_.rows / kGlobalSpacing;
    const uint32_t voting_columns = grid_.columns / kGlobalSpacing;
    std::vector<MotionVector> ballots(size_t{voting_rows} * voting_columns);

    ParallelFor(voting_rows, IsLargeEnoughToParallelise(), [&](size_t row) {
      for (uint32_t column = 0; column < voting_columns; ++column) {
        const LumaBlock block =
            matcher_.MacroblockAt(column * kGlobalSpacing + kGlobalSpacing / 2,
                                  static_cast<uint32_t>(row) * kGlobalSpacing + kGlobalSpacing / 2);
        const VectorRange range = matcher_.RangeOf(block);
        CoarseCandidate centre;
        coarse_.Offer(block, range, 0, 0, centre);
        ballots[row * voting_columns + column] = coarse_.SearchRings(block, range, centre).vector;
      }
    });
    MotionVector winner;
    uint32_t most_votes = 0;
    for (const MotionVector& ballot : ballots) {
      if (ballot == MotionVector{}) continue;  // always a candidate anyway
      const size_t slot = static_cast<size_t>(ballot.dy + kMaxVector) * kSpan +
                          static_cast<size_t>(ballot.dx + kMaxVector);
      if (++votes[slot] > most_votes) {
        most_votes = votes[slot];
        winner = ballot;
      }
    }
    return winner;
  }

  MacroblockMotion SearchMacroblock(const LumaBlock& block, const MotionVector& left) const {
    const VectorRange range = matcher_.RangeOf(block);
    CoarseCandidate coarse;
    coarse_.Offer(block, range, 0, 0, coarse);
    coarse_.Offer(block, range, left.dx, left.dy, coarse);
    coarse_.Offer(block, range, global_.dx, global_.dy, coarse);
    coarse = coarse_.SearchRings(block, range, coarse);

    Candidate best;
    OfferFull(block, range, 0, 0, left, best);
    OfferFull(block, range, left.dx, left.dy, left, best);
    OfferFull(block, range, global_.dx, global_.dy, left, best);
    const int cx = coarse.vector.dx;
    const int cy = coarse.vector.dy;
    OfferFull(block, range, cx, cy, left, best);
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx) {
        if (dx != 0 || dy != 0) OfferFull(block, range, cx + dx, cy + dy, left, best);
      }
    }

    MacroblockMotion motion;
    motion.vectors.fill(best.vector);
    if (options_.four_vectors && best.cost >= kMinSplitCost) SplitIfBetter(block, best, motion);
    return motion;
  }

  // The best vector within kQuarterRadius of the macroblock's.
  Candidate RefineQuarter(const LumaBlock& part, const MotionVector& whole) const {
    const VectorRange range = matcher_.RangeOf(part);
    const int first_dx = std::max(whole.dx - kQuarterRadius, range.dx_low);
    const int last_dx = std::min(whole.dx + kQuarterRadius, range.dx_high);
    const int first_dy = std::max(whole.dy - kQuarterRadius, range.dy_low);
    const int last_dy = std::min(whole.dy + kQuarterRadius, range.dy_high);
    Candidate best;
    for (int dy = first_dy; dy <= last_dy; ++dy) {
      MotionVector vector{static_cast<int8_t>(first_dx), static_cast<int8_t>(dy)};
      std::array<uint16_t, 8> costs;
      matcher_.CostsAcross(part, vector, last_dx - first_dx + 1, costs.data());
      for (int dx = first_dx; dx <= last_dx; ++dx) {
        const uint32_t cost = costs[static_cast<size_t>(dx - first_dx)];
        vector.dx = static_cast<int8_t>(dx);
        best.Offer(vector, cost, cost + VectorCost(vector, whole));
      }
    }
    return best;
  }

  void SplitIfBetter(const LumaBlock& block, const Candidate& whole,
                     MacroblockMotion& motion) const {
    std::array<MotionVector, 4> vectors;
    uint32_t sum = 0;
    for (size_t quarter = 0; quarter < 4; ++quarter) {
      const int x = block.x + static_cast<int>(quarter % 2) * 8;
      const int y = block.y + static_cast<int>(quarter / 2) * 8;
      const LumaBlock part{x, y, std::min(8, matcher_.width() - x),
                           std::min(8, matcher_.height() - y)};
      vectors[quarter] = whole.vector;
      if (part.width <= 0 || part.height <= 0) continue;
      const Candidate best = RefineQuarter(part, whole.vector);
      vectors[quarter] = best.vector;
      sum += best.cost;
    }
    // sum < 0.75 * cost, in integers.
    if (sum + kSplitMargin < whole.cost && uint64_t{4} * sum < uint64_t{3} * whole.cost) {
      motion.split = 1;
      motion.vectors = vectors;
    }
  }

  // Replaces vectors by a neighbour's or the predictor where that lowers the
  // rate-distortion cost. One pass in raster order.
  void SmoothField(std::span<MacroblockMotion> field) const {
    for (size_t i = 0; i < field.size(); ++i) {
      if (field[i].split != 0) continue;
      const MotionVector predictor = MedianPredictor(grid_, field, i);
      std::array<MotionVector, 4> neighbours = {predictor, MotionVector{}};
      if (i % grid_.columns > 0) neighbours[2] = field[i - 1].vectors[0];
      if (i >= grid_.columns) neighbours[3] = field[i - grid_.columns].vectors[0];

      const MotionVector own = field[i].vectors[0];
      const auto is_own = [&own](const MotionVector& vector) { return vector == own; };
      if (std::ranges::all_of(neighbours, is_own)) continue;
      const LumaBlock block = matcher_.MacroblockAt(static_cast<uint32_t>(i % grid_.columns),
                                                    static_cast<uint32_t>(i / grid_.columns));
      const VectorRange range = matcher_.RangeOf(block);
      Candidate best;
      OfferFull(block, range, own.dx, own.dy, predictor, best);
      for (const MotionVector& vector : neighbours) {
        if (!is_own(vector)) OfferFull(block, range, vector.dx, vector.dy, predictor, best);
      }
      field[i].vectors.fill(best.vector);
    }
  }

  const BlockMatcher matcher_;
  const MacroblockGrid grid_;
  const MotionSearchOptions options_;
  const CoarseSearch coarse_;
  MotionVector global_;
};

}  // namespace

std::vector<MacroblockMotion> SearchMotion(const uint8_t* source, const uint8_t* reference,
                                           uint32_t width, uint32_t height,
                                           const MotionSearchOptions& options) {
  return MotionSearch(source, reference, width, height, options).Run();
}

}  // namespace qolm::video
