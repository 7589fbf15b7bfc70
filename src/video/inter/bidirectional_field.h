// SPDX-License-Identifier: MIT
//
// The motion of one bidirectional picture and its two byte streams.
#ifndef QOLM_VIDEO_INTER_BIDIRECTIONAL_FIELD_H_
#define QOLM_VIDEO_INTER_BIDIRECTIONAL_FIELD_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "video/inter/motion_field.h"

namespace qolm::video {

// The prediction of a macroblock. "Both" is the mean of the two predictions, rounded up.
enum class BidirectionalMode : uint8_t {
  kBoth = 0,
  kPast = 1,
  kFuture = 2,
  kDirect = 3,  // both, with predicted vectors that are not coded
};

inline bool UsesPast(BidirectionalMode mode) { return mode != BidirectionalMode::kFuture; }
inline bool UsesFuture(BidirectionalMode mode) { return mode != BidirectionalMode::kPast; }

// Macroblocks in raster order. No macroblock is split; a vector that its mode
// does not use is (0, 0).
struct BidirectionalField {
  explicit BidirectionalField(size_t macroblocks)
      : modes(macroblocks), past(macroblocks), future(macroblocks) {}

  std::vector<BidirectionalMode> modes;
  std::vector<MacroblockMotion> past;    // into the earlier anchor
  std::vector<MacroblockMotion> future;  // into the later anchor
};

// Predicts the vectors of one list in raster order.
class VectorListPredictor {
 public:
  // Predictors are those of MedianPredictor with `prediction`, else the list's previous
  // vector.
  VectorListPredictor(const MacroblockGrid& grid, bool prediction)
      : grid_(grid), prediction_(prediction) {}

  MotionVector Predict(std::span<const MacroblockMotion> list, size_t index) const {
    return prediction_ ? MedianPredictor(grid_, list, index) : previous_;
  }
  // Must be called with every vector of the list that a macroblock uses.
  void Update(const MotionVector& vector) { previous_ = vector; }

 private:
  MacroblockGrid grid_;
  bool prediction_;
  MotionVector previous_;
};

// The vector of a direct macroblock: its predictor, clamped to -31..31.
MotionVector DirectVector(const MotionVector& predictor);

// Two bits per macroblock.
std::vector<uint8_t> PackBidirectionalModes(std::span<const BidirectionalMode> modes);

// Per macroblock the past vector (modes both and past), then the future vector
// (modes both and future), each as AppendVectorDifference from its predictor.
std::vector<uint8_t> CodeBidirectionalVectors(const MacroblockGrid& grid,
                                              const BidirectionalField& field, bool prediction);

// The number of bytes that the packed modes of a picture take.
size_t PackedModeCount(const MacroblockGrid& grid);

// `packed` has PackedModeCount bytes.
std::vector<BidirectionalMode> UnpackBidirectionalModes(const MacroblockGrid& grid,
                                                        std::span<const uint8_t> packed);

// The size of the result of CodeBidirectionalVectors for these modes.
size_t VectorByteCount(std::span<const BidirectionalMode> modes);

// `vector_bytes` has VectorByteCount bytes.
BidirectionalField DecodeBidirectionalField(const MacroblockGrid& grid,
                                            std::vector<BidirectionalMode> modes,
                                            std::span<const uint8_t> vector_bytes, bool prediction);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_BIDIRECTIONAL_FIELD_H_
