// SPDX-License-Identifier: MIT
//
// What a container declares of its streams' lengths.
#ifndef QOLM_MEDIA_FFMPEG_DECLARED_TIMES_H_
#define QOLM_MEDIA_FFMPEG_DECLARED_TIMES_H_

#include <optional>

#include "media/ffmpeg/file_clock.h"
#include "media/ffmpeg/handles.h"

namespace qolm::media::ffmpeg {

// Where a stream ends by what is declared of it alone, in seconds on the file's
// clock: its duration, the tag that some writers add, or its index.
std::optional<double> DeclaredEnd(const AVFormatContext& format, const AVStream& stream);

// The same of the file as a whole, and so of whichever stream lasts longest.
std::optional<double> DeclaredEnd(const AVFormatContext& format);

// On the file's clock, in seconds; 0 where it is unknown.
double StartOfFile(const AVFormatContext& format);

// In seconds; the stream's own length before the file's, which sound may
// stretch, and an estimate where nothing is declared.
std::optional<double> DeclaredDuration(const AVFormatContext& format, const AVStream& stream);

// As the container is known so far. Nothing is covered yet.
FileClock MakeFileClock(const AVFormatContext& format);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_DECLARED_TIMES_H_
