// SPDX-License-Identifier: MIT
//
// Conversion between RGBA and 4:2:0 planes, integer BT.601 in limited range.
//
// Both directions are bit-exact parts of the format.
#ifndef QOLM_VIDEO_PICTURE_COLOUR_CONVERSION_H_
#define QOLM_VIDEO_PICTURE_COLOUR_CONVERSION_H_

#include <cstdint>
#include <vector>

#include "video/picture/video_frame.h"
#include "video/picture/yuv_planes.h"

namespace qolm::video {

// Y = ((66 R + 129 G + 25 B + 128) >> 8) + 16 for every pixel; each chroma sample is
// the truncated mean of the four values of its 2x2 pixels. Odd sizes are padded by
// repeating the last column and row.
// `frame` must hold width * height * 4 bytes and have positive sizes.
void ConvertFrameToYuv(const VideoFrame& frame, YuvPlanes& planes);

enum class PixelOrder { kRgba, kBgra };

// Writes the packed picture of `planes`, width * height * 4 bytes with A = 255, without
// chroma interpolation: the pixels of a 2x2 square share a chroma sample. Reuses the
// storage of `pixels`.
void ConvertYuvToPacked(const YuvPlanes& planes, PixelOrder order, std::vector<uint8_t>& pixels);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_PICTURE_COLOUR_CONVERSION_H_
