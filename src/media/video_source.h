// SPDX-License-Identifier: MIT
//
// Opens a video file through a media framework and delivers its frames.
//
// All decisions (negotiation, strides, padding, pixel conversion, counters) are made here,
// over the small interface of video_framework.h; a framework's adapter only translates.
#ifndef QOLM_MEDIA_VIDEO_SOURCE_H_
#define QOLM_MEDIA_VIDEO_SOURCE_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "media/video_framework.h"
#include "video/picture/video_frame.h"

namespace qolm::media {

class VideoSource {
 public:
  explicit VideoSource(std::unique_ptr<VideoFramework> framework);
  ~VideoSource();
  VideoSource(const VideoSource&) = delete;
  VideoSource& operator=(const VideoSource&) = delete;

  // Closes what is open, opens `path` and asks for 32-bit RGB. False when it
  // cannot be read as video; failure_reason() is then set.
  [[nodiscard]] bool Open(const std::filesystem::path& path);

  // True when a sample was delivered. A sample whose bytes are unavailable leaves `frame`
  // unchanged; one whose picture `frame` already holds changes only its time. False at the
  // end of the stream or on a read error, which is treated as the end.
  [[nodiscard]] bool ReadNextFrame(VideoFrame& frame);

  void Close();

  int32_t width() const { return width_; }                      // pixels
  int32_t height() const { return height_; }                    // pixels
  int32_t stride() const { return stride_; }                    // bytes a row
  int32_t fps_numerator() const { return fps_numerator_; }      // 30 when unknown
  int32_t fps_denominator() const { return fps_denominator_; }  // 1 when unknown
  // Expected; 0 when unknown. Corrected at the end of the stream.
  int32_t frame_count() const { return frame_count_; }
  int32_t duration_ms() const { return duration_ms_; }  // 0 when unknown

  // The pictures that the source lost up to the last frame, or up to its end.
  const VideoReader::Losses& losses() const { return losses_; }

  // Notices for the user about the conversion of the open source, one phrase each.
  std::vector<std::string> notices() const;

  // Why the last Open failed, or why reading ended, for the command layer's
  // message, e.g. "No such file or directory" or "no video stream"; empty when
  // nothing failed.
  const std::string& failure_reason() const { return failure_reason_; }

 private:
  bool Fail(const std::string& reason, const char* fallback);
  void ReadAttributes();
  void ReadDuration();
  size_t RowStride(size_t length) const;

  std::unique_ptr<VideoFramework> framework_;
  std::unique_ptr<VideoReader> reader_;  // null when closed
  int32_t width_ = 0;
  int32_t height_ = 0;
  int32_t stride_ = 0;
  int32_t fps_numerator_ = 30;
  int32_t fps_denominator_ = 1;
  int32_t frame_count_ = 0;
  int32_t duration_ms_ = 0;
  VideoReader::Losses losses_;
  std::string failure_reason_;
};

}  // namespace qolm::media

#endif  // QOLM_MEDIA_VIDEO_SOURCE_H_
