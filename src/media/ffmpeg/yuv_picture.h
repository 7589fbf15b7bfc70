// SPDX-License-Identifier: MIT
//
// A decoded picture of a common YUV format, converted to pixels on demand.
#ifndef QOLM_MEDIA_FFMPEG_YUV_PICTURE_H_
#define QOLM_MEDIA_FFMPEG_YUV_PICTURE_H_

#include <cstdint>
#include <memory>
#include <utility>

#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/yuv_kernels.h"

namespace qolm::media::ffmpeg {

class YuvPicture {
 public:
  // 8-bit planes whose chroma is halved in both directions, in width or not at all;
  // formats that imply a range count as their plain equivalents.
  static bool IsOffered(AVPixelFormat format);

  // `format` is the frame's and must be supported.
  YuvPicture(std::shared_ptr<const AVFrame> frame, AVPixelFormat format, const YuvWeights& weights)
      : frame_(std::move(frame)), format_(format), weights_(weights) {}

  // Rows of R, G, B, 255 from top to bottom, 4 * width bytes each.
  void WriteRgba(uint8_t* rgba) const;

 private:
  std::shared_ptr<const AVFrame> frame_;
  AVPixelFormat format_;
  YuvWeights weights_;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_YUV_PICTURE_H_
