// SPDX-License-Identifier: MIT
//
// Scans a file's packets before decoding: their timestamps distinguish a constant rate from
// a variable one and give the exact number of pictures, which headers and a probe of the
// first seconds often do not.
//
// Where the container declares clearly more than its packets hold, the file is truncated
// and the declared number of pictures is expected. "Clearly" means beyond the rounding of
// declared lengths; and the length of the whole file counts only where none of its streams
// reaches it, since audio may outlast the picture.
#ifndef QOLM_MEDIA_FFMPEG_STREAM_SCAN_H_
#define QOLM_MEDIA_FFMPEG_STREAM_SCAN_H_

#include <cstdint>
#include <filesystem>
#include <optional>
#include <vector>

#include "media/ffmpeg/file_clock.h"
#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/ratio.h"
#include "media/ffmpeg/stop_signal.h"

namespace qolm::media::ffmpeg {

struct StreamTiming {
  struct Start {
    int64_t timestamp = 0;     // of the first picture that the decoder shows
    int64_t unseen_slots = 0;  // of those expected, that lie before it
  };

  std::optional<Ratio> rate;             // frames a second; nothing if unknown
  FileClock clock{false, std::nullopt};  // covered as far as the scan read
  std::optional<int64_t> slots;          // frames that the stream is expected to fill
  // The expected frames derive from a length that may be another stream's: none are
  // missing if that stream reaches it.
  bool slots_of_any_stream = false;
  // Corrected by the first picture: in a recording that was cut, those before the first
  // key frame cannot be decoded.
  std::vector<Start> starts;
};

// `format` and `stream` are open and probed; `path` is read a second time, and
// no more than the first 64 MiB of it.
StreamTiming ScanTiming(const std::filesystem::path& path, const StopSignal& stop,
                        const AVFormatContext& format, const AVStream& stream);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_STREAM_SCAN_H_
