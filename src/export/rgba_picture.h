// SPDX-License-Identifier: MIT
//
// An RGBA picture to be written as an image file.
#ifndef QOLM_EXPORT_RGBA_PICTURE_H_
#define QOLM_EXPORT_RGBA_PICTURE_H_

#include <cstdint>
#include <vector>

namespace qolm::exporter {

struct RgbaPicture {
  uint32_t width = 0;           // pixels
  uint32_t height = 0;          // pixels
  std::vector<uint8_t> pixels;  // width * height * 4 bytes R, G, B, A without padding
};

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_RGBA_PICTURE_H_
