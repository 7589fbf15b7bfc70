// SPDX-License-Identifier: MIT
//
// The kernels of the video coders that have SIMD variants, as one table of functions per
// SIMD level.
//
// The scalar functions are the definition. Variants are bit-identical for every valid
// input, which tests verify. Coders take the table once per picture from
// ActiveVideoKernels; kernels do not detect the processor themselves.
#ifndef QOLM_VIDEO_KERNELS_VIDEO_KERNELS_H_
#define QOLM_VIDEO_KERNELS_VIDEO_KERNELS_H_

#include <cstddef>
#include <cstdint>

#include "base/simd_level.h"
#include "video/kernels/skip_thresholds.h"

namespace qolm::video {

// The thresholds of the deblocking filter.
struct DeblockLimits {
  int across;      // step across the edge must be smaller, 1..255
  int beside;      // step next to the edge on either side must be smaller, 1..255
  int correction;  // maximum change of a sample, 0..127
};

// Quantisation clamps levels to this range.
inline constexpr int kMinLevel = -2048;
inline constexpr int kMaxLevel = 2047;

// The maximum sample count of one call of measure_difference.
inline constexpr size_t kMaxMeasuredSamples = 65536;
inline constexpr int kChangedSampleDifference = 5;

struct DifferenceSums {
  uint32_t changed = 0;  // samples that differ by kChangedSampleDifference or more
  uint32_t magnitudes = 0;
  uint32_t squares = 0;
};

struct ResidualEnergy {
  int32_t sum = 0;       // of the differences
  uint32_t squares = 0;  // sum of the squared differences
};

struct VideoKernels {
  // The transform of source - prediction over an 8x8 block: 64 coefficients in
  // natural order, 32-byte aligned.
  void (*forward_dct)(const uint8_t* source, ptrdiff_t source_stride, const uint8_t* prediction,
                      ptrdiff_t prediction_stride, float* coefficients);

  // The energy of source - prediction over an 8x8 block.
  ResidualEnergy (*residual_energy)(const uint8_t* source, ptrdiff_t source_stride,
                                    const uint8_t* prediction, ptrdiff_t prediction_stride);

  // Whether any coefficient's magnitude exceeds its limits.large, or the sum of
  // max(gain_slope * magnitude - gain_offset, 0) exceeds limits.gain. The sum is formed as
  // eight partial sums over every eighth coefficient, which are then added pairwise.
  bool (*may_have_nonzero_levels)(const float* coefficients, const SkipThresholds& limits);

  // levels[i] = coefficients[i] / steps[i], rounded away from zero when the fraction of
  // the magnitude is at least `round_up`, otherwise toward zero; clamped to
  // kMinLevel..kMaxLevel. A `round_up` of 0.5 rounds to nearest, halves away from zero.
  // Natural order; bit i of the result is set when levels[i] is not 0. Coefficients and
  // steps are 32-byte aligned.
  uint64_t (*quantise)(const float* coefficients, const float* steps, float round_up,
                       int16_t* levels);

  // Writes the 8x8 samples truncate(clamp((prediction + X') + 0.5, 0, 255)), X'
  // being the inverse transform of `coefficients` (32-byte aligned). All coefficients in
  // rows from `rows` on and in columns from `columns` on (both 1..8) are zero.
  // Prediction and destination may be the same block.
  void (*inverse_dct_add)(const float* coefficients, int rows, int columns,
                          const uint8_t* prediction, ptrdiff_t prediction_stride,
                          uint8_t* destination, ptrdiff_t destination_stride);

  // Sums of absolute differences over 8x8 and 16x16 bytes.
  uint32_t (*sad_8x8)(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride);
  uint32_t (*sad_16x16)(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride);

  // The 8x8 sums between the block at `a` and 8 or `count` candidates in `b`, each one
  // byte right of (across) or one row below (down) the previous one. `across` reads 16
  // bytes of each of 8 rows and writes 8 costs; `down` writes `count` costs, at least one.
  // Both return the smallest cost written.
  uint32_t (*sad_8x8_across)(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b,
                             ptrdiff_t b_stride, uint16_t* costs);
  uint32_t (*sad_8x8_down)(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b,
                           ptrdiff_t b_stride, size_t count, uint16_t* costs);

  // Sum of absolute differences between `source` and (a + b + 1) >> 1 over 16x16 bytes.
  uint32_t (*sad_of_mean_16x16)(const uint8_t* source, ptrdiff_t source_stride, const uint8_t* a,
                                ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride);

  // One row of luma from `width` RGBA pixels.
  void (*rgba_to_luma_row)(const uint8_t* rgba, size_t width, uint8_t* luma);

  // One row of chroma from two rows of `width` RGBA pixels (the same row twice
  // at the bottom of an odd height): (width + 1) / 2 samples each.
  void (*rgba_to_chroma_row)(const uint8_t* top, const uint8_t* bottom, size_t width, uint8_t* cb,
                             uint8_t* cr);

  // One row of packed pixels from `width` luma samples and their chroma row;
  // `bgra` swaps the first and the third byte.
  void (*yuv_to_packed_row)(const uint8_t* luma, const uint8_t* cb, const uint8_t* cr, size_t width,
                            bool bgra, uint8_t* packed);

  // Sums the differences of the samples 0, 2 … 2 * count - 2. `count` is at most
  // kMaxMeasuredSamples, so that no sum exceeds 32 bits.
  DifferenceSums (*measure_difference)(const uint8_t* a, const uint8_t* b, size_t count);

  // Temporal denoising: a sample that differs from the previous picture by at most 2 is
  // replaced by the previous one, by 3 or 4 blended 3:1 with it, else unchanged.
  void (*denoise_luma)(const uint8_t* current, const uint8_t* previous, size_t count,
                       uint8_t* filtered);

  // Deblocks the vertical edges of one row, at every 8th sample from 8 on, up to 5
  // samples before the end.
  void (*deblock_vertical_edges)(DeblockLimits limits, uint8_t* row, size_t width);

  // Deblocks `width` columns of a horizontal edge; p1, p0, q0 and q1 are the two rows
  // above and the two below it.
  void (*deblock_horizontal_edge)(DeblockLimits limits, const uint8_t* p1, uint8_t* p0, uint8_t* q0,
                                  const uint8_t* q1, size_t width);
};

// The definition.
const VideoKernels& ScalarVideoKernels();

// The best variants that `level` (at most the detected one) allows.
const VideoKernels& VideoKernelsFor(SimdLevel level);

// VideoKernelsFor(ActiveSimdLevel()).
const VideoKernels& ActiveVideoKernels();

}  // namespace qolm::video

#endif  // QOLM_VIDEO_KERNELS_VIDEO_KERNELS_H_
