// SPDX-License-Identifier: MIT
#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "video/kernels/dct_basis.h"
#include "video/kernels/video_kernels.h"

namespace qolm::video {
namespace {

void ForwardDct(const uint8_t* source, ptrdiff_t source_stride, const uint8_t* prediction,
                ptrdiff_t prediction_stride, float* coefficients) {
  const DctBasis& basis = GetDctBasis();
  float residual[8][8];
  for (int r = 0; r < 8; ++r) {
    for (int c = 0; c < 8; ++c) {
      residual[r][c] =
          static_cast<float>(source[r * source_stride + c] - prediction[r * prediction_stride + c]);
    }
  }
  for (int u = 0; u < 8; ++u) {
    float product[8];
    for (int x = 0; x < 8; ++x) {
      float sum = basis.rows[u][0] * residual[0][x];
      for (int k = 1; k < 8; ++k) sum += basis.rows[u][k] * residual[k][x];
      product[x] = sum;
    }
    for (int v = 0; v < 8; ++v) {
      float sum = product[0] * basis.rows[v][0];
      for (int x = 1; x < 8; ++x) sum += product[x] * basis.rows[v][x];
      coefficients[8 * u + v] = sum;
    }
  }
}

ResidualEnergy MeasureResidual(const uint8_t* source, ptrdiff_t source_stride,
                               const uint8_t* prediction, ptrdiff_t prediction_stride) {
  ResidualEnergy energy;
  for (int r = 0; r < 8; ++r) {
    for (int c = 0; c < 8; ++c) {
      const int difference = source[r * source_stride + c] - prediction[r * prediction_stride + c];
      energy.sum += difference;
      energy.squares += static_cast<uint32_t>(difference * difference);
    }
  }
  return energy;
}

bool MayHaveNonzeroLevels(const float* coefficients, const SkipThresholds& limits) {
  float gains[8] = {};
  for (size_t i = 0; i < 64; ++i) {
    const float magnitude = std::fabs(coefficients[i]);
    if (magnitude > limits.large[i]) return true;
    const float product = limits.gain_slope[i] * magnitude;
    gains[i % 8] += std::max(product - limits.gain_offset[i], 0.0F);
  }
  const float even = (gains[0] + gains[4]) + (gains[2] + gains[6]);
  const float odd = (gains[1] + gains[5]) + (gains[3] + gains[7]);
  return even + odd > limits.gain;
}

uint64_t Quantise(const float* coefficients, const float* steps, float round_up, int16_t* levels) {
  uint64_t nonzero = 0;
  for (int i = 0; i < 64; ++i) {
    const float quotient = coefficients[i] / steps[i];
    const float magnitude = std::fabs(quotient);
    const float whole = std::trunc(magnitude);
    // The difference is exact; comparing with whole + 0.5 would not be just below a half.
    const float rounded = magnitude - whole >= round_up ? whole + 1.0F : whole;
    const float clamped = std::clamp(std::copysign(rounded, quotient),
                                     static_cast<float>(kMinLevel), static_cast<float>(kMaxLevel));
    levels[i] = static_cast<int16_t>(clamped);
    if (levels[i] != 0) nonzero |= uint64_t{1} << i;
  }
  return nonzero;
}

void InverseDctAdd(const float* coefficients, int /*rows*/, int /*columns*/,
                   const uint8_t* prediction, ptrdiff_t prediction_stride, uint8_t* destination,
                   ptrdiff_t destination_stride) {
  const DctBasis& basis = GetDctBasis();
  for (int x = 0; x < 8; ++x) {
    float product[8];
    for (int v = 0; v < 8; ++v) {
      float sum = basis.rows[0][x] * coefficients[v];
      for (int u = 1; u < 8; ++u) sum += basis.rows[u][x] * coefficients[8 * u + v];
      product[v] = sum;
    }
    for (int y = 0; y < 8; ++y) {
      float sum = product[0] * basis.rows[0][y];
      for (int v = 1; v < 8; ++v) sum += product[v] * basis.rows[v][y];
      const float value = (static_cast<float>(prediction[x * prediction_stride + y]) + sum) + 0.5F;
      destination[x * destination_stride + y] =
          static_cast<uint8_t>(std::min(std::max(value, 0.0F), 255.0F));
    }
  }
}

template <int kSize>
uint32_t Sad(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride) {
  uint32_t sum = 0;
  for (int r = 0; r < kSize; ++r) {
    for (int c = 0; c < kSize; ++c) {
      sum += static_cast<uint32_t>(std::abs(a[r * a_stride + c] - b[r * b_stride + c]));
    }
  }
  return sum;
}

uint32_t Sad8x8Down(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride,
                    size_t count, uint16_t* costs) {
  for (size_t i = 0; i < count; ++i, b += b_stride) {
    costs[i] = static_cast<uint16_t>(Sad<8>(a, a_stride, b, b_stride));
  }
  return *std::min_element(costs, costs + count);
}

uint32_t Sad8x8Across(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride,
                      uint16_t* costs) {
  for (size_t i = 0; i < 8; ++i, ++b) {
    costs[i] = static_cast<uint16_t>(Sad<8>(a, a_stride, b, b_stride));
  }
  return *std::min_element(costs, costs + 8);
}

uint32_t SadOfMean16x16(const uint8_t* source, ptrdiff_t source_stride, const uint8_t* a,
                        ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride) {
  uint32_t sum = 0;
  for (int r = 0; r < 16; ++r) {
    for (int c = 0; c < 16; ++c) {
      const int mean = (a[r * a_stride + c] + b[r * b_stride + c] + 1) >> 1;
      sum += static_cast<uint32_t>(std::abs(source[r * source_stride + c] - mean));
    }
  }
  return sum;
}

void RgbaToLumaRow(const uint8_t* rgba, size_t width, uint8_t* luma) {
  for (size_t x = 0; x < width; ++x) {
    const int r = rgba[4 * x];
    const int g = rgba[4 * x + 1];
    const int b = rgba[4 * x + 2];
    luma[x] = static_cast<uint8_t>(((66 * r + 129 * g + 25 * b + 128) >> 8) + 16);
  }
}

int PixelCb(const uint8_t* rgba) {
  return ((-38 * rgba[0] - 74 * rgba[1] + 112 * rgba[2] + 128) >> 8) + 128;
}

int PixelCr(const uint8_t* rgba) {
  return ((112 * rgba[0] - 94 * rgba[1] - 18 * rgba[2] + 128) >> 8) + 128;
}

void RgbaToChromaRow(const uint8_t* top, const uint8_t* bottom, size_t width, uint8_t* cb,
                     uint8_t* cr) {
  for (size_t cx = 0; cx < (width + 1) / 2; ++cx) {
    const size_t left = 4 * (2 * cx);
    const size_t right = 4 * std::min(2 * cx + 1, width - 1);
    const int cb_sum = PixelCb(top + left) + PixelCb(top + right) + PixelCb(bottom + left) +
                       PixelCb(bottom + right);
    const int cr_sum = PixelCr(top + left) + PixelCr(top + right) + PixelCr(bottom + left) +
                       PixelCr(bottom + right);
    cb[cx] = static_cast<uint8_t>(std::clamp(cb_sum >> 2, 0, 255));
    cr[cx] = static_cast<uint8_t>(std::clamp(cr_sum >> 2, 0, 255));
  }
}

void YuvToPackedRow(const uint8_t* luma, const uint8_t* cb, const uint8_t* cr, size_t width,
                    bool bgra, uint8_t* packed) {
  for (size_t x = 0; x < width; ++x) {
    const int c = luma[x] - 16;
    const int d = cb[x / 2] - 128;
    const int e = cr[x / 2] - 128;
    const int r = std::clamp((298 * c + 409 * e + 128) >> 8, 0, 255);
    const int g = std::clamp((298 * c - 100 * d - 208 * e + 128) >> 8, 0, 255);
    const int b = std::clamp((298 * c + 516 * d + 128) >> 8, 0, 255);
    packed[4 * x] = static_cast<uint8_t>(bgra ? b : r);
    packed[4 * x + 1] = static_cast<uint8_t>(g);
    packed[4 * x + 2] = static_cast<uint8_t>(bgra ? r : b);
    packed[4 * x + 3] = 255;
  }
}

DifferenceSums MeasureDifference(const uint8_t* a, const uint8_t* b, size_t count) {
  uint32_t changed = 0;
  uint32_t magnitudes = 0;
  uint32_t squares = 0;
  for (size_t i = 0; i < count; ++i) {
    const auto magnitude = static_cast<uint32_t>(std::abs(a[2 * i] - b[2 * i]));
    changed += magnitude >= uint32_t{kChangedSampleDifference} ? 1U : 0U;
    magnitudes += magnitude;
    squares += magnitude * magnitude;
  }
  return {changed, magnitudes, squares};
}

// Branch-free, so that compilers can vectorise the loop.
void DenoiseLuma(const uint8_t* current, const uint8_t* previous, size_t count, uint8_t* filtered) {
  for (size_t i = 0; i < count; ++i) {
    const int c = current[i];
    const int p = previous[i];
    const int magnitude = std::abs(p - c);
    const int blended = (3 * c + p + 2) >> 2;
    const int near = magnitude <= 2 ? p : blended;
    filtered[i] = static_cast<uint8_t>(magnitude <= 4 ? near : c);
  }
}

// Filters the samples p0 and q0 on either side of an edge; p1 and q1 are their outer
// neighbours. Branch-free, so that compilers can vectorise the loop over columns.
inline void DeblockPair(const DeblockLimits& limits, int p1, uint8_t& p0_sample, uint8_t& q0_sample,
                        int q1) {
  const int p0 = p0_sample;
  const int q0 = q0_sample;
  const bool smooth = (std::abs(q0 - p0) < limits.across) & (std::abs(p1 - p0) < limits.beside) &
                      (std::abs(q1 - q0) < limits.beside);
  const int half = std::clamp((q0 - p0) / 2, -limits.correction, limits.correction);
  const int delta = smooth ? half : 0;
  // Both results lie between p0 and q0, so they need no clamping.
  p0_sample = static_cast<uint8_t>(p0 + delta);
  q0_sample = static_cast<uint8_t>(q0 - delta);
}

void DeblockVerticalEdges(DeblockLimits limits, uint8_t* row, size_t width) {
  for (size_t x = 8; x + 5 <= width; x += 8) {
    DeblockPair(limits, row[x - 2], row[x - 1], row[x], row[x + 1]);
  }
}

void DeblockHorizontalEdge(DeblockLimits limits, const uint8_t* p1, uint8_t* p0, uint8_t* q0,
                           const uint8_t* q1, size_t width) {
  for (size_t x = 0; x < width; ++x) DeblockPair(limits, p1[x], p0[x], q0[x], q1[x]);
}

}  // namespace

const VideoKernels& ScalarVideoKernels() {
  static const VideoKernels kernels = {
      .forward_dct = ForwardDct,
      .residual_energy = MeasureResidual,
      .may_have_nonzero_levels = MayHaveNonzeroLevels,
      .quantise = Quantise,
      .inverse_dct_add = InverseDctAdd,
      .sad_8x8 = Sad<8>,
      .sad_16x16 = Sad<16>,
      .sad_8x8_across = Sad8x8Across,
      .sad_8x8_down = Sad8x8Down,
      .sad_of_mean_16x16 = SadOfMean16x16,
      .rgba_to_luma_row = RgbaToLumaRow,
      .rgba_to_chroma_row = RgbaToChromaRow,
      .yuv_to_packed_row = YuvToPackedRow,
      .measure_difference = MeasureDifference,
      .denoise_luma = DenoiseLuma,
      .deblock_vertical_edges = DeblockVerticalEdges,
      .deblock_horizontal_edge = DeblockHorizontalEdge,
  };
  return kernels;
}

}  // namespace qolm::video
