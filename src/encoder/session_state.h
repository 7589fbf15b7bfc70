// SPDX-License-Identifier: MIT
//
// The state of an EncoderSession, shared by the session and its frame loop.
#ifndef QOLM_ENCODER_SESSION_STATE_H_
#define QOLM_ENCODER_SESSION_STATE_H_

#include <cstdint>
#include <optional>
#include <system_error>
#include <vector>

#include "container/container_writer.h"
#include "encoder/audio_store.h"
#include "encoder/encode_settings.h"
#include "encoder/encoder_session.h"
#include "encoder/frame_statistics.h"
#include "video/inter/inter_frame.h"
#include "video/picture/yuv_planes.h"

namespace qolm::encoder {

struct EncoderSession::State {
  explicit State(const EncodeSettings& session_settings) : settings(session_settings) {}

  // --- encoder_session.cpp ---
  void reset_for_new_output();
  void write_trailer();
  // --- frame_loop.cpp ---
  // Writes the audio up to this point of the stream, or with `final` all that is left.
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
  AudioStore audio;
  container::ContainerWriter writer;
  std::error_code refusal;  // why open_output failed before it opened the file

  int32_t frame_index = 0;       // frames accepted: coded, skipped or held; finally the frame count
  int32_t frames_since_key = 0;  // see KeyFrameDue
  int32_t skipped_total = 0;     // frames counted into repeat runs
  uint8_t run_count = 0;         // frames of the open repeat run, 0 = none is open
  uint16_t run_first = 0;        // number of its first frame

  // The converted frame. The temporal filter writes to filtered_luma, since key frames
  // are coded from the unfiltered luma.
  video::YuvPlanes current;
  std::vector<uint8_t> filtered_luma;
  bool filtered = false;
  FrameStatistics statistics;  // how it differs from `previous`
  // The picture number of the last frame when it was skipped, else 0. A frame with the
  // same number reuses the members above instead of preparing its planes again.
  uint64_t skipped_picture = 0;
  video::YuvPlanes previous;   // prepared planes of the last frame that was not skipped
  video::YuvPlanes reference;  // reconstruction of the last coded anchor
  // The number of the frame that is held until the next one has been coded, with its
  // planes in `previous`.
  std::optional<uint16_t> held_frame_no;
  int32_t audio_stored_up_to = 0;  // frame index at the last audio chunk
};

}  // namespace qolm::encoder

#endif  // QOLM_ENCODER_SESSION_STATE_H_
