// The in-loop filter that softens the edges of the 8x8 grid.
#ifndef QOLM_VIDEO_PICTURE_DEBLOCK_H_
#define QOLM_VIDEO_PICTURE_DEBLOCK_H_

#include <cstdint>

#include "video/picture/yuv_planes.h"

namespace qolm::video {

// Filters one plane in place: vertical edges of every row first, then
// horizontal edges, which see the result of the first. `step` is the DC step
// of the plane's quantiser table. Planes narrower or lower than 16 are left.
void DeblockPlane(uint8_t* plane, uint32_t width, uint32_t height, float step);

// DeblockPlane over the three planes.
void DeblockReference(YuvPlanes& planes, float luma_step, float chroma_step);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_PICTURE_DEBLOCK_H_
