// SPDX-License-Identifier: MIT
//
// Encodes pictures into the packets of one stream.
#ifndef QOLM_EXPORT_FFMPEG_PICTURE_ENCODER_H_
#define QOLM_EXPORT_FFMPEG_PICTURE_ENCODER_H_

#include "export/ffmpeg/handles.h"
#include "export/media_muxer.h"
#include "video/picture/yuv_planes.h"

namespace qolm::exporter::ffmpeg {

// The nearest fraction of libav's; exact unless a part, reduced, passes 31 bits.
AVRational ToRational(const FrameRate& rate);

class PictureEncoder {
 public:
  // A libav error code, or 0. `global_header` as the container format requires.
  [[nodiscard]] int open(const MediaDescription& description, bool global_header);

  // Packets of this encoder count frames in their timestamps.
  AVCodecContext& codec() { return *codec_; }
  uint32_t stored_width() const { return static_cast<uint32_t>(codec_->width); }
  uint32_t stored_height() const { return static_cast<uint32_t>(codec_->height); }

  // Codes the next frame, of the description's size; a libav error code, or 0.
  [[nodiscard]] int send(const video::YuvPlanes& planes);

 private:
  [[nodiscard]] int try_open(const AVCodec* encoder, const MediaDescription& description,
                             bool global_header);
  [[nodiscard]] int renew_frame();

  CodecContext codec_;
  Frame frame_;
  int64_t next_number_ = 0;
};

}  // namespace qolm::exporter::ffmpeg

#endif  // QOLM_EXPORT_FFMPEG_PICTURE_ENCODER_H_
