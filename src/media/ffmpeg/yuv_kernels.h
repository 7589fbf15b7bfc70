// SPDX-License-Identifier: MIT
//
// Rows of 8-bit YUV to pixels R, G, B, 255, as one table of functions per
// processor level. The scalar functions are the definition; a variant gives the
// same bits for every input.
//
// All sums are 16-bit: chroma is interpolated without rounding to 16 times a
// sample, products keep 5 bits of fraction, and only the finished sum is rounded
// to a byte, which leaves it within 0.6 levels of the real value.
#ifndef QOLM_MEDIA_FFMPEG_YUV_KERNELS_H_
#define QOLM_MEDIA_FFMPEG_YUV_KERNELS_H_

#include <cstddef>
#include <cstdint>

#include "base/simd_level.h"

namespace qolm::media::ffmpeg {

// The contribution of a sample to a colour: factors times 8192.
struct YuvWeights {
  int16_t black = 0;  // the luma sample of black, no factor
  int16_t luma = 0;
  int16_t red_from_cr = 0;
  int16_t green_from_cb = 0;  // subtracted
  int16_t green_from_cr = 0;  // subtracted
  int16_t blue_from_cb = 0;
};

// From the shares of red and blue in luma (ITU-T H.273, 8.3), each above 0.03
// and below 0.35. Samples of full range span 0..255, others 16..235 and 16..240.
YuvWeights MakeYuvWeights(double red_share, double blue_share, bool full_range);

struct YuvKernels {
  // Chroma of half the width and half the height, each sample in the middle of
  // its four pixels: writes 16 times the value at each of `width` (at least 1)
  // pixels of a row, bilinear between the chroma rows `near` and `far`, which
  // counts a quarter. Both hold (width + 1) / 2 samples; the first and the last
  // are extended outward. With the same row twice it is chroma of full height.
  void (*widen_halved_chroma)(const uint8_t* near, const uint8_t* far, size_t width,
                              uint16_t* chroma);

  // 16 times each of `width` samples.
  void (*widen_full_chroma)(const uint8_t* samples, size_t width, uint16_t* chroma);

  // `width` pixels.
  void (*convert_row)(const uint8_t* luma, const uint16_t* cb, const uint16_t* cr, size_t width,
                      const YuvWeights& weights, uint8_t* rgba);
};

const YuvKernels& ScalarYuvKernels();

// The fastest table for a level, and for the active level.
const YuvKernels& YuvKernelsFor(SimdLevel level);
const YuvKernels& ActiveYuvKernels();

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_YUV_KERNELS_H_
