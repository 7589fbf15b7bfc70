// SPDX-License-Identifier: MIT
//
// The sections of a video between restarts of its clock, as of joined recordings, with
// their positions in the whole video.
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
  int64_t last_byte = 0;  // position of its last packet in the file
};

class PictureSections {
 public:
  explicit PictureSections(std::vector<PictureSection> sections) : sections_(std::move(sections)) {}

  // From the packets of the whole file, at the positions of their pictures. The first one
  // that can be decoded is shown at `picture_start`.
  static PictureSections Scan(const std::filesystem::path& path, const StopSignal& stop,
                              double picture_start);

  // The start of the whole video on the clock of the section that contains the audio at
  // position `byte` of the file and time `time`. Audio restarts in file order: nothing for
  // a section that was requested before, nor where the time is not within that section.
  std::optional<double> OriginOfNewSection(int64_t byte, double time);

 private:
  std::vector<PictureSection> sections_;  // in the order of the file
  size_t current_ = 0;
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_PICTURE_SECTIONS_H_
