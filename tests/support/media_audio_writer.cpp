// SPDX-License-Identifier: MIT
#include "support/media_audio_writer.h"

extern "C" {
#include <libavcodec/avcodec.h>
#include <libavformat/avformat.h>
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <cstring>
#include <memory>
#include <stdexcept>
#include <utility>
#include <vector>

#include "support/media_clip_writer.h"
#include "support/media_objects.h"

namespace qolm::test {
namespace {

using media_objects::Check;
using media_objects::Codec;
using media_objects::Frame;
using media_objects::Muxer;
using media_objects::Packet;

void Drain(AVCodecContext& codec, std::vector<Packet>& packets) {
  while (true) {
    Packet packet(Check(av_packet_alloc(), "memory"));
    const int result = avcodec_receive_packet(&codec, packet.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return;
    Check(result, "encoding");
    packets.push_back(std::move(packet));
  }
}

Codec AllocateEncoder(const AVFormatContext& muxer, const char* name) {
  const AVCodec* const encoder = Check(avcodec_find_encoder_by_name(name), "no such encoder");
  Codec codec(Check(avcodec_alloc_context3(encoder), "memory"));
  codec->thread_count = 1;
  codec->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
  if ((muxer.oformat->flags & AVFMT_GLOBALHEADER) != 0) {
    codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  }
  return codec;
}

Codec OpenSoundEncoder(const AVFormatContext& muxer, const SoundClip& clip) {
  Codec codec = AllocateEncoder(muxer, clip.codec.c_str());
  codec->sample_rate = clip.rate;
  codec->time_base = {1, clip.rate};
  codec->bit_rate = 192'000;
  Check(av_channel_layout_from_string(&codec->ch_layout, clip.layout.c_str()), "layout");
  codec->sample_fmt = codec->codec->sample_fmts[0];
  Check(avcodec_open2(codec.get(), codec->codec, nullptr), "encoder");
  return codec;
}

Codec OpenPictureEncoder(const AVFormatContext& muxer, const char* name, AVPixelFormat format,
                         int reordered = 0, int side = 16, bool fixed_quality = false) {
  Codec codec = AllocateEncoder(muxer, name);
  codec->width = codec->height = side;
  codec->pix_fmt = format;
  codec->time_base = {1, 25};
  codec->framerate = {25, 1};
  codec->max_b_frames = reordered;
  if (fixed_quality) {
    codec->flags |= AV_CODEC_FLAG_QSCALE;
    codec->bit_rate = int64_t{25} * side * side * 16;  // by which program streams keep time
  }
  Check(avcodec_open2(codec.get(), codec->codec, nullptr), "picture encoder");
  return codec;
}

void PutSample(AVFrame& frame, int index, int channel, int16_t value) {
  const auto format = static_cast<AVSampleFormat>(frame.format);
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  const int bytes = av_get_bytes_per_sample(format);
  uint8_t* const plane = frame.extended_data[planar ? channel : 0];
  const int place = planar ? index : index * frame.ch_layout.nb_channels + channel;
  uint8_t* const target = plane + static_cast<ptrdiff_t>(place) * bytes;
  switch (av_get_packed_sample_fmt(format)) {
    case AV_SAMPLE_FMT_S16:
      std::memcpy(target, &value, sizeof(value));
      break;
    case AV_SAMPLE_FMT_S32: {
      const int32_t wide = value * 65536;
      std::memcpy(target, &wide, sizeof(wide));
      break;
    }
    case AV_SAMPLE_FMT_FLT: {
      const float real = static_cast<float>(value) / 32768.0f;
      std::memcpy(target, &real, sizeof(real));
      break;
    }
    default:
      throw std::runtime_error("sample format");
  }
}

std::vector<Packet> EncodeSound(AVCodecContext& codec, const SoundClip& clip,
                                const Signal& signal) {
  std::vector<Packet> packets;
  const int64_t step = codec.frame_size > 0 ? codec.frame_size : clip.packet_samples;
  for (int64_t first = 0; first < clip.samples; first += step) {
    const Frame frame(Check(av_frame_alloc(), "memory"));
    frame->nb_samples = static_cast<int>(std::min(step, clip.samples - first));
    frame->format = codec.sample_fmt;
    frame->sample_rate = codec.sample_rate;
    Check(av_channel_layout_copy(&frame->ch_layout, &codec.ch_layout), "layout");
    Check(av_frame_get_buffer(frame.get(), 0), "frame");
    for (int i = 0; i < frame->nb_samples; ++i) {
      for (int c = 0; c < frame->ch_layout.nb_channels; ++c) {
        PutSample(*frame, i, c, signal(first + i, c));
      }
    }
    frame->pts = first;
    Check(avcodec_send_frame(&codec, frame.get()), "frame");
    Drain(codec, packets);
  }
  Check(avcodec_send_frame(&codec, nullptr), "flush");
  Drain(codec, packets);
  return packets;
}

std::vector<Packet> EncodePictures(AVCodecContext& codec, int count,
                                   const std::function<uint8_t(int)>& brightness,
                                   bool noisy = false) {
  std::vector<Packet> packets;
  for (int i = 0; i < count; ++i) {
    const Frame frame(Check(av_frame_alloc(), "memory"));
    frame->width = codec.width;
    frame->height = codec.height;
    frame->format = codec.pix_fmt;
    Check(av_frame_get_buffer(frame.get(), 0), "picture");
    for (size_t plane = 0; plane < 3; ++plane) {
      const int rows = plane == 0 ? frame->height : frame->height / 2;
      const int value = plane == 0 && brightness ? brightness(i) : 128;
      std::memset(frame->data[plane], value, static_cast<size_t>(frame->linesize[plane] * rows));
    }
    if (noisy) PaintNoise(*frame, i);
    frame->quality = noisy ? FF_QP2LAMBDA : 0;
    frame->pts = i;
    Check(avcodec_send_frame(&codec, frame.get()), "picture");
    Drain(codec, packets);
  }
  Check(avcodec_send_frame(&codec, nullptr), "flush");
  Drain(codec, packets);
  return packets;
}

AVStream* AddStream(AVFormatContext& muxer, const AVCodecContext& codec) {
  AVStream* const stream = Check(avformat_new_stream(&muxer, nullptr), "stream");
  Check(avcodec_parameters_from_context(stream->codecpar, &codec), "parameters");
  stream->time_base = codec.time_base;
  return stream;
}

void Write(AVFormatContext& muxer, const AVStream& stream, const AVCodecContext& codec,
           double shift, AVPacket& packet) {
  av_packet_rescale_ts(&packet, codec.time_base, stream.time_base);
  const int64_t ticks = std::llround(shift / av_q2d(stream.time_base));
  packet.pts += ticks;
  packet.dts += ticks;
  packet.stream_index = stream.index;
  Check(av_interleaved_write_frame(&muxer, &packet), "packet");
}

}  // namespace

void WriteSoundClip(const std::filesystem::path& path, const SoundClip& clip,
                    const Signal& signal) {
  AVFormatContext* allocated = nullptr;
  const char* const muxer_name = clip.muxer.empty() ? nullptr : clip.muxer.c_str();
  Check(avformat_alloc_output_context2(&allocated, nullptr, muxer_name, path.c_str()), "muxer");
  const Muxer muxer(allocated);
  muxer->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
  const bool is_transport = std::strcmp(muxer->oformat->name, "mpegts") == 0;

  const Codec sound_codec = OpenSoundEncoder(*muxer, clip);
  AVStream* const sound = AddStream(*muxer, *sound_codec);
  Codec picture_codec;
  AVStream* video = nullptr;
  if (clip.pictures > 0) {
    const char* const plain = is_transport ? "mpeg2video" : "mpeg4";
    std::string name = clip.reordered > 0 ? "libx264" : plain;
    if (!clip.picture_codec.empty()) name = clip.picture_codec;
    picture_codec = OpenPictureEncoder(*muxer, name.c_str(), AV_PIX_FMT_YUV420P, clip.reordered,
                                       clip.picture_side, clip.noisy_pictures);
    video = AddStream(*muxer, *picture_codec);
  }
  Codec cover_codec;
  AVStream* cover = nullptr;
  if (clip.cover_art) {
    cover_codec = OpenPictureEncoder(*muxer, "mjpeg", AV_PIX_FMT_YUVJ420P);
    cover = AddStream(*muxer, *cover_codec);
    cover->disposition = AV_DISPOSITION_ATTACHED_PIC;
  }

  Check(avio_open(&muxer->pb, path.c_str(), AVIO_FLAG_WRITE), "file");
  if (clip.negative_times) muxer->avoid_negative_ts = AVFMT_AVOID_NEG_TS_DISABLED;
  Check(avformat_write_header(muxer.get(), nullptr), "header");
  if (cover != nullptr) {
    for (const Packet& packet : EncodePictures(*cover_codec, 1, {})) {
      Write(*muxer, *cover, *cover_codec, 0, *packet);
    }
  }
  if (video != nullptr) {
    for (const Packet& packet :
         EncodePictures(*picture_codec, clip.pictures, clip.brightness, clip.noisy_pictures)) {
      packet->duration = 1;
      Write(*muxer, *video, *picture_codec, clip.picture_start, *packet);
    }
  }
  const std::vector<Packet> packets = EncodeSound(*sound_codec, clip, signal);
  for (int i = 0; i < static_cast<int>(packets.size()); ++i) {
    if (clip.dropped_packets.count(i) != 0) continue;
    AVPacket& packet = *packets[static_cast<size_t>(i)];
    if (clip.damaged_packets.count(i) != 0) {
      Check(av_packet_make_writable(&packet), "memory");
      std::memset(packet.data, clip.damage, static_cast<size_t>(packet.size));
    }
    if (clip.wrong_last_bytes.count(i) != 0) {
      Check(av_packet_make_writable(&packet), "memory");
      packet.data[packet.size - 1] ^= 0xff;
    }
    Write(*muxer, *sound, *sound_codec, clip.start + (clip.shift ? clip.shift(i) : 0), packet);
  }
  Check(av_write_trailer(muxer.get()), "trailer");
}

}  // namespace qolm::test
