// What an EncoderSession owns, split from its interface so that the frame loop
// can stand in a file of its own.
#ifndef QOLM_ENCODER_SESSION_STATE_H_
#define QOLM_ENCODER_SESSION_STATE_H_

#include <cstdint>
#include <optional>
#include <system_error>
#include <vector>

#include "container/container_writer.h"
#include "encoder/encode_settings.h"
#include "encoder/encoder_session.h"
#include "encoder/frame_statistics.h"
#include "encoder/sound_store.h"
#include "video/inter/inter_frame.h"
#include "video/picture/yuv_planes.h"

namespace qolm::encoder {

struct EncoderSession::State {
  explicit State(const EncodeSettings& session_settings) : settings(session_settings) {}

  // --- encoder_session.cpp ---
  void reset_for_new_output();
  void write_trailer();
  // --- frame_loop.cpp ---
  // Writes the sound that belongs before this point of the stream; `final`:
  // all that is left.
  void interleave_audio(bool final);
  void encode_frame(const VideoFrame& frame);
  void prepare_planes(const VideoFrame& frame);
  FrameStatistics measure_prepared_planes() const;
  void skip_static_frame();
  void close_repeat_run();
  void write_key_frame();
  video::InterFrameOptions inter_frame_options() const;
  void write_predicted_frame(const video::YuvPlanes& planes, uint16_t frame_no);
  void hold_or_write_pair();
  void flush_held_frame();

  const std::vector<uint8_t>& prepared_luma() const { return filtered ? filtered_luma : current.y; }

  EncodeSettings settings;
  SoundStore sound;
  container::ContainerWriter writer;
  std::error_code refusal;  // why open_output did not even try

  int32_t frame_index = 0;       // frames taken: coded, skipped and held; becomes the frame count
  int32_t frames_since_key = 0;  // see KeyFrameDue
  int32_t skipped_total = 0;     // frames counted into repeat runs
  uint8_t run_count = 0;         // frames of the open repeat run, 0 = none is open
  uint16_t run_first = 0;        // number of its first frame

  // The frame at hand, as converted. The filter leaves its luma in
  // filtered_luma, since key frames are coded from the unfiltered one.
  video::YuvPlanes current;
  std::vector<uint8_t> filtered_luma;
  bool filtered = false;
  FrameStatistics statistics;  // how it differs from `previous`
  // The picture of the last frame when that was skipped, or 0. All of the above
  // and `previous` are still as they were for it.
  uint64_t skipped_picture = 0;
  video::YuvPlanes previous;   // prepared planes of the last frame that was not skipped
  video::YuvPlanes reference;  // reconstruction of the last coded anchor
  // The number of a frame that is kept back until the next one has been coded.
  // `previous` holds its planes: no other frame was coded since.
  std::optional<uint16_t> held_frame_no;
  int32_t sound_stored_up_to = 0;  // frame index at the last piece of interleaved sound
};

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_SESSION_STATE_H_
