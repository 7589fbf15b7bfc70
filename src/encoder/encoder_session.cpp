// SPDX-License-Identifier: MIT
#include "encoder/encoder_session.h"

#include <algorithm>
#include <utility>

#include "base/picture_limits.h"
#include "container/layout.h"
#include "encoder/session_state.h"

namespace qolm::encoder {
namespace {

bool SizeIsCodable(int32_t width, int32_t height) {
  constexpr auto kLimit = static_cast<int32_t>(kMaxPictureSide);
  return width >= 1 && width <= kLimit && height >= 1 && height <= kLimit;
}

uint32_t ExpectedFrames(const EncodeSettings& settings) {
  return static_cast<uint32_t>(std::max(settings.expected_frame_count, 0));
}

// Whether the conversion is expected to exceed the entries of a stored index.
bool ExpectsTooManyRecords(const EncodeSettings& settings) {
  const bool limited = settings.frame_limit >= 1 &&
                       static_cast<uint32_t>(settings.frame_limit) <= container::kMaxIndexEntries;
  return !limited && ExpectedFrames(settings) > container::kMaxIndexEntries;
}

// Why these settings cannot be coded, or no error.
std::error_code Refusal(const EncodeSettings& settings) {
  if (!SizeIsCodable(settings.width, settings.height)) {
    return std::make_error_code(std::errc::invalid_argument);
  }
  return {};
}

}  // namespace

EncoderSession::EncoderSession(const EncodeSettings& settings)
    : state_(std::make_unique<State>(settings)) {}

EncoderSession::~EncoderSession() {
  try {
    finish();
  } catch (...) {
    // A destructor cannot report the failure; the file was finished without the rest.
  }
}

void EncoderSession::set_audio(PcmTrack audio) { state_->audio.set_track(std::move(audio)); }

bool EncoderSession::open_output(const std::filesystem::path& path,
                                 const std::function<bool()>& stop) {
  finish();
  state_->refusal = Refusal(state_->settings);
  if (state_->refusal) return false;
  if (!state_->writer.open_output(path)) return false;
  state_->reset_for_new_output();

  bool stopped = false;
  const std::vector<uint8_t> audio_block = state_->audio.start(state_->settings, [&] {
    stopped = stopped || stop();
    return stopped;
  });
  if (stopped) {
    state_->refusal = std::make_error_code(std::errc::operation_canceled);
    abandon();
    return false;
  }
  const container::IndexPlacement placement{
      .fast_start = state_->settings.fast_start && !ExpectsTooManyRecords(state_->settings),
      .expected_frames = ExpectedFrames(state_->settings)};
  const bool head_written = state_->writer.write_head(
      MakeFileHeader(state_->settings, state_->audio.stored()), placement, audio_block);
  if (!head_written) abandon();
  return head_written;
}

bool EncoderSession::encode_frame(const VideoFrame& frame) {
  if (!is_open()) return false;
  if (!SizeIsCodable(frame.width, frame.height)) return false;
  const auto pixels = static_cast<uint64_t>(frame.width) * static_cast<uint64_t>(frame.height);
  if (frame.pixels.size() < pixels * 4) return false;
  state_->encode_frame(frame);
  return true;
}

bool EncoderSession::finish() {
  if (!is_open()) return false;
  try {
    state_->flush_held_frame();
    state_->interleave_audio(true);
    state_->close_repeat_run();
  } catch (...) {
    state_->write_trailer();  // keeps the records written so far readable
    throw;
  }
  state_->write_trailer();
  return true;
}

void EncoderSession::abandon() { state_->writer.close(); }

bool EncoderSession::is_open() const { return state_->writer.is_open(); }

int32_t EncoderSession::frames_skipped() const { return state_->skipped_total; }

uint64_t EncoderSession::bytes_written() const { return state_->writer.bytes_written(); }

std::error_code EncoderSession::stream_error() const {
  return state_->refusal ? state_->refusal : state_->writer.stream_error();
}

const video::YuvPlanes& EncoderSession::reference_planes() const { return state_->reference; }

bool EncoderSession::index_too_large_for_front() const {
  if (!state_->settings.fast_start) return false;
  const auto& writer = state_->writer;
  return ExpectsTooManyRecords(state_->settings) || writer.index().size() > writer.index_capacity();
}

void EncoderSession::State::write_trailer() {
  writer.finish(MakeFinalFileHeader(settings, audio.stored(), static_cast<uint32_t>(frame_index)));
}

void EncoderSession::State::reset_for_new_output() {
  frame_index = 0;
  frames_since_key = 0;
  skipped_total = 0;
  run_count = 0;
  run_first = 0;
  held_frame_no.reset();
  skipped_picture = 0;
  audio_stored_up_to = 0;
  const auto width = static_cast<uint32_t>(settings.width);
  const auto height = static_cast<uint32_t>(settings.height);
  video::ResizeYuvPlanes(reference, width, height);
  video::ResizeYuvPlanes(previous, width, height);
}

}  // namespace qolm::encoder
