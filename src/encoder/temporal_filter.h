// SPDX-License-Identifier: MIT
//
// Temporal denoising of the luma, so that camera noise does not prevent the frames of a
// static scene from being detected as static.
#ifndef QOLM_ENCODER_TEMPORAL_FILTER_H_
#define QOLM_ENCODER_TEMPORAL_FILTER_H_

#include <cstdint>
#include <span>

namespace qolm::encoder {

// For every sample, with d = |previous - current|: the previous value when
// d <= 2, (3 * current + previous + 2) >> 2 when d is 3 or 4, else the current
// value. The three spans have the same length; `filtered` may be `current`.
void FilterLuma(std::span<const uint8_t> current, std::span<const uint8_t> previous,
                std::span<uint8_t> filtered);

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_TEMPORAL_FILTER_H_
