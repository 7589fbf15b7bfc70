// SPDX-License-Identifier: MIT
//
// A 4:2:0 picture in three planes, the working format of the coders.
#ifndef QOLM_VIDEO_PICTURE_YUV_PLANES_H_
#define QOLM_VIDEO_PICTURE_YUV_PLANES_H_

#include <cstdint>
#include <vector>

namespace qolm::video {

// Planes are row-major with a stride equal to their width. The chroma planes
// are half as wide and high, rounded up.
struct YuvPlanes {
  uint32_t width = 0;   // luma pixels
  uint32_t height = 0;  // luma pixels
  std::vector<uint8_t> y;
  std::vector<uint8_t> cb;
  std::vector<uint8_t> cr;

  uint32_t ChromaWidth() const { return width / 2 + width % 2; }
  uint32_t ChromaHeight() const { return height / 2 + height % 2; }
  bool Empty() const { return y.empty(); }
  bool SameSize(const YuvPlanes& other) const {
    return width == other.width && height == other.height;
  }
};

// Sets the size and resizes the three vectors to it; new bytes are zero.
void ResizeYuvPlanes(YuvPlanes& planes, uint32_t width, uint32_t height);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_PICTURE_YUV_PLANES_H_
