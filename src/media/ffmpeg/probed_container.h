// SPDX-License-Identifier: MIT
//
// A container with the streams that its header names or that probing finds.
//
// Some containers (MPEG programs and transport streams, FLV) declare streams only by their
// packets, and a probe ends after 5 MB or a few seconds. If it ends without a picture or
// without audio, the file is searched for the first packet of that kind and probed again up
// to there.
#ifndef QOLM_MEDIA_FFMPEG_PROBED_CONTAINER_H_
#define QOLM_MEDIA_FFMPEG_PROBED_CONTAINER_H_

#include <cstdint>
#include <filesystem>
#include <string>

#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/stop_signal.h"

namespace qolm::media::ffmpeg {

// The most that is read of a file before decoding.
constexpr int64_t kMostBytesAhead = int64_t{64} << 20;

struct ProbedContainer {
  // Whether the search ended by its limit, so that later streams may be missing.
  bool search_ended() const { return searched >= kMostBytesAhead; }

  FormatContext format;  // null, with a reason, when the file cannot be opened
  int probe_result = 0;  // negative on failure
  int64_t searched = 0;  // bytes; none where nothing was missing
};

// Streams have the same numbers in every container that is opened so.
ProbedContainer OpenProbed(const std::filesystem::path& path, const StopSignal& stop,
                           std::string& failure_reason);

// Probes an open container as far as another one of the same file was.
[[nodiscard]] bool ProbeAlike(AVFormatContext& format, const AVFormatContext& other);

// Whether it was probed further than usual, so that many packets are in memory.
bool IsProbedFurther(const AVFormatContext& format);

// So far. 0 for a playlist, whose files are opened elsewhere.
int64_t BytesRead(const AVFormatContext& format);

// A stream of pictures, and no cover art or thumbnails.
bool IsVideo(const AVStream& stream);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_PROBED_CONTAINER_H_
