// SPDX-License-Identifier: MIT
//
// One conversion's output: settings, planes, counters and the open file.
//
// initialise (constructor) -> set_audio -> open_output -> encode_frame x N ->
// finish -> destroyed. Used by one thread at a time. Nothing here prints.
#ifndef QOLM_ENCODER_ENCODER_SESSION_H_
#define QOLM_ENCODER_ENCODER_SESSION_H_

#include <cstdint>
#include <filesystem>
#include <functional>
#include <memory>
#include <system_error>

#include "audio/pcm_track.h"
#include "encoder/encode_settings.h"
#include "video/picture/video_frame.h"
#include "video/picture/yuv_planes.h"

namespace qolm::encoder {

class EncoderSession {
 public:
  explicit EncoderSession(const EncodeSettings& settings);
  ~EncoderSession();  // finishes an open output first
  EncoderSession(const EncoderSession&) = delete;
  EncoderSession& operator=(const EncoderSession&) = delete;

  // Sets the decoded audio track; call it before open_output. The default is an empty
  // track of 48000 Hz and 2 channels.
  void set_audio(PcmTrack audio);

  // Finishes an output that is still open, creates the file and writes its head.
  // False when the file cannot be created or written (the file remains when only
  // writing failed) or when the settings' width or height is outside 1..16384
  // (invalid_argument; no file is created). False also once `stop` returns true
  // (operation_canceled; an empty file remains); it is polled while the audio is coded,
  // which takes seconds for a long track. stream_error() returns the reason.
  [[nodiscard]] bool open_output(
      const std::filesystem::path& path, const std::function<bool()>& stop = [] { return false; });

  // Encodes the next source frame. True when the frame was accepted: written, held or
  // added to a repeat run. False when the session is not open or the frame is ignored:
  // one without pixels, or with a size outside 1..16384. A failed write is reported by
  // stream_error(), not here.
  bool encode_frame(const VideoFrame& frame);

  // Writes pending frames and audio and the trailing structures, flushes the file to
  // disk and closes it. False when the session was not open; a failed write or close is
  // reported by stream_error(). Rethrows exceptions from coding the pending frame and
  // audio, after finishing the file without them.
  bool finish();

  // Closes the output without coding and writing what is pending, for a file that is
  // going to be discarded.
  void abandon();

  bool is_open() const;
  int32_t frames_skipped() const;        // frames counted into repeat runs so far
  uint64_t bytes_written() const;        // header, head records and media records
  std::error_code stream_error() const;  // the first failure, kept until the next open_output

  // The reconstruction of the last coded anchor, for tests and measurements.
  const video::YuvPlanes& reference_planes() const;

  // True when the conversion will use (or, after finish, has used) the trailing index
  // because the records exceed the capacity of the reserved one; the driver reports it.
  bool index_too_large_for_front() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_ENCODER_SESSION_H_
