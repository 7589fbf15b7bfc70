// SPDX-License-Identifier: MIT
#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <cstdlib>
#include <vector>

#include "video/kernels/kernel_levels.h"
#include "video/kernels/video_kernels.h"
#include "video/sample_planes.h"

namespace qolm::video {
namespace {

using test::AvailableSimdLevels;

uint32_t NaiveSad(const uint8_t* a, ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride,
                  int size) {
  int sum = 0;
  for (int r = 0; r < size; ++r) {
    for (int c = 0; c < size; ++c) sum += std::abs(a[r * a_stride + c] - b[r * b_stride + c]);
  }
  return static_cast<uint32_t>(sum);
}

uint32_t NaiveSadOfMean(const uint8_t* source, ptrdiff_t source_stride, const uint8_t* a,
                        ptrdiff_t a_stride, const uint8_t* b, ptrdiff_t b_stride) {
  int sum = 0;
  for (int r = 0; r < 16; ++r) {
    for (int c = 0; c < 16; ++c) {
      const int mean = (a[r * a_stride + c] + b[r * b_stride + c] + 1) / 2;
      sum += std::abs(source[r * source_stride + c] - mean);
    }
  }
  return static_cast<uint32_t>(sum);
}

TEST(SumOfAbsoluteDifferences, SadOfMeanMatchesFormula) {
  for (const SimdLevel level : AvailableSimdLevels()) {
    const VideoKernels& kernels = VideoKernelsFor(level);
    for (const ptrdiff_t source_stride : {16, 70}) {
      for (const ptrdiff_t a_stride : {16, 21}) {
        for (const ptrdiff_t b_stride : {16, 33}) {
          const auto sources = test::ExtremePlanes(static_cast<size_t>(15 * source_stride + 16));
          const auto a_planes = test::ExtremePlanes(static_cast<size_t>(15 * a_stride + 16));
          const auto b_planes = test::ExtremePlanes(static_cast<size_t>(15 * b_stride + 16));
          for (size_t i = 0; i < sources.size(); ++i) {
            const uint8_t* const source = sources[i].data();
            const uint8_t* const a = a_planes[(3 * i + 1) % a_planes.size()].data();
            const uint8_t* const b = b_planes[(5 * i + 2) % b_planes.size()].data();
            ASSERT_EQ(kernels.sad_of_mean_16x16(source, source_stride, a, a_stride, b, b_stride),
                      NaiveSadOfMean(source, source_stride, a, a_stride, b, b_stride));
          }
        }
      }
    }
  }
}

TEST(SumOfAbsoluteDifferences, MatchesFormulaAtEveryStrideAndExtreme) {
  for (const SimdLevel level : AvailableSimdLevels()) {
    const VideoKernels& kernels = VideoKernelsFor(level);
    for (const ptrdiff_t a_stride : {16, 21, 70}) {
      for (const ptrdiff_t b_stride : {16, 33}) {
        // No byte after the last sample of the last row may be read.
        const auto a_planes = test::ExtremePlanes(static_cast<size_t>(15 * a_stride + 16));
        const auto b_planes = test::ExtremePlanes(static_cast<size_t>(15 * b_stride + 16));
        for (size_t i = 0; i < a_planes.size(); ++i) {
          const uint8_t* const a = a_planes[i].data();
          const uint8_t* const b = b_planes[(3 * i + 1) % b_planes.size()].data();
          ASSERT_EQ(kernels.sad_8x8(a, a_stride, b, b_stride),
                    NaiveSad(a, a_stride, b, b_stride, 8));
          ASSERT_EQ(kernels.sad_16x16(a, a_stride, b, b_stride),
                    NaiveSad(a, a_stride, b, b_stride, 16));
        }
      }
    }
    const std::vector<uint8_t> black(256, 0);
    const std::vector<uint8_t> white(256, 255);
    EXPECT_EQ(kernels.sad_8x8(black.data(), 16, white.data(), 16), 64U * 255U);
    EXPECT_EQ(kernels.sad_16x16(black.data(), 16, white.data(), 16), 256U * 255U);
    EXPECT_EQ(kernels.sad_16x16(white.data(), 16, black.data(), 16), 256U * 255U);
  }
}

TEST(SumOfAbsoluteDifferences, EightHorizontalPositions) {
  for (const SimdLevel level : AvailableSimdLevels()) {
    const VideoKernels& kernels = VideoKernelsFor(level);
    for (const ptrdiff_t a_stride : {8, 21}) {
      for (const ptrdiff_t b_stride : {16, 33}) {
        const auto a_planes = test::ExtremePlanes(static_cast<size_t>(7 * a_stride + 8));
        const auto b_planes = test::ExtremePlanes(static_cast<size_t>(7 * b_stride + 16));
        for (size_t i = 0; i < a_planes.size(); ++i) {
          const uint8_t* const a = a_planes[i].data();
          const uint8_t* const b = b_planes[(3 * i + 1) % b_planes.size()].data();
          std::array<uint16_t, 8> costs;
          const uint32_t least = kernels.sad_8x8_across(a, a_stride, b, b_stride, costs.data());
          for (size_t place = 0; place < 8; ++place) {
            ASSERT_EQ(costs[place], NaiveSad(a, a_stride, b + place, b_stride, 8)) << place;
          }
          ASSERT_EQ(least, *std::min_element(costs.begin(), costs.end()));
        }
      }
    }
  }
}

TEST(SumOfAbsoluteDifferences, EveryNumberOfVerticalPositions) {
  constexpr uint16_t kUntouched = 54321;  // no sum over 64 bytes is as large
  for (const SimdLevel level : AvailableSimdLevels()) {
    const VideoKernels& kernels = VideoKernelsFor(level);
    for (size_t count = 1; count <= 24; ++count) {
      for (const ptrdiff_t b_stride : {8, 33}) {
        // No byte after the last sample of the last row may be read.
        const auto a_planes = test::ExtremePlanes(7 * 8 + 8);
        const auto b_planes = test::ExtremePlanes((count + 6) * static_cast<size_t>(b_stride) + 8);
        for (size_t i = 0; i < a_planes.size(); i += 5) {
          const uint8_t* const a = a_planes[i].data();
          const uint8_t* const b = b_planes[(3 * i + 1) % b_planes.size()].data();
          std::array<uint16_t, 25> costs;
          costs.fill(kUntouched);
          const uint32_t least = kernels.sad_8x8_down(a, 8, b, b_stride, count, costs.data());
          for (size_t place = 0; place < count; ++place) {
            ASSERT_EQ(costs[place],
                      NaiveSad(a, 8, b + static_cast<ptrdiff_t>(place) * b_stride, b_stride, 8));
          }
          ASSERT_EQ(least, *std::min_element(costs.data(), costs.data() + count));
          ASSERT_EQ(costs[count], kUntouched);
        }
      }
    }
  }
}

}  // namespace
}  // namespace qolm::video
