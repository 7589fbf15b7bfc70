// SPDX-License-Identifier: MIT
#include "video/intra/chroma_from_luma.h"

#include <algorithm>
#include <cmath>

#include "base/rounding.h"
#include "video/transform/block_codec.h"

namespace qolm::video {
namespace {

struct LumaPlane {
  const uint8_t* samples;
  uint32_t width;
  uint32_t height;
};

// The luma samples co-located with the chroma block at (x0, y0), downsampled by 2 in both
// directions.
void DownsampleLuma(const LumaPlane& luma, uint32_t x0, uint32_t y0, Block8x8& samples) {
  const bool inside = 2 * x0 + 16 <= luma.width && 2 * y0 + 16 <= luma.height;
  for (uint32_t r = 0; r < 8; ++r) {
    const uint32_t y = 2 * (y0 + r);
    const uint8_t* top = luma.samples + size_t{std::min(y, luma.height - 1)} * luma.width;
    const uint8_t* bottom = luma.samples + size_t{std::min(y + 1, luma.height - 1)} * luma.width;
    uint8_t* const row = samples.data() + size_t{8} * r;
    if (inside) {
      top += size_t{2} * x0;
      bottom += size_t{2} * x0;
      for (uint32_t c = 0; c < 8; ++c) {
        row[c] = static_cast<uint8_t>(
            (top[2 * c] + top[2 * c + 1] + bottom[2 * c] + bottom[2 * c + 1] + 2) >> 2);
      }
    } else {
      for (uint32_t c = 0; c < 8; ++c) {
        const uint32_t left = std::min(2 * (x0 + c), luma.width - 1);
        const uint32_t right = std::min(2 * (x0 + c) + 1, luma.width - 1);
        row[c] =
            static_cast<uint8_t>((top[left] + top[right] + bottom[left] + bottom[right] + 2) >> 2);
      }
    }
  }
}

// Least-squares fit over the 64 pairs. Beta is computed from the slope before its
// rounding to alpha.
CclcParams FitLine(const Block8x8& luma, const BlockView& chroma) {
  int64_t sum_x = 0;
  int64_t sum_y = 0;
  int64_t sum_xx = 0;
  int64_t sum_xy = 0;
  for (int r = 0; r < 8; ++r) {
    for (int c = 0; c < 8; ++c) {
      const int x = luma[static_cast<size_t>(8 * r + c)];
      const int y = chroma.samples[r * chroma.stride + c];
      sum_x += x;
      sum_y += y;
      sum_xx += x * x;
      sum_xy += x * y;
    }
  }
  const int64_t denominator = 64 * sum_xx - sum_x * sum_x;
  CclcParams params;
  if (denominator < 65) {
    params.alpha = 0;
    params.beta = static_cast<uint8_t>(std::min<int64_t>((sum_y + 32) / 64, 255));
    return params;
  }
  const double slope =
      static_cast<double>(64 * sum_xy - sum_y * sum_x) / static_cast<double>(denominator);
  const double offset = (static_cast<double>(sum_y) - static_cast<double>(sum_x) * slope) / 64.0;
  params.alpha = static_cast<int8_t>(std::clamp(RoundHalfAway(64.0 * slope), -128.0, 127.0));
  params.beta = static_cast<uint8_t>(std::clamp(RoundHalfAway(offset), 0.0, 255.0));
  return params;
}

void PredictFromLuma(const Block8x8& luma, const CclcParams& params, Block8x8& prediction) {
  for (size_t i = 0; i < 64; ++i) {
    const int value = ((luma[i] * params.alpha + 32) >> 6) + params.beta;
    prediction[i] = static_cast<uint8_t>(std::clamp(value, 0, 255));
  }
}

}  // namespace

CclcPlaneLevels CodeChromaCclc(const uint8_t* chroma_source, const uint8_t* luma,
                               uint32_t chroma_width, uint32_t chroma_height, uint32_t luma_width,
                               uint32_t luma_height, const QuantTable& table,
                               uint8_t* reconstruction) {
  const VideoKernels& kernels = ActiveVideoKernels();
  const BlockGrid grid{chroma_width, chroma_height};
  const LumaPlane luma_plane{luma, luma_width, luma_height};
  CclcPlaneLevels coded;
  coded.params.resize(grid.Count());
  coded.levels.resize(grid.Count() * 64);

  size_t block = 0;
  for (uint32_t y0 = 0; y0 < chroma_height; y0 += 8) {
    for (uint32_t x0 = 0; x0 < chroma_width; x0 += 8, ++block) {
      Block8x8 storage;
      const BlockView source = ViewBlock(chroma_source, grid, x0, y0, storage);
      Block8x8 downsampled;
      DownsampleLuma(luma_plane, x0, y0, downsampled);
      coded.params[block] = FitLine(downsampled, source);
      Block8x8 prediction;
      PredictFromLuma(downsampled, coded.params[block], prediction);

      alignas(32) float coefficients[64];
      kernels.forward_dct(source.samples, source.stride, prediction.data(), 8, coefficients);
      int16_t natural_levels[64];
      const uint64_t nonzero =
          kernels.quantise(coefficients, table.step.data(), 0.5F, natural_levels);
      int16_t* const levels = coded.levels.data() + block * 64;
      StoreInScanOrder(natural_levels, nonzero, levels);
      ReconstructBlock(kernels, table, {prediction.data(), 8}, levels, grid, x0, y0,
                       reconstruction);
    }
  }
  return coded;
}

void ReconstructChromaCclc(std::span<const CclcParams> params, std::span<const int16_t> levels,
                           const uint8_t* luma, uint32_t chroma_width, uint32_t chroma_height,
                           uint32_t luma_width, uint32_t luma_height, const QuantTable& table,
                           uint8_t* reconstruction) {
  const VideoKernels& kernels = ActiveVideoKernels();
  const BlockGrid grid{chroma_width, chroma_height};
  const LumaPlane luma_plane{luma, luma_width, luma_height};
  size_t block = 0;
  for (uint32_t y0 = 0; y0 < chroma_height; y0 += 8) {
    for (uint32_t x0 = 0; x0 < chroma_width; x0 += 8, ++block) {
      Block8x8 downsampled;
      DownsampleLuma(luma_plane, x0, y0, downsampled);
      Block8x8 prediction;
      PredictFromLuma(downsampled, params[block], prediction);
      ReconstructBlock(kernels, table, {prediction.data(), 8}, levels.data() + block * 64, grid, x0,
                       y0, reconstruction);
    }
  }
}

}  // namespace qolm::video
