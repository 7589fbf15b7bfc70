// SPDX-License-Identifier: MIT
//
// Synthetic pictures for tests: a textured scene that pans while a bright box
// crosses it, so predicted frames meet motion, new content and still areas.
#ifndef QOLM_TESTS_SUPPORT_MOVING_PICTURE_H_
#define QOLM_TESTS_SUPPORT_MOVING_PICTURE_H_

#include <cstdint>

#include "video/picture/yuv_planes.h"

namespace qolm::test {

inline uint8_t SceneSample(uint32_t x, uint32_t y, uint32_t salt) {
  const uint32_t wave = (x * 5 + y * 3) % 120 + ((x / 6 + y / 9) % 2) * 40;
  uint32_t grain = x * 2654435761U ^ (y + salt) * 2246822519U;
  grain ^= grain >> 15;
  return static_cast<uint8_t>(30 + wave + salt % 7 + grain % 9);
}

// Frame `number` of the scene.
inline video::YuvPlanes MovingPicture(uint32_t width, uint32_t height, uint32_t number) {
  video::YuvPlanes planes;
  video::ResizeYuvPlanes(planes, width, height);
  const uint32_t pan_x = 3 * number;
  const uint32_t pan_y = number;
  for (uint32_t y = 0; y < height; ++y) {
    for (uint32_t x = 0; x < width; ++x) {
      const bool in_box = x >= 4 + 2 * number && x < 14 + 2 * number && y >= 5 && y < 15;
      planes.y[size_t{y} * width + x] = in_box ? 225 : SceneSample(x + pan_x, y + pan_y, 1);
    }
  }
  const uint32_t chroma_width = planes.ChromaWidth();
  for (uint32_t y = 0; y < planes.ChromaHeight(); ++y) {
    for (uint32_t x = 0; x < chroma_width; ++x) {
      const size_t at = size_t{y} * chroma_width + x;
      planes.cb[at] = SceneSample(x + pan_x / 2, y + pan_y / 2, 40);
      planes.cr[at] = static_cast<uint8_t>(250 - SceneSample(x + pan_x / 2, y + pan_y / 2, 80));
    }
  }
  return planes;
}

inline bool SamePicture(const video::YuvPlanes& a, const video::YuvPlanes& b) {
  return a.width == b.width && a.height == b.height && a.y == b.y && a.cb == b.cb && a.cr == b.cr;
}

// The planes of a picture with one value in each plane.
inline video::YuvPlanes FlatPicture(uint32_t width, uint32_t height, uint8_t y, uint8_t cb,
                                    uint8_t cr) {
  video::YuvPlanes planes;
  video::ResizeYuvPlanes(planes, width, height);
  planes.y.assign(planes.y.size(), y);
  planes.cb.assign(planes.cb.size(), cb);
  planes.cr.assign(planes.cr.size(), cr);
  return planes;
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_SUPPORT_MOVING_PICTURE_H_
