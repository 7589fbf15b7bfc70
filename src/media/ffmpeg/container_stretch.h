// SPDX-License-Identifier: MIT
//
// Whether the bytes between two packets of a file are what its container consists of.
// After bytes that are none, demuxers look for the next packet and report nothing; and
// a picture that stands for long has the same timestamps as pictures that were lost.
//
// Known are FLV, Matroska, Ogg and ASF. In a NUT file the bytes that belong to no packet
// are compared with those before. Anything else is never broken: its demuxer either
// reports damage itself (transport streams) or goes by an index (MP4, AVI).
//
// MPEG audio is looked for in its packets, so those that are overwritten are passed over
// too, though the container is in order: there, a block that gave no packet is broken.
#ifndef QOLM_MEDIA_FFMPEG_CONTAINER_STRETCH_H_
#define QOLM_MEDIA_FFMPEG_CONTAINER_STRETCH_H_

#include <cstdint>
#include <deque>
#include <filesystem>
#include <fstream>

#include "media/ffmpeg/handles.h"

namespace qolm::media::ffmpeg {

class ContainerStretch {
 public:
  // `format` and `stream`, which is the one that is judged, are open and outlive this
  // object; `path` is read a second time, but only where it is asked for.
  ContainerStretch(std::filesystem::path path, const AVFormatContext& format,
                   const AVStream& stream);

  // Whether packets of every stream have to be noted; else those of the stream do.
  bool needs_every_stream() const { return kind_ == Kind::kNut; }

  // Packets of any stream, as they lie in the file.
  void Note(const AVPacket& packet);

  // Whether something between the latest packets is broken. The last few are all judged,
  // since the first timestamp behind damage may be a guess that goes on before it.
  bool IsBroken();

 private:
  enum class Kind { kOther, kFlv, kMatroska, kOgg, kAsf, kNut, kMp4 };

  void NoteGap(const AVPacket& packet);
  bool IsBrokenBetween(int64_t from, int64_t to);
  bool HasIndexEntryBetween(int64_t from, int64_t to);

  std::filesystem::path path_;
  const AVFormatContext& format_;
  const AVStream& stream_;
  Kind kind_ = Kind::kOther;
  bool is_mpeg_audio_;
  std::deque<int64_t> positions_;  // of the latest packets of the stream
  std::ifstream file_;             // open from the first question on
  int index_entry_ = 0;            // the first one behind these, in an MP4 file
  int64_t end_ = -1;               // of the packet before, whichever stream has it
  int64_t largest_gap_ = 0;
  int64_t broken_at_ = -1;  // behind a far larger one
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_CONTAINER_STRETCH_H_
