// SPDX-License-Identifier: MIT
//
// The stretches of a video between the restarts of its clock, as of recordings that
// were joined, with their place in the video as a whole.
#ifndef QOLM_MEDIA_FFMPEG_PICTURE_SECTIONS_H_
#define QOLM_MEDIA_FFMPEG_PICTURE_SECTIONS_H_

#include <cstddef>
#include <cstdint>
#include <filesystem>
#include <optional>
#include <utility>
#include <vector>

#include "media/ffmpeg/stop_signal.h"

namespace qolm::media::ffmpeg {

struct PictureSection {
  double start = 0;       // of its first picture, in seconds on its own clock
  double end = 0;         // of its last picture, likewise
  double position = 0;    // of its first picture in the video, in seconds
  int64_t last_byte = 0;  // where its last packet lies in the file
};

class PictureSections {
 public:
  explicit PictureSections(std::vector<PictureSection> sections) : sections_(std::move(sections)) {}

  // By the packets of the whole file, placed as their pictures will be. The first of
  // them that can be decoded is shown at `picture_start`.
  static PictureSections Scan(const std::filesystem::path& path, const StopSignal& stop,
                              double picture_start);

  // Where the video as a whole would begin on the clock of the section to which sound
  // belongs that lies at `byte` of the file and is heard at `time`. Sound restarts in
  // the order of the file: nothing for a section that was asked for already, nor where
  // the time is none of that section's.
  std::optional<double> OriginOfNewSection(int64_t byte, double time);

 private:
  std::vector<PictureSection> sections_;  // in the order of the file
  size_t current_ = 0;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_PICTURE_SECTIONS_H_
