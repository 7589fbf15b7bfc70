// SPDX-License-Identifier: MIT
//
// Counts pictures that a demuxer skips silently because their packets are damaged or
// missing: gaps in the timestamps, but only where the container data is broken.
#ifndef QOLM_MEDIA_FFMPEG_LOST_PICTURES_H_
#define QOLM_MEDIA_FFMPEG_LOST_PICTURES_H_

#include <cstdint>
#include <filesystem>
#include <optional>

#include "media/ffmpeg/container_stretch.h"
#include "media/ffmpeg/file_clock.h"
#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/ratio.h"

namespace qolm::media::ffmpeg {

class LostPictures {
 public:
  // As for ContainerStretch. `rate` is in frames a second; `clock` decides which steps are
  // real.
  LostPictures(const std::filesystem::path& path, const AVFormatContext& format,
               const AVStream& stream, Ratio rate, FileClock clock);

  // As for ContainerStretch.
  bool needs_every_stream() const { return stretch_.needs_every_stream(); }
  void Note(const AVPacket& packet);

  // So far.
  int64_t count() const { return count_ + PicturesInHole(); }

 private:
  int64_t PicturesInHole() const;

  const AVStream& stream_;
  Ratio rate_;
  FileClock clock_;
  ContainerStretch stretch_;
  int64_t count_ = 0;           // up to the gap before the latest
  std::optional<double> last_;  // the latest picture so far, in seconds
  int64_t untimed_ = 0;         // packets since that one
  // The latest gap: pictures at its beginning may be stored behind later ones.
  double hole_from_ = 0;
  double hole_to_ = 0;
  int64_t untimed_in_hole_ = 0;
  int reordered_ = 0;  // packets that may still belong into it
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_LOST_PICTURES_H_
