// The thresholds below which a block of a predicted plane quantises to nothing.
#ifndef QOLM_VIDEO_KERNELS_SKIP_THRESHOLDS_H_
#define QOLM_VIDEO_KERNELS_SKIP_THRESHOLDS_H_

namespace qolm::video {

struct SkipThresholds {
  // A block is skipped before its transform when its squared differences sum up to
  // less; the part of them that the DC coefficient holds is weighted.
  float energy = 0.0F;
  // For VideoKernels::may_have_nonzero_levels; arrays in natural order.
  float gain = 0.0F;
  alignas(32) float large[64] = {};
  alignas(32) float gain_slope[64] = {};
  alignas(32) float gain_offset[64] = {};
};

}  // namespace qolm::video

#endif  // QOLM_VIDEO_KERNELS_SKIP_THRESHOLDS_H_
