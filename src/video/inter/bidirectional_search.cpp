// SPDX-License-Identifier: MIT
#include "video/inter/bidirectional_search.h"

#include <array>
#include <cstdint>
#include <cstdlib>

#include "base/parallel_for.h"
#include "video/inter/block_matching.h"
#include "video/inter/motion_compensation.h"
#include "video/inter/motion_search.h"
#include "video/kernels/video_kernels.h"

namespace qolm::video {
namespace {

// lambda = factor * luma DC step, in absolute differences per bit. The factor and the
// bits below are tuned for the smallest size at equal PSNR.
constexpr float kBitCostFactor = 0.6F;

// Estimated rate of a macroblock's mode without its vectors. "Direct" is free; "both" is
// favoured over a single anchor because it enables direct neighbours.
constexpr float kOneSidedBits = 4.0F;
constexpr float kBothBits = 2.0F;

constexpr int kJointRounds = 2;
constexpr int kJointRadius = 1;

// Luma samples of a prediction, in an anchor or in a temporary block.
struct LumaView {
  const uint8_t* samples;
  ptrdiff_t stride;
};

// The search result of a macroblock before the mode decision.
struct MacroblockVectors {
  MotionVector past;
  MotionVector future;
  MotionVector joint_past;
  MotionVector joint_future;
  uint32_t past_cost = 0;
  uint32_t future_cost = 0;
  uint32_t joint_cost = 0;
};

class BidirectionalSearch {
 public:
  BidirectionalSearch(const YuvPlanes& source, const YuvPlanes& past, const YuvPlanes& future,
                      const BidirectionalSearchOptions& options, float luma_dc_step)
      : kernels_(ActiveVideoKernels()),
        source_(source),
        past_(past),
        future_(future),
        past_matcher_(source.y.data(), past.y.data(), source.width, source.height),
        future_matcher_(source.y.data(), future.y.data(), source.width, source.height),
        grid_(source.width, source.height),
        options_(options),
        bit_cost_(kBitCostFactor * luma_dc_step) {}

  BidirectionalField Run() const {
    MotionSearchOptions search;
    search.pre_analysis = options_.pre_analysis;
    search.four_vectors = false;
    search.vector_cost = bit_cost_;
    const auto search_anchor = [&](const YuvPlanes& anchor) {
      return SearchMotion(source_.y.data(), anchor.y.data(), source_.width, source_.height, search);
    };
    const std::vector<MacroblockMotion> past = search_anchor(past_);
    const std::vector<MacroblockMotion> future = search_anchor(future_);

    std::vector<MacroblockVectors> vectors(grid_.Count());
    ParallelFor(grid_.rows, source_.y.size() >= kMinParallelSamples, [&](size_t row) {
      for (uint32_t column = 0; column < grid_.columns; ++column) {
        const size_t i = row * grid_.columns + column;
        vectors[i] = RefineJointly(past_matcher_.MacroblockAt(column, static_cast<uint32_t>(row)),
                                   past[i].vectors[0], future[i].vectors[0]);
      }
    });
    return ChooseModes(vectors);
  }

 private:
  // Sum of absolute differences to the mean of the two predictions.
  uint32_t JointCost(const LumaBlock& block, const LumaView& past, const LumaView& future) const {
    const uint8_t* const source = past_matcher_.Source(block);
    const ptrdiff_t stride = past_matcher_.width();
    if (block.width == 16 && block.height == 16) {
      return kernels_.sad_of_mean_16x16(source, stride, past.samples, past.stride, future.samples,
                                        future.stride);
    }
    uint32_t sum = 0;
    for (int r = 0; r < block.height; ++r) {
      for (int c = 0; c < block.width; ++c) {
        const int mean =
            (past.samples[r * past.stride + c] + future.samples[r * future.stride + c] + 1) >> 1;
        sum += static_cast<uint32_t>(std::abs(source[r * stride + c] - mean));
      }
    }
    return sum;
  }

  static LumaView View(const BlockMatcher& matcher, const LumaBlock& block,
                       const MotionVector& vector) {
    return {matcher.Reference(block, vector), matcher.width()};
  }

  MacroblockVectors RefineJointly(const LumaBlock& block, const MotionVector& past,
                                  const MotionVector& future) const {
    MacroblockVectors result{.past = past,
                             .future = future,
                             .joint_past = past,
                             .joint_future = future,
                             .past_cost = past_matcher_.Cost(block, past),
                             .future_cost = future_matcher_.Cost(block, future)};
    result.joint_cost =
        JointCost(block, View(past_matcher_, block, past), View(future_matcher_, block, future));
    for (int round = 0; round < kJointRounds; ++round) {
      bool moved = RefineOne(block, past_matcher_, result.joint_past, future_matcher_,
                             result.joint_future, result.joint_cost);
      moved |= RefineOne(block, future_matcher_, result.joint_future, past_matcher_,
                         result.joint_past, result.joint_cost);
      if (!moved) break;
    }
    return result;
  }

  // Moves `vector` to its best neighbour with the other prediction fixed.
  bool RefineOne(const LumaBlock& block, const BlockMatcher& fixed_matcher,
                 const MotionVector& fixed_vector, const BlockMatcher& matcher,
                 MotionVector& vector, uint32_t& cost) const {
    const LumaView fixed = View(fixed_matcher, block, fixed_vector);
    const VectorRange range = matcher.RangeOf(block);
    const MotionVector centre = vector;
    for (int dy = -kJointRadius; dy <= kJointRadius; ++dy) {
      for (int dx = -kJointRadius; dx <= kJointRadius; ++dx) {
        if (!range.Contains(centre.dx + dx, centre.dy + dy)) continue;
        const MotionVector moved{static_cast<int8_t>(centre.dx + dx),
                                 static_cast<int8_t>(centre.dy + dy)};
        const uint32_t moved_cost = JointCost(block, fixed, View(matcher, block, moved));
        if (moved_cost >= cost) continue;
        cost = moved_cost;
        vector = moved;
      }
    }
    return vector != centre;
  }

  // The prediction by any vector, even one that points outside the anchor.
  LumaView PredictLuma(const YuvPlanes& anchor, const BlockMatcher& matcher, const LumaBlock& block,
                       const MotionVector& vector, std::array<uint8_t, 256>& storage) const {
    if (matcher.RangeOf(block).Contains(vector.dx, vector.dy)) return View(matcher, block, vector);
    MacroblockMotion motion;
    motion.vectors[0] = vector;
    CompensateLumaMacroblock(anchor, static_cast<uint32_t>(block.x) / 16,
                             static_cast<uint32_t>(block.y) / 16, motion, storage.data(), 16);
    return {storage.data(), 16};
  }

  BidirectionalField ChooseModes(const std::vector<MacroblockVectors>& vectors) const {
    BidirectionalField field(grid_.Count());
    VectorListPredictor past_predictor(grid_, options_.prediction);
    VectorListPredictor future_predictor(grid_, options_.prediction);
    for (size_t i = 0; i < vectors.size(); ++i) {
      const MacroblockVectors& found = vectors[i];
      const MotionVector past = past_predictor.Predict(field.past, i);
      const MotionVector future = future_predictor.Predict(field.future, i);
      const MotionVector direct_past = DirectVector(past);
      const MotionVector direct_future = DirectVector(future);
      const LumaBlock block = past_matcher_.MacroblockAt(static_cast<uint32_t>(i % grid_.columns),
                                                         static_cast<uint32_t>(i / grid_.columns));
      std::array<uint8_t, 256> past_storage;
      std::array<uint8_t, 256> future_storage;
      const uint32_t direct_cost =
          JointCost(block, PredictLuma(past_, past_matcher_, block, direct_past, past_storage),
                    PredictLuma(future_, future_matcher_, block, direct_future, future_storage));

      BidirectionalMode mode = BidirectionalMode::kDirect;
      float best = static_cast<float>(direct_cost);
      const auto offer = [&](BidirectionalMode other, uint32_t cost, float mode_bits,
                             int vector_bits) {
        const float bits = mode_bits + static_cast<float>(vector_bits);
        const float score = static_cast<float>(cost) + bit_cost_ * bits;
        if (score >= best) return;
        best = score;
        mode = other;
      };
      offer(BidirectionalMode::kBoth, found.joint_cost, kBothBits,
            VectorBits(found.joint_past, past) + VectorBits(found.joint_future, future));
      offer(BidirectionalMode::kPast, found.past_cost, kOneSidedBits, VectorBits(found.past, past));
      offer(BidirectionalMode::kFuture, found.future_cost, kOneSidedBits,
            VectorBits(found.future, future));

      field.modes[i] = mode;
      const bool both = mode == BidirectionalMode::kBoth;
      const bool direct = mode == BidirectionalMode::kDirect;
      if (UsesPast(mode)) {
        const MotionVector& vector = direct ? direct_past : both ? found.joint_past : found.past;
        field.past[i].vectors[0] = vector;
        past_predictor.Update(vector);
      }
      if (UsesFuture(mode)) {
        const MotionVector& vector = direct ? direct_future
                                     : both ? found.joint_future
                                            : found.future;
        field.future[i].vectors[0] = vector;
        future_predictor.Update(vector);
      }
    }
    return field;
  }

  const VideoKernels& kernels_;
  const YuvPlanes& source_;
  const YuvPlanes& past_;
  const YuvPlanes& future_;
  const BlockMatcher past_matcher_;
  const BlockMatcher future_matcher_;
  const MacroblockGrid grid_;
  const BidirectionalSearchOptions options_;
  const float bit_cost_;  // absolute differences per bit
};

}  // namespace

BidirectionalField SearchBidirectional(const YuvPlanes& source, const YuvPlanes& past,
                                       const YuvPlanes& future,
                                       const BidirectionalSearchOptions& options,
                                       float luma_dc_step) {
  return BidirectionalSearch(source, past, future, options, luma_dc_step).Run();
}

}  // namespace qolm::video
