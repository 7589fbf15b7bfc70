// SPDX-License-Identifier: MIT
//
// What the index of an AVI file says that a stream has. The demuxer passes over bytes
// that begin no packet and reports nothing, but the index still counts what stood there.
#ifndef QOLM_MEDIA_FFMPEG_AVI_INDEX_H_
#define QOLM_MEDIA_FFMPEG_AVI_INDEX_H_

#include <cstdint>
#include <filesystem>

#include "media/ffmpeg/handles.h"

namespace qolm::media::ffmpeg {

// The packets of a stream of an AVI file that was opened, and of which none is read yet;
// 0 where no index tells them.
int64_t IndexedPackets(const std::filesystem::path& path, const AVStream& stream);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_AVI_INDEX_H_
