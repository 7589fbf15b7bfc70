// The kernels of the video coders that have vector variants, as one table of
// functions per processor level.
//
// The scalar functions are the definition. A variant gives the same bits for
// every input that the contract allows; tests hold each against the scalar one.
// Coders take the table once per picture from ActiveVideoKernels; no kernel
// looks at the processor itself.
#ifndef QOLM_VIDEO_VIDEO_KERNELS_H_
#define QOLM_VIDEO_VIDEO_KERNELS_H_

#include <cstddef>
#include <cstdint>

#include "base/simd_level.h"

namespace qolm::video {

struct VideoKernels {
  // The transform of source - prediction over an 8x8 block: 64 coefficients in
  // natural order, 32-byte aligned.
  void (*forward_dct)(const uint8_t* source, ptrdiff_t source_stride, const uint8_t* prediction,
                      ptrdiff_t prediction_stride, float* coefficients);

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
};

// The definition.
const VideoKernels& ScalarVideoKernels();

// The best variants that `level` (at most the detected one) allows.
const VideoKernels& VideoKernelsFor(SimdLevel level);

// VideoKernelsFor(ActiveSimdLevel()).
const VideoKernels& ActiveVideoKernels();

}  // namespace qolm::video

#endif  // QOLM_VIDEO_VIDEO_KERNELS_H_
