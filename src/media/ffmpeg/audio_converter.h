// SPDX-License-Identifier: MIT
//
// Converts decoded audio of any format, layout and rate, which may change in mid-stream, to
// 16-bit mono or stereo at one rate.
#ifndef QOLM_MEDIA_FFMPEG_AUDIO_CONVERTER_H_
#define QOLM_MEDIA_FFMPEG_AUDIO_CONVERTER_H_

extern "C" {
#include <libswresample/swresample.h>
}

#include <cstdint>
#include <memory>
#include <vector>

#include "media/ffmpeg/handles.h"

namespace qolm::media::ffmpeg {

class AudioConverter {
 public:
  static constexpr int kMostChannels = 32;  // of the input
  static bool CanMix(int channels) { return channels >= 1 && channels <= kMostChannels; }

  // 1 or 2 channels; the rate is in Hz.
  AudioConverter(int channels, int rate);
  ~AudioConverter();
  AudioConverter(const AudioConverter&) = delete;
  AudioConverter& operator=(const AudioConverter&) = delete;

  // Converts what follows the first `skipped` sample frames of `frame` and
  // appends what is ready; the resampler delays the end. False when the format
  // cannot be converted.
  [[nodiscard]] bool Convert(const AVFrame& frame, int skipped, std::vector<int16_t>& output);

  // Flushes the resampler, as at the end of the audio.
  void Flush(std::vector<int16_t>& output);

 private:
  struct ResamplerDeleter {
    void operator()(SwrContext* context) const { swr_free(&context); }
  };

  bool Accepts(const AVFrame& frame) const;
  bool Open(const AVFrame& frame);
  bool Run(const uint8_t** planes, int sample_frames, std::vector<int16_t>& output);

  const int channels_;
  const int rate_;
  std::unique_ptr<SwrContext, ResamplerDeleter> resampler_;  // null before the first frame
  bool holds_sound_ = false;
  int input_format_ = AV_SAMPLE_FMT_NONE;
  int input_rate_ = 0;
  AVChannelLayout input_layout_{};
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_AUDIO_CONVERTER_H_
