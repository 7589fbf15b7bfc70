// SPDX-License-Identifier: MIT
//
// Encodes audio into the packets of one stream.
#ifndef QOLM_EXPORT_FFMPEG_AUDIO_ENCODER_H_
#define QOLM_EXPORT_FFMPEG_AUDIO_ENCODER_H_

#include <cstddef>
#include <cstdint>
#include <span>

#include "export/ffmpeg/handles.h"
#include "export/media_muxer.h"

namespace qolm::exporter::ffmpeg {

class AudioEncoder {
 public:
  // A libav error code, or 0. `global_header` as the container format requires.
  [[nodiscard]] int open(const MediaDescription& description, bool global_header);

  // Packets of this encoder count samples of the codec's own rate in their
  // timestamps. AAC knows only some rates; others are resampled to the next.
  AVCodecContext& codec() { return *codec_; }

  // Samples per channel of one packet, and the preferred number for queue().
  int packet_samples() const { return packet_samples_; }

  // Queues samples, channels interleaved; a libav error code, or 0.
  [[nodiscard]] int queue(std::span<const int16_t> samples);
  // Ends the samples: flushes the resampler into the queue.
  [[nodiscard]] int queue_rest();

  // Whether send_packet can fill a packet; after queue_rest a partly filled one counts.
  bool has_packet() const;
  [[nodiscard]] int send_packet();

 private:
  [[nodiscard]] int try_open(const AVCodec* encoder, const MediaDescription& description,
                             bool global_header);
  [[nodiscard]] int open_resampler(const MediaDescription& description);
  [[nodiscard]] int convert(const uint8_t* samples, int count);
  [[nodiscard]] int new_frame(int samples, Frame& frame) const;

  CodecContext codec_;
  Resampler resampler_;
  AudioQueue queue_;
  uint16_t channels_ = 0;
  int packet_samples_ = 0;
  bool ended_ = false;
  int64_t next_sample_ = 0;
};

}  // namespace qolm::exporter::ffmpeg

#endif  // QOLM_EXPORT_FFMPEG_AUDIO_ENCODER_H_
