// SPDX-License-Identifier: MIT
//
// The in-loop deblocking filter of the edges of the 8x8 block grid.
#ifndef QOLM_VIDEO_PICTURE_DEBLOCK_H_
#define QOLM_VIDEO_PICTURE_DEBLOCK_H_

#include <cstdint>

#include "video/picture/yuv_planes.h"

namespace qolm::video {

// Filters one plane in place: first all vertical edges, then the horizontal edges of the
// result. `step` is the DC step of the plane's quantiser table. Planes with a side below
// 16 are not filtered.
void DeblockPlane(uint8_t* plane, uint32_t width, uint32_t height, float step);

// Applies DeblockPlane to the three planes.
void DeblockReference(YuvPlanes& planes, float luma_step, float chroma_step);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_PICTURE_DEBLOCK_H_
