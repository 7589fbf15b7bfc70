// SPDX-License-Identifier: MIT
//
// Decodes the pictures of a file's first real video stream.
#ifndef QOLM_MEDIA_FFMPEG_DECODER_H_
#define QOLM_MEDIA_FFMPEG_DECODER_H_

#include <cstddef>
#include <cstdint>
#include <deque>
#include <filesystem>
#include <memory>
#include <optional>
#include <set>
#include <string>

#include "media/ffmpeg/file_clock.h"
#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/lost_pictures.h"
#include "media/ffmpeg/ratio.h"
#include "media/ffmpeg/stop_signal.h"

namespace qolm::media::ffmpeg {

class Decoder {
 public:
  // Opens the file and the stream's decoder. Null when that is impossible;
  // `failure_reason` then says why. While `stop` is set, waiting for the file
  // ends early.
  static std::unique_ptr<Decoder> Open(const std::filesystem::path& path, const StopSignal& stop,
                                       std::string& failure_reason);

  // The next picture in presentation order, valid until the next call; null at
  // the end. Undecodable packets are skipped.
  const AVFrame* Next();

  std::string read_failure() const;

  // Pictures so far that were decoded with errors or not at all, including those that the
  // demuxer skipped. Pictures before the first key frame, as in a recording that begins in
  // mid-stream, do not count.
  int64_t damaged_pictures() const {
    return damaged_pictures_ + (lost_pictures_ ? lost_pictures_->count() : 0);
  }

  // From now on pictures that the demuxer skips count as damaged too, in a stream of this
  // rate.
  void WatchForLosses(Ratio rate, FileClock clock);

  // From now on the other streams' packets are read too, and cover `clock`.
  void ObserveOtherStreams(FileClock& clock);

  const AVStream& stream() const { return *stream_; }
  AVFormatContext& format() const { return *format_; }

 private:
  Decoder() = default;
  bool FeedDecoder();
  bool ReadPacket();
  void NotePacket(const AVPacket& packet);
  void CountSuspects(size_t kept);
  bool IsDamaged(const AVFrame& frame);
  void CountDamage() { damaged_pictures_ += key_frame_seen_ ? 1 : 0; }

  std::filesystem::path path_;
  FormatContext format_;
  CodecContext codec_;
  AVStream* stream_ = nullptr;
  Packet packet_;
  Frame frame_;
  bool draining_ = false;
  bool key_frame_seen_ = false;
  int64_t damaged_pictures_ = 0;
  int64_t packets_to_come_ = 0;                  // by the index of an AVI file
  std::optional<double> packet_time_;            // of the last one, in seconds
  std::deque<std::optional<int64_t>> suspects_;  // of the last packets, those flagged as damaged
  std::set<int64_t> counted_packets_;            // among these, by timestamp
  FileClock* clock_ = nullptr;
  std::optional<LostPictures> lost_pictures_;  // when skipped pictures are counted
};

// The first video stream that is no cover art or thumbnail, all other streams
// switched off; null when there is none.
AVStream* SelectFirstVideoStream(AVFormatContext& format);

void ReadEveryStream(AVFormatContext& format);

// Whether there is such a stream.
bool HasPictures(const AVFormatContext& format);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_DECODER_H_
