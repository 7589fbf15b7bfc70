// The kernels of the video coders that have vector variants, as one table of
// functions per processor level.
//
// The scalar functions are the definition. A variant gives the same bits for
// every input that the contract allows; tests hold each against the scalar one.
// Coders take the table once per picture from ActiveVideoKernels; no kernel
// looks at the processor itself.
#ifndef QOLM_VIDEO_KERNELS_VIDEO_KERNELS_H_
#define QOLM_VIDEO_KERNELS_VIDEO_KERNELS_H_

#include <cstddef>
#include <cstdint>

#include "base/simd_level.h"
#include "video/kernels/skip_thresholds.h"

namespace qolm::video {

// When a jump between two blocks counts as coding noise, and how much of it goes.
struct DeblockLimits {
  int across;      // limit of the jump over the edge, 1..255
  int beside;      // limit of the slope on either side, 1..255
  int correction;  // limit of the change, 0..127
};

// Quantisation clamps levels to this range.
inline constexpr int kMinLevel = -2048;
inline constexpr int kMaxLevel = 2047;

// The most samples that one call of measure_difference takes.
inline constexpr size_t kMaxMeasuredSamples = 65536;
inline constexpr int kChangedSampleDifference = 5;

struct DifferenceSums {
  uint32_t changed = 0;  // samples that differ by kChangedSampleDifference or more
  uint32_t magnitudes = 0;
  uint32_t squares = 0;
};

struct ResidualEnergy {
  int32_t sum = 0;       // of the differences
  uint32_t squares = 0;  // the sum of theirs
};

struct VideoKernels {
  // The transform of source - prediction over an 8x8 block: 64 coefficients in
  // natural order, 32-byte aligned.
  void (*forward_dct)(const uint8_t* source, ptrdiff_t source_stride, const uint8_t* prediction,
                      ptrdiff_t prediction_stride, float* coefficients);

  // Of source - prediction over an 8x8 block.
  ResidualEnergy (*residual_energy)(const uint8_t* source, ptrdiff_t source_stride,
                                    const uint8_t* prediction, ptrdiff_t prediction_stride);

  // Whether a coefficient's magnitude is above its limits.large, or the positive
  // ones of gain_slope * magnitude - gain_offset sum up to more than limits.gain:
  // eight sums of every eighth, then of both halves of them.
  bool (*may_have_nonzero_levels)(const float* coefficients, const SkipThresholds& limits);

  // levels[i] = coefficients[i] / steps[i] rounded to nearest when the quotient's
  // fraction is at least `round_up`, otherwise toward zero; clamped to
  // kMinLevel..kMaxLevel. `round_up` 0.5 is rounding to nearest with halves away
  // from zero. Natural order; bit i of the result is set when levels[i] is not 0.
  // Coefficients and steps are 32-byte aligned.
  uint64_t (*quantize)(const float* coefficients, const float* steps, float round_up,
                       int16_t* levels);

  // Writes the 8x8 samples truncate(clamp((prediction + X') + 0.5, 0, 255)), X'
  // being the inverse transform of `coefficients` (32-byte aligned). Rows from
  // `rows` on and columns from `columns` on (both 1..8) hold only zeros.
  // Prediction and destination may be the same block.
  void (*inverse_dct_add)(const float* coefficients, int rows, int columns,
                          const uint8_t* prediction, ptrdiff_t prediction_stride,
                          uint8_t* destination, ptrdiff_t destination_stride);

  // Sums of absolute differences over 8x8 and 16x16 bytes.
  uint32_t (*sad_8x8)(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride);
  uint32_t (*sad_16x16)(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride);

  // The same between the 8x8 bytes at `a` and those at each of 8 places of `b`: the
  // next one lies a byte to the right, or a row down. The first reads 16 bytes of
  // each of the 8 rows; the second fills in `count` costs, at least one.
  // Both give back the least of the costs that they fill in.
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

  // Adds up how the samples 0, 2 … 2 * count - 2 differ. `count` is at most
  // kMaxMeasuredSamples, so that no sum outgrows its 32 bits.
  DifferenceSums (*measure_difference)(const uint8_t* a, const uint8_t* b, size_t count);

  // Draws luma towards the picture before: differences of at most 2 take its
  // sample, of 3 and 4 a quarter of it, larger ones stay.
  void (*denoise_luma)(const uint8_t* now, const uint8_t* before, size_t count, uint8_t* quieted);

  // Deblocks one row across its vertical edges, every 8 samples from 8 on, the
  // last at least 5 before the end.
  void (*deblock_vertical_edges)(DeblockLimits limits, uint8_t* row, size_t width);

  // Deblocks `width` samples on either side of a horizontal edge; p1 to q1 are
  // the four rows around it.
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
