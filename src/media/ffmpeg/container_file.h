// SPDX-License-Identifier: MIT
//
// One container file, and what the libraries say about it in a user's words.
#ifndef QOLM_MEDIA_FFMPEG_CONTAINER_FILE_H_
#define QOLM_MEDIA_FFMPEG_CONTAINER_FILE_H_

#include <filesystem>
#include <string>

#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/stop_signal.h"

namespace qolm::media::ffmpeg {

// Opens a container for reading; null with the reason on failure. No other file is
// ever opened, whatever this one names: playlists and the like are refused.
FormatContext OpenContainer(const std::filesystem::path& path, const StopSignal* stop,
                            std::string& failure_reason);

// The next packet, past what the container's parser cannot make one of; what libav says
// of the last attempt. It is negative at the end, where the same failure goes on and on,
// and once the stop signal is set.
int ReadPacketPastErrors(AVFormatContext& format, AVPacket& packet);

// Why the system could not read some of an open container so far, in a few words;
// else empty.
std::string ReadFailure(const AVFormatContext& format);

// The system's own words for a failure of the system, and otherwise what it means for
// a file that is to be opened.
std::string DescribeError(int libav_error);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_CONTAINER_FILE_H_
