// SPDX-License-Identifier: MIT
#include "video/inter/coarse_search.h"

#include <algorithm>
#include <array>
#include <cstddef>

namespace qolm::video {
namespace {

constexpr int kRadius = 20;
constexpr int kStep = 2;  // so that phase planes make a ring's candidates contiguous
constexpr uint32_t kGoodCost = 512;

constexpr int kMaxSideCandidates = kRadius + 1;
constexpr int kCostsPerCall = 8;

bool IsWhole(const LumaBlock& block) { return block.width == 16 && block.height == 16; }

// A range of candidate indices.
struct Interval {
  int first = 0;
  int end = 0;
  bool Contains(int i) const { return first <= i && i < end; }
};

// The indices of those of `count` values, from `from` on at intervals of kStep, that lie
// in low..high.
Interval Inside(int from, int count, int low, int high) {
  const int first = from < low ? (low - from + kStep - 1) / kStep : 0;
  const int end = high < from ? 0 : std::min(count, (high - from) / kStep + 1);
  return {first, std::max(first, end)};
}

}  // namespace

// One side of a ring: candidates in a row or column from (dx, dy) on at intervals of
// kStep.
struct CoarseSearch::Side {
  int dx;
  int dy;
  int count;
  Interval allowed;
  // Valid for the allowed candidates; other elements are unspecified.
  std::array<uint16_t, kMaxSideCandidates + kCostsPerCall - 1> costs;
  uint32_t least = std::numeric_limits<uint32_t>::max();  // lower bound of their costs

  Side(int dx_of_first, int dy_of_first, int candidates)
      : dx(dx_of_first), dy(dy_of_first), count(candidates) {}

  uint16_t* CostOf(int i) { return costs.data() + i; }
};

CoarseSearch::CoarseSearch(const uint8_t* source, const uint8_t* reference, uint32_t width,
                           uint32_t height)
    : kernels_(ActiveVideoKernels()),
      source_(source, width, height, /*even_only=*/true),
      reference_(reference, width, height, /*even_only=*/false) {}

uint32_t CoarseSearch::Cost(const LumaBlock& block, int dx, int dy) const {
  const uint8_t* const source = source_.At(block.x, block.y);
  const uint8_t* const reference = reference_.At(block.x + dx, block.y + dy);
  if (IsWhole(block)) {
    return kernels_.sad_8x8(source, source_.Stride(), reference, reference_.Stride());
  }
  return PartialSad(source, source_.Stride(), reference, reference_.Stride(), (block.width + 1) / 2,
                    (block.height + 1) / 2);
}

void CoarseSearch::Offer(const LumaBlock& block, const VectorRange& range, int dx, int dy,
                         CoarseCandidate& best) const {
  if (!range.Contains(dx, dy)) return;
  best.Offer({static_cast<int8_t>(dx), static_cast<int8_t>(dy)}, Cost(block, dx, dy));
}

void CoarseSearch::MeasureAcross(const LumaBlock& block, const VectorRange& range,
                                 Side& side) const {
  if (side.dy < range.dy_low || side.dy > range.dy_high) return;
  side.allowed = Inside(side.dx, side.count, range.dx_low, range.dx_high);
  for (int i = side.allowed.first; i < side.allowed.end; i += kCostsPerCall) {
    const int dx = side.dx + kStep * i;
    uint32_t least = 0;
    if (IsWhole(block)) {
      least = kernels_.sad_8x8_across(source_.At(block.x, block.y), source_.Stride(),
                                      reference_.At(block.x + dx, block.y + side.dy),
                                      reference_.Stride(), side.CostOf(i));
    } else {
      const int end = std::min(kCostsPerCall, side.allowed.end - i);
      for (int k = 0; k < end; ++k) {
        *side.CostOf(i + k) = static_cast<uint16_t>(Cost(block, dx + kStep * k, side.dy));
      }
    }
    side.least = std::min(side.least, least);
  }
}

void CoarseSearch::MeasureDown(const LumaBlock& block, const VectorRange& range, Side& side) const {
  if (side.dx < range.dx_low || side.dx > range.dx_high) return;
  side.allowed = Inside(side.dy, side.count, range.dy_low, range.dy_high);
  if (side.allowed.first == side.allowed.end) return;
  const int dy = side.dy + kStep * side.allowed.first;
  if (IsWhole(block)) {
    side.least =
        kernels_.sad_8x8_down(source_.At(block.x, block.y), source_.Stride(),
                              reference_.At(block.x + side.dx, block.y + dy), reference_.Stride(),
                              static_cast<size_t>(side.allowed.end - side.allowed.first),
                              side.CostOf(side.allowed.first));
    return;
  }
  side.least = 0;
  for (int i = side.allowed.first; i < side.allowed.end; ++i) {
    *side.CostOf(i) = static_cast<uint16_t>(Cost(block, side.dx, side.dy + kStep * i));
  }
}

CoarseCandidate CoarseSearch::SearchRings(const LumaBlock& block, const VectorRange& range,
                                          const CoarseCandidate& centre) const {
  CoarseCandidate best = centre;
  const int cx = centre.vector.dx;
  const int cy = centre.vector.dy;
  // Candidates of opposite sides are compared alternately.
  const auto offer = [&best](Side& one, Side& other, int step_x, int step_y) {
    if (std::min(one.least, other.least) >= best.cost) return;
    for (int i = 0; i < one.count; ++i) {
      for (Side* const side : {&one, &other}) {
        if (!side->allowed.Contains(i)) continue;
        best.Offer({static_cast<int8_t>(side->dx + i * step_x),
                    static_cast<int8_t>(side->dy + i * step_y)},
                   *side->CostOf(i));
      }
    }
  };
  for (int radius = kStep; radius <= kRadius && best.cost >= kGoodCost; radius += kStep) {
    Side top(cx - radius, cy - radius, radius + 1);
    Side bottom(cx - radius, cy + radius, radius + 1);
    MeasureAcross(block, range, top);
    MeasureAcross(block, range, bottom);
    offer(top, bottom, kStep, 0);
    Side left(cx - radius, cy - radius + kStep, radius - 1);
    Side right(cx + radius, cy - radius + kStep, radius - 1);
    MeasureDown(block, range, left);
    MeasureDown(block, range, right);
    offer(left, right, 0, kStep);
  }
  return best;
}

}  // namespace qolm::video
