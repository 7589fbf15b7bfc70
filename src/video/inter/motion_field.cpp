// SPDX-License-Identifier: MIT
#include "video/inter/motion_field.h"

#include <algorithm>

namespace qolm::video {
namespace {

int8_t Median(int8_t a, int8_t b, int8_t c) {
  return std::max(std::min(a, b), std::min(std::max(a, b), c));
}

// Quarter q of a split macroblock is coded against quarter kBaseQuarter[q].
constexpr std::array<size_t, 4> kBaseQuarter = {0, 0, 0, 1};

bool IsSplit(std::span<const uint8_t> split_map, size_t index) {
  return ((split_map[index / 8] >> (index % 8)) & 1) != 0;
}

}  // namespace

MotionVector MedianPredictor(const MacroblockGrid& grid, std::span<const MacroblockMotion> field,
                             size_t index) {
  const size_t column = index % grid.columns;
  const bool has_top = index >= grid.columns;
  MotionVector left;
  MotionVector top;
  MotionVector corner;
  if (column > 0) left = field[index - 1].vectors[0];
  if (has_top) {
    top = field[index - grid.columns].vectors[0];
    if (column + 1 < grid.columns) {
      corner = field[index - grid.columns + 1].vectors[0];
    } else if (column > 0) {
      corner = field[index - grid.columns - 1].vectors[0];
    }
  }
  return {Median(left.dx, top.dx, corner.dx), Median(left.dy, top.dy, corner.dy)};
}

void AppendVectorDifference(const MotionVector& vector, const MotionVector& predictor,
                            std::vector<uint8_t>& bytes) {
  bytes.push_back(static_cast<uint8_t>(vector.dx - predictor.dx + 128));
  bytes.push_back(static_cast<uint8_t>(vector.dy - predictor.dy + 128));
}

MotionVector AddVectorDifference(const uint8_t* bytes, const MotionVector& predictor) {
  return {static_cast<int8_t>(static_cast<uint8_t>(bytes[0] - 128 + predictor.dx)),
          static_cast<int8_t>(static_cast<uint8_t>(bytes[1] - 128 + predictor.dy))};
}

std::vector<uint8_t> PackSplitMap(std::span<const MacroblockMotion> field) {
  std::vector<uint8_t> map((field.size() + 7) / 8);
  for (size_t i = 0; i < field.size(); ++i) {
    if (field[i].split != 0) map[i / 8] = static_cast<uint8_t>(map[i / 8] | (1 << (i % 8)));
  }
  return map;
}

std::vector<uint8_t> CodeMotionBytes(const MacroblockGrid& grid,
                                     std::span<const MacroblockMotion> field, bool prediction) {
  std::vector<uint8_t> bytes;
  bytes.reserve(2 * field.size());
  MotionVector previous;
  for (size_t i = 0; i < field.size(); ++i) {
    const auto& vectors = field[i].vectors;
    const size_t count = field[i].split != 0 ? 4 : 1;
    for (size_t q = 0; q < count; ++q) {
      MotionVector predictor = previous;
      if (prediction) {
        predictor = q == 0 ? MedianPredictor(grid, field, i) : vectors[kBaseQuarter[q]];
      }
      AppendVectorDifference(vectors[q], predictor, bytes);
      previous = vectors[q];
    }
  }
  return bytes;
}

size_t MotionByteCount(const MacroblockGrid& grid, std::span<const uint8_t> split_map) {
  size_t count = 0;
  for (size_t i = 0; i < grid.Count(); ++i) count += IsSplit(split_map, i) ? 8 : 2;
  return count;
}

std::vector<MacroblockMotion> DecodeMotionField(const MacroblockGrid& grid,
                                                std::span<const uint8_t> split_map,
                                                std::span<const uint8_t> motion_bytes,
                                                bool prediction) {
  std::vector<MacroblockMotion> field(grid.Count());
  MotionVector previous;
  const uint8_t* next = motion_bytes.data();
  for (size_t i = 0; i < field.size(); ++i) {
    auto& vectors = field[i].vectors;
    field[i].split = IsSplit(split_map, i) ? 1 : 0;
    const size_t count = field[i].split != 0 ? 4 : 1;
    for (size_t q = 0; q < count; ++q, next += 2) {
      MotionVector predictor = previous;
      if (prediction) {
        predictor = q == 0 ? MedianPredictor(grid, field, i) : vectors[kBaseQuarter[q]];
      }
      vectors[q] = AddVectorDifference(next, predictor);
      previous = vectors[q];
    }
  }
  return field;
}

}  // namespace qolm::video
