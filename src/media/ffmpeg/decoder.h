// The pictures of a file's first real video stream, as they are coded.
#ifndef QOLM_MEDIA_FFMPEG_DECODER_H_
#define QOLM_MEDIA_FFMPEG_DECODER_H_

#include <cstdint>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>

#include "media/ffmpeg/handles.h"
#include "media/ffmpeg/stop_signal.h"

namespace qolm::media::ffmpeg {

class Decoder {
 public:
  // Opens the file and the stream's decoder. Null when that is impossible;
  // `failure_reason` then says why. While `stop` is set, waiting for the file
  // ends early.
  static std::unique_ptr<Decoder> Open(const std::filesystem::path& path, const StopSignal& stop,
                                       std::string& failure_reason);

  // The next picture in presentation order, valid until the next call; null at
  // the end. What cannot be decoded is passed over.
  const AVFrame* Next();

  std::string read_failure() const;

  const AVStream& stream() const { return *stream_; }
  AVFormatContext& format() const { return *format_; }

 private:
  Decoder() = default;
  bool FeedDecoder();

  FormatContext format_;
  CodecContext codec_;
  AVStream* stream_ = nullptr;
  Packet packet_;
  Frame frame_;
  bool draining_ = false;
};

// The first video stream that is no cover art or thumbnail, all other streams
// switched off; null when there is none.
AVStream* SelectFirstVideoStream(AVFormatContext& format);

// Whether there is such a stream.
bool HasPictures(const AVFormatContext& format);

}  // namespace qolm::media::ffmpeg

#endif  // QOLM_MEDIA_FFMPEG_DECODER_H_
