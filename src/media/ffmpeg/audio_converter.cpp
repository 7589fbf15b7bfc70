// SPDX-License-Identifier: MIT
#include "media/ffmpeg/audio_converter.h"

extern "C" {
#include <libavutil/channel_layout.h>
#include <libavutil/opt.h>
#include <libavutil/samplefmt.h>
}

#include <algorithm>
#include <array>
#include <cmath>
#include <cstddef>
#include <new>

namespace qolm::media::ffmpeg {
namespace {

// 90 dB stopband rejection from the lower of the two Nyquist frequencies on, flat up to nine
// tenths of it.
constexpr int kFilterTaps = 128;
constexpr double kCutoff = 0.955;

// ITU-R BS.775: centre and surround are mixed at -3 dB, the low-frequency channel is left
// out.
constexpr double kMinus3Decibels = 0.70710678118654752440;

// Weights of the input channels, a row for each output channel. The library fills a row and
// a column for every channel that it knows.
constexpr size_t kStride = 64;
using Matrix = std::array<double, kStride * kStride>;

// Normalised to a sum of 1 for the loudest output channel: full scale stays full scale
// without clipping.
void Normalise(Matrix& matrix, int outputs, int inputs) {
  double loudest = 0;
  for (int o = 0; o < outputs; ++o) {
    double sum = 0;
    for (int i = 0; i < inputs; ++i) {
      sum += std::abs(matrix[static_cast<size_t>(o) * kStride + static_cast<size_t>(i)]);
    }
    loudest = std::max(loudest, sum);
  }
  if (loudest <= 0) return;
  for (double& coefficient : matrix) coefficient /= loudest;
}

// For layouts without a defined downmix: alternately left and right.
void Spread(Matrix& matrix, int outputs, int inputs) {
  for (int i = 0; i < inputs; ++i) {
    matrix[static_cast<size_t>(i % outputs) * kStride + static_cast<size_t>(i)] = 1;
  }
}

Matrix Downmix(const AVChannelLayout& input, const AVChannelLayout& output) {
  Matrix matrix{};
  constexpr double kMostGain = 1;
  constexpr double kVolume = 1;
  const int built =
      swr_build_matrix2(&input, &output, kMinus3Decibels, kMinus3Decibels, 0, kMostGain, kVolume,
                        matrix.data(), kStride, AV_MATRIX_ENCODING_NONE, nullptr);
  if (built < 0) {
    matrix.fill(0);
    Spread(matrix, output.nb_channels, input.nb_channels);
  }
  Normalise(matrix, output.nb_channels, input.nb_channels);
  return matrix;
}

}  // namespace

AudioConverter::AudioConverter(int channels, int rate) : channels_(channels), rate_(rate) {}

AudioConverter::~AudioConverter() { av_channel_layout_uninit(&input_layout_); }

bool AudioConverter::Accepts(const AVFrame& frame) const {
  return resampler_ != nullptr && frame.format == input_format_ &&
         frame.sample_rate == input_rate_ &&
         av_channel_layout_compare(&frame.ch_layout, &input_layout_) == 0;
}

bool AudioConverter::Open(const AVFrame& frame) {
  resampler_.reset();
  const int inputs = frame.ch_layout.nb_channels;
  if (!CanMix(inputs)) return false;
  AVChannelLayout meaning{};  // the meaning of the channels
  if (frame.ch_layout.order == AV_CHANNEL_ORDER_NATIVE) {
    av_channel_layout_from_mask(&meaning, frame.ch_layout.u.mask);
  } else if (frame.ch_layout.order == AV_CHANNEL_ORDER_UNSPEC) {
    av_channel_layout_default(&meaning, inputs);
  }
  AVChannelLayout output{};
  av_channel_layout_default(&output, channels_);
  AVChannelLayout numbered{};  // any layout works with a given matrix
  av_channel_layout_from_mask(&numbered, (uint64_t{1} << inputs) - 1);

  const Matrix matrix =
      Downmix(meaning.nb_channels == inputs && meaning.order == AV_CHANNEL_ORDER_NATIVE
                  ? meaning
                  : AVChannelLayout{AV_CHANNEL_ORDER_UNSPEC, inputs, {}, nullptr},
              output);
  SwrContext* context = nullptr;
  const int allocated =
      swr_alloc_set_opts2(&context, &output, AV_SAMPLE_FMT_S16, rate_, &numbered,
                          static_cast<AVSampleFormat>(frame.format), frame.sample_rate, 0, nullptr);
  resampler_.reset(context);
  if (allocated < 0 || context == nullptr) return false;
  av_opt_set_sample_fmt(context, "internal_sample_fmt", AV_SAMPLE_FMT_FLTP, 0);
  av_opt_set_int(context, "filter_size", kFilterTaps, 0);
  av_opt_set_double(context, "cutoff", kCutoff, 0);
  if (swr_set_matrix(context, matrix.data(), kStride) < 0 || swr_init(context) < 0) {
    resampler_.reset();
    return false;
  }
  input_format_ = frame.format;
  input_rate_ = frame.sample_rate;
  if (av_channel_layout_copy(&input_layout_, &frame.ch_layout) < 0) throw std::bad_alloc();
  return true;
}

bool AudioConverter::Convert(const AVFrame& frame, int skipped, std::vector<int16_t>& output) {
  if (!Accepts(frame)) {
    Flush(output);
    if (!Open(frame)) return false;
  }
  if (!holds_sound_ && swr_init(resampler_.get()) < 0) return false;
  const auto format = static_cast<AVSampleFormat>(frame.format);
  const bool planar = av_sample_fmt_is_planar(format) != 0;
  const int inputs = frame.ch_layout.nb_channels;
  const ptrdiff_t skipped_bytes =
      static_cast<ptrdiff_t>(av_get_bytes_per_sample(format)) * skipped * (planar ? 1 : inputs);
  std::array<const uint8_t*, kMostChannels> planes{};
  for (size_t i = 0; i < static_cast<size_t>(planar ? inputs : 1); ++i) {
    planes[i] = frame.extended_data[i] + skipped_bytes;
  }
  holds_sound_ = true;
  return Run(planes.data(), frame.nb_samples - skipped, output);
}

void AudioConverter::Flush(std::vector<int16_t>& output) {
  if (!holds_sound_) return;
  if (!Run(nullptr, 0, output)) resampler_.reset();
  holds_sound_ = false;
}

bool AudioConverter::Run(const uint8_t** planes, int sample_frames, std::vector<int16_t>& output) {
  const int room = swr_get_out_samples(resampler_.get(), sample_frames);
  if (room < 0) return false;
  const size_t old_size = output.size();
  const auto channels = static_cast<size_t>(channels_);
  output.resize(old_size + static_cast<size_t>(room) * channels);
  auto* target = reinterpret_cast<uint8_t*>(output.data() + old_size);
  const int converted = swr_convert(resampler_.get(), &target, room, planes, sample_frames);
  output.resize(old_size + static_cast<size_t>(std::max(converted, 0)) * channels);
  return converted >= 0;
}

}  // namespace qolm::media::ffmpeg
