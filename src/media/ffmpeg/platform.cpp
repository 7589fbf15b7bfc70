// SPDX-License-Identifier: MIT
#include "media/platform.h"

extern "C" {
#include <libavutil/log.h>
}

#include <utility>

#include "media/ffmpeg/ffmpeg_audio_framework.h"
#include "media/ffmpeg/ffmpeg_video_framework.h"

namespace qolm::media {

struct Platform::Running {};

// By default the libraries print to standard error.
Platform::Platform(std::function<bool()> interrupted) : interrupted_(std::move(interrupted)) {
  av_log_set_level(AV_LOG_QUIET);
}

Platform::~Platform() = default;

std::unique_ptr<AudioFramework> Platform::MakeAudioFramework() const {
  return std::make_unique<ffmpeg::FfmpegAudioFramework>(interrupted_);
}

std::unique_ptr<VideoFramework> Platform::MakeVideoFramework() const {
  return std::make_unique<ffmpeg::FfmpegVideoFramework>(interrupted_);
}

}  // namespace qolm::media
