// SPDX-License-Identifier: MIT
//
// Keeps an audio track on the clock of its file's timestamps.
//
// The track starts with the picture, to the sample: earlier audio is cut, missing audio
// becomes silence. From then on pieces are concatenated without regard to their timestamps,
// which containers round and writers jitter, as long as these stay within a few
// milliseconds of the number of samples so far. A larger deviation that holds for several
// consecutive pieces is a gap, which becomes silence, or an overlap, which is cut. The
// deviation is always measured against the whole track so far, so no error accumulates.
// Where the clock restarts, as between joined recordings, the track continues at the
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
    int64_t byte = 0;            // its position in the file
    // The picture's clock restarted near there or earlier, so a first piece behind it
    // belongs to a later recording than the first.
    bool behind_restart = false;
  };
  // The start of the track on the clock that a piece restarts; nothing if unknown, and
  // the piece then follows the one before it.
  using OriginBehindRestart = std::function<std::optional<double>(const Piece& piece)>;
  // The number of pieces that distinguish a gap from jitter.
  static constexpr size_t kLookAhead = 8;

  // `picture_start` is when the first picture is shown, on the same clock;
  // without it the track begins with its first piece. `clock_unit` is the resolution of
  // the timestamps. `clock`, which outlives this object, decides which steps are real.
  // All in seconds.
  AudioTimeline(std::optional<double> picture_start, double clock_unit, FileClock& clock,
                OriginBehindRestart origin_behind_restart = nullptr);

  // Seconds of silence to insert before the first of the next pieces or, if negative,
  // seconds of audio to cut from there on.
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
