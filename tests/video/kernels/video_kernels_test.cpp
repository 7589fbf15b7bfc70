// SPDX-License-Identifier: MIT
//
// The selection of kernels. Variants are bit-identical, so only the table shows that one
// is not used.
#include "video/kernels/video_kernels.h"

#include <gtest/gtest.h>

#include <string>
#include <utility>
#include <vector>

#include "video/kernels/kernel_levels.h"

namespace qolm::video {
namespace {

// The names of the kernels that both tables have in common.
std::vector<std::string> SharedKernels(const VideoKernels& a, const VideoKernels& b) {
  const std::pair<const char*, bool> kernels[] = {
      {"forward_dct", a.forward_dct == b.forward_dct},
      {"residual_energy", a.residual_energy == b.residual_energy},
      {"may_have_nonzero_levels", a.may_have_nonzero_levels == b.may_have_nonzero_levels},
      {"quantise", a.quantise == b.quantise},
      {"inverse_dct_add", a.inverse_dct_add == b.inverse_dct_add},
      {"sad_8x8", a.sad_8x8 == b.sad_8x8},
      {"sad_16x16", a.sad_16x16 == b.sad_16x16},
      {"sad_8x8_across", a.sad_8x8_across == b.sad_8x8_across},
      {"sad_8x8_down", a.sad_8x8_down == b.sad_8x8_down},
      {"sad_of_mean_16x16", a.sad_of_mean_16x16 == b.sad_of_mean_16x16},
      {"rgba_to_luma_row", a.rgba_to_luma_row == b.rgba_to_luma_row},
      {"rgba_to_chroma_row", a.rgba_to_chroma_row == b.rgba_to_chroma_row},
      {"yuv_to_packed_row", a.yuv_to_packed_row == b.yuv_to_packed_row},
      {"measure_difference", a.measure_difference == b.measure_difference},
      {"denoise_luma", a.denoise_luma == b.denoise_luma},
      {"deblock_vertical_edges", a.deblock_vertical_edges == b.deblock_vertical_edges},
      {"deblock_horizontal_edge", a.deblock_horizontal_edge == b.deblock_horizontal_edge},
  };
  static_assert(sizeof(VideoKernels) == std::size(kernels) * sizeof(void (*)()),
                "a kernel is missing in this list");
  std::vector<std::string> shared;
  for (const auto& [name, same] : kernels) {
    if (same) shared.emplace_back(name);
  }
  return shared;
}

TEST(VideoKernels, EveryKernelHasAnAvx2Variant) {
  if (!test::HasVectorKernels()) GTEST_SKIP() << test::kNothingCompared;
  EXPECT_EQ(SharedKernels(VideoKernelsFor(SimdLevel::kAvx2), ScalarVideoKernels()),
            std::vector<std::string>{});
}

TEST(VideoKernels, ScalarLevelUsesScalarKernels) {
  EXPECT_EQ(&VideoKernelsFor(SimdLevel::kScalar), &ScalarVideoKernels());
}

TEST(VideoKernels, ActiveKernelsFollowActiveLevel) {
  EXPECT_EQ(&ActiveVideoKernels(), &VideoKernelsFor(DetectedSimdLevel()));
  const test::ScopedSimdLevel forced(SimdLevel::kScalar);
  EXPECT_EQ(&ActiveVideoKernels(), &ScalarVideoKernels());
}

}  // namespace
}  // namespace qolm::video
