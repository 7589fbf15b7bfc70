// SPDX-License-Identifier: MIT
#include "export/ffmpeg/picture_encoder.h"

extern "C" {
#include <libavutil/mathematics.h>
}

#include <algorithm>
#include <climits>
#include <cstring>
#include <span>
#include <vector>

namespace qolm::exporter::ffmpeg {
namespace {

// Copies rows into a plane that may be one column and one row larger; those
// repeat the edge.
void CopyPlane(std::span<const uint8_t> source, uint32_t width, uint32_t height, uint8_t* target,
               int stride, uint32_t target_width, uint32_t target_height) {
  for (uint32_t y = 0; y < target_height; ++y) {
    const uint8_t* const row = source.data() + size_t{std::min(y, height - 1)} * width;
    uint8_t* const out = target + static_cast<ptrdiff_t>(y) * stride;
    std::memcpy(out, row, width);
    if (target_width > width) out[width] = row[width - 1];
  }
}

std::vector<const AVCodec*> Candidates(Form form) {
  std::vector<const AVCodec*> candidates;
  switch (form) {
    case Form::kMatroska:
      candidates = {avcodec_find_encoder(AV_CODEC_ID_FFV1)};
      break;
    case Form::kMp4:
      candidates = {avcodec_find_encoder_by_name("libx264"),
                    avcodec_find_encoder(AV_CODEC_ID_MPEG4)};
      break;
    default:  // kNut and kPipe; the others have no streams
      candidates = {avcodec_find_encoder(AV_CODEC_ID_RAWVIDEO)};
      break;
  }
  std::erase(candidates, nullptr);
  return candidates;
}

// MPEG-4 Part 2 counts at most 65535 ticks a second; players ignore that
// value, since the container has its own clock.
constexpr int kMpeg4LargestTicks = 65535;

constexpr int kFfv1SmallestSlicedSide = 32;  // pixels

}  // namespace

AVRational ToRational(const FrameRate& rate) {
  AVRational result{};
  av_reduce(&result.num, &result.den, rate.numerator, rate.denominator, INT_MAX);
  if (result.num == 0) result = {1, INT_MAX};
  if (result.den == 0) result = {INT_MAX, 1};
  return result;
}

int PictureEncoder::open(const MediaDescription& description, bool global_header) {
  int result = AVERROR_ENCODER_NOT_FOUND;
  for (const AVCodec* const encoder : Candidates(description.form)) {
    result = try_open(encoder, description, global_header);
    if (result >= 0 || result == AVERROR(ENOMEM)) break;
  }
  if (result < 0) return result;
  frame_.reset(av_frame_alloc());
  return frame_ ? 0 : AVERROR(ENOMEM);
}

int PictureEncoder::try_open(const AVCodec* encoder, const MediaDescription& description,
                             bool global_header) {
  codec_.reset(avcodec_alloc_context3(encoder));
  if (!codec_) return AVERROR(ENOMEM);
  const AVRational rate = ToRational(description.rate);
  codec_->width = static_cast<int>(description.width);
  codec_->height = static_cast<int>(description.height);
  codec_->pix_fmt = AV_PIX_FMT_YUV420P;
  codec_->framerate = rate;
  codec_->time_base = av_inv_q(rate);
  codec_->sample_aspect_ratio = {1, 1};
  codec_->colorspace = AVCOL_SPC_SMPTE170M;
  codec_->color_range = AVCOL_RANGE_MPEG;
  codec_->chroma_sample_location = AVCHROMA_LOC_CENTER;
  codec_->flags |= AV_CODEC_FLAG_BITEXACT;
  if (global_header) codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;

  Dictionary options;
  if (encoder->id == AV_CODEC_ID_FFV1) {
    // Version 3 divides pictures into slices, some of which would be empty in tiny pictures.
    const bool sliced = std::min(codec_->width, codec_->height) >= kFfv1SmallestSlicedSide;
    codec_->level = sliced ? 3 : 1;
    codec_->gop_size = 1;  // every frame is a key frame
    codec_->thread_type = FF_THREAD_SLICE;
    codec_->thread_count = 0;
  } else if (encoder->id == AV_CODEC_ID_H264) {
    codec_->width += codec_->width % 2;
    codec_->height += codec_->height % 2;
    codec_->thread_count = 0;
    options.set("preset", "veryfast");
    options.set("crf", "17");
  } else if (encoder->id == AV_CODEC_ID_MPEG4) {
    codec_->flags |= AV_CODEC_FLAG_QSCALE;
    codec_->global_quality = 2 * FF_QP2LAMBDA;
    if (codec_->time_base.den > kMpeg4LargestTicks) {
      av_reduce(&codec_->time_base.num, &codec_->time_base.den, rate.den, rate.num,
                kMpeg4LargestTicks);
    }
  }
  return avcodec_open2(codec_.get(), encoder, options.get());
}

int PictureEncoder::renew_frame() {
  // An encoder may still hold the pixels of the frame before.
  if (frame_->buf[0] != nullptr && av_frame_is_writable(frame_.get()) > 0) return 0;
  av_frame_unref(frame_.get());
  frame_->width = codec_->width;
  frame_->height = codec_->height;
  frame_->format = codec_->pix_fmt;
  frame_->colorspace = codec_->colorspace;
  frame_->color_range = codec_->color_range;
  frame_->chroma_location = codec_->chroma_sample_location;
  frame_->sample_aspect_ratio = codec_->sample_aspect_ratio;
  return av_frame_get_buffer(frame_.get(), 0);
}

int PictureEncoder::send(const video::YuvPlanes& planes) {
  if (const int result = renew_frame(); result < 0) return result;
  CopyPlane(planes.y, planes.width, planes.height, frame_->data[0], frame_->linesize[0],
            stored_width(), stored_height());
  const uint32_t width = planes.ChromaWidth();
  const uint32_t height = planes.ChromaHeight();
  CopyPlane(planes.cb, width, height, frame_->data[1], frame_->linesize[1], width, height);
  CopyPlane(planes.cr, width, height, frame_->data[2], frame_->linesize[2], width, height);
  frame_->pts = next_number_++;
  frame_->quality = codec_->global_quality;
  return avcodec_send_frame(codec_.get(), frame_.get());
}

}  // namespace qolm::exporter::ffmpeg
