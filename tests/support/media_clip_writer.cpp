// SPDX-License-Identifier: MIT
#include "support/media_clip_writer.h"

extern "C" {
#include <libavutil/imgutils.h>
#include <libavutil/opt.h>
#include <libavutil/pixdesc.h>
}

#include <algorithm>
#include <cstddef>
#include <cstring>
#include <memory>
#include <stdexcept>

#include "support/media_objects.h"

namespace qolm::test {
namespace {

using media_objects::Check;
using media_objects::Codec;
using media_objects::Frame;
using media_objects::Muxer;
using media_objects::Packet;

AVDictionary* MakeDictionary(const std::map<std::string, std::string>& options) {
  AVDictionary* dictionary = nullptr;
  for (const auto& [key, value] : options) {
    av_dict_set(&dictionary, key.c_str(), value.c_str(), 0);
  }
  return dictionary;
}

Codec OpenEncoder(const AVFormatContext& muxer, const ClipOptions& options) {
  const AVCodec* const encoder =
      Check(avcodec_find_encoder_by_name(options.codec.c_str()), "no such encoder");
  Codec codec(Check(avcodec_alloc_context3(encoder), "memory"));
  codec->width = options.width;
  codec->height = options.height;
  codec->pix_fmt = options.format;
  codec->framerate = options.rate;
  codec->time_base = options.time_base.num != 0 ? options.time_base : av_inv_q(options.rate);
  codec->colorspace = options.matrix;
  codec->color_range = options.range;
  codec->color_primaries = options.primaries;
  codec->color_trc = options.transfer;
  codec->sample_aspect_ratio = options.pixel_shape;
  codec->gop_size = 10;
  codec->max_b_frames = 0;
  codec->bit_rate = 4'000'000;
  codec->thread_count = 1;
  codec->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;
  if (options.interlaced) {
    codec->flags |= AV_CODEC_FLAG_INTERLACED_DCT | AV_CODEC_FLAG_INTERLACED_ME;
    codec->field_order = AV_FIELD_TT;
  }
  if ((muxer.oformat->flags & AVFMT_GLOBALHEADER) != 0) {
    codec->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  }
  AVDictionary* dictionary = MakeDictionary(options.codec_options);
  const int opened = avcodec_open2(codec.get(), encoder, &dictionary);
  av_dict_free(&dictionary);
  Check(opened, "encoder");
  return codec;
}

Frame MakeFrame(const AVCodecContext& codec) {
  Frame frame(Check(av_frame_alloc(), "memory"));
  frame->width = codec.width;
  frame->height = codec.height;
  frame->format = codec.pix_fmt;
  frame->colorspace = codec.colorspace;
  frame->color_range = codec.color_range;
  frame->color_primaries = codec.color_primaries;
  frame->color_trc = codec.color_trc;
  frame->sample_aspect_ratio = codec.sample_aspect_ratio;
  Check(av_frame_get_buffer(frame.get(), 0), "frame");
  // Painters may leave samples out; every clip has the same bytes each time even so.
  for (const AVBufferRef* const buffer : frame->buf) {
    if (buffer != nullptr) std::memset(buffer->data, 0, buffer->size);
  }
  return frame;
}

// All packets of one encoder, in its time base.
std::vector<Packet> Drain(AVCodecContext& codec) {
  std::vector<Packet> packets;
  while (true) {
    Packet packet(Check(av_packet_alloc(), "memory"));
    const int result = avcodec_receive_packet(&codec, packet.get());
    if (result == AVERROR(EAGAIN) || result == AVERROR_EOF) return packets;
    Check(result, "encoding");
    packets.push_back(std::move(packet));
  }
}

Packet EncodeCover(AVCodecContext& codec) {
  const Frame frame = MakeFrame(codec);
  FillPlanes(*frame, {255, 128, 128});
  frame->pts = 0;
  Check(avcodec_send_frame(&codec, frame.get()), "cover");
  std::vector<Packet> packets = Drain(codec);
  return std::move(packets.at(0));
}

}  // namespace

void FillPlanes(AVFrame& frame, const std::vector<int>& values) {
  const auto format = static_cast<AVPixelFormat>(frame.format);
  const AVPixFmtDescriptor* const description = av_pix_fmt_desc_get(format);
  for (size_t plane = 0; plane < values.size() && frame.data[plane] != nullptr; ++plane) {
    const int shift = plane == 0 ? 0 : description->log2_chroma_h;
    const int rows = -((-frame.height) >> shift);
    for (int y = 0; y < rows; ++y) {
      uint8_t* const row = frame.data[plane] + static_cast<ptrdiff_t>(y) * frame.linesize[plane];
      const auto bytes = static_cast<size_t>(frame.linesize[plane]);
      if (description->comp[0].depth <= 8) {
        std::memset(row, values[plane], bytes);
      } else {
        const auto value = static_cast<uint16_t>(values[plane]);
        for (size_t i = 0; i + 1 < bytes; i += 2) std::memcpy(row + i, &value, sizeof(value));
      }
    }
  }
}

void PaintNoise(AVFrame& frame, int index) {
  uint32_t noise = static_cast<uint32_t>(index) + 1;
  const int bytes = av_image_get_linesize(static_cast<AVPixelFormat>(frame.format), frame.width, 0);
  for (int y = 0; y < frame.height; ++y) {
    for (int x = 0; x < bytes; ++x) {
      noise = noise * 1664525U + 1013904223U;
      frame.data[0][ptrdiff_t{y} * frame.linesize[0] + x] = static_cast<uint8_t>(noise >> 24);
    }
  }
}

void SetPixel(AVFrame& frame, int x, int y, uint8_t red, uint8_t green, uint8_t blue) {
  uint8_t* const pixel =
      frame.data[0] + static_cast<ptrdiff_t>(y) * frame.linesize[0] + static_cast<ptrdiff_t>(x) * 4;
  pixel[0] = blue;
  pixel[1] = green;
  pixel[2] = red;
  pixel[3] = 255;
}

void WriteClip(const std::filesystem::path& path, const ClipOptions& options,
               const Painter& painter) {
  AVFormatContext* allocated = nullptr;
  const char* const muxer_name = options.muxer.empty() ? nullptr : options.muxer.c_str();
  Check(avformat_alloc_output_context2(&allocated, nullptr, muxer_name, path.c_str()), "muxer");
  const Muxer muxer(allocated);
  muxer->strict_std_compliance = FF_COMPLIANCE_UNOFFICIAL;

  const Codec codec = OpenEncoder(*muxer, options);
  AVStream* const video = Check(avformat_new_stream(muxer.get(), nullptr), "stream");
  Check(avcodec_parameters_from_context(video->codecpar, codec.get()), "parameters");
  video->time_base = codec->time_base;
  video->sample_aspect_ratio = options.pixel_shape;
  if (options.timestamps.empty()) {
    video->avg_frame_rate = options.rate;
    video->r_frame_rate = options.rate;
  }
  if (options.display_matrix) {
    constexpr size_t kBytes = 9 * sizeof(int32_t);
    uint8_t* const data =
        Check(av_stream_new_side_data(video, AV_PKT_DATA_DISPLAYMATRIX, kBytes), "display matrix");
    std::memcpy(data, options.display_matrix->data(), kBytes);
  }

  AVStream* cover = nullptr;
  Packet cover_packet;
  if (options.cover_art || options.second_video) {
    ClipOptions cover_options;
    cover_options.codec = "mjpeg";
    cover_options.format = AV_PIX_FMT_YUVJ420P;
    cover_options.width = 8;
    cover_options.height = 8;
    const Codec cover_codec = OpenEncoder(*muxer, cover_options);
    cover = Check(avformat_new_stream(muxer.get(), nullptr), "stream");
    Check(avcodec_parameters_from_context(cover->codecpar, cover_codec.get()), "parameters");
    cover->time_base = cover_codec->time_base;
    if (options.cover_art) cover->disposition = AV_DISPOSITION_ATTACHED_PIC;
    cover_packet = EncodeCover(*cover_codec);
  }
  AVStream* sound = nullptr;
  if (options.sound_seconds > 0) {
    sound = Check(avformat_new_stream(muxer.get(), nullptr), "stream");
    AVCodecParameters& parameters = *sound->codecpar;
    parameters.codec_type = AVMEDIA_TYPE_AUDIO;
    parameters.codec_id = AV_CODEC_ID_PCM_S16LE;
    parameters.sample_rate = options.sound_rate;
    parameters.ch_layout = AV_CHANNEL_LAYOUT_MONO;
    parameters.format = AV_SAMPLE_FMT_S16;
    parameters.bits_per_coded_sample = 16;
    parameters.block_align = 2;
    sound->time_base = {1, options.sound_rate};
  }

  Check(avio_open(&muxer->pb, path.c_str(), AVIO_FLAG_WRITE), "file");
  AVDictionary* dictionary = MakeDictionary(options.muxer_options);
  const int header_written = avformat_write_header(muxer.get(), &dictionary);
  av_dict_free(&dictionary);
  Check(header_written, "header");
  if (cover != nullptr) {
    cover_packet->stream_index = cover->index;
    Check(av_interleaved_write_frame(muxer.get(), cover_packet.get()), "cover packet");
  }
  const int sound_samples = static_cast<int>(options.sound_seconds * options.sound_rate);
  const int samples_a_packet =
      options.sound_packet_seconds > 0
          ? static_cast<int>(options.sound_packet_seconds * options.sound_rate)
          : sound_samples;
  for (int first = 0; first < sound_samples; first += samples_a_packet) {
    const Packet packet(Check(av_packet_alloc(), "memory"));
    const int samples = std::min(samples_a_packet, sound_samples - first);
    Check(av_new_packet(packet.get(), samples * 2), "memory");
    std::memset(packet->data, 0, static_cast<size_t>(packet->size));
    packet->stream_index = sound->index;
    packet->pts = packet->dts = av_rescale_q(first, {1, options.sound_rate}, sound->time_base);
    packet->duration = av_rescale_q(samples, {1, options.sound_rate}, sound->time_base);
    Check(av_interleaved_write_frame(muxer.get(), packet.get()), "sound packet");
  }

  int packets_written = 0;
  const auto timestamp_of = [&options](int index) {
    return options.timestamps.empty() ? int64_t{index}
                                      : options.timestamps.at(static_cast<size_t>(index));
  };
  const auto write_packets = [&] {
    for (const Packet& packet : Drain(*codec)) {
      if (options.corrupt_packet == packets_written) {
        Check(av_packet_make_writable(packet.get()), "memory");
        std::memset(packet->data, 0xa5, static_cast<size_t>(packet->size));
      }
      const int index = packets_written++;
      const bool is_last = index + 1 == options.frames;
      packet->duration = !is_last ? timestamp_of(index + 1) - timestamp_of(index)
                         : options.last_duration != 0 ? options.last_duration
                         : index > 0 ? timestamp_of(index) - timestamp_of(index - 1)
                                     : 1;
      packet->stream_index = video->index;
      av_packet_rescale_ts(packet.get(), codec->time_base, video->time_base);
      Check(av_interleaved_write_frame(muxer.get(), packet.get()), "packet");
    }
  };
  for (int index = 0; index < options.frames; ++index) {
    const Frame frame = MakeFrame(*codec);
    painter(*frame, index);
    frame->pts = timestamp_of(index);
    frame->interlaced_frame = options.interlaced ? 1 : 0;
    frame->top_field_first = options.interlaced ? 1 : 0;
    Check(avcodec_send_frame(codec.get(), frame.get()), "frame");
    write_packets();
  }
  Check(avcodec_send_frame(codec.get(), nullptr), "flush");
  write_packets();
  Check(av_write_trailer(muxer.get()), "trailer");
}

}  // namespace qolm::test
