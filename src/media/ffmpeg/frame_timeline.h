// SPDX-License-Identifier: MIT
//
// Places pictures on the grid of a constant frame rate.
//
// A picture's slot is given by its timestamp, counted from the first picture, so no error
// accumulates. It takes the next free slot if that is less than 0.9 of a slot away.
// Otherwise the picture before it is repeated up to the nearest slot, or it is dropped.
// Where the clock is broken, as FileClock decides, a picture follows the one before it
// after one slot. A timestamp more than a second before the last one restarts the clock,
// unless the next one contradicts it.
#ifndef QOLM_MEDIA_FFMPEG_FRAME_TIMELINE_H_
#define QOLM_MEDIA_FFMPEG_FRAME_TIMELINE_H_

#include <cstdint>
#include <optional>

#include "media/ffmpeg/file_clock.h"
#include "media/ffmpeg/ratio.h"

namespace qolm::media::ffmpeg {

class FrameTimeline {
 public:
  struct Placement {
    int64_t repeats = 0;    // of the picture before this one, ahead of it
    bool drop = false;      // this picture has no slot
    bool restarts = false;  // the clock restarts at this picture
    double step = 0;        // slots that passed since the one before; 0 where the clock restarts
  };

  // `rate` is in frames a second, `time_base` in seconds; both positive.
  FrameTimeline(Ratio rate, Ratio time_base, FileClock clock);

  // Whether Place needs to know the timestamp behind this one.
  bool IsJump(std::optional<int64_t> timestamp) const;

  // Pictures come in presentation order. One without a timestamp, or with one
  // that does not advance, follows its predecessor after one slot. `next` is the
  // timestamp of the picture behind it, if there is one.
  Placement Place(std::optional<int64_t> timestamp, std::optional<int64_t> next);

  // How often the last picture is repeated at the end when it is shown for `duration` (in
  // time base units, 0 when unknown).
  int64_t RepeatsAtEnd(int64_t duration);

  double position() const { return last_position_; }  // of the last picture, in slots
  int64_t slots_filled() const { return slots_filled_; }
  FileClock& clock() { return clock_; }
  const FileClock& clock() const { return clock_; }

 private:
  double ToSlots(int64_t time) const { return static_cast<double>(time) * time_unit_ * rate_; }

  double rate_;       // slots a second
  double time_unit_;  // seconds
  FileClock clock_;
  std::optional<int64_t> last_timestamp_;
  double origin_ = 0;  // position of timestamp 0 in slots, relative to the first picture
  double last_position_ = 0;
  bool started_ = false;
  int64_t slots_filled_ = 0;
};

// The shortest duration in 100-nanosecond units whose frame count, computed as
// truncate(rate x duration x 1e-7) in double precision, is `frames`. Nothing when
// it exceeds the range of these units.
std::optional<int64_t> DurationOfFrames(int64_t frames, Ratio rate);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_FRAME_TIMELINE_H_
