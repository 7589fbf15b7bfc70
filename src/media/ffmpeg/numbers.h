// SPDX-License-Identifier: MIT
//
// The one place where numbers of a media file are range-checked before use. Values that no
// real film has are treated as unknown, so that all later sums fit their types.
#ifndef QOLM_MEDIA_FFMPEG_NUMBERS_H_
#define QOLM_MEDIA_FFMPEG_NUMBERS_H_

extern "C" {
#include <libavutil/rational.h>
}

#include <cstdint>
#include <optional>

#include "media/ffmpeg/ratio.h"

namespace qolm::media::ffmpeg {

// Of a film, and of a picture in it.
inline constexpr double kLongestDuration = 31.0 * 24 * 3600;  // seconds
// Clocks may start anywhere, so this only keeps sums in range.
inline constexpr double kLatestTime = 1e12;  // seconds, before or after zero
// A clock that ticks more slowly than this cannot time pictures.
inline constexpr double kLongestTick = 3600;  // seconds

// Seconds for each unit of a stream's timestamps; one microsecond where the stated unit is
// invalid.
Ratio TimeBaseOf(AVRational stated);

// Frames a second; 0 when unknown.
Ratio FrameRateOf(AVRational stated);

// A timestamp in its own unit; nothing for AV_NOPTS_VALUE too.
std::optional<int64_t> TimestampOf(int64_t stated, Ratio time_base);

// Seconds; nothing unless it is positive. `stated` may be AV_NOPTS_VALUE.
std::optional<double> DurationOf(int64_t stated, Ratio time_base);
std::optional<double> DurationOf(double seconds);

// A duration in frames, rounded to the nearest.
std::optional<int64_t> FramesIn(double seconds, Ratio rate);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_NUMBERS_H_
