// SPDX-License-Identifier: MIT
//
// Keeps a track of sound on the clock of its file's timestamps.
//
// The track begins with the picture, to the sample: what lies before it falls
// away, what is missing is silence. From then on pieces follow each other
// without regard to their timestamps, which containers round and writers
// jitter, as long as these stay within a few milliseconds of the number of
// samples so far. A greater distance that holds for several pieces on end is a
// gap, which becomes silence, or an overlap, which falls away. Since the
// distance is always taken to the whole track so far, no error accumulates. Where the
// clock restarts, as between recordings that were joined, the track goes on with the
// picture's new start.
#ifndef QOLM_MEDIA_FFMPEG_AUDIO_TIMELINE_H_
#define QOLM_MEDIA_FFMPEG_AUDIO_TIMELINE_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>

#include "media/ffmpeg/file_clock.h"

namespace qolm::media::ffmpeg {

class AudioTimeline {
 public:
  struct Piece {
    std::optional<double> time;  // of its first sample, in seconds on the file's clock
    double duration = 0;         // seconds
    int64_t byte = 0;            // where it lies in the file
    // The picture's clock restarted about there or before. A first piece behind that
    // belongs to a later recording than the first.
    bool behind_restart = false;
  };
  // Where the track begins on the clock that a piece restarts; nothing where that
  // cannot be told, and the piece follows the one before it.
  using OriginBehindRestart = std::function<std::optional<double>(const Piece& piece)>;
  // So many pieces tell a gap from jitter.
  static constexpr size_t kLookAhead = 8;

  // `picture_start` is when the first picture is shown, on the same clock;
  // without it the track begins with its first piece. `clock_unit` is what the
  // timestamps are rounded to. `clock`, which outlives this object, tells what
  // distance is time that passes. All in seconds.
  AudioTimeline(std::optional<double> picture_start, double clock_unit, FileClock& clock,
                OriginBehindRestart origin_behind_restart = nullptr);

  // Seconds of silence ahead of the first of the pieces that come next, or,
  // below zero, seconds of sound that fall away from there on.
  double Correction(std::span<const Piece> upcoming);

  void Advance(double seconds) { position_ += seconds; }
  double position() const { return position_; }  // length of the track so far, in seconds

 private:
  std::optional<double> picture_start_;
  double clock_unit_;
  double tolerance_;
  FileClock& clock_;
  OriginBehindRestart origin_behind_restart_;
  std::optional<double> origin_;  // on the clock, where the track begins
  double position_ = 0;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_AUDIO_TIMELINE_H_
