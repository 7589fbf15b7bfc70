// The motion-compensated prediction of a picture.
#ifndef QOLM_VIDEO_INTER_MOTION_COMPENSATION_H_
#define QOLM_VIDEO_INTER_MOTION_COMPENSATION_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "video/inter/motion_field.h"
#include "video/picture/yuv_planes.h"

namespace qolm::video {

// Fills `prediction` (of the reference's size) from `reference` moved by
// `field`. Every coordinate is clamped to its plane, so any vector is valid.
// Luma moves by whole samples. Chroma moves by vector >> 1, and by half a
// sample more where the component is odd: (a + b + 1) >> 1 between two samples,
// (a + b + c + d + 2) >> 2 between four. A split macroblock moves four 8x8 luma
// and four 4x4 chroma blocks.
void CompensateMotion(const YuvPlanes& reference, const MacroblockGrid& grid,
                      std::span<const MacroblockMotion> field, YuvPlanes& prediction);

// Where one macroblock's prediction goes: its top left samples, with strides.
struct MacroblockSamples {
  uint8_t* y;
  uint8_t* cb;
  uint8_t* cr;
  ptrdiff_t luma_stride;
  ptrdiff_t chroma_stride;
};

// The place of a macroblock in a picture.
MacroblockSamples MacroblockInPicture(YuvPlanes& picture, uint32_t column, uint32_t row);

// One macroblock of CompensateMotion. Samples outside the picture are not written.
void CompensateMacroblock(const YuvPlanes& reference, uint32_t column, uint32_t row,
                          const MacroblockMotion& motion, const MacroblockSamples& out);

// The luma of one macroblock alone.
void CompensateLumaMacroblock(const YuvPlanes& reference, uint32_t column, uint32_t row,
                              const MacroblockMotion& motion, uint8_t* out, ptrdiff_t out_stride);

}  // namespace qolm::video

#endif  // QOLM_VIDEO_INTER_MOTION_COMPENSATION_H_
