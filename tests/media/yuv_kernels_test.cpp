// SPDX-License-Identifier: MIT
#include "media/ffmpeg/yuv_kernels.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "video/kernels/kernel_levels.h"
#include "video/sample_planes.h"

namespace qolm::media::ffmpeg {
namespace {

using test::AvailableSimdLevels;
using test::ExtremePlanes;

struct Matrix {
  double red_share;
  double blue_share;
};
constexpr std::array kMatrices = {Matrix{0.299, 0.114}, Matrix{0.2126, 0.0722},
                                  Matrix{0.2627, 0.0593}, Matrix{0.212, 0.087}, Matrix{0.30, 0.11}};

// Red, green, blue as real numbers, clamped to what a byte can hold.
std::array<double, 3> ExactPixel(const Matrix& matrix, bool full_range, double y, double cb,
                                 double cr) {
  const double luma = full_range ? y : (y - 16) * 255 / 219;
  const double chroma_scale = full_range ? 1 : 255.0 / 224;
  const double red = luma + 2 * (1 - matrix.red_share) * (cr - 128) * chroma_scale;
  const double blue = luma + 2 * (1 - matrix.blue_share) * (cb - 128) * chroma_scale;
  const double green = (luma - matrix.red_share * red - matrix.blue_share * blue) /
                       (1 - matrix.red_share - matrix.blue_share);
  return {std::clamp(red, 0.0, 255.0), std::clamp(green, 0.0, 255.0), std::clamp(blue, 0.0, 255.0)};
}

TEST(YuvKernels, PixelsAreWithinRoundingOfTheMatrix) {
  double worst = 0;
  for (const Matrix& matrix : kMatrices) {
    for (const bool full_range : {false, true}) {
      const YuvWeights weights = MakeYuvWeights(matrix.red_share, matrix.blue_share, full_range);
      for (int y = 0; y < 256; y += 3) {
        for (int cb = 0; cb < 256 * 16; cb += 85) {
          for (int cr = 0; cr < 256 * 16; cr += 51) {
            const uint8_t luma = static_cast<uint8_t>(y);
            const uint16_t blue_chroma = static_cast<uint16_t>(std::min(cb, 255 * 16));
            const uint16_t red_chroma = static_cast<uint16_t>(std::min(cr, 255 * 16));
            std::array<uint8_t, 4> pixel{};
            ScalarYuvKernels().convert_row(&luma, &blue_chroma, &red_chroma, 1, weights,
                                           pixel.data());
            const auto exact =
                ExactPixel(matrix, full_range, y, blue_chroma / 16.0, red_chroma / 16.0);
            ASSERT_EQ(pixel[3], 255);
            for (size_t i = 0; i < 3; ++i) worst = std::max(worst, std::abs(pixel[i] - exact[i]));
          }
        }
      }
    }
  }
  EXPECT_LE(worst, 0.6);
}

TEST(YuvKernels, GreysStayGreyAndReachBothEnds) {
  for (const Matrix& matrix : kMatrices) {
    for (const bool full_range : {false, true}) {
      const YuvWeights weights = MakeYuvWeights(matrix.red_share, matrix.blue_share, full_range);
      for (int y = 0; y < 256; ++y) {
        const uint8_t luma = static_cast<uint8_t>(y);
        const uint16_t neutral = 128 * 16;
        std::array<uint8_t, 4> pixel{};
        ScalarYuvKernels().convert_row(&luma, &neutral, &neutral, 1, weights, pixel.data());
        EXPECT_EQ(pixel[0], pixel[1]) << y;
        EXPECT_EQ(pixel[2], pixel[1]) << y;
        const int black = full_range ? 0 : 16;
        const int white = full_range ? 255 : 235;
        EXPECT_EQ(pixel[1] == 0, y <= black) << y;
        EXPECT_EQ(pixel[1] == 255, y >= white) << y;
      }
    }
  }
}

TEST(YuvKernels, HalvedChromaIsInterpolatedFromTheMiddleOfItsPixels) {
  const std::array<uint8_t, 3> near = {0, 100, 200};
  const std::array<uint8_t, 3> far = {40, 100, 0};
  // Three quarters of the near row, a quarter of the far one: 10, 100, 150.
  std::array<uint16_t, 6> chroma{};
  for (const SimdLevel level : AvailableSimdLevels()) {
    YuvKernelsFor(level).widen_halved_chroma(near.data(), far.data(), 6, chroma.data());
    EXPECT_EQ(chroma, (std::array<uint16_t, 6>{160, 520, 1240, 1800, 2200, 2400}));
    chroma = {};
    YuvKernelsFor(level).widen_halved_chroma(near.data(), far.data(), 5, chroma.data());
    EXPECT_EQ(chroma, (std::array<uint16_t, 6>{160, 520, 1240, 1800, 2200, 0}));
  }
}

TEST(YuvKernels, VariantsGiveTheScalarBitsAtEveryWidth) {
  constexpr size_t kMostWidth = 150;
  const auto planes = ExtremePlanes(kMostWidth);
  const YuvKernels& scalar = ScalarYuvKernels();
  for (const SimdLevel level : AvailableSimdLevels()) {
    const YuvKernels& kernels = YuvKernelsFor(level);
    for (size_t width = 1; width <= kMostWidth; ++width) {
      for (size_t i = 0; i < planes.size(); i += 7) {
        const uint8_t* const luma = planes[i].data();
        // As long as they need to be, so that the address sanitizer sees any byte
        // read beyond.
        const std::vector<uint8_t>& near_plane = planes[(3 * i + 1) % planes.size()];
        const std::vector<uint8_t>& far_plane = planes[(5 * i + 2) % planes.size()];
        const auto halved = static_cast<ptrdiff_t>((width + 1) / 2);
        const std::vector<uint8_t> near(near_plane.begin(), near_plane.begin() + halved);
        const std::vector<uint8_t> far(far_plane.begin(), far_plane.begin() + halved);
        const std::vector<uint8_t> full(far_plane.begin(),
                                        far_plane.begin() + static_cast<ptrdiff_t>(width));
        // One element more than is written, which must stay.
        std::vector<uint16_t> expected(width + 1, 7);
        std::vector<uint16_t> cb(width + 1, 7);
        scalar.widen_halved_chroma(near.data(), far.data(), width, expected.data());
        kernels.widen_halved_chroma(near.data(), far.data(), width, cb.data());
        ASSERT_EQ(cb, expected) << width;

        std::vector<uint16_t> cr(width + 1, 7);
        scalar.widen_full_chroma(full.data(), width, expected.data());
        kernels.widen_full_chroma(full.data(), width, cr.data());
        ASSERT_EQ(cr, expected) << width;

        for (const bool full_range : {false, true}) {
          const YuvWeights weights = MakeYuvWeights(0.2627, 0.0593, full_range);
          std::vector<uint8_t> expected_pixels(4 * width + 1, 7);
          std::vector<uint8_t> pixels(4 * width + 1, 7);
          scalar.convert_row(luma, cb.data(), cr.data(), width, weights, expected_pixels.data());
          kernels.convert_row(luma, cb.data(), cr.data(), width, weights, pixels.data());
          ASSERT_EQ(pixels, expected_pixels) << width;
        }
      }
    }
  }
}

}  // namespace
}  // namespace qolm::media::ffmpeg
