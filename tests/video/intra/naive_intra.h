// SPDX-License-Identifier: MIT
//
// Reference implementations of the intra and chroma-from-luma coders, block by block
// without kernels.
#ifndef QOLM_TESTS_VIDEO_INTRA_NAIVE_INTRA_H_
#define QOLM_TESTS_VIDEO_INTRA_NAIVE_INTRA_H_

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <vector>

#include "base/rounding.h"
#include "video/intra/chroma_from_luma.h"
#include "video/intra/intra_plane.h"
#include "video/kernels/naive_transform.h"
#include "video/kernels/video_kernels.h"
#include "video/transform/quant_table.h"

namespace qolm::test {

struct NaivePlane {
  const uint8_t* samples;
  int width;
  int height;

  // The sample at clamped coordinates.
  int At(int x, int y) const {
    return samples[static_cast<ptrdiff_t>(std::clamp(y, 0, height - 1)) * width +
                   std::clamp(x, 0, width - 1)];
  }
};

using NaiveBlock = std::array<std::array<int, 8>, 8>;

inline NaiveBlock NaivePrediction(int mode, const NaivePlane& plane, int x0, int y0) {
  const bool has_left = x0 > 0;
  const bool has_top = y0 > 0;
  std::array<int, 8> top{};
  std::array<int, 8> left{};
  int top_sum = 0;
  int left_sum = 0;
  for (int i = 0; i < 8; ++i) {
    if (has_top) top[static_cast<size_t>(i)] = plane.At(x0 + i, y0 - 1);
    if (has_left) left[static_cast<size_t>(i)] = plane.At(x0 - 1, y0 + i);
    top_sum += top[static_cast<size_t>(i)];
    left_sum += left[static_cast<size_t>(i)];
  }
  NaiveBlock block;
  for (size_t r = 0; r < 8; ++r) {
    for (size_t c = 0; c < 8; ++c) {
      int value = 128;
      if (has_top && has_left) {
        const int row = static_cast<int>(r);
        const int column = static_cast<int>(c);
        switch (mode) {
          case 0:
            value = (top_sum + left_sum + 8) / 16;
            break;
          case 1:
            value = left[r];
            break;
          case 2:
            value = top[c];
            break;
          default:
            value = ((7 - column) * left[r] + (column + 1) * top[7] + (7 - row) * top[c] +
                     (row + 1) * left[7] + 8) /
                    16;
        }
      } else if (has_top) {
        value = mode == 2 ? top[c] : (top_sum + 4) / 8;
      } else if (has_left) {
        value = mode == 1 ? left[r] : (left_sum + 4) / 8;
      }
      block[r][c] = value;
    }
  }
  return block;
}

// Codes one block's residual; returns its levels in scan order and writes the
// reconstruction. `keep` may change a level.
template <typename Keep>
std::vector<int16_t> NaiveCodeBlock(const NaivePlane& source, const NaiveBlock& prediction, int x0,
                                    int y0, const video::QuantTable& table, const Keep& keep,
                                    std::vector<uint8_t>& reconstruction) {
  Matrix8x8 residual;
  for (size_t r = 0; r < 8; ++r) {
    for (size_t c = 0; c < 8; ++c) {
      const int sample = source.At(x0 + static_cast<int>(c), y0 + static_cast<int>(r));
      residual[r][c] = static_cast<float>(sample - prediction[r][c]);
    }
  }
  const Matrix8x8 coefficients = NaiveForward(residual);
  Matrix8x8 dequantised{};
  std::vector<int16_t> levels(64);
  for (size_t k = 0; k < 64; ++k) {
    const size_t n = video::kZigzag[k];
    const float coefficient = coefficients[n / 8][n % 8];
    const int nearest = static_cast<int>(RoundHalfAway(coefficient / table.step[n]));
    const int level = std::clamp(keep(static_cast<int>(k), nearest, coefficient, table.step[n]),
                                 video::kMinLevel, video::kMaxLevel);
    levels[k] = static_cast<int16_t>(level);
    dequantised[n / 8][n % 8] = static_cast<float>(level) * table.step[n];
  }
  const Matrix8x8 inverse = NaiveInverse(dequantised);
  for (int r = 0; r < 8 && y0 + r < source.height; ++r) {
    for (int c = 0; c < 8 && x0 + c < source.width; ++c) {
      const auto row = static_cast<size_t>(r);
      const auto column = static_cast<size_t>(c);
      reconstruction[static_cast<size_t>((y0 + r) * source.width + x0 + c)] =
          NaiveSample(static_cast<uint8_t>(prediction[row][column]), inverse[row][column]);
    }
  }
  return levels;
}

inline bool NaiveIsFlat(const NaivePlane& source, int x0, int y0) {
  float sum = 0.0F;
  for (int i = 0; i < 64; ++i) sum += static_cast<float>(source.At(x0 + i % 8, y0 + i / 8));
  const float mean = sum / 64.0F;
  float deviation = 0.0F;
  for (int i = 0; i < 64; ++i) {
    deviation += std::fabs(static_cast<float>(source.At(x0 + i % 8, y0 + i / 8)) - mean);
  }
  return deviation / 64.0F < 3.0F;
}

inline video::IntraPlaneLevels NaiveCodeIntraPlane(const std::vector<uint8_t>& source, int width,
                                                   int height, const video::QuantTable& table,
                                                   const video::IntraPlaneRules& rules,
                                                   std::vector<uint8_t>& reconstruction) {
  reconstruction.assign(source.size(), 0);
  const NaivePlane plane{source.data(), width, height};
  video::IntraPlaneLevels coded;
  for (int y0 = 0; y0 < height; y0 += 8) {
    for (int x0 = 0; x0 < width; x0 += 8) {
      const NaivePlane rebuilt{reconstruction.data(), width, height};
      const bool flat = rules.flat_blocks && NaiveIsFlat(plane, x0, y0);
      int best_sum = 1000000;
      int best_mode = 0;
      for (int mode = 0; mode < 4; ++mode) {
        if ((mode == 1 && x0 == 0) || (mode == 2 && y0 == 0)) continue;
        if (mode == 3 && (x0 == 0 || y0 == 0)) continue;
        const NaiveBlock prediction = NaivePrediction(mode, rebuilt, x0, y0);
        int sum = 0;
        for (int i = 0; i < 64; ++i) {
          sum += std::abs(plane.At(x0 + i % 8, y0 + i / 8) -
                          prediction[static_cast<size_t>(i / 8)][static_cast<size_t>(i % 8)]);
        }
        if (sum < best_sum) {
          best_sum = sum;
          best_mode = mode;
        }
      }
      coded.modes.push_back(static_cast<uint8_t>(best_mode));
      const auto keep = [&](int k, int level, float coefficient, float step) {
        if (rules.sparse_levels && std::abs(level) == 1 && k >= 20) {
          const float rest = std::fabs(coefficient) - step;
          if (0.65F * step * step + rest * rest > coefficient * coefficient) level = 0;
        }
        if (rules.chroma && k >= 16) return std::abs(level) < 2 ? 0 : level;
        if (flat && k >= 16 && std::abs(level) <= 1) return 0;
        return level;
      };
      const std::vector<int16_t> levels = NaiveCodeBlock(
          plane, NaivePrediction(best_mode, rebuilt, x0, y0), x0, y0, table, keep, reconstruction);
      coded.levels.insert(coded.levels.end(), levels.begin(), levels.end());
    }
  }
  return coded;
}

inline int NaiveHalvedLuma(const NaivePlane& luma, int x, int y) {
  return (luma.At(x, y) + luma.At(x + 1, y) + luma.At(x, y + 1) + luma.At(x + 1, y + 1) + 2) / 4;
}

inline video::CclcParams NaiveFit(const NaivePlane& luma, const NaivePlane& chroma, int x0,
                                  int y0) {
  int64_t sx = 0;
  int64_t sy = 0;
  int64_t sxx = 0;
  int64_t sxy = 0;
  for (int r = 0; r < 8; ++r) {
    for (int c = 0; c < 8; ++c) {
      const int x = NaiveHalvedLuma(luma, 2 * (x0 + c), 2 * (y0 + r));
      const int y = chroma.At(x0 + c, y0 + r);
      sx += x;
      sy += y;
      sxx += x * x;
      sxy += x * y;
    }
  }
  const int64_t den = 64 * sxx - sx * sx;
  if (den < 65) return {0, static_cast<uint8_t>(std::min<int64_t>(255, (sy + 32) / 64))};
  const double a = static_cast<double>(64 * sxy - sy * sx) / static_cast<double>(den);
  const double beta = RoundHalfAway((static_cast<double>(sy) - static_cast<double>(sx) * a) / 64.0);
  return {static_cast<int8_t>(std::clamp(RoundHalfAway(64.0 * a), -128.0, 127.0)),
          static_cast<uint8_t>(std::clamp(beta, 0.0, 255.0))};
}

inline video::CclcPlaneLevels NaiveCodeCclc(const std::vector<uint8_t>& chroma, int chroma_width,
                                            int chroma_height, const std::vector<uint8_t>& luma,
                                            int luma_width, int luma_height,
                                            const video::QuantTable& table,
                                            std::vector<uint8_t>& reconstruction) {
  reconstruction.assign(chroma.size(), 0);
  const NaivePlane chroma_plane{chroma.data(), chroma_width, chroma_height};
  const NaivePlane luma_plane{luma.data(), luma_width, luma_height};
  video::CclcPlaneLevels coded;
  for (int y0 = 0; y0 < chroma_height; y0 += 8) {
    for (int x0 = 0; x0 < chroma_width; x0 += 8) {
      const video::CclcParams params = NaiveFit(luma_plane, chroma_plane, x0, y0);
      coded.params.push_back(params);
      NaiveBlock prediction;
      for (int r = 0; r < 8; ++r) {
        for (int c = 0; c < 8; ++c) {
          const int halved = NaiveHalvedLuma(luma_plane, 2 * (x0 + c), 2 * (y0 + r));
          const double slope = static_cast<double>(halved * params.alpha + 32) / 64.0;
          prediction[static_cast<size_t>(r)][static_cast<size_t>(c)] =
              std::clamp(static_cast<int>(std::floor(slope)) + params.beta, 0, 255);
        }
      }
      const auto keep_all = [](int, int level, float, float) { return level; };
      const std::vector<int16_t> levels =
          NaiveCodeBlock(chroma_plane, prediction, x0, y0, table, keep_all, reconstruction);
      coded.levels.insert(coded.levels.end(), levels.begin(), levels.end());
    }
  }
  return coded;
}

}  // namespace qolm::test

#endif  // QOLM_TESTS_VIDEO_INTRA_NAIVE_INTRA_H_
