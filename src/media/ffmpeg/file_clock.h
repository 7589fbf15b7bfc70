// SPDX-License-Identifier: MIT
//
// Decides which steps of a file's timestamps are real time and which are a broken clock,
// for pictures and for audio.
//
// A step is the difference between two neighbouring timestamps of a stream, or between the
// first ones of picture and audio.
//
// - Up to 10 seconds it is real.
// - It is broken when the timestamp behind it is abandoned again, as a single wild one is,
//   and when it is longer than a month.
// - It is real, however long, when the duration that the container declares reaches its
//   end, or when another stream's packets cover it without a gap.
// - It is real when the container declares no duration and the timestamps behind it
//   continue in order; but not in files whose clocks may restart in mid-file (transport
//   streams, which are spliced), since these continue in order too.
// - Unsupported steps are real as long as they total at most an hour; not in files whose
//   clocks may restart.
//
// So a declared duration limits repetition up to that hour, and a small file that requests
// a long picture must declare it or continue behind it.
#ifndef QOLM_MEDIA_FFMPEG_FILE_CLOCK_H_
#define QOLM_MEDIA_FFMPEG_FILE_CLOCK_H_

#include <optional>
#include <vector>

namespace qolm::media::ffmpeg {

class FileClock {
 public:
  // All times are in seconds on the file's clock.
  static constexpr double kSureStep = 10;

  // What follows a step in its stream.
  enum class Behind { kNothing, kGoesOn, kLeavesAgain };

  // `restarts`: whether clocks are known to restart in this kind of file.
  // `declared_end`: the end of the last stream that the container declares.
  FileClock(bool restarts, std::optional<double> declared_end)
      : unsupported_left_(restarts ? 0 : kMostUnsupported),
        order_supports_(!restarts && !declared_end),
        declared_end_(declared_end) {}

  // A packet of another stream. They come in file order, so those within a step are known
  // before its end.
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
