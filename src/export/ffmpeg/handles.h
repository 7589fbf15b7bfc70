// SPDX-License-Identifier: MIT
//
// Owning pointers to libav objects.
#ifndef QOLM_EXPORT_FFMPEG_HANDLES_H_
#define QOLM_EXPORT_FFMPEG_HANDLES_H_

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/audio_fifo.h>
#include <libavutil/frame.h>
#include <libswresample/swresample.h>
}

#include <memory>

namespace qolm::exporter::ffmpeg {

struct Deleter {
  void operator()(AVFormatContext* context) const { avformat_free_context(context); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(SwrContext* context) const { swr_free(&context); }
  void operator()(AVAudioFifo* fifo) const { av_audio_fifo_free(fifo); }
  void operator()(AVIOContext* context) const {
    // libavformat may have replaced the buffer that it was given.
    av_freep(&context->buffer);
    avio_context_free(&context);
  }
};

using FormatContext = std::unique_ptr<AVFormatContext, Deleter>;  // for output
using CodecContext = std::unique_ptr<AVCodecContext, Deleter>;
using Frame = std::unique_ptr<AVFrame, Deleter>;
using Packet = std::unique_ptr<AVPacket, Deleter>;
using Resampler = std::unique_ptr<SwrContext, Deleter>;
using AudioQueue = std::unique_ptr<AVAudioFifo, Deleter>;
using ByteStream = std::unique_ptr<AVIOContext, Deleter>;

// Options for one call that takes a dictionary.
class Dictionary {
 public:
  Dictionary() = default;
  ~Dictionary() { av_dict_free(&entries_); }
  Dictionary(const Dictionary&) = delete;
  Dictionary& operator=(const Dictionary&) = delete;

  void set(const char* key, const char* value) { av_dict_set(&entries_, key, value, 0); }
  AVDictionary** get() { return &entries_; }

 private:
  AVDictionary* entries_ = nullptr;
};

}  // namespace qolm::exporter::ffmpeg

#endif  // QOLM_EXPORT_FFMPEG_HANDLES_H_
