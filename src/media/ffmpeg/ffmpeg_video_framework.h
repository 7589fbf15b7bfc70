// SPDX-License-Identifier: MIT
//
// The video framework over the FFmpeg libraries.
#ifndef QOLM_MEDIA_FFMPEG_FFMPEG_VIDEO_FRAMEWORK_H_
#define QOLM_MEDIA_FFMPEG_FFMPEG_VIDEO_FRAMEWORK_H_

#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <utility>

#include "media/video_framework.h"

namespace qolm::media::ffmpeg {

class FfmpegVideoFramework : public VideoFramework {
 public:
  // Once `interrupted` says true, which is asked on any thread, opening and reading
  // end early.
  explicit FfmpegVideoFramework(std::function<bool()> interrupted)
      : interrupted_(std::move(interrupted)) {}

  // The attributes change nothing here: any format is always converted.
  std::unique_ptr<VideoReader> Open(const std::filesystem::path& path,
                                    const std::optional<ReaderAttributes>& attributes) override;
  std::string failure_reason() const override { return failure_reason_; }

 private:
  const std::function<bool()> interrupted_;
  std::string failure_reason_;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_FFMPEG_VIDEO_FRAMEWORK_H_
