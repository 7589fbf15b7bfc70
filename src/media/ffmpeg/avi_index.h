// SPDX-License-Identifier: MIT
//
// The number of packets that the index of an AVI file lists. The demuxer skips bytes that
// begin no packet without reporting it, but the index still counts the packets lost there.
#ifndef QOLM_MEDIA_FFMPEG_AVI_INDEX_H_
#define QOLM_MEDIA_FFMPEG_AVI_INDEX_H_

#include <cstdint>
#include <filesystem>

#include "media/ffmpeg/handles.h"

namespace qolm::media::ffmpeg {

// The packets of a stream of an open AVI file of which none has been read; 0 without an
// index.
int64_t IndexedPackets(const std::filesystem::path& path, const AVStream& stream);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_AVI_INDEX_H_
