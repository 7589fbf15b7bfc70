// SPDX-License-Identifier: MIT
#include "export/ffmpeg/audio_encoder.h"

extern "C" {
#include <libavutil/channel_layout.h>
}

#include <algorithm>
#include <climits>
#include <vector>

namespace qolm::exporter::ffmpeg {
namespace {

constexpr int kPcmPacketSamples = 1024;
constexpr int64_t kAacBitsPerChannel = 112'000;  // a second

std::vector<const AVCodec*> Candidates(Form form) {
  const AVCodec* const pcm = avcodec_find_encoder(AV_CODEC_ID_PCM_S16LE);
  std::vector<const AVCodec*> candidates;
  switch (form) {
    case Form::kMatroska:
      candidates = {avcodec_find_encoder(AV_CODEC_ID_FLAC), pcm};
      break;
    case Form::kMp4:
      candidates = {avcodec_find_encoder(AV_CODEC_ID_AAC)};
      break;
    default:  // kNut and kPipe; the others have no streams
      candidates = {pcm};
      break;
  }
  std::erase(candidates, nullptr);
  return candidates;
}

// The requested rate if the encoder supports it, else the next higher, else its highest.
int RateOf(const AVCodec& encoder, int wanted) {
  if (encoder.supported_samplerates == nullptr) return wanted;
  int above = 0;
  int highest = 0;
  for (const int* rate = encoder.supported_samplerates; *rate != 0; ++rate) {
    highest = std::max(highest, *rate);
    if (*rate >= wanted && (above == 0 || *rate < above)) above = *rate;
  }
  return above != 0 ? above : highest;
}

AVSampleFormat FormatOf(const AVCodec& encoder) {
  if (encoder.sample_fmts == nullptr) return AV_SAMPLE_FMT_S16;
  for (const AVSampleFormat* format = encoder.sample_fmts; *format != AV_SAMPLE_FMT_NONE;
       ++format) {
    if (*format == AV_SAMPLE_FMT_S16) return *format;
  }
  return encoder.sample_fmts[0];
}

}  // namespace

int AudioEncoder::open(const MediaDescription& description, bool global_header) {
  if (description.sample_rate > INT_MAX) return AVERROR(EINVAL);
  int result = AVERROR_ENCODER_NOT_FOUND;
  for (const AVCodec* const encoder : Candidates(description.form)) {
    result = try_open(encoder, description, global_header);
    if (result >= 0 || result == AVERROR(ENOMEM)) break;
  }
  if (result < 0) return result;
  channels_ = description.channels;
  packet_samples_ = codec_->frame_size > 0 ? codec_->frame_size : kPcmPacketSamples;
  queue_.reset(av_audio_fifo_alloc(codec_->sample_fmt, channels_, packet_samples_));
  if (!queue_) return AVERROR(ENOMEM);
  return open_resampler(description);
}

int AudioEncoder::try_open(const AVCodec* encoder, const MediaDescription& description,
                           bool global_header) {
  codec_.reset(avcodec_alloc_context3(encoder));
  if (!codec_) return AVERROR(ENOMEM);
  codec_->sample_rate = RateOf(*encoder, static_cast<int>(description.sample_rate));
  codec_->time_base = {1, codec_->sample_rate};
  codec_->sample_fmt = FormatOf(*encoder);
  av_channel_layout_default(&codec_->ch_layout, description.channels);
  codec_->flags |= AV_CODEC_FLAG_BITEXACT;
  if (global_header) codec_->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
  if (encoder->id == AV_CODEC_ID_AAC) {
    codec_->bit_rate = kAacBitsPerChannel * description.channels;
  }
  return avcodec_open2(codec_.get(), encoder, nullptr);
}

int AudioEncoder::open_resampler(const MediaDescription& description) {
  SwrContext* resampler = nullptr;
  const int result = swr_alloc_set_opts2(&resampler, &codec_->ch_layout, codec_->sample_fmt,
                                         codec_->sample_rate, &codec_->ch_layout, AV_SAMPLE_FMT_S16,
                                         static_cast<int>(description.sample_rate), 0, nullptr);
  resampler_.reset(resampler);
  return result < 0 ? result : swr_init(resampler_.get());
}

int AudioEncoder::queue(std::span<const int16_t> samples) {
  return convert(reinterpret_cast<const uint8_t*>(samples.data()),
                 static_cast<int>(samples.size() / channels_));
}

int AudioEncoder::queue_rest() {
  ended_ = true;
  return convert(nullptr, 0);
}

// Without samples it flushes the resampler.
int AudioEncoder::convert(const uint8_t* samples, int count) {
  const int room = swr_get_out_samples(resampler_.get(), count);
  if (room <= 0) return room;
  Frame converted;
  if (const int result = new_frame(room, converted); result < 0) return result;
  const uint8_t* const* const input = samples != nullptr ? &samples : nullptr;
  // The parameter lacks a const that the function keeps to.
  const int got = swr_convert(resampler_.get(), converted->extended_data, room,
                              const_cast<const uint8_t**>(input), count);
  if (got <= 0) return got;
  const int queued =
      av_audio_fifo_write(queue_.get(), reinterpret_cast<void**>(converted->extended_data), got);
  return queued < got ? AVERROR(ENOMEM) : 0;
}

bool AudioEncoder::has_packet() const {
  const int queued = av_audio_fifo_size(queue_.get());
  return queued >= packet_samples_ || (ended_ && queued > 0);
}

int AudioEncoder::send_packet() {
  Frame frame;
  const int count = std::min(packet_samples_, av_audio_fifo_size(queue_.get()));
  if (const int result = new_frame(count, frame); result < 0) return result;
  const int read =
      av_audio_fifo_read(queue_.get(), reinterpret_cast<void**>(frame->extended_data), count);
  if (read < count) return read < 0 ? read : AVERROR_BUG;
  frame->pts = next_sample_;
  next_sample_ += count;
  return avcodec_send_frame(codec_.get(), frame.get());
}

int AudioEncoder::new_frame(int samples, Frame& frame) const {
  frame.reset(av_frame_alloc());
  if (!frame) return AVERROR(ENOMEM);
  frame->nb_samples = samples;
  frame->format = codec_->sample_fmt;
  frame->sample_rate = codec_->sample_rate;
  if (const int result = av_channel_layout_copy(&frame->ch_layout, &codec_->ch_layout); result < 0)
    return result;
  return av_frame_get_buffer(frame.get(), 0);
}

}  // namespace qolm::exporter::ffmpeg
