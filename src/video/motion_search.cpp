#include "video/motion_search.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstdlib>
#include <limits>
#include <span>

#include "base/team.h"
#include "video/phase_planes.h"
#include "video/video_kernels.h"

namespace qolm::video {
namespace {

constexpr int kCoarseRadius = 20;
constexpr int kCoarseStep = 2;
constexpr uint32_t kGoodCoarseCost = 512;  // on a quarter of the samples
constexpr int kQuarterRadius = 2;

// Four vectors must bring this much over one.
constexpr uint32_t kSplitLeastCost = 1201;
constexpr uint32_t kSplitMargin = 900;

// Every fourth macroblock in both directions votes on the global motion: the
// vector other than zero with the most votes becomes a candidate everywhere.
constexpr uint32_t kGlobalSpacing = 4;

constexpr uint32_t kNoCost = std::numeric_limits<uint32_t>::max();

struct Candidate {
  MotionVector vector;
  uint32_t cost = kNoCost;   // sum of absolute differences
  uint32_t score = kNoCost;  // the same plus what the vector's bits are worth

  // Keeps the first of equals.
  void Offer(const MotionVector& other, uint32_t other_cost, uint32_t other_score) {
    if (other_score < score) *this = {other, other_cost, other_score};
  }
};

// Bits of a vector's two difference bytes, roughly: small ones are frequent.
int VectorBits(const MotionVector& vector, const MotionVector& predictor) {
  const auto component_bits = [](int difference) {
    return 2 * static_cast<int>(std::bit_width(static_cast<unsigned>(std::abs(difference))));
  };
  return component_bits(vector.dx - predictor.dx) + component_bits(vector.dy - predictor.dy);
}

// The part of a block that lies inside the picture.
struct Block {
  int x;
  int y;
  int width;
  int height;
};

uint32_t PartialSad(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride,
                    int columns, int rows) {
  uint32_t sum = 0;
  for (int r = 0; r < rows; ++r) {
    for (int c = 0; c < columns; ++c) {
      sum += static_cast<uint32_t>(std::abs(a[r * a_stride + c] - b[r * b_stride + c]));
    }
  }
  return sum;
}

class MotionSearch {
 public:
  MotionSearch(const uint8_t* source, const uint8_t* reference, uint32_t width, uint32_t height,
               const MotionSearchOptions& options)
      : kernels_(ActiveVideoKernels()),
        source_(source),
        reference_(reference),
        width_(static_cast<int>(width)),
        height_(static_cast<int>(height)),
        options_(options),
        coarse_source_(source, width, height, /*even_only=*/true),
        coarse_reference_(reference, width, height, /*even_only=*/false) {}

  std::vector<MacroblockMotion> Run() {
    const MacroblockGrid grid(static_cast<uint32_t>(width_), static_cast<uint32_t>(height_));
    std::vector<MacroblockMotion> field(grid.Count());
    if (options_.pre_analysis) global_ = EstimateGlobalMotion(grid);

    const int rows = static_cast<int>(grid.rows);
#pragma omp parallel for num_threads(kTeamSize) schedule(dynamic, 1) if (WorthATeam())
    for (int row = 0; row < rows; ++row) {
      // Within a row the vector on the left is a candidate; rows share nothing.
      MotionVector left;
      for (uint32_t column = 0; column < grid.columns; ++column) {
        MacroblockMotion& motion = field[static_cast<size_t>(row) * grid.columns + column];
        motion = SearchMacroblock(MacroblockAt(column, static_cast<uint32_t>(row)), left);
        left = motion.vectors[0];
      }
    }
    SmoothField(grid, field);
    return field;
  }

 private:
  bool WorthATeam() const {
    return static_cast<size_t>(width_) * static_cast<size_t>(height_) >= kSamplesWorthATeam;
  }

  Block MacroblockAt(uint32_t column, uint32_t row) const {
    const int x = static_cast<int>(column) * 16;
    const int y = static_cast<int>(row) * 16;
    return {x, y, std::min(16, width_ - x), std::min(16, height_ - y)};
  }

  bool IsInside(const Block& block, int dx, int dy) const {
    return block.x + dx >= 0 && block.y + dy >= 0 && block.x + dx + block.width <= width_ &&
           block.y + dy + block.height <= height_;
  }

  // On every second sample of every second row.
  uint32_t CoarseCost(const Block& block, const MotionVector& vector) const {
    const uint8_t* const source = coarse_source_.At(block.x, block.y);
    const uint8_t* const reference = coarse_reference_.At(block.x + vector.dx, block.y + vector.dy);
    if (block.width == 16 && block.height == 16) {
      return kernels_.sad_8x8(source, coarse_source_.Stride(), reference,
                              coarse_reference_.Stride());
    }
    return PartialSad(source, coarse_source_.Stride(), reference, coarse_reference_.Stride(),
                      (block.width + 1) / 2, (block.height + 1) / 2);
  }

  // On every sample.
  uint32_t FullCost(const Block& block, const MotionVector& vector) const {
    const uint8_t* const source = source_ + static_cast<ptrdiff_t>(block.y) * width_ + block.x;
    const uint8_t* const reference =
        reference_ + static_cast<ptrdiff_t>(block.y + vector.dy) * width_ + block.x + vector.dx;
    if (block.width == 16 && block.height == 16) {
      return kernels_.sad_16x16(source, width_, reference, width_);
    }
    if (block.width == 8 && block.height == 8) {
      return kernels_.sad_8x8(source, width_, reference, width_);
    }
    return PartialSad(source, width_, reference, width_, block.width, block.height);
  }

  // What coding `vector` is worth, in differences over every sample.
  uint32_t VectorCost(const MotionVector& vector, const MotionVector& predictor) const {
    return static_cast<uint32_t>(options_.vector_cost *
                                 static_cast<float>(VectorBits(vector, predictor)));
  }

  // The coarse search judges by the differences alone.
  void OfferCoarse(const Block& block, int dx, int dy, Candidate& best) const {
    if (std::abs(dx) > kMaxVector || std::abs(dy) > kMaxVector || !IsInside(block, dx, dy)) return;
    const MotionVector vector{static_cast<int8_t>(dx), static_cast<int8_t>(dy)};
    const uint32_t cost = CoarseCost(block, vector);
    best.Offer(vector, cost, cost);
  }

  void OfferFull(const Block& block, int dx, int dy, const MotionVector& predictor,
                 Candidate& best) const {
    if (std::abs(dx) > kMaxVector || std::abs(dy) > kMaxVector || !IsInside(block, dx, dy)) return;
    const MotionVector vector{static_cast<int8_t>(dx), static_cast<int8_t>(dy)};
    const uint32_t cost = FullCost(block, vector);
    best.Offer(vector, cost, cost + VectorCost(vector, predictor));
  }

  // Square rings around `centre`, each finished before its result counts.
  Candidate SearchRings(const Block& block, const Candidate& centre) const {
    Candidate best = centre;
    const int cx = centre.vector.dx;
    const int cy = centre.vector.dy;
    for (int radius = kCoarseStep; radius <= kCoarseRadius && best.cost >= kGoodCoarseCost;
         radius += kCoarseStep) {
      for (int offset = -radius; offset <= radius; offset += kCoarseStep) {
        OfferCoarse(block, cx + offset, cy - radius, best);
        OfferCoarse(block, cx + offset, cy + radius, best);
      }
      for (int offset = -radius + kCoarseStep; offset < radius; offset += kCoarseStep) {
        OfferCoarse(block, cx - radius, cy + offset, best);
        OfferCoarse(block, cx + radius, cy + offset, best);
      }
    }
    return best;
  }

  MotionVector EstimateGlobalMotion(const MacroblockGrid& grid) const {
    constexpr size_t kSpan = 2 * kMaxVector + 1;
    std::vector<uint32_t> votes(kSpan * kSpan);
    const int voting_rows = static_cast<int>(grid.rows / kGlobalSpacing);
    const uint32_t voting_columns = grid.columns / kGlobalSpacing;
    std::vector<MotionVector> ballots(static_cast<size_t>(voting_rows) * voting_columns);

#pragma omp parallel for num_threads(kTeamSize) schedule(dynamic, 1) if (WorthATeam())
    for (int row = 0; row < voting_rows; ++row) {
      for (uint32_t column = 0; column < voting_columns; ++column) {
        const Block block =
            MacroblockAt(column * kGlobalSpacing + kGlobalSpacing / 2,
                         static_cast<uint32_t>(row) * kGlobalSpacing + kGlobalSpacing / 2);
        Candidate centre;
        OfferCoarse(block, 0, 0, centre);
        ballots[static_cast<size_t>(row) * voting_columns + column] =
            SearchRings(block, centre).vector;
      }
    }
    MotionVector winner;
    uint32_t most = 0;
    for (const MotionVector& ballot : ballots) {
      if (ballot == MotionVector{}) continue;  // always a candidate anyway
      const size_t slot = static_cast<size_t>(ballot.dy + kMaxVector) * kSpan +
                          static_cast<size_t>(ballot.dx + kMaxVector);
      if (++votes[slot] > most) {
        most = votes[slot];
        winner = ballot;
      }
    }
    return winner;
  }

  MacroblockMotion SearchMacroblock(const Block& block, const MotionVector& left) const {
    Candidate coarse;
    OfferCoarse(block, 0, 0, coarse);
    OfferCoarse(block, left.dx, left.dy, coarse);
    OfferCoarse(block, global_.dx, global_.dy, coarse);
    coarse = SearchRings(block, coarse);

    Candidate best;
    OfferFull(block, 0, 0, left, best);
    OfferFull(block, left.dx, left.dy, left, best);
    OfferFull(block, global_.dx, global_.dy, left, best);
    const int cx = coarse.vector.dx;
    const int cy = coarse.vector.dy;
    OfferFull(block, cx, cy, left, best);
    for (int dy = -1; dy <= 1; ++dy) {
      for (int dx = -1; dx <= 1; ++dx) {
        if (dx != 0 || dy != 0) OfferFull(block, cx + dx, cy + dy, left, best);
      }
    }

    MacroblockMotion motion;
    motion.vectors.fill(best.vector);
    if (best.cost >= kSplitLeastCost) SplitIfBetter(block, best, motion);
    return motion;
  }

  void SplitIfBetter(const Block& block, const Candidate& whole, MacroblockMotion& motion) const {
    std::array<MotionVector, 4> vectors;
    uint32_t sum = 0;
    for (size_t quarter = 0; quarter < 4; ++quarter) {
      const int x = block.x + static_cast<int>(quarter % 2) * 8;
      const int y = block.y + static_cast<int>(quarter / 2) * 8;
      const Block part{x, y, std::min(8, width_ - x), std::min(8, height_ - y)};
      vectors[quarter] = whole.vector;
      if (part.width <= 0 || part.height <= 0) continue;
      Candidate best;
      for (int dy = -kQuarterRadius; dy <= kQuarterRadius; ++dy) {
        for (int dx = -kQuarterRadius; dx <= kQuarterRadius; ++dx) {
          OfferFull(part, whole.vector.dx + dx, whole.vector.dy + dy, whole.vector, best);
        }
      }
      vectors[quarter] = best.vector;
      sum += best.cost;
    }
    // sum < 0.75 * cost, in whole numbers.
    if (sum + kSplitMargin < whole.cost && uint64_t{4} * sum < uint64_t{3} * whole.cost) {
      motion.split = 1;
      motion.vectors = vectors;
    }
  }

  // Gives macroblocks their neighbours' vector where the difference is not
  // worth its bits. One pass in raster order.
  void SmoothField(const MacroblockGrid& grid, std::span<MacroblockMotion> field) const {
    for (size_t i = 0; i < field.size(); ++i) {
      if (field[i].split != 0) continue;
      const MotionVector predictor = MedianPredictor(grid, field, i);
      std::array<MotionVector, 4> neighbours = {predictor, MotionVector{}};
      if (i % grid.columns > 0) neighbours[2] = field[i - 1].vectors[0];
      if (i >= grid.columns) neighbours[3] = field[i - grid.columns].vectors[0];

      const Block block = MacroblockAt(static_cast<uint32_t>(i % grid.columns),
                                       static_cast<uint32_t>(i / grid.columns));
      const MotionVector own = field[i].vectors[0];
      Candidate best;
      OfferFull(block, own.dx, own.dy, predictor, best);
      for (const MotionVector& vector : neighbours) {
        if (vector != own) OfferFull(block, vector.dx, vector.dy, predictor, best);
      }
      field[i].vectors.fill(best.vector);
    }
  }

  const VideoKernels& kernels_;
  const uint8_t* const source_;
  const uint8_t* const reference_;
  const int width_;
  const int height_;
  const MotionSearchOptions options_;
  const PhasePlanes coarse_source_;
  const PhasePlanes coarse_reference_;
  MotionVector global_;
};

}  // namespace

std::vector<MacroblockMotion> SearchMotion(const uint8_t* source, const uint8_t* reference,
                                           uint32_t width, uint32_t height,
                                           const MotionSearchOptions& options) {
  return MotionSearch(source, reference, width, height, options).Run();
}

}  // namespace qolm::video
