// SPDX-License-Identifier: MIT
#include "export/decoded_media.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/md5.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <array>
#include <cstddef>
#include <memory>
#include <stdexcept>

namespace qolm::test {
namespace {

struct Deleter {
  void operator()(AVFormatContext* context) const { avformat_close_input(&context); }
  void operator()(AVCodecContext* context) const { avcodec_free_context(&context); }
  void operator()(AVFrame* frame) const { av_frame_free(&frame); }
  void operator()(AVPacket* packet) const { av_packet_free(&packet); }
};
using Format = std::unique_ptr<AVFormatContext, Deleter>;
using Codec = std::unique_ptr<AVCodecContext, Deleter>;

int Check(int result, const char* what) {
  if (result >= 0) return result;
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(result, text.data(), text.size());
  throw std::runtime_error(std::string(what) + ": " + text.data());
}

std::string Name(const char* name) { return name != nullptr ? name : ""; }

void CopyPlane(const AVFrame& frame, int plane, uint32_t width, std::vector<uint8_t>& out) {
  for (size_t at = 0, y = 0; at < out.size(); at += width, ++y) {
    const uint8_t* const row =
        frame.data[plane] + static_cast<ptrdiff_t>(y) * frame.linesize[plane];
    std::copy(row, row + width, out.begin() + static_cast<ptrdiff_t>(at));
  }
}

void TakePicture(const AVFrame& frame, const AVStream& stream, DecodedMedia& media) {
  if (frame.format != AV_PIX_FMT_YUV420P) throw std::runtime_error("no 4:2:0 pictures");
  video::YuvPlanes planes;
  video::ResizeYuvPlanes(planes, static_cast<uint32_t>(frame.width),
                         static_cast<uint32_t>(frame.height));
  CopyPlane(frame, 0, planes.width, planes.y);
  CopyPlane(frame, 1, planes.ChromaWidth(), planes.cb);
  CopyPlane(frame, 2, planes.ChromaWidth(), planes.cr);
  media.frames.push_back(std::move(planes));
  const double tick = av_q2d(stream.time_base);
  media.frame_seconds.push_back(static_cast<double>(frame.pts) * tick);
  media.picture_end_seconds = static_cast<double>(frame.pts + frame.pkt_duration) * tick;
  media.matrix = Name(av_color_space_name(frame.colorspace));
  media.range = Name(av_color_range_name(frame.color_range));
  media.chroma_location = Name(av_chroma_location_name(frame.chroma_location));
}

double SampleOf(const AVFrame& frame, int sample, int channel) {
  const int channels = frame.ch_layout.nb_channels;
  switch (frame.format) {
    case AV_SAMPLE_FMT_S16:
      return reinterpret_cast<const int16_t*>(frame.data[0])[sample * channels + channel];
    case AV_SAMPLE_FMT_FLTP:
      return reinterpret_cast<const float*>(frame.extended_data[channel])[sample] * 32768.0;
    default:
      throw std::runtime_error("unexpected sample format");
  }
}

void ReadAudio(const AVFrame& frame, const AVStream& stream, DecodedMedia& media) {
  const double start = static_cast<double>(frame.pts) * av_q2d(stream.time_base);
  if (media.samples.empty()) media.sound_start_seconds = start;
  for (int sample = 0; sample < frame.nb_samples; ++sample) {
    for (int channel = 0; channel < frame.ch_layout.nb_channels; ++channel) {
      media.samples.push_back(SampleOf(frame, sample, channel));
    }
  }
  media.sound_end_seconds = start + static_cast<double>(frame.nb_samples) / frame.sample_rate;
}

struct OpenStream {
  AVStream* stream = nullptr;
  Codec codec;
};

OpenStream Open(AVFormatContext& format, AVMediaType type) {
  OpenStream open;
  const AVCodec* decoder = nullptr;
  const int index = av_find_best_stream(&format, type, -1, -1, &decoder, 0);
  if (index == AVERROR_STREAM_NOT_FOUND) return open;
  Check(index, "stream");
  open.stream = format.streams[index];
  open.codec.reset(avcodec_alloc_context3(decoder));
  Check(avcodec_parameters_to_context(open.codec.get(), open.stream->codecpar), "parameters");
  open.codec->pkt_timebase = open.stream->time_base;
  Check(avcodec_open2(open.codec.get(), decoder, nullptr), "decoder");
  return open;
}

template <typename Take>
void Decode(OpenStream& open, const AVPacket* packet, const Take& take) {
  Check(avcodec_send_packet(open.codec.get(), packet), "decoding");
  const std::unique_ptr<AVFrame, Deleter> frame(av_frame_alloc());
  while (true) {
    const int result = avcodec_receive_frame(open.codec.get(), frame.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
    Check(result, "decoding");
    take(*frame, *open.stream);
  }
}

}  // namespace

DecodedMedia DecodeMedia(const std::filesystem::path& path) {
  DecodedMedia media;
  AVFormatContext* opened = nullptr;
  Check(avformat_open_input(&opened, path.c_str(), nullptr, nullptr), "opening");
  const Format format(opened);
  Check(avformat_find_stream_info(format.get(), nullptr), "stream info");
  media.container = format->iformat->name;
  OpenStream picture = Open(*format, AVMEDIA_TYPE_VIDEO);
  OpenStream sound = Open(*format, AVMEDIA_TYPE_AUDIO);
  if (picture.stream == nullptr) throw std::runtime_error("no picture");
  media.picture_codec = avcodec_get_name(picture.stream->codecpar->codec_id);
  media.rate_numerator = picture.stream->avg_frame_rate.num;
  media.rate_denominator = picture.stream->avg_frame_rate.den;
  media.lowest_exact_rate = av_q2d(picture.stream->r_frame_rate);
  if (sound.stream != nullptr) {
    media.sound_codec = avcodec_get_name(sound.stream->codecpar->codec_id);
    const uint8_t* const setup = sound.stream->codecpar->extradata;
    media.sound_setup.assign(setup, setup + sound.stream->codecpar->extradata_size);
    media.sound_bit_rate = sound.stream->codecpar->bit_rate;
    media.sample_rate = sound.stream->codecpar->sample_rate;
    media.channels = sound.stream->codecpar->ch_layout.nb_channels;
  }
  const auto take_picture = [&](const AVFrame& frame, const AVStream& stream) {
    TakePicture(frame, stream, media);
  };
  const auto take_sound = [&](const AVFrame& frame, const AVStream& stream) {
    ReadAudio(frame, stream, media);
  };
  const std::unique_ptr<AVPacket, Deleter> packet(av_packet_alloc());
  while (av_read_frame(format.get(), packet.get()) >= 0) {
    const bool is_sound = sound.stream != nullptr && packet->stream_index == sound.stream->index;
    const AVStream& stream = is_sound ? *sound.stream : *picture.stream;
    media.packets.push_back({is_sound, (packet->flags & AV_PKT_FLAG_KEY) != 0,
                             static_cast<double>(packet->dts) * av_q2d(stream.time_base),
                             packet->pos});
    if (is_sound) {
      Decode(sound, packet.get(), take_sound);
    } else {
      Decode(picture, packet.get(), take_picture);
    }
    av_packet_unref(packet.get());
  }
  Decode(picture, nullptr, take_picture);
  if (sound.stream != nullptr) Decode(sound, nullptr, take_sound);
  return media;
}

std::array<uint8_t, 16> Md5Of(std::span<const int16_t> samples) {
  std::vector<uint8_t> bytes;
  for (const int16_t sample : samples) {
    const auto word = static_cast<uint16_t>(sample);
    bytes.push_back(static_cast<uint8_t>(word & 255));
    bytes.push_back(static_cast<uint8_t>(word >> 8));
  }
  std::array<uint8_t, 16> sum{};
  av_md5_sum(sum.data(), bytes.data(), bytes.size());
  return sum;
}

}  // namespace qolm::test
