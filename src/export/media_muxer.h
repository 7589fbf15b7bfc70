// Picture and sound together in one file or stream. A library does the work; a
// build without it has no such forms, see MediaFormsAvailable.
#ifndef QOLM_EXPORT_MEDIA_MUXER_H_
#define QOLM_EXPORT_MEDIA_MUXER_H_

#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <string>

#include "export/output_target.h"
#include "export/timeline.h"
#include "video/picture/yuv_planes.h"

namespace qolm::exporter {

enum class MediaForm {
  kMatroska,  // FFV1 and FLAC (PCM where FLAC cannot have the sample rate): nothing is lost
  kMp4,       // H.264 (MPEG-4 Part 2 where there is no encoder for it) and AAC
  kNut,       // uncompressed pictures and PCM
  kPipe,      // the same in Matroska, which tells players the colours
};

// Pictures are 4:2:0 by BT.601 in studio range with centred chroma samples.
struct MediaDescription {
  MediaForm form = MediaForm::kMatroska;
  uint32_t width = 0;   // pixels
  uint32_t height = 0;  // pixels
  FrameRate rate;
  uint32_t sample_rate = 0;  // Hz
  uint16_t channels = 0;     // 1 or 2; 0 = no sound
};

bool MediaFormsAvailable();

// After a failure every operation returns false. When the target has no error
// then, problem() has the reason.
class MediaMuxer {
 public:
  virtual ~MediaMuxer() = default;

  // The size that the pictures are stored in: H.264 needs even sides and gets
  // the last column and row twice.
  virtual uint32_t stored_width() const = 0;
  virtual uint32_t stored_height() const = 0;

  // How many samples per channel a write_sound takes best.
  virtual size_t sound_chunk() const = 0;

  // The next frame. Frames and sound come in the order of their start times, so
  // that nothing has to wait for its turn in memory.
  [[nodiscard]] virtual bool write_frame(const video::YuvPlanes& planes) = 0;

  // The sound that follows what was written before, channels interleaved.
  [[nodiscard]] virtual bool write_sound(std::span<const int16_t> samples) = 0;

  // No more sound follows, so the last packet need not wait to be filled.
  [[nodiscard]] virtual bool end_sound() = 0;

  // Ends the file, whose sound has been ended where there is some; the target is then ready to be
  // committed.
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
