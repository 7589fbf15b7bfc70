// SPDX-License-Identifier: MIT
//
// A decoded source picture, passed from the media sources to the encoder.
#ifndef QOLM_VIDEO_PICTURE_VIDEO_FRAME_H_
#define QOLM_VIDEO_PICTURE_VIDEO_FRAME_H_

#include <cstdint>
#include <vector>

namespace qolm {

struct VideoFrame {
  int32_t width = 0;   // pixels
  int32_t height = 0;  // pixels
  // width * height * 4 bytes, rows top to bottom without padding, each pixel
  // R, G, B, A with A = 255.
  std::vector<uint8_t> pixels;
  int64_t timestamp = 0;  // presentation time in 100-nanosecond units
  // Frames with the same non-zero number, of any source, have identical pixels. Code that
  // modifies the pixels must set it to 0.
  uint64_t picture_number = 0;
};

}  // namespace qolm

#endif  // QOLM_VIDEO_PICTURE_VIDEO_FRAME_H_
