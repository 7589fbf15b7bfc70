// Whether a Matroska or WebM file ends where its segment does and is one unbroken row of
// elements up to there. Its last picture may stand for longer than any of its packets
// says, so the declared duration alone cannot tell a file that is cut off, or of which
// the demuxer passed over a part, from one that is whole.
#ifndef QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_
#define QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_

#include <filesystem>

namespace qolm::media::ffmpeg {

enum class MatroskaSegment {
  kNone,     // another kind of file, or its segment cannot be found
  kWhole,    // its size is stated, and the elements fill it
  kOpen,     // its size is not stated; the elements are in order as far as they go
  kCutOff,   // the file ends before the segment
  kDamaged,  // there are bytes in it that are no element
};

// Reads the heads of the elements, not what they hold.
MatroskaSegment ExamineMatroskaSegment(const std::filesystem::path& path);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_MATROSKA_SEGMENT_H_
