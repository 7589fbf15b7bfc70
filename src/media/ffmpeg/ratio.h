// SPDX-License-Identifier: MIT
//
// A positive quotient of whole numbers, such as a frame rate or a time base.
#ifndef QOLM_MEDIA_FFMPEG_RATIO_H_
#define QOLM_MEDIA_FFMPEG_RATIO_H_

#include <cstdint>

namespace qolm::media::ffmpeg {

struct Ratio {
  int64_t numerator = 0;
  int64_t denominator = 1;

  bool is_positive() const { return numerator > 0 && denominator > 0; }
  double value() const { return static_cast<double>(numerator) / static_cast<double>(denominator); }
  friend bool operator==(const Ratio&, const Ratio&) = default;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_RATIO_H_
