// SPDX-License-Identifier: MIT
//
// The sound of a file's first audio stream, as it is coded, with its place in
// time. The codecs' own priming and padding is gone where the container or the
// stream tells it.
#ifndef QOLM_MEDIA_FFMPEG_AUDIO_DECODER_H_
#define QOLM_MEDIA_FFMPEG_AUDIO_DECODER_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "media/ffmpeg/container_stretch.h"
#include "media/ffmpeg/file_clock.h"
#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/numbers.h"
#include "media/ffmpeg/stop_signal.h"

namespace qolm::media::ffmpeg {

struct AudioPiece {
  Frame frame;                 // null where a packet could not be decoded
  bool damaged = false;        // not decoded, or with errors
  double lost_before = 0;      // seconds that could not be decoded and gave no piece
  std::optional<double> time;  // of its first sample, in seconds on the file's clock
  double duration = 0;         // seconds
  int64_t byte = 0;            // where its packet lies in the file, or one before it
  double excess = 0;           // seconds that the decoder gave beyond the packet's duration
};

class AudioDecoder {
 public:
  // Null with the reason when the file cannot be opened. While `stop` is set,
  // waiting for the file ends early.
  static std::unique_ptr<AudioDecoder> Open(const std::filesystem::path& path,
                                            const StopSignal& stop, std::string& failure_reason);

  // False when there is no audio stream, with the reason where the file was not
  // searched to its end.
  [[nodiscard]] bool SelectFirstAudioStream(std::string& failure_reason);
  // False when the selected stream has no working decoder, with the reason where it
  // is known.
  [[nodiscard]] bool OpenCodec(std::string& failure_reason);

  // In stream order; nothing at the end. A packet that cannot be decoded gives
  // a piece of its duration without a frame.
  std::optional<AudioPiece> Next();

  // What is known of the file's clock. Where the container does not declare how long
  // it is, the other streams' packets cover it as far as reading came.
  FileClock& clock() { return clock_; }
  // Whether the clock of the pictures among these packets restarted.
  bool picture_restarted() const { return picture_restarted_; }
  // Whether pictures are read as well and the first one behind sound is still to come.
  bool awaits_picture() const { return !clock_.declared_end() && !picture_followed_; }
  const AVCodecContext& codec() const { return *codec_; }
  const AVFormatContext& format() const { return *format_; }
  double time_unit() const { return TimeBaseOf(stream_->time_base).value(); }  // seconds

 private:
  AudioDecoder() = default;
  bool ReadPacket();
  void NotePicture();
  bool IsOverwritten(const AVPacket& packet) const;
  void NoteHole();
  AudioPiece PieceOfFrame();
  AudioPiece PieceOfDamage() const;

  std::filesystem::path path_;
  FormatContext format_;
  bool search_ended_ = false;  // for streams that begin late, before the file's end
  CodecContext codec_;
  AVStream* stream_ = nullptr;
  FileClock clock_{false, std::nullopt};
  Packet packet_;
  Frame frame_;
  int64_t byte_ = 0;                // of the latest packet that tells it
  double decoded_of_packet_ = 0;    // seconds
  double last_frame_duration_ = 0;  // seconds
  int unmeasured_damage_ = 0;       // packets of unknown duration that could not be decoded
  std::optional<ContainerStretch> stretch_;
  std::optional<double> packet_end_;  // of the latest packet, in seconds
  double passed_over_ = 0;            // seconds that gave no packet, since the last piece
  bool draining_ = false;
  std::optional<double> picture_time_;  // of the latest packet, in seconds
  bool picture_restarted_ = false;
  bool picture_followed_ = false;  // the first packet of sound
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_AUDIO_DECODER_H_
