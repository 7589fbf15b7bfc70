// SPDX-License-Identifier: MIT
//
// Opens and reads one container file, and words the libraries' errors for users.
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

// Reads the next packet, skipping what the demuxer cannot parse. Returns libav's result of
// the last attempt, which is negative at the end, where the same failure repeats, and once
// the stop signal is set.
int ReadPacketPastErrors(AVFormatContext& format, AVPacket& packet);

// The system error that prevented reading part of an open container so far, as a short
// phrase; empty for none.
std::string ReadFailure(const AVFormatContext& format);

// The system's message for a system error, and otherwise the error's meaning for a file
// that is to be opened.
std::string DescribeError(int libav_error);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_CONTAINER_FILE_H_
