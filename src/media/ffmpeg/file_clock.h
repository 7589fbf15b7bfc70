// SPDX-License-Identifier: MIT
//
// Which steps of a file's time stamps are time that passes, and which are a broken
// clock: the one place that says so, for pictures and for sound.
//
// A step is what lies between two neighbouring time stamps of a stream, or between
// the first ones of picture and sound.
//
// - Up to 10 seconds it is real.
// - It is broken when the time stamp behind it leaves again, as a single wild one
//   is left, and when it is longer than a month.
// - It is real, however long, when the duration that the container declares reaches
//   its end, or when another stream's packets cover it without a hole.
// - It is real when the container declares no duration and the time stamps behind it
//   go on in order; but not where clocks are known to restart in the middle of a
//   file (transport streams, which are spliced), since these go on in order too.
// - Steps that nothing supports are real as long as they add up to no more than an
//   hour; not where clocks are known to restart.
//
// So a declared duration ends what is repeated but for that hour, and a small file
// that asks for a long picture has to declare it or to go on behind it.
#ifndef QOLM_MEDIA_FFMPEG_FILE_CLOCK_H_
#define QOLM_MEDIA_FFMPEG_FILE_CLOCK_H_

#include <optional>
#include <vector>

namespace qolm::media::ffmpeg {

class FileClock {
 public:
  // All times are in seconds on the file's clock.
  static constexpr double kSureStep = 10;

  // What comes behind a step in its stream.
  enum class Behind { kNothing, kGoesOn, kLeavesAgain };

  // `restarts`: whether clocks are known to restart in this kind of file.
  // `declared_end`: where the container says that its last stream ends.
  FileClock(bool restarts, std::optional<double> declared_end)
      : unsupported_left_(restarts ? 0 : kMostUnsupported),
        order_supports_(!restarts && !declared_end),
        declared_end_(declared_end) {}

  // A packet of a stream other than the one that is judged. They come as they lie in
  // the file, so that those within a step are known before its end.
  void Cover(double from, double to);

  [[nodiscard]] bool IsReal(double from, double to, Behind behind);

  // Where the packets of other streams end; nothing without any.
  std::optional<double> covered_end() const { return covered_end_; }
  std::optional<double> declared_end() const { return declared_end_; }

 private:
  static constexpr double kMostUnsupported = 3600;

  struct Span {
    double from;
    double to;
  };
  bool IsCovered(double from, double to) const;

  double unsupported_left_;
  bool order_supports_;
  std::optional<double> declared_end_;
  std::optional<double> covered_end_;
  std::vector<Span> covered_;  // the latest ones, the one of the last packet at the end
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_FILE_CLOCK_H_
