// SPDX-License-Identifier: MIT
#include "video/inter/phase_planes.h"

#include <gtest/gtest.h>

#include <utility>
#include <vector>

#include "video/sample_planes.h"

namespace qolm::video {
namespace {

TEST(PhasePlanes, EverySampleIsFoundAtEverySize) {
  for (const auto& [width, height] :
       {std::pair{1U, 1U}, {1U, 9U}, {9U, 1U}, {2U, 2U}, {17U, 33U}, {64U, 48U}, {301U, 203U}}) {
    const std::vector<uint8_t> plane = test::RandomBytes(size_t{width} * height, 2);
    const PhasePlanes all(plane.data(), width, height, /*even_only=*/false);
    const PhasePlanes even(plane.data(), width, height, /*even_only=*/true);
    for (uint32_t y = 0; y < height; ++y) {
      for (uint32_t x = 0; x < width; ++x) {
        const uint8_t expected = plane[size_t{y} * width + x];
        ASSERT_EQ(*all.At(static_cast<int>(x), static_cast<int>(y)), expected);
        if (x % 2 == 0 && y % 2 == 0) {
          ASSERT_EQ(*even.At(static_cast<int>(x), static_cast<int>(y)), expected);
        }
      }
    }
  }
}

TEST(PhasePlanes, SamplesOfOneParityAreContiguous) {
  const std::vector<uint8_t> plane = test::RandomBytes(31 * 23, 3);
  const PhasePlanes phases(plane.data(), 31, 23, /*even_only=*/false);
  for (int y = 0; y + 2 < 23; ++y) {
    for (int x = 0; x + 2 < 31; ++x) {
      ASSERT_EQ(phases.At(x + 2, y), phases.At(x, y) + 1);
      ASSERT_EQ(phases.At(x, y + 2), phases.At(x, y) + phases.Stride());
    }
  }
}

}  // namespace
}  // namespace qolm::video
