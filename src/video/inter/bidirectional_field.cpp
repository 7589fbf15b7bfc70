// SPDX-License-Identifier: MIT
#include "video/inter/bidirectional_field.h"

#include <algorithm>
#include <utility>

#include "video/payload/mode_packing.h"

namespace qolm::video {

MotionVector DirectVector(const MotionVector& predictor) {
  const auto clamp = [](int8_t component) {
    return std::clamp(component, static_cast<int8_t>(-kMaxVector), static_cast<int8_t>(kMaxVector));
  };
  return {clamp(predictor.dx), clamp(predictor.dy)};
}

std::vector<uint8_t> PackBidirectionalModes(std::span<const BidirectionalMode> modes) {
  std::vector<uint8_t> values(modes.size());
  std::transform(modes.begin(), modes.end(), values.begin(),
                 [](BidirectionalMode mode) { return static_cast<uint8_t>(mode); });
  return PackModes(values);
}

size_t PackedModeCount(const MacroblockGrid& grid) { return (grid.Count() + 3) / 4; }

std::vector<BidirectionalMode> UnpackBidirectionalModes(const MacroblockGrid& grid,
                                                        std::span<const uint8_t> packed) {
  const std::vector<uint8_t> values = UnpackModes(packed, grid.Count());
  std::vector<BidirectionalMode> modes(values.size());
  std::transform(values.begin(), values.end(), modes.begin(),
                 [](uint8_t value) { return static_cast<BidirectionalMode>(value); });
  return modes;
}

size_t VectorByteCount(std::span<const BidirectionalMode> modes) {
  size_t count = 0;
  for (const BidirectionalMode mode : modes) {
    if (mode == BidirectionalMode::kDirect) continue;
    count += mode == BidirectionalMode::kBoth ? 4 : 2;
  }
  return count;
}

std::vector<uint8_t> CodeBidirectionalVectors(const MacroblockGrid& grid,
                                              const BidirectionalField& field, bool prediction) {
  std::vector<uint8_t> bytes;
  bytes.reserve(VectorByteCount(field.modes));
  VectorListPredictor past(grid, prediction);
  VectorListPredictor future(grid, prediction);
  const auto code = [&bytes](VectorListPredictor& predictor,
                             const std::vector<MacroblockMotion>& list, size_t i, bool stored) {
    const MotionVector& vector = list[i].vectors[0];
    if (stored) AppendVectorDifference(vector, predictor.Predict(list, i), bytes);
    predictor.Update(vector);
  };
  for (size_t i = 0; i < field.modes.size(); ++i) {
    const bool stored = field.modes[i] != BidirectionalMode::kDirect;
    if (UsesPast(field.modes[i])) code(past, field.past, i, stored);
    if (UsesFuture(field.modes[i])) code(future, field.future, i, stored);
  }
  return bytes;
}

BidirectionalField DecodeBidirectionalField(const MacroblockGrid& grid,
                                            std::vector<BidirectionalMode> modes,
                                            std::span<const uint8_t> vector_bytes,
                                            bool prediction) {
  BidirectionalField field(grid.Count());
  field.modes = std::move(modes);
  VectorListPredictor past(grid, prediction);
  VectorListPredictor future(grid, prediction);
  const uint8_t* next = vector_bytes.data();
  const auto decode = [&next](VectorListPredictor& predictor, std::vector<MacroblockMotion>& list,
                              size_t i, bool stored) {
    MotionVector& vector = list[i].vectors[0];
    const MotionVector predicted = predictor.Predict(list, i);
    if (stored) {
      vector = AddVectorDifference(next, predicted);
      next += 2;
    } else {
      vector = DirectVector(predicted);
    }
    predictor.Update(vector);
  };
  for (size_t i = 0; i < field.modes.size(); ++i) {
    const bool stored = field.modes[i] != BidirectionalMode::kDirect;
    if (UsesPast(field.modes[i])) decode(past, field.past, i, stored);
    if (UsesFuture(field.modes[i])) decode(future, field.future, i, stored);
  }
  return field;
}

}  // namespace qolm::video
