#include <algorithm>
#include <cmath>
#include <cstdlib>

#include "video/dct.h"
#include "video/quant_table.h"
#include "video/video_kernels.h"

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

uint64_t Quantize(const float* coefficients, const float* steps, float round_up, int16_t* levels) {
  uint64_t nonzero = 0;
  for (int i = 0; i < 64; ++i) {
    const float quotient = coefficients[i] / steps[i];
    const float magnitude = std::fabs(quotient);
    const float whole = std::trunc(magnitude);
    // The difference is exact, which whole + 0.5 would not be just below a half.
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

}  // namespace

const VideoKernels& ScalarVideoKernels() {
  static const VideoKernels kernels = {ForwardDct,    Quantize,        InverseDctAdd,
                                       Sad<8>,        Sad<16>,         SadOfMean16x16,
                                       RgbaToLumaRow, RgbaToChromaRow, YuvToPackedRow};
  return kernels;
}

}  // namespace qolm::video
