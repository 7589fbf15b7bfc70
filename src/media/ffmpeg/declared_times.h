// SPDX-License-Identifier: MIT
//
// The stream lengths that a container declares.
#ifndef QOLM_MEDIA_FFMPEG_DECLARED_TIMES_H_
#define QOLM_MEDIA_FFMPEG_DECLARED_TIMES_H_

#include <optional>

#include "media/ffmpeg/file_clock.h"
#include "media/ffmpeg/handles.h"

namespace qolm::media::ffmpeg {

// The end of a stream that is declared for it alone, in seconds on the file's clock: by its
// duration, the tag that some writers add, or its index.
std::optional<double> DeclaredEnd(const AVFormatContext& format, const AVStream& stream);

// The same for the file as a whole, and so for its longest stream.
std::optional<double> DeclaredEnd(const AVFormatContext& format);

// On the file's clock, in seconds; 0 where it is unknown.
double StartOfFile(const AVFormatContext& format);

// In seconds; the stream's own length in preference to the file's, which audio may
// extend, and an estimate where nothing is declared.
std::optional<double> DeclaredDuration(const AVFormatContext& format, const AVStream& stream);

// From the container as probed so far, with no step covered yet.
FileClock MakeFileClock(const AVFormatContext& format);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_DECLARED_TIMES_H_
