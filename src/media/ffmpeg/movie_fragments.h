// SPDX-License-Identifier: MIT
//
// Sums up the fragments of one track of an MP4 file, including those that a demuxer never
// reaches because boxes before them are damaged. Such a file declares its length nowhere
// else.
#ifndef QOLM_MEDIA_FFMPEG_MOVIE_FRAGMENTS_H_
#define QOLM_MEDIA_FFMPEG_MOVIE_FRAGMENTS_H_

#include <cstdint>
#include <filesystem>
#include <optional>

namespace qolm::media::ffmpeg {

struct MovieFragments {
  int64_t samples = 0;  // that the fragments declare
  // In units of the track's clock, decoding times; nothing when they are not stated.
  std::optional<uint64_t> start;
  std::optional<uint64_t> end;
};

// Reads the headers of the boxes and the tables of the fragments, and other data only to
// search for the next fragment.
MovieFragments ExamineMovieFragments(const std::filesystem::path& path, uint32_t track);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_MOVIE_FRAGMENTS_H_
