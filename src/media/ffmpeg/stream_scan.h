// A look at a stream's packets ahead of decoding: their timestamps tell a
// constant rate from a variable one and the exact number of pictures, which
// headers and a probe of the first seconds often do not.
#ifndef QOLM_MEDIA_FFMPEG_STREAM_SCAN_H_
#define QOLM_MEDIA_FFMPEG_STREAM_SCAN_H_

#include <cstdint>
#include <filesystem>
#include <optional>

#include "media/ffmpeg/frame_timeline.h"
#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/stop_signal.h"

namespace qolm::media::ffmpeg {

struct StreamTiming {
  std::optional<Ratio> rate;     // frames a second; nothing when nothing tells it
  double longest_gap_seconds;    // for FrameTimeline
  std::optional<int64_t> slots;  // frames that the stream is expected to fill
};

// `format` and `stream` are open and probed; `path` is read a second time, and
// no more than the first 64 MiB of it.
StreamTiming ScanTiming(const std::filesystem::path& path, const StopSignal& stop,
                        const AVFormatContext& format, const AVStream& stream);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_STREAM_SCAN_H_
