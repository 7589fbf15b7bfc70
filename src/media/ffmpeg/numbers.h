// SPDX-License-Identifier: MIT
//
// The one place where numbers of a media file are checked before anything counts
// with them. What no real film has is taken as not stated at all, so that all later
// sums fit their types.
#ifndef QOLM_MEDIA_FFMPEG_NUMBERS_H_
#define QOLM_MEDIA_FFMPEG_NUMBERS_H_

extern "C" {
#include <libavutil/rational.h>
}

#include <cstdint>
#include <optional>

#include "media/ffmpeg/ratio.h"

namespace qolm::media::ffmpeg {

// A film, and a picture that stands in it.
inline constexpr double kLongestDuration = 31.0 * 24 * 3600;  // seconds
// Clocks may count from any time, so this is no more than what sums can hold.
inline constexpr double kLatestTime = 1e12;  // seconds, before or after zero
// A clock that ticks more slowly than this cannot time pictures.
inline constexpr double kLongestTick = 3600;  // seconds

// Seconds for each unit of a stream's time stamps; one microsecond where what is
// stated is no clock.
Ratio TimeBaseOf(AVRational stated);

// Frames a second; 0 when unknown.
Ratio FrameRateOf(AVRational stated);

// A time stamp in its own unit; nothing for AV_NOPTS_VALUE too.
std::optional<int64_t> TimestampOf(int64_t stated, Ratio time_base);

// Seconds; nothing unless it is positive. `stated` may be AV_NOPTS_VALUE.
std::optional<double> DurationOf(int64_t stated, Ratio time_base);
std::optional<double> DurationOf(double seconds);

// The whole number of frames nearest to a duration's.
std::optional<int64_t> FramesIn(double seconds, Ratio rate);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_NUMBERS_H_
