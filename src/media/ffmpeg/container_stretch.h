// SPDX-License-Identifier: MIT
//
// Checks whether the bytes between two packets of a file are valid container data. Behind
// invalid bytes demuxers resynchronise silently; and a picture shown for long has the same
// timestamps as lost pictures.
//
// FLV, Matroska, Ogg and ASF are parsed. In a NUT file the number of bytes outside packets
// is compared with that of earlier gaps. Other containers are never judged broken: their
// demuxers either report damage themselves (transport streams) or use an index (MP4, AVI).
//
// The frames of MPEG audio are searched for inside packets, so overwritten ones are skipped
// although the container is intact: there, a block that yields no packet is broken.
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
  // `format` and `stream`, the one to check, are open and outlive this object; `path` is
  // opened again, but only when IsBroken needs it.
  ContainerStretch(std::filesystem::path path, const AVFormatContext& format,
                   const AVStream& stream);

  // Whether Note needs the packets of every stream or only those of this one.
  bool needs_every_stream() const { return kind_ == Kind::kNut; }

  // Records a packet of any stream, in file order.
  void Note(const AVPacket& packet);

  // Whether data between the latest packets is broken. The last few are all checked, since
  // the first timestamp behind damage may be extrapolated from those before it.
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
  std::ifstream file_;             // opened by the first call of IsBroken
  int index_entry_ = 0;            // the first one behind these, in an MP4 file
  int64_t end_ = -1;               // of the packet before, whichever stream has it
  int64_t largest_gap_ = 0;
  int64_t broken_at_ = -1;  // position behind a far larger gap
};

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_CONTAINER_STRETCH_H_
