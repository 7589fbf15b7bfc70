// SPDX-License-Identifier: MIT
#include "media/ffmpeg/yuv_kernels.h"

#include <algorithm>
#include <cmath>

#if defined(QOLM_X86_KERNELS)
#include "media/ffmpeg/x86/yuv_kernels_x86.h"
#endif

namespace qolm::media::ffmpeg {
namespace {

constexpr int kFractionBits = 5;
constexpr double kWeightOne = 8192;
constexpr int kNeutralChroma = 128 * 16;

int16_t Weight(double factor) { return static_cast<int16_t>(std::lround(factor * kWeightOne)); }

// The product of two 16-bit numbers without the lowest 15 bits.
int RoundedProduct(int a, int b) { return (a * b + (1 << 14)) >> 15; }

uint8_t RoundedByte(int sum) {
  return static_cast<uint8_t>(
      std::clamp((sum + (1 << (kFractionBits - 1))) >> kFractionBits, 0, 255));
}

void WidenHalvedChroma(const uint8_t* near, const uint8_t* far, size_t width, uint16_t* chroma) {
  const size_t last = (width - 1) / 2;
  int left = 3 * near[0] + far[0];
  int middle = left;
  for (size_t i = 0; i <= last; ++i) {
    const size_t next = std::min(i + 1, last);
    const int right = 3 * near[next] + far[next];
    chroma[2 * i] = static_cast<uint16_t>(3 * middle + left);
    if (2 * i + 1 < width) chroma[2 * i + 1] = static_cast<uint16_t>(3 * middle + right);
    left = middle;
    middle = right;
  }
}

void WidenFullChroma(const uint8_t* samples, size_t width, uint16_t* chroma) {
  for (size_t x = 0; x < width; ++x) chroma[x] = static_cast<uint16_t>(samples[x] * 16);
}

void ConvertRow(const uint8_t* luma, const uint16_t* cb, const uint16_t* cr, size_t width,
                const YuvWeights& given_weights, uint8_t* rgba) {
  const YuvWeights weights = given_weights;  // stores of bytes cannot alias it
  for (size_t x = 0; x < width; ++x) {
    const int light = RoundedProduct((luma[x] - weights.black) * 128, weights.luma);
    const int blue_difference = (cb[x] - kNeutralChroma) * 8;
    const int red_difference = (cr[x] - kNeutralChroma) * 8;
    uint8_t* const pixel = rgba + 4 * x;
    pixel[0] = RoundedByte(light + RoundedProduct(red_difference, weights.red_from_cr));
    pixel[1] = RoundedByte(light - RoundedProduct(blue_difference, weights.green_from_cb) -
                           RoundedProduct(red_difference, weights.green_from_cr));
    pixel[2] = RoundedByte(light + RoundedProduct(blue_difference, weights.blue_from_cb));
    pixel[3] = 255;
  }
}

}  // namespace

YuvWeights MakeYuvWeights(double red_share, double blue_share, bool full_range) {
  const double green_share = 1 - red_share - blue_share;
  const double from_cr = 2 * (1 - red_share) * (full_range ? 1.0 : 255.0 / 224);
  const double from_cb = 2 * (1 - blue_share) * (full_range ? 1.0 : 255.0 / 224);
  YuvWeights weights;
  weights.black = full_range ? 0 : 16;
  weights.luma = Weight(full_range ? 1.0 : 255.0 / 219);
  weights.red_from_cr = Weight(from_cr);
  weights.green_from_cb = Weight(from_cb * blue_share / green_share);
  weights.green_from_cr = Weight(from_cr * red_share / green_share);
  weights.blue_from_cb = Weight(from_cb);
  return weights;
}

const YuvKernels& ScalarYuvKernels() {
  static constexpr YuvKernels kScalar = {WidenHalvedChroma, WidenFullChroma, ConvertRow};
  return kScalar;
}

const YuvKernels& YuvKernelsFor(SimdLevel level) {
#if defined(QOLM_X86_KERNELS)
  if (level >= SimdLevel::kAvx2) return x86::Avx2YuvKernels();
#else
  (void)level;
#endif
  return ScalarYuvKernels();
}

const YuvKernels& ActiveYuvKernels() { return YuvKernelsFor(ActiveSimdLevel()); }

}  // namespace qolm::media::ffmpeg
