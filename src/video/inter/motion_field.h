// SPDX-License-Identifier: MIT
//
// The motion of one predicted picture and its two byte streams.
//
// A macroblock covers 16x16 luma samples and carries one vector, or four, one
// per 8x8 quarter in the order top left, top right, bottom left, bottom right.
#ifndef QOLM_VIDEO_INTER_MOTION_FIELD_H_
#define QOLM_VIDEO_INTER_MOTION_FIELD_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

namespace qolm::video {

// In whole luma samples. The search uses -kMaxVector..kMaxVector, the decoder accepts all
// values.
struct MotionVector {
  int8_t dx = 0;
  int8_t dy = 0;
  friend bool operator==(const MotionVector&, const MotionVector&) = default;
};

inline constexpr int kMaxVector = 31;

// Only vectors[0] is used while `split` is 0.
struct MacroblockMotion {
  uint8_t split = 0;
  std::array<MotionVector, 4> vectors{};

  const MotionVector& Quarter(size_t quarter) const { return vectors[split != 0 ? quarter : 0]; }
};

// Macroblocks in raster order over ceil(width / 16) x ceil(height / 16).
struct MacroblockGrid {
  uint32_t columns;
  uint32_t rows;

  MacroblockGrid(uint32_t width, uint32_t height)
      : columns(width / 16 + (width % 16 != 0 ? 1 : 0)),
        rows(height / 16 + (height % 16 != 0 ? 1 : 0)) {}
  size_t Count() const { return size_t{columns} * rows; }
};

// Component-wise median of the first vectors of the left, the upper and the
// upper-right macroblock; the upper-left one replaces the upper-right in the
// last column, and a macroblock outside the picture counts as (0, 0).
MotionVector MedianPredictor(const MacroblockGrid& grid, std::span<const MacroblockMotion> field,
                             size_t index);

// A vector's two bytes: difference + 128, wrapping.
void AppendVectorDifference(const MotionVector& vector, const MotionVector& predictor,
                            std::vector<uint8_t>& bytes);
MotionVector AddVectorDifference(const uint8_t* bytes, const MotionVector& predictor);

// One bit per macroblock, the least significant first; set = four vectors.
std::vector<uint8_t> PackSplitMap(std::span<const MacroblockMotion> field);

// Two bytes per vector as in AppendVectorDifference. With `prediction` the first vector
// is coded against its median predictor, quarters 2 and 3 against quarter 1 and quarter
// 4 against quarter 2; otherwise every vector against the previous one in the list.
std::vector<uint8_t> CodeMotionBytes(const MacroblockGrid& grid,
                                     std::span<const MacroblockMotion> field, bool prediction);

// The size of the result of CodeMotionBytes for a split map, whose bits beyond the last
// macroblock are ignored.
size_t MotionByteCount(const MacroblockGrid& grid, std::span<const uint8_t> split_map);

// The inverse of PackSplitMap and CodeMotionBytes; `motion_bytes` must have the size
// MotionByteCount.
std::vector<MacroblockMotion> DecodeMotionField(const MacroblockGrid& grid,
                                                std::span<const uint8_t> split_map,
                                                std::span<const uint8_t> motion_bytes,
                                                bool prediction);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_MOTION_FIELD_H_
