// Turns a stream's timestamps into a constant frame rate.
//
// The rate: a rate is clean for a stream when Place() would neither repeat nor
// drop one of its pictures and no two of them lie 1.5 slots apart. The first
// clean one of the declared and the measured rates is taken, each first as the
// common rate that it is within 0.04 % of. Then every picture passes exactly
// once, however the container rounded or jittered its timestamps. A stream for
// which no rate is clean has a variable rate; it gets the rate of its typical
// interval, as the common rate nearby, or the next higher common rates up to 60
// a second while more than 2 % of the pictures would be dropped.
//
// The placement: a picture belongs where its timestamp lies on the grid of the
// rate, counted from the first picture, so no error accumulates. It takes the
// next free slot while it lies less than 0.9 of a slot from it. Beyond that the
// picture before it is repeated up to the nearest slot, or it is dropped.
#ifndef QOLM_MEDIA_FFMPEG_FRAME_TIMELINE_H_
#define QOLM_MEDIA_FFMPEG_FRAME_TIMELINE_H_

#include <cstdint>
#include <optional>
#include <vector>

namespace qolm::media::ffmpeg {

struct Ratio {
  int64_t numerator = 0;
  int64_t denominator = 1;

  bool is_positive() const { return numerator > 0 && denominator > 0; }
  double value() const { return static_cast<double>(numerator) / static_cast<double>(denominator); }
  friend bool operator==(const Ratio&, const Ratio&) = default;
};

class FrameTimeline {
 public:
  struct Placement {
    int64_t repeats = 0;  // of the picture before this one, ahead of it
    bool drop = false;    // this picture has no slot
  };

  // `rate` is in frames a second, `time_base` in seconds; both positive.
  // A gap of more than `longest_gap_seconds` is a break in the clock, not time
  // that passes.
  FrameTimeline(Ratio rate, Ratio time_base, double longest_gap_seconds);

  // Pictures come in presentation order. One without a timestamp, or with one
  // that does not advance, follows its predecessor after one slot.
  Placement Place(std::optional<int64_t> timestamp);

  // How often the last picture is repeated at the end when it is to be seen for
  // `duration` (in time base units, 0 when unknown).
  int64_t RepeatsAtEnd(int64_t duration) const;

  int64_t slots_filled() const { return slots_filled_; }

 private:
  double ToSlots(int64_t time) const { return static_cast<double>(time) * slots_per_unit_; }

  double slots_per_second_;
  double slots_per_unit_;
  double longest_gap_slots_;
  std::optional<int64_t> last_timestamp_;
  double origin_ = 0;  // position of timestamp 0 in slots, relative to the first picture
  double last_position_ = 0;
  bool started_ = false;
  int64_t slots_filled_ = 0;
};

// What is known of a stream's timestamps before it is decoded.
struct StreamTimes {
  Ratio time_base;
  std::vector<int64_t> timestamps;  // of its pictures, ascending; may be the first ones only
  Ratio average_rate;               // as the container declares or the probing found; 0 if unknown
  Ratio lowest_exact_rate;          // on whose grid all probed timestamps lie; 0 if unknown
};

// The constant rate for the stream, as above; nothing when nothing tells it.
std::optional<Ratio> ChooseConstantRate(const StreamTimes& times, double longest_gap_seconds);

// The shortest duration in 100-nanosecond units whose frame count, computed as
// truncate(rate x duration x 1e-7) in double precision, is `frames`. Nothing when
// these units cannot count so far.
std::optional<int64_t> DurationOfFrames(int64_t frames, Ratio rate);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_FRAME_TIMELINE_H_
