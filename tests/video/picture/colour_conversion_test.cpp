// SPDX-License-Identifier: MIT
#include "video/picture/colour_conversion.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <string>
#include <vector>

#include "support/moving_picture.h"
#include "video/kernels/guarded_bytes.h"
#include "video/kernels/kernel_levels.h"
#include "video/kernels/video_kernels.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

using test::AvailableSimdLevels;
using test::GuardedBytes;
using test::ScopedSimdLevel;

int FloorShift(int value, int bits) {
  const int divisor = 1 << bits;
  return value >= 0 ? value / divisor : -((-value + divisor - 1) / divisor);
}

int NaiveLuma(const uint8_t* p) {
  return FloorShift(66 * p[0] + 129 * p[1] + 25 * p[2] + 128, 8) + 16;
}
int NaiveCb(const uint8_t* p) {
  return FloorShift(-38 * p[0] - 74 * p[1] + 112 * p[2] + 128, 8) + 128;
}
int NaiveCr(const uint8_t* p) {
  return FloorShift(112 * p[0] - 94 * p[1] - 18 * p[2] + 128, 8) + 128;
}

std::array<uint8_t, 4> NaivePixel(int y, int u, int v, bool bgra) {
  const int c = y - 16;
  const int d = u - 128;
  const int e = v - 128;
  const auto red = static_cast<uint8_t>(std::clamp(FloorShift(298 * c + 409 * e + 128, 8), 0, 255));
  const auto green =
      static_cast<uint8_t>(std::clamp(FloorShift(298 * c - 100 * d - 208 * e + 128, 8), 0, 255));
  const auto blue =
      static_cast<uint8_t>(std::clamp(FloorShift(298 * c + 516 * d + 128, 8), 0, 255));
  return bgra ? std::array<uint8_t, 4>{blue, green, red, 255}
              : std::array<uint8_t, 4>{red, green, blue, 255};
}

// Noise in the first seeds, then only the extremes of each component.
std::vector<uint8_t> PixelRow(size_t width, uint32_t seed) {
  std::vector<uint8_t> row = test::RandomBytes(4 * width, seed);
  if (seed % 2 != 0) {
    for (uint8_t& byte : row) byte = byte < 128 ? 0 : 255;
  }
  return row;
}

TEST(RowKernels, LumaOfEveryWidth) {
  for (const SimdLevel level : AvailableSimdLevels()) {
    for (size_t width = 1; width <= 70; ++width) {
      for (uint32_t seed = 0; seed < 4; ++seed) {
        const std::vector<uint8_t> row = PixelRow(width, seed);
        GuardedBytes luma(width);
        VideoKernelsFor(level).rgba_to_luma_row(row.data(), width, luma.data());
        ASSERT_TRUE(luma.GuardsIntact()) << width;
        for (size_t x = 0; x < width; ++x) {
          ASSERT_EQ(luma.data()[x], NaiveLuma(&row[4 * x])) << width << " " << x;
          ASSERT_GE(luma.data()[x], 16);
          ASSERT_LE(luma.data()[x], 235);
        }
      }
    }
  }
}

TEST(RowKernels, ChromaOfEveryWidth) {
  for (const SimdLevel level : AvailableSimdLevels()) {
    for (size_t width = 1; width <= 70; ++width) {
      for (uint32_t seed = 0; seed < 6; ++seed) {
        const std::vector<uint8_t> top = PixelRow(width, seed);
        // The bottom row of an odd height is the top row itself.
        const std::vector<uint8_t> bottom = seed < 2 ? top : PixelRow(width, seed + 50);
        const size_t samples = (width + 1) / 2;
        GuardedBytes cb(samples);
        GuardedBytes cr(samples);
        VideoKernelsFor(level).rgba_to_chroma_row(top.data(), bottom.data(), width, cb.data(),
                                                  cr.data());
        ASSERT_TRUE(cb.GuardsIntact() && cr.GuardsIntact()) << width;
        for (size_t cx = 0; cx < samples; ++cx) {
          const size_t left = 8 * cx;
          const size_t right = 4 * std::min(2 * cx + 1, width - 1);
          const int cb_sum = NaiveCb(&top[left]) + NaiveCb(&top[right]) + NaiveCb(&bottom[left]) +
                             NaiveCb(&bottom[right]);
          const int cr_sum = NaiveCr(&top[left]) + NaiveCr(&top[right]) + NaiveCr(&bottom[left]) +
                             NaiveCr(&bottom[right]);
          ASSERT_EQ(cb.data()[cx], std::clamp(FloorShift(cb_sum, 2), 0, 255)) << width;
          ASSERT_EQ(cr.data()[cx], std::clamp(FloorShift(cr_sum, 2), 0, 255)) << width;
        }
      }
    }
  }
}

TEST(RowKernels, PackedPixelsOfEveryWidthAndOrder) {
  for (const SimdLevel level : AvailableSimdLevels()) {
    for (size_t width = 1; width <= 70; ++width) {
      for (uint32_t seed = 0; seed < 4; ++seed) {
        std::vector<uint8_t> samples = test::RandomBytes(3 * width, seed);
        if (seed % 2 != 0) {
          for (uint8_t& sample : samples) sample = sample < 128 ? 0 : 255;
        }
        const size_t chroma_width = (width + 1) / 2;
        // Chroma ends exactly where its row ends, so that a wide read shows.
        const std::vector<uint8_t> luma(samples.begin(),
                                        samples.begin() + static_cast<ptrdiff_t>(width));
        const std::vector<uint8_t> cb(
            samples.begin() + static_cast<ptrdiff_t>(width),
            samples.begin() + static_cast<ptrdiff_t>(width + chroma_width));
        const std::vector<uint8_t> cr(samples.end() - static_cast<ptrdiff_t>(chroma_width),
                                      samples.end());
        for (const bool bgra : {false, true}) {
          GuardedBytes packed(4 * width);
          VideoKernelsFor(level).yuv_to_packed_row(luma.data(), cb.data(), cr.data(), width, bgra,
                                                   packed.data());
          ASSERT_TRUE(packed.GuardsIntact()) << width;
          for (size_t x = 0; x < width; ++x) {
            const auto expected = NaivePixel(luma[x], cb[x / 2], cr[x / 2], bgra);
            for (size_t i = 0; i < 4; ++i) {
              ASSERT_EQ(packed.data()[4 * x + i], expected[i]) << width << " " << x;
            }
          }
        }
      }
    }
  }
}

TEST(RowKernels, PackedPixelsOfEveryChromaPair) {
  // Every (u, v) at a few luma values; the row holds all 256 values of v.
  std::vector<uint8_t> cr(256);
  for (size_t i = 0; i < 256; ++i) cr[i] = static_cast<uint8_t>(i);
  for (const SimdLevel level : AvailableSimdLevels()) {
    for (const int y : {0, 16, 100, 235, 255}) {
      const std::vector<uint8_t> luma(512, static_cast<uint8_t>(y));
      for (int u = 0; u < 256; ++u) {
        const std::vector<uint8_t> cb(256, static_cast<uint8_t>(u));
        std::vector<uint8_t> packed(4 * 512);
        VideoKernelsFor(level).yuv_to_packed_row(luma.data(), cb.data(), cr.data(), 512, false,
                                                 packed.data());
        for (size_t x = 0; x < 512; ++x) {
          const auto expected = NaivePixel(y, u, static_cast<int>(x / 2), false);
          ASSERT_TRUE(std::equal(expected.begin(), expected.end(), &packed[4 * x]));
        }
      }
    }
  }
}

VideoFrame FrameOf(int width, int height, std::vector<uint8_t> pixels) {
  VideoFrame frame;
  frame.width = width;
  frame.height = height;
  frame.pixels = std::move(pixels);
  return frame;
}

struct KnownColour {
  std::array<uint8_t, 4> rgba;
  uint8_t y;
  uint8_t cb;
  uint8_t cr;
};

TEST(ConvertFrameToYuv, KnownColours) {
  const std::vector<KnownColour> colors = {
      {{0, 0, 0, 255}, 16, 128, 128},      {{255, 255, 255, 255}, 235, 128, 128},
      {{255, 0, 0, 255}, 82, 90, 240},     {{0, 255, 0, 255}, 144, 54, 34},
      {{0, 0, 255, 255}, 41, 240, 110},    {{128, 128, 128, 255}, 126, 128, 128},
      {{128, 128, 128, 0}, 126, 128, 128},  // the fourth byte is ignored
  };
  for (const SimdLevel level : AvailableSimdLevels()) {
    const ScopedSimdLevel forced(level);
    for (const KnownColour& color : colors) {
      for (const auto& [width, height] : {std::pair{1, 1}, {2, 2}, {5, 3}, {64, 4}}) {
        std::vector<uint8_t> pixels;
        for (int i = 0; i < width * height; ++i) {
          pixels.insert(pixels.end(), color.rgba.begin(), color.rgba.end());
        }
        YuvPlanes planes;
        ConvertFrameToYuv(FrameOf(width, height, pixels), planes);
        EXPECT_EQ(planes.y, std::vector<uint8_t>(planes.y.size(), color.y));
        EXPECT_EQ(planes.cb, std::vector<uint8_t>(planes.cb.size(), color.cb));
        EXPECT_EQ(planes.cr, std::vector<uint8_t>(planes.cr.size(), color.cr));
      }
    }
  }
}

TEST(ConvertFrameToYuv, OddSizesRepeatLastColumnAndRow) {
  // 3x3 with black but for a red right bottom pixel: its chroma sample sees it
  // four times. The pixels beside it are black and count in their own samples.
  std::vector<uint8_t> pixels(3 * 3 * 4, 0);
  pixels[4 * 8] = 255;
  YuvPlanes planes;
  ConvertFrameToYuv(FrameOf(3, 3, pixels), planes);
  EXPECT_EQ(planes.width, 3U);
  EXPECT_EQ(planes.height, 3U);
  ASSERT_EQ(planes.y.size(), 9U);
  EXPECT_EQ(planes.y, (std::vector<uint8_t>{16, 16, 16, 16, 16, 16, 16, 16, 82}));
  EXPECT_EQ(planes.cb, (std::vector<uint8_t>{128, 128, 128, 90}));
  EXPECT_EQ(planes.cr, (std::vector<uint8_t>{128, 128, 128, 240}));
}

TEST(ConvertFrameToYuv, ChromaMeanIsTruncated) {
  // One red pixel among three black ones: (90 + 3 * 128) / 4 = 118.5 and
  // (240 + 3 * 128) / 4 = 156.
  std::vector<uint8_t> pixels(2 * 2 * 4, 0);
  pixels[0] = 255;
  YuvPlanes planes;
  ConvertFrameToYuv(FrameOf(2, 2, pixels), planes);
  EXPECT_EQ(planes.cb, std::vector<uint8_t>{118});
  EXPECT_EQ(planes.cr, std::vector<uint8_t>{156});
}

TEST(ConvertFrameToYuv, SimdLevelsGiveSamePlanes) {
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  for (const auto& [width, height] :
       {std::pair{1, 9}, {9, 1}, {33, 17}, {70, 31}, {129, 66}, {331, 121}}) {
    const VideoFrame frame =
        FrameOf(width, height, test::RandomBytes(static_cast<size_t>(width * height * 4), 77));
    YuvPlanes expected;
    ConvertFrameToYuv(frame, expected);
    for (const SimdLevel level : AvailableSimdLevels()) {
      const ScopedSimdLevel forced(level);
      YuvPlanes planes;
      ConvertFrameToYuv(frame, planes);
      EXPECT_EQ(planes.y, expected.y);
      EXPECT_EQ(planes.cb, expected.cb);
      EXPECT_EQ(planes.cr, expected.cr);
    }
  }
}

TEST(ConvertFrameToYuv, PlanesAreResized) {
  const VideoFrame frame = FrameOf(33, 17, test::RandomBytes(33 * 17 * 4, 77));
  YuvPlanes fresh;
  ConvertFrameToYuv(frame, fresh);
  for (const auto& [width, height] : {std::pair{40U, 40U}, {1U, 1U}, {17U, 33U}}) {
    YuvPlanes planes = test::RandomPicture(width, height, 1);
    ConvertFrameToYuv(frame, planes);
    EXPECT_TRUE(test::SamePicture(planes, fresh));
  }
}

TEST(ConvertYuvToPacked, KnownSamples) {
  const auto packed = [](uint8_t y, uint8_t u, uint8_t v, PixelOrder order) {
    YuvPlanes planes;
    ResizeYuvPlanes(planes, 1, 1);
    planes.y[0] = y;
    planes.cb[0] = u;
    planes.cr[0] = v;
    std::vector<uint8_t> pixels;
    ConvertYuvToPacked(planes, order, pixels);
    return pixels;
  };
  using Bytes = std::vector<uint8_t>;
  EXPECT_EQ(packed(126, 128, 128, PixelOrder::kRgba), (Bytes{128, 128, 128, 255}));
  EXPECT_EQ(packed(16, 128, 128, PixelOrder::kRgba), (Bytes{0, 0, 0, 255}));
  EXPECT_EQ(packed(0, 128, 128, PixelOrder::kRgba), (Bytes{0, 0, 0, 255}));
  EXPECT_EQ(packed(235, 128, 128, PixelOrder::kRgba), (Bytes{255, 255, 255, 255}));
  EXPECT_EQ(packed(255, 128, 128, PixelOrder::kRgba), (Bytes{255, 255, 255, 255}));
  EXPECT_EQ(packed(82, 90, 240, PixelOrder::kRgba), (Bytes{255, 1, 0, 255}));
  EXPECT_EQ(packed(82, 90, 240, PixelOrder::kBgra), (Bytes{0, 1, 255, 255}));
}

TEST(ConvertYuvToPacked, PixelsShareChromaOfTheirSquareAtOddSizes) {
  for (const auto& [width, height] :
       {std::pair{1U, 1U}, {1U, 9U}, {2U, 2U}, {7U, 5U}, {33U, 17U}, {70U, 3U}, {331U, 121U}}) {
    const YuvPlanes planes = test::RandomPicture(width, height, width);
    for (const PixelOrder order : {PixelOrder::kRgba, PixelOrder::kBgra}) {
      for (const SimdLevel level : AvailableSimdLevels()) {
        const ScopedSimdLevel forced(level);
        std::vector<uint8_t> pixels(3, 1);
        ConvertYuvToPacked(planes, order, pixels);
        ASSERT_EQ(pixels.size(), size_t{4} * width * height);
        for (size_t y = 0; y < height; ++y) {
          for (size_t x = 0; x < width; ++x) {
            const size_t chroma = (y / 2) * ((width + 1) / 2) + x / 2;
            const auto expected = NaivePixel(planes.y[y * width + x], planes.cb[chroma],
                                             planes.cr[chroma], order == PixelOrder::kBgra);
            ASSERT_TRUE(std::equal(expected.begin(), expected.end(), &pixels[4 * (y * width + x)]));
          }
        }
      }
    }
  }
}

}  // namespace
}  // namespace qolm::video
