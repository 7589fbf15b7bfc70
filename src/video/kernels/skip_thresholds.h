// SPDX-License-Identifier: MIT
//
// Thresholds below which all levels of a residual block quantise to zero.
#ifndef QOLM_VIDEO_KERNELS_SKIP_THRESHOLDS_H_
#define QOLM_VIDEO_KERNELS_SKIP_THRESHOLDS_H_

namespace qolm::video {

struct SkipThresholds {
  // A block is skipped before its transform when its energy, the sum of its squared
  // differences with a weighted DC part, is smaller.
  float energy = 0.0F;
  // Parameters of VideoKernels::may_have_nonzero_levels; arrays in natural order.
  float gain = 0.0F;
  alignas(32) float large[64] = {};
  alignas(32) float gain_slope[64] = {};
  alignas(32) float gain_offset[64] = {};
};

}  // namespace qolm::video

#endif  // QOLM_VIDEO_KERNELS_SKIP_THRESHOLDS_H_
