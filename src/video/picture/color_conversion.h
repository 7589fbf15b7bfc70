// RGBA to 4:2:0 planes and back, in integer BT.601 studio range.
//
// Both directions are part of the format's arithmetic: every variant gives the
// bits of the scalar formulas.
#ifndef QOLM_VIDEO_PICTURE_COLOR_CONVERSION_H_
#define QOLM_VIDEO_PICTURE_COLOR_CONVERSION_H_

#include <cstdint>
#include <vector>

#include "video/picture/video_frame.h"
#include "video/picture/yuv_planes.h"

namespace qolm::video {

// Y = ((66 R + 129 G + 25 B + 128) >> 8) + 16 for every pixel; each chroma
// sample is the truncated mean of the four values of its 2x2 pixels, of which
// the right column and the bottom row repeat at odd sizes.
// `frame` must hold width * height * 4 bytes and have positive sizes.
void ConvertFrameToYuv(const VideoFrame& frame, YuvPlanes& planes);

enum class PixelOrder { kRgba, kBgra };

// The packed picture of `planes`, width * height * 4 bytes with A = 255; each
// pixel takes the chroma sample of its 2x2 square. `pixels` keeps its storage.
void ConvertYuvToPacked(const YuvPlanes& planes, PixelOrder order, std::vector<uint8_t>& pixels);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_PICTURE_COLOR_CONVERSION_H_
