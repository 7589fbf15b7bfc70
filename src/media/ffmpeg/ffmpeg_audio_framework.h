// SPDX-License-Identifier: MIT
//
// The audio framework over the FFmpeg libraries.
#ifndef QOLM_MEDIA_FFMPEG_FFMPEG_AUDIO_FRAMEWORK_H_
#define QOLM_MEDIA_FFMPEG_FFMPEG_AUDIO_FRAMEWORK_H_

#include <filesystem>
#include <functional>
#include <memory>
#include <utility>

#include "media/audio_framework.h"

namespace qolm::media::ffmpeg {

class FfmpegAudioFramework : public AudioFramework {
 public:
  // Once `interrupted` says true, which is asked on any thread, opening and reading
  // end early.
  explicit FfmpegAudioFramework(std::function<bool()> interrupted)
      : interrupted_(std::move(interrupted)) {}

  // The attributes change nothing here: sound is decoded by the processor, and
  // latency does not matter to what reads a whole track.
  std::unique_ptr<AudioReader> Open(const std::filesystem::path& path,
                                    const ReaderAttributes& attributes) override;

 private:
  const std::function<bool()> interrupted_;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_FFMPEG_AUDIO_FRAMEWORK_H_
