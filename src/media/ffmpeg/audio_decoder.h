// SPDX-License-Identifier: MIT
//
// Decodes a file's first audio stream into pieces with their times. The codec's priming and
// padding samples are removed where the container or the stream states them.
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
  double lost_before = 0;      // seconds before it that could not be decoded
  std::optional<double> time;  // of its first sample, in seconds on the file's clock
  double duration = 0;         // seconds
  int64_t byte = 0;            // position of its packet in the file, or of one before it
  double excess = 0;           // seconds decoded beyond the packet's duration
};

class AudioDecoder {
 public:
  // Null with the reason when the file cannot be opened. While `stop` is set,
  // waiting for the file ends early.
  static std::unique_ptr<AudioDecoder> Open(const std::filesystem::path& path,
                                            const StopSignal& stop, std::string& failure_reason);

  // False when there is no audio stream, with a reason if the file was not
  // searched to its end.
  [[nodiscard]] bool SelectFirstAudioStream(std::string& failure_reason);
  // False when the selected stream has no working decoder, with the reason if it
  // is known.
  [[nodiscard]] bool OpenCodec(std::string& failure_reason);

  // In stream order; nothing at the end. A packet that cannot be decoded gives
  // a piece of its duration without a frame.
  std::optional<AudioPiece> Next();

  // The file's clock. Where the container declares no duration, it is covered by the
  // other streams' packets read so far.
  FileClock& clock() { return clock_; }
  // Whether the clock of the pictures read so far restarted.
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
  int64_t byte_ = 0;                // of the latest packet with a known position
  double decoded_of_packet_ = 0;    // seconds
  double last_frame_duration_ = 0;  // seconds
  int unmeasured_damage_ = 0;       // packets of unknown duration that could not be decoded
  std::optional<ContainerStretch> stretch_;
  std::optional<double> packet_end_;  // of the latest packet, in seconds
  double passed_over_ = 0;            // seconds without a packet, since the last piece
  bool draining_ = false;
  std::optional<double> picture_time_;  // of the latest packet, in seconds
  bool picture_restarted_ = false;
  bool picture_followed_ = false;  // the first packet of sound
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_AUDIO_DECODER_H_
