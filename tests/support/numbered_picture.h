// SPDX-License-Identifier: MIT
//
// Pictures that carry a number in large blocks of black and white, which
// survive coding.
#ifndef QOLM_TESTS_SUPPORT_NUMBERED_PICTURE_H_
#define QOLM_TESTS_SUPPORT_NUMBERED_PICTURE_H_

#include <array>
#include <cstddef>
#include <cstdint>

#include "video/picture/video_frame.h"
#include "video/picture/yuv_planes.h"

namespace qolm::test {

inline constexpr int32_t kNumberedWidth = 40;   // pixels
inline constexpr int32_t kNumberedHeight = 32;  // pixels
inline constexpr uint32_t kNumberBits = 20;     // a block of 8x8 each, the lowest at the top left

inline uint32_t NumberBit(uint32_t x, uint32_t y) { return y / 8 * (kNumberedWidth / 8) + x / 8; }

inline VideoFrame NumberedFrame(uint32_t number) {
  VideoFrame frame{.width = kNumberedWidth, .height = kNumberedHeight, .pixels = {}};
  frame.pixels.reserve(size_t{4} * kNumberedWidth * kNumberedHeight);
  for (uint32_t y = 0; y < kNumberedHeight; ++y) {
    for (uint32_t x = 0; x < kNumberedWidth; ++x) {
      const uint8_t grey = (number >> NumberBit(x, y) & 1) != 0 ? 230 : 20;
      frame.pixels.insert(frame.pixels.end(), {grey, grey, grey, 255});
    }
  }
  return frame;
}

// The number that the means of the blocks tell; UINT32_MAX where the size is
// another or a block is neither black nor white.
inline uint32_t ReadNumber(const video::YuvPlanes& planes) {
  if (planes.width != kNumberedWidth || planes.height != kNumberedHeight) return UINT32_MAX;
  std::array<uint32_t, kNumberBits> sums{};
  for (uint32_t y = 0; y < kNumberedHeight; ++y) {
    for (uint32_t x = 0; x < kNumberedWidth; ++x) {
      sums[NumberBit(x, y)] += planes.y[size_t{y} * kNumberedWidth + x];
    }
  }
  uint32_t number = 0;
  for (uint32_t bit = 0; bit < kNumberBits; ++bit) {
    const uint32_t mean = sums[bit] / 64;
    if (mean > 70 && mean < 180) return UINT32_MAX;
    if (mean >= 180) number |= uint32_t{1} << bit;
  }
  return number;
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_NUMBERED_PICTURE_H_
