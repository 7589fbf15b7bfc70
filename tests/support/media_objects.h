// SPDX-License-Identifier: MIT
//
// FFmpeg's objects with owners, and its error codes as exceptions, for tests
// that write media files.
#ifndef QOLM_TESTS_SUPPORT_MEDIA_OBJECTS_H_
#define QOLM_TESTS_SUPPORT_MEDIA_OBJECTS_H_

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/error.h>
#include <libavutil/frame.h>
}

#include <array>
#include <memory>
#include <stdexcept>
#include <string>

namespace qolm::test::media_objects {

inline int Check(int result, const char* what) {
  if (result < 0) {
    std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
    av_strerror(result, text.data(), text.size());
    throw std::runtime_error(std::string(what) + ": " + text.data());
  }
  return result;
}

template <typename T>
T* Check(T* pointer, const char* what) {
  if (pointer == nullptr) throw std::runtime_error(what);
  return pointer;
}

struct Deleter {
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
  void operator()(AVFormatContext* context) const {
    avio_closep(&context->pb);
    avformat_free_context(context);
  }
};
using Codec = std::unique_ptr<AVCodecContext, Deleter>;
using Frame = std::unique_ptr<AVFrame, Deleter>;
using Packet = std::unique_ptr<AVPacket, Deleter>;
using Muxer = std::unique_ptr<AVFormatContext, Deleter>;

}  // namespace qolm::test::media_objects

#endif  // QOLM_TESTS_SUPPORT_MEDIA_OBJECTS_H_
