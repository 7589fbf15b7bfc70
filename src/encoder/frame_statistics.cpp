#include "encoder/frame_statistics.h"

#include <algorithm>
#include <cstddef>

namespace qolm::encoder {
namespace {

constexpr int kChangedSampleDifference = 5;
constexpr double kSceneChangedFraction = 0.4;
constexpr double kSceneMeanDifference = 24.0;
constexpr double kSceneMse = 350.0;

// The squares of so many samples, at most 255² each, stay inside 32 bits; the
// inner loop may therefore count in narrow lanes.
constexpr size_t kSamplesPerChunk = 32768;

}  // namespace

FrameStatistics MeasureFrameDifference(std::span<const uint8_t> current,
                                       std::span<const uint8_t> previous) {
  FrameStatistics statistics;
  const size_t samples = (std::min(current.size(), previous.size()) + 1) / 2;
  if (samples == 0) return statistics;

  // Sums of integers are exact, and below 2^53 so are their doubles: the
  // result does not depend on the order of the additions.
  uint64_t changed = 0;
  uint64_t sum = 0;
  uint64_t sum_of_squares = 0;
  for (size_t begin = 0; begin < samples; begin += kSamplesPerChunk) {
    const uint8_t* a = &current[2 * begin];
    const uint8_t* b = &previous[2 * begin];
    const size_t count = std::min(kSamplesPerChunk, samples - begin);
    uint32_t chunk_changed = 0;
    uint32_t chunk_sum = 0;
    uint32_t chunk_squares = 0;
#pragma omp simd reduction(+ : chunk_changed, chunk_sum, chunk_squares)
    for (size_t i = 0; i < count; ++i) {
      const int difference = a[2 * i] - b[2 * i];
      const int magnitude = difference < 0 ? -difference : difference;
      chunk_changed += magnitude >= kChangedSampleDifference ? 1U : 0U;
      chunk_sum += static_cast<uint32_t>(magnitude);
      chunk_squares += static_cast<uint32_t>(magnitude * magnitude);
    }
    changed += chunk_changed;
    sum += chunk_sum;
    sum_of_squares += chunk_squares;
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
