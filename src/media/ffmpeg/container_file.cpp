// SPDX-License-Identifier: MIT
#include "media/ffmpeg/container_file.h"

#include <algorithm>
#include <array>
#include <cstring>
#include <fstream>
#include <string_view>
#include <utility>

namespace qolm::media::ffmpeg {
namespace {

constexpr const char* kDamaged = "not a video file, or damaged";

// Formats without media that refer to other files, or run as a script.
constexpr std::array<std::string_view, 10> kPlaylists = {
    "avisynth", "concat", "dash", "hls", "imf", "rtsp", "sap", "sdp", "vapoursynth", "vobsub"};
// Renders any text file as a picture of its characters.
constexpr std::string_view kTextAsPicture = "tty";
// Not the name of any protocol, so that demuxers that open files themselves open none.
constexpr const char* kNoProtocol = "none";
// After this many errors without progress the rest is given up.
constexpr int kErrorsInARow = 100;

struct Opening {
  bool is_playlist = false;
};

int IsStopRequested(void* stop) { return static_cast<const StopSignal*>(stop)->IsSet() ? 1 : 0; }

// Intercepts the library's file access. A playlist is detected by its first bytes, before
// anything it names is opened.
int OpenThisFileOnly(AVFormatContext* format, AVIOContext** file, const char* url, int flags,
                     AVDictionary** options) {
  if (std::string_view(url) != format->url) return AVERROR(EPERM);
  const int result = avio_open2(file, url, flags, &format->interrupt_callback, options);
  auto* const opening = static_cast<Opening*>(format->opaque);
  if (result < 0 || opening == nullptr) return result;
  const AVInputFormat* kind = nullptr;
  const int probed = av_probe_input_buffer2(
      *file, &kind, url, nullptr, 0, static_cast<unsigned>(std::max(format->format_probesize, 0)));
  if (probed < 0 || kind == nullptr) return result;  // opening reports why
  opening->is_playlist =
      std::find(kPlaylists.begin(), kPlaylists.end(), kind->name) != kPlaylists.end();
  if (!opening->is_playlist) return result;
  avio_closep(file);
  return AVERROR(EPERM);
}

// The farthest that a header may reach. A read error there would repeat.
bool SystemCanRead(const std::filesystem::path& path) {
  constexpr int kChunks = 1024;
  std::array<char, 65536> chunk;
  std::ifstream file(path, std::ios::binary);
  for (int i = 0; i < kChunks && file; ++i) file.read(chunk.data(), chunk.size());
  return file.is_open() && !file.bad();
}

struct Attempt {
  int result = 0;
  bool is_playlist = false;
  FormatContext format;  // null when the result is a failure
};

Attempt Open(const std::string& url, const StopSignal* stop, int flags) {
  AVFormatContext* context = avformat_alloc_context();
  if (context == nullptr) return {AVERROR(ENOMEM), false, nullptr};
  if (stop != nullptr) {
    context->interrupt_callback.callback = IsStopRequested;
    context->interrupt_callback.opaque = const_cast<StopSignal*>(stop);
  }
  Opening opening;
  context->opaque = &opening;
  context->io_open = OpenThisFileOnly;
  context->flags |= flags;
  AVDictionary* options = nullptr;
  av_dict_set(&options, "protocol_whitelist", kNoProtocol, 0);
  av_dict_set(&options, "pattern_type", "none", 0);  // a name of digits is no sequence of files
  const int result = avformat_open_input(&context, url.c_str(), nullptr, &options);
  av_dict_free(&options);
  if (result < 0) return {result, opening.is_playlist, nullptr};  // the context is freed by then
  context->opaque = nullptr;
  return {result, false, FormatContext(context)};
}

}  // namespace

std::string DescribeError(int libav_error) {
  switch (libav_error) {
    case AVERROR_EOF:
      return "it ends before any video";
    case AVERROR_EXIT:
      return "interrupted";
    case AVERROR_INVALIDDATA:
    case AVERROR(EINVAL):
    case AVERROR(EAGAIN):
    case AVERROR(EDOM):
    case AVERROR(ERANGE):
      return kDamaged;
    case AVERROR_BSF_NOT_FOUND:
    case AVERROR_DECODER_NOT_FOUND:
    case AVERROR_DEMUXER_NOT_FOUND:
    case AVERROR_EXPERIMENTAL:
    case AVERROR_PATCHWELCOME:
    case AVERROR(ENOSYS):
      return "of a kind that cannot be decoded";
    case AVERROR_BUG:
    case AVERROR_BUG2:
    case AVERROR_EXTERNAL:
    case AVERROR_UNKNOWN:
      return "its decoder failed";
    default:
      break;
  }
  std::array<char, AV_ERROR_MAX_STRING_SIZE> text{};
  av_strerror(libav_error, text.data(), text.size());
  return text.data();
}

FormatContext OpenContainer(const std::filesystem::path& path, const StopSignal* stop,
                            std::string& failure_reason) {
  // Before what nobody owns yet, for there may be no memory for it.
  const std::string url = "file:" + path.string();
  Attempt attempt = Open(url, stop, 0);
  const bool is_cut = attempt.result == AVERROR_EOF || attempt.result == AVERROR_INVALIDDATA;
  if (is_cut && !attempt.is_playlist) {
    // An MP4 file may end, or be damaged, within the tables of a fragment, which are all
    // read in advance unless the index is ignored.
    Attempt again = Open(url, stop, AVFMT_FLAG_IGNIDX);
    if (again.format != nullptr && std::strstr(again.format->iformat->name, "mp4") != nullptr) {
      attempt = std::move(again);
    }
  }
  if (attempt.is_playlist) {
    failure_reason = "a playlist, not the video itself";
  } else if (attempt.result < 0) {
    // Some demuxers report a file that ends within its header as unreadable.
    const bool ends = attempt.result == AVERROR(EIO) && SystemCanRead(path);
    failure_reason = DescribeError(ends ? AVERROR_EOF : attempt.result);
  } else if (attempt.format->iformat->name == kTextAsPicture) {
    failure_reason = kDamaged;
    return nullptr;
  }
  return std::move(attempt.format);
}

int ReadPacketPastErrors(AVFormatContext& format, AVPacket& packet) {
  int result = 0;
  for (int errors = 0; errors < kErrorsInARow; ++errors) {
    result = av_read_frame(&format, &packet);
    if (result >= 0 || result == AVERROR_EOF || result == AVERROR_EXIT) break;
  }
  return result;
}

std::string ReadFailure(const AVFormatContext& format) {
  // A demuxer may treat a read error as the end.
  const int error = format.pb != nullptr ? format.pb->error : 0;
  return error < 0 && error != AVERROR_EOF && error != AVERROR_EXIT ? DescribeError(error) : "";
}

}  // namespace qolm::media::ffmpeg
