// Whether a Matroska or WebM file ends where its segment does. Its last picture may
// stand for longer than any of its packets says, so the declared duration alone
// cannot tell a file that is cut off from one that is whole.
#ifndef QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_
#define QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_

#include <filesystem>

namespace qolm::media::ffmpeg {

// False for other files too, and where the segment's size is not stated.
bool HoldsWholeMatroskaSegment(const std::filesystem::path& path);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_
