// SPDX-License-Identifier: MIT
//
// One file's audio as 16-bit samples in one format, without gaps, starting with its picture.
#ifndef QOLM_MEDIA_FFMPEG_AUDIO_PRODUCER_H_
#define QOLM_MEDIA_FFMPEG_AUDIO_PRODUCER_H_

#include <cstdint>
#include <deque>
#include <optional>
#include <vector>

#include "media/ffmpeg/audio_converter.h"
#include "media/ffmpeg/audio_decoder.h"
#include "media/ffmpeg/audio_timeline.h"

namespace qolm::media::ffmpeg {

class AudioProducer {
 public:
  // `decoder` has its codec open and outlives this object. `picture_start` is
  // in seconds on the file's clock. 1 or 2 channels; the rate is in Hz.
  AudioProducer(AudioDecoder& decoder, std::optional<double> picture_start, int channels, int rate,
                AudioTimeline::OriginBehindRestart origin_behind_restart);

  // The next samples, channels interleaved and never empty; nothing at the end,
  // and nothing at all when no packet could be decoded.
  std::optional<std::vector<int16_t>> Next();

  // Seconds of the track so far that were decoded with errors or not at all; complete at
  // the end. Short damage at either end does not count: recordings begin in mid-stream,
  // and other data may follow the last packet.
  double damaged_seconds() const { return damaged_seconds_; }

 private:
  void FillQueue();
  double NextCorrection();
  void Play(AudioPiece piece, std::vector<int16_t>& output);
  void CountDamage(double least);
  void InsertSilence(double seconds, std::vector<int16_t>& output);
  int64_t FramesDue() const;
  std::vector<int16_t> TakeSilence();

  AudioDecoder& decoder_;
  const size_t channels_;
  const int rate_;
  AudioTimeline timeline_;
  const double most_silence_;  // seconds
  AudioConverter converter_;
  std::deque<AudioPiece> queue_;
  bool heard_ = false;  // a packet was decoded
  bool first_ = true;   // nothing was delivered yet
  bool decoder_ended_ = false;
  bool ended_ = false;
  double cut_left_ = 0;          // seconds
  double silence_inserted_ = 0;  // seconds
  bool undamaged_played_ = false;
  double damaged_seconds_ = 0;
  double damage_pending_ = 0;  // seconds, since the last undamaged piece
  int64_t frames_delivered_ = 0;
  int64_t silence_left_ = 0;  // sample frames to deliver before anything else
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_AUDIO_PRODUCER_H_
