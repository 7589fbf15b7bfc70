// SPDX-License-Identifier: MIT
//
// Timestamps of a constant rate as containers round and jitter them.
#ifndef QOLM_TESTS_MEDIA_JITTERED_TIMESTAMPS_H_
#define QOLM_TESTS_MEDIA_JITTERED_TIMESTAMPS_H_

#include <cmath>
#include <cstdint>
#include <vector>

#include "media/ffmpeg/ratio.h"

namespace qolm::media::ffmpeg {

// `count` frames of a rate with each timestamp off by up to `jitter` frames and
// rounded to the time base.
inline std::vector<int64_t> Timestamps(Ratio rate, Ratio time_base, int count, double jitter,
                                       int64_t start) {
  std::vector<int64_t> timestamps;
  uint32_t noise = 1;
  for (int i = 0; i < count; ++i) {
    noise = noise * 1664525u + 1013904223u;
    const double offset = jitter * (static_cast<double>(noise >> 8) / (1 << 23) - 1);
    timestamps.push_back(start + std::llround((i + offset) / rate.value() / time_base.value()));
  }
  return timestamps;
}

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_TESTS_MEDIA_JITTERED_TIMESTAMPS_H_
