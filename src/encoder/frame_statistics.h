// SPDX-License-Identifier: MIT
//
// Difference measures between a picture and the one before it.
#ifndef QOLM_ENCODER_FRAME_STATISTICS_H_
#define QOLM_ENCODER_FRAME_STATISTICS_H_

#include <cstdint>
#include <span>

namespace qolm::encoder {

// A frame is static when its mean squared error and its share of changed
// samples are at most these.
inline constexpr double kStaticMseLimit = 2.5;
inline constexpr double kStaticChangedFractionLimit = 0.008;

// Measured over every second luma sample; all zero without a previous picture.
struct FrameStatistics {
  double mse = 0.0;                       // mean squared difference
  double mean_absolute_difference = 0.0;  // in luma steps
  double changed_fraction = 0.0;          // share of samples that differ by 5 or more
  bool is_static = false;
  bool is_scene_change = false;
};

// Compares two luma planes of the same length at the sample offsets 0, 2, 4, …
// Empty planes give all zeros.
FrameStatistics MeasureFrameDifference(std::span<const uint8_t> current,
                                       std::span<const uint8_t> previous);

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_FRAME_STATISTICS_H_
