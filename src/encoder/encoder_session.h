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

  // Takes over the decoded sound; call it before open_output. A session whose
  // audio was never set carries 48000 Hz, 2 channels and no samples.
  void set_audio(PcmTrack audio);

  // Finishes any output still open, creates the file and writes its head.
  // False when the file cannot be created or written (a head that could not be
  // written leaves the file behind) or when the settings' width or height is
  // outside 1..16384 (invalid_argument; no file is made). stream_error() says why.
  // False also once `stop` says true (operation_canceled; a file without content is
  // left behind). It is asked while the sound is coded, which for a long track takes
  // seconds.
  [[nodiscard]] bool open_output(
      const std::filesystem::path& path, const std::function<bool()>& stop = [] { return false; });

  // Takes one source frame, in source order. True when the frame counts (it
  // was written, held or became part of a repeat run); false when the session
  // is not open or the frame is ignored: one without pixels, or with a size
  // outside 1..16384. A failed write shows in stream_error(), not here.
  bool encode_frame(const VideoFrame& frame);

  // Writes what is pending and the trailing structures, brings the bytes to
  // the disk and closes the file. False when the session was not open; a
  // failed write or close shows in stream_error(). Throws what coding the
  // pending frame and sound throws; the file is then finished without them.
  bool finish();

  // Closes the output as it is, without what finish would still code and write, for
  // one that nobody will keep.
  void abandon();

  bool is_open() const;
  int32_t frames_skipped() const;        // frames counted into repeat runs so far
  uint64_t bytes_written() const;        // header, head records and media records
  std::error_code stream_error() const;  // the first failed operation's reason, sticky until open

  // The reconstruction of the last coded anchor, for tests and measurements.
  const video::YuvPlanes& reference_planes() const;

  // True when the conversion will use (or, after finish, has used) the
  // trailing index because more records are expected than the reserved index
  // may hold; the driver tells the user.
  bool index_too_large_for_front() const;

 private:
  struct State;
  std::unique_ptr<State> state_;
};

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_ENCODER_SESSION_H_
