// SPDX-License-Identifier: MIT
#include "encoder/frame_statistics.h"

#include <algorithm>
#include <cstddef>

#include "video/kernels/video_kernels.h"

namespace qolm::encoder {
namespace {

constexpr double kSceneChangedFraction = 0.4;
constexpr double kSceneMeanDifference = 24.0;
constexpr double kSceneMse = 350.0;

}  // namespace

FrameStatistics MeasureFrameDifference(std::span<const uint8_t> current,
                                       std::span<const uint8_t> previous) {
  FrameStatistics statistics;
  const size_t samples = (std::min(current.size(), previous.size()) + 1) / 2;
  if (samples == 0) return statistics;

  const video::VideoKernels& kernels = video::ActiveVideoKernels();
  // Sums of integers are exact, and below 2^53 so are their doubles: the
  // result does not depend on the order of the additions.
  uint64_t changed = 0;
  uint64_t sum = 0;
  uint64_t sum_of_squares = 0;
  for (size_t begin = 0; begin < samples; begin += video::kMaxMeasuredSamples) {
    const video::DifferenceSums sums =
        kernels.measure_difference(&current[2 * begin], &previous[2 * begin],
                                   std::min(video::kMaxMeasuredSamples, samples - begin));
    changed += sums.changed;
    sum += sums.magnitudes;
    sum_of_squares += sums.squares;
  }

  const auto n = static_cast<double>(samples);
  statistics.mse = static_cast<double>(sum_of_squares) / n;
  statistics.mean_absolute_difference = static_cast<double>(sum) / n;
  statistics.changed_fraction = static_cast<double>(changed) / n;
  statistics.is_static = statistics.changed_fraction <= kStaticChangedFractionLimit &&
                         statistics.mse <= kStaticMseLimit;
  statistics.is_scene_change =
      statistics.changed_fraction >= kSceneChangedFraction &&
      (statistics.mean_absolute_difference >= kSceneMeanDifference || statistics.mse >= kSceneMse);
  return statistics;
}

}  // namespace qolm::encoder
