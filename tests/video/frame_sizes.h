// SPDX-License-Identifier: MIT
//
// The picture sizes and qualities that whole-frame tests run over.
#ifndef QOLM_TESTS_VIDEO_FRAME_SIZES_H_
#define QOLM_TESTS_VIDEO_FRAME_SIZES_H_

#include <cstdint>

namespace qolm::test {

struct FrameSize {
  uint32_t width;
  uint32_t height;
};

// A single pixel, single columns, whole and partial blocks.
inline constexpr FrameSize kFrameSizes[] = {{1, 1},   {1, 9},   {2, 2},   {7, 5},   {8, 8},
                                            {16, 16}, {17, 33}, {64, 48}, {130, 70}};

inline constexpr int32_t kQualities[] = {-5, 0, 1, 45, 50, 100, 101, 255, 256, 300};

// The byte that a payload holds for each of kQualities.
inline constexpr uint8_t kQualityBytes[] = {1, 0, 1, 45, 50, 100, 101, 255, 100, 100};

}  // namespace qolm::test

#endif  // QOLM_TESTS_VIDEO_FRAME_SIZES_H_
