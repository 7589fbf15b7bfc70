// SPDX-License-Identifier: MIT
//
// Finds the constant frame rate for a stream's timestamps.
//
// A rate is clean for a stream when FrameTimeline would neither repeat nor drop one of its
// pictures and no two of them are 1.5 slots apart. The first clean one of the declared and
// the measured rates is chosen, each first rounded to a common rate within 0.04 %. Every
// picture is then shown exactly once, however the container rounded or jittered its
// timestamps.
//
// A stream that has such a rate behind its first 16 pictures, or their first quarter, gets
// it too, since a recording that was cut has wrong timestamps there.
//
// A stream that has such a rate except for gaps in less than a tenth of its intervals, as
// damage leaves them, gets it too if all its pictures lie on its ticks.
//
// An uncommon rate is chosen this way only where the timestamps are its ticks. For the mean
// of uneven intervals, as of every fifth to tenth picture at 25 a second, and for a stream
// without a clean rate, the first choice is the declared rate, or the lowest common one up
// to 60 a second, on whose ticks all its pictures lie. Without one it gets the clean rate,
// or else that of its typical interval: as the declared rate within the rounding of its
// timestamps, as the common rate nearby, or as the next higher common rates up to 60 a
// second while more than 2 % of the pictures would be dropped. More than 60 a second are
// chosen only where nine intervals of ten are typical.
//
// Where the clock restarts, as between joined recordings, the interval across the restart
// is ignored.
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

// The constant rate for the stream, as above; nothing when it cannot be determined.
std::optional<Ratio> ChooseConstantRate(const StreamTimes& times, const FileClock& clock);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_FRAME_RATE_H_
