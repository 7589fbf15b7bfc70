// SPDX-License-Identifier: MIT
//
// Whether a Matroska or WebM file ends where its segment does and is one unbroken row of
// elements up to there, or from one block to another. A picture may stand for longer than
// any packet says, so neither the declared duration nor timestamps tell a file that is
// cut off, or of which the demuxer passed over a part, from one that is whole.
#ifndef QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_
#define QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_

#include <cstdint>
#include <filesystem>
#include <istream>

namespace qolm::media::ffmpeg {

// Reads the heads of the elements, not what they hold. False for another kind of file,
// and where the segment does not state its size.
[[nodiscard]] bool IsWholeMatroskaSegment(const std::filesystem::path& path);

// Whether elements fill the file from one block to another, which are given by where
// what they hold begins; both of one track. If `each_gives_a_packet`, none of this track
// may lie between them.
[[nodiscard]] bool MatroskaBlocksLead(std::istream& file, int64_t from, int64_t to,
                                      bool each_gives_a_packet);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_
