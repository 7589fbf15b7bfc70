// SPDX-License-Identifier: MIT
//
// Decides how each source frame is coded: as part of a repeat run, as a key frame, as a
// predicted frame, or as a held frame that becomes bidirectional once the next one is
// coded. The order of the decisions determines the bytes of the file: static frames are
// skipped before the scene-cut test, and an open repeat run is closed before a coded
// frame.
#include <span>
#include <utility>

#include "container/layout.h"
#include "encoder/key_frame_schedule.h"
#include "encoder/session_state.h"
#include "encoder/temporal_filter.h"
#include "video/inter/bidirectional_frame.h"
#include "video/inter/inter_frame.h"
#include "video/intra/key_frame.h"
#include "video/picture/colour_conversion.h"

namespace qolm::encoder {
namespace {

using container::RecordType;

uint16_t FrameNumber(int32_t frame_index) { return static_cast<uint16_t>(frame_index); }

}  // namespace

void EncoderSession::State::encode_frame(const VideoFrame& frame) {
  const uint64_t prepared_picture = std::exchange(skipped_picture, 0);
  if (frame.picture_number == 0 || frame.picture_number != prepared_picture) {
    prepare_planes(frame);
    statistics = measure_prepared_planes();
  }

  bool key_frame = KeyFrameDue(frame_index, frames_since_key, settings.gop_length,
                               settings.adaptive_gop, statistics);
  if (settings.vfr && frame_index > 0 && !key_frame && statistics.is_static) {
    skip_static_frame();
    skipped_picture = frame.picture_number;
    return;
  }
  close_repeat_run();
  if (SceneCutDue(frame_index, frames_since_key, statistics)) key_frame = true;
  // A predicted frame needs a reference of its own size.
  if (!current.SameSize(reference)) key_frame = true;

  if (key_frame) {
    interleave_audio(false);
    flush_held_frame();
    write_key_frame();
  }
  // From here on `current` holds the prepared planes, the reference of the next frame's
  // filter and statistics.
  if (filtered) std::swap(current.y, filtered_luma);
  if (!key_frame) {
    if (settings.bidirectional) {
      hold_or_write_pair();
    } else {
      write_predicted_frame(current, FrameNumber(frame_index));
    }
  }

  std::swap(previous, current);
  ++frame_index;
  frames_since_key = key_frame ? 0 : frames_since_key + 1;
}

void EncoderSession::State::interleave_audio(bool final) {
  do {
    const auto frames = static_cast<uint64_t>(frame_index - audio_stored_up_to);
    const std::vector<uint8_t> chunk = audio.next_chunk(frames, final, settings);
    if (chunk.empty()) return;
    audio_stored_up_to = frame_index;
    if (!writer.write_packet(RecordType::kAudio, 0, 0, chunk)) return;
  } while (final && audio.has_frames_left());
}

void EncoderSession::State::prepare_planes(const VideoFrame& frame) {
  video::ConvertFrameToYuv(frame, current);
  filtered = settings.temporal_filter && frame_index >= 1 && current.SameSize(previous);
  if (!filtered) return;
  filtered_luma.resize(current.y.size());
  FilterLuma(current.y, previous.y, filtered_luma);
}

FrameStatistics EncoderSession::State::measure_prepared_planes() const {
  if (frame_index == 0 || !current.SameSize(previous)) return {};
  return MeasureFrameDifference(prepared_luma(), previous.y);
}

// Leaves `previous` unchanged: the next frame is compared with the last picture that is
// shown, so that a slow fade does not stay below the limits forever.
void EncoderSession::State::skip_static_frame() {
  if (run_count == 0) run_first = FrameNumber(frame_index);
  ++run_count;
  ++skipped_total;
  ++frame_index;
  ++frames_since_key;
  if (run_count == container::kMaxRepeatRun) close_repeat_run();
}

void EncoderSession::State::close_repeat_run() {
  if (run_count == 0) return;
  writer.write_packet(RecordType::kRepeatRun, run_count, run_first, {});
  run_count = 0;
}

void EncoderSession::State::write_key_frame() {
  const video::KeyFrameOptions options{.quality = settings.quality,
                                       .cclc = settings.cclc,
                                       .flat_blocks = settings.flat_blocks,
                                       .sparse_levels = settings.sparse_levels,
                                       .deblocking = settings.deblocking};
  const std::vector<uint8_t> payload = video::EncodeKeyFrame(current, options, reference);
  writer.write_packet(RecordType::kKeyFrame, 0, FrameNumber(frame_index), payload);
}

video::InterFrameOptions EncoderSession::State::inter_frame_options() const {
  return {.quality = settings.quality,
          .motion_prediction = settings.motion_prediction,
          .deblocking = settings.deblocking,
          .sparse_levels = settings.sparse_levels,
          .pre_analysis = settings.pre_analysis};
}

void EncoderSession::State::write_predicted_frame(const video::YuvPlanes& planes,
                                                  uint16_t frame_no) {
  const std::vector<uint8_t> payload =
      video::EncodeInterFrame(planes, inter_frame_options(), reference);
  writer.write_packet(RecordType::kPredictedFrame, 0, frame_no, payload);
}

// The later frame is written first, since the held one refers to it.
void EncoderSession::State::hold_or_write_pair() {
  if (!held_frame_no) {
    held_frame_no = FrameNumber(frame_index);
    return;
  }
  const video::YuvPlanes past_anchor = reference;
  write_predicted_frame(current, FrameNumber(frame_index));
  const std::vector<uint8_t> payload =
      video::EncodeBidirectionalFrame(previous, inter_frame_options(), past_anchor, reference);
  writer.write_packet(RecordType::kBidirectionalFrame, 0, *held_frame_no, payload);
  held_frame_no.reset();
}

void EncoderSession::State::flush_held_frame() {
  if (!held_frame_no) return;
  write_predicted_frame(previous, *held_frame_no);
  held_frame_no.reset();
}

}  // namespace qolm::encoder
