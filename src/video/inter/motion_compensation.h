// SPDX-License-Identifier: MIT
//
// The motion-compensated prediction of a picture.
#ifndef QOLM_VIDEO_INTER_MOTION_COMPENSATION_H_
#define QOLM_VIDEO_INTER_MOTION_COMPENSATION_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "video/inter/motion_field.h"
#include "video/picture/yuv_planes.h"

namespace qolm::video {

// Computes `prediction` (of the reference's size) from `reference` and the motion
// `field`. Coordinates are clamped to the plane, so every vector is valid. Luma vectors
// are in whole samples. The same vector is in half samples for chroma, which is
// interpolated as (a + b + 1) >> 1 between two samples and (a + b + c + d + 2) >> 2
// between four. A split macroblock has four 8x8 luma and four 4x4 chroma blocks.
void CompensateMotion(const YuvPlanes& reference, const MacroblockGrid& grid,
                      std::span<const MacroblockMotion> field, YuvPlanes& prediction);

// The destination of one macroblock's prediction: its top-left samples, with strides.
struct MacroblockSamples {
  uint8_t* y;
  uint8_t* cb;
  uint8_t* cr;
  ptrdiff_t luma_stride;
  ptrdiff_t chroma_stride;
};

// The samples of a macroblock in a picture.
MacroblockSamples MacroblockInPicture(YuvPlanes& picture, uint32_t column, uint32_t row);

// One macroblock of CompensateMotion. Samples outside the picture are not written.
void CompensateMacroblock(const YuvPlanes& reference, uint32_t column, uint32_t row,
                          const MacroblockMotion& motion, const MacroblockSamples& out);

// The luma of one macroblock alone.
void CompensateLumaMacroblock(const YuvPlanes& reference, uint32_t column, uint32_t row,
                              const MacroblockMotion& motion, uint8_t* out, ptrdiff_t out_stride);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_MOTION_COMPENSATION_H_
