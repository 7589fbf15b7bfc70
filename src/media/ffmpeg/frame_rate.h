// SPDX-License-Identifier: MIT
//
// Finds the constant frame rate for a stream's timestamps.
//
// A rate is clean for a stream when FrameTimeline would neither repeat nor
// drop one of its pictures and no two of them lie 1.5 slots apart. The first
// clean one of the declared and the measured rates is taken, each first as the
// common rate that it is within 0.04 % of. Then every picture passes exactly
// once, however the container rounded or jittered its timestamps.
//
// A stream that has such a rate behind its first 16 pictures, or their first quarter,
// gets it too, since a recording that was cut has wrong timestamps there.
//
// A stream that has such a rate but for holes in less than a tenth of its intervals, as
// damage leaves them, gets it too where all its pictures lie on its ticks.
//
// An uncommon rate is taken so only where the timestamps are its ticks. For a mean of
// uneven intervals, as of every fifth to tenth picture of a second's 25, and for a
// stream that no rate is clean for, first comes the declared rate, or the lowest common
// one up to 60 a second, on whose ticks all its pictures lie. Where there is none it
// gets the clean rate, or else that of its typical interval, as the declared rate that
// lies within the rounding of its timestamps or as the common rate nearby, or the next
// higher common rates up to 60 a second while more than 2 % of the pictures would be
// dropped. More than 60 a second it gets only where nine intervals of ten are typical.
//
// Where the clock restarts, as between recordings that were joined, the interval
// across the restart counts for nothing.
#ifndef QOLM_MEDIA_FFMPEG_FRAME_RATE_H_
#define QOLM_MEDIA_FFMPEG_FRAME_RATE_H_

#include <cstdint>
#include <optional>
#include <vector>

#include "media/ffmpeg/file_clock.h"
#include "media/ffmpeg/ratio.h"

namespace qolm::media::ffmpeg {

// What is known of a stream's timestamps before it is decoded.
struct StreamTimes {
  Ratio time_base;
  std::vector<int64_t> timestamps;  // of its pictures as they are shown; may be the first ones only
  Ratio average_rate;               // as the container declares or the probing found; 0 if unknown
  Ratio lowest_exact_rate;          // on whose grid all probed timestamps lie; 0 if unknown
};

// The constant rate for the stream, as above; nothing when nothing tells it.
std::optional<Ratio> ChooseConstantRate(const StreamTimes& times, const FileClock& clock);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_FRAME_RATE_H_
