// SPDX-License-Identifier: MIT
//
// Checks whether a Matroska or WebM file, or the data between two of its blocks, is an
// unbroken sequence of elements. A picture may be shown longer than any packet states, so
// neither the declared duration nor timestamps distinguish a truncated file, or one of which
// the demuxer skipped a part, from a complete one.
#ifndef QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_
#define QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_

#include <cstdint>
#include <filesystem>
#include <istream>

namespace qolm::media::ffmpeg {

// Reads only the headers of the elements. False for other kinds of files, and where the
// segment does not state its size.
[[nodiscard]] bool IsWholeMatroskaSegment(const std::filesystem::path& path);

// Whether elements fill the file from one block to another of the same track, which are
// given by the positions of their contents. If `each_gives_a_packet`, no other block of
// the track may lie between them.
[[nodiscard]] bool MatroskaBlocksLead(std::istream& file, int64_t from, int64_t to,
                                      bool each_gives_a_packet);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_
