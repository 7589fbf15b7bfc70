// SPDX-License-Identifier: MIT
//
// A reconstructed picture with shared ownership; shared pictures are immutable.
#ifndef QOLM_DECODER_DECODED_PICTURE_H_
#define QOLM_DECODER_DECODED_PICTURE_H_

#include <cstdint>
#include <memory>

#include "video/picture/yuv_planes.h"

namespace qolm::decoder {

using SharedPlanes = std::shared_ptr<const video::YuvPlanes>;

struct DecodedPicture {
  SharedPlanes planes;  // null for none
  uint64_t id = 0;      // unique in this process; 0 for none
};

// Bytes of the three planes of a picture of width x height luma samples.
inline uint64_t PlaneBytes(uint32_t width, uint32_t height) {
  const uint64_t chroma_width = (uint64_t{width} + 1) / 2;
  const uint64_t chroma_height = (uint64_t{height} + 1) / 2;
  return uint64_t{width} * height + 2 * chroma_width * chroma_height;
}

}  // namespace qolm::decoder

#endif  // QOLM_DECODER_DECODED_PICTURE_H_
