// SPDX-License-Identifier: MIT
//
// Picture and audio together in one file or stream, written by a media library. A build
// without it has no such forms, see MediaFormsAvailable.
//
//   kMatroska  FFV1 and FLAC (PCM where FLAC lacks the sample rate): lossless
//   kMp4       H.264 (MPEG-4 Part 2 where there is no encoder for it) and AAC
//   kNut       uncompressed pictures and PCM
//   kPipe      the same in Matroska, which signals the colour space to players
#ifndef QOLM_EXPORT_MEDIA_MUXER_H_
#define QOLM_EXPORT_MEDIA_MUXER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "export/form.h"
#include "export/output_target.h"
#include "export/timeline.h"
#include "video/picture/yuv_planes.h"

namespace qolm::exporter {

// Pictures are 4:2:0 by BT.601 in studio range with centred chroma samples.
struct MediaDescription {
  Form form = Form::kMatroska;
  uint32_t width = 0;   // pixels
  uint32_t height = 0;  // pixels
  FrameRate rate;
  uint32_t sample_rate = 0;  // Hz
  uint16_t channels = 0;     // 1 or 2; 0 = no audio
};

bool MediaFormsAvailable();

// After a failure every operation returns false. When the target has no error
// then, problem() has the reason.
class MediaMuxer {
 public:
  virtual ~MediaMuxer() = default;

  // The stored size: H.264 needs even sides, so the last column and row are repeated.
  virtual uint32_t stored_width() const = 0;
  virtual uint32_t stored_height() const = 0;

  // The preferred number of samples per channel of one write_audio.
  virtual size_t audio_chunk_samples() const = 0;

  // Writes the next frame. Frames and audio are passed in the order of their start times,
  // so that nothing is buffered for long.
  [[nodiscard]] virtual bool write_frame(const video::YuvPlanes& planes) = 0;

  // Writes the next samples, channels interleaved.
  [[nodiscard]] virtual bool write_audio(std::span<const int16_t> samples) = 0;

  // Ends the audio: its last packet may be a short one.
  [[nodiscard]] virtual bool end_audio() = 0;

  // Ends the file, after end_audio() if it has audio. The target can then be committed.
  [[nodiscard]] virtual bool finish() = 0;

  const std::string& problem() const { return problem_; }

 protected:
  std::string problem_;
};

// Starts a file on an opened target, which must outlive the muxer. Null when
// that fails, with the reason in `problem` unless it is the target's.
std::unique_ptr<MediaMuxer> StartMedia(const MediaDescription& description, OutputTarget& target,
                                       std::string& problem);

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_MEDIA_MUXER_H_
