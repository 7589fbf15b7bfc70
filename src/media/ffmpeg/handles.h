// SPDX-License-Identifier: MIT
//
// Owning pointers to libav objects.
#ifndef QOLM_MEDIA_FFMPEG_HANDLES_H_
#define QOLM_MEDIA_FFMPEG_HANDLES_H_

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavfilter/avfilter.h>
#include <libavformat/avformat.h>
#include <libavutil/frame.h>
#include <libswscale/swscale.h>
}

#include <memory>

namespace qolm::media::ffmpeg {

struct Deleter {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVFilterGraph* graph) const { avfilter_graph_free(&graph); }
  void operator()(SwsContext* context) const { sws_freeContext(context); }
};

using FormatContext = std::unique_ptr<AVFormatContext, Deleter>;  // opened for input
using CodecContext = std::unique_ptr<AVCodecContext, Deleter>;
using Frame = std::unique_ptr<AVFrame, Deleter>;
using Packet = std::unique_ptr<AVPacket, Deleter>;
using FilterGraph = std::unique_ptr<AVFilterGraph, Deleter>;
using Scaler = std::unique_ptr<SwsContext, Deleter>;

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_HANDLES_H_
