// SPDX-License-Identifier: MIT
#include "encoder/audio_store.h"

#include <algorithm>
#include <limits>
#include <span>

#include "audio/audio_coder.h"
#include "container/layout.h"

namespace qolm::encoder {
namespace {

// Empty when the coder rejects the samples.
std::vector<uint8_t> Code(
    const PcmTrack& track, size_t first, size_t values, const EncodeSettings& settings,
    const std::function<bool()>& stop = [] { return false; }) {
  std::vector<uint8_t> payload;
  const audio::PcmView view{track.sample_rate, track.channels,
                            std::span(track.samples).subspan(first, values)};
  if (!audio::EncodeAudio(view, settings.audio_coding_mode, payload, stop)) payload.clear();
  return payload;
}

}  // namespace

uint64_t AudioChunkValues(uint64_t frames, const EncodeSettings& settings, uint32_t sample_rate,
                          uint32_t channels) {
  const uint64_t values_per_second = uint64_t{sample_rate} * channels;
  uint64_t values = values_per_second;
  if (settings.fps_numerator > 0) {
    // frames * denominator * values_per_second / numerator without overflow: whole
    // seconds and the rest separately.
    const auto numerator = static_cast<uint64_t>(settings.fps_numerator);
    const uint64_t ticks = frames * static_cast<uint64_t>(std::max(settings.fps_denominator, 0));
    const uint64_t seconds = ticks / numerator;
    const uint64_t max_seconds = std::numeric_limits<int64_t>::max() / values_per_second;
    values = std::min(seconds, max_seconds) * values_per_second +
             ticks % numerator * values_per_second / numerator;
  }
  if (channels > 1) values -= values % channels;
  return values == 0 ? channels : values;
}

std::vector<uint8_t> AudioStore::start(const EncodeSettings& settings,
                                       const std::function<bool()>& stop) {
  stored_ = {};
  position_ = 0;
  const bool has_audio = settings.audio_present && track_.sample_rate != 0 &&
                         track_.channels != 0 && !track_.samples.empty();
  if (!has_audio) return {};
  stored_.sample_rate = track_.sample_rate;
  stored_.channels = track_.channels;
  stored_.interleaved =
      settings.audio_interleave || track_.samples.size() > audio::kMaxPayloadValues;
  if (stored_.interleaved) return {};

  std::vector<uint8_t> block = Code(track_, 0, track_.samples.size(), settings, stop);
  if (block.size() > max_payload_bytes_) {
    stored_.interleaved = true;
    return {};
  }
  return block;
}

std::vector<uint8_t> AudioStore::next_chunk(uint64_t frames, bool final,
                                            const EncodeSettings& settings) {
  if (!stored_.interleaved || position_ >= track_.samples.size()) return {};
  const size_t left = track_.samples.size() - position_;
  uint64_t values = final ? left - left % track_.channels
                          : AudioChunkValues(frames, settings, track_.sample_rate, track_.channels);
  values = std::min(values, audio::kMaxPayloadValues - audio::kMaxPayloadValues % track_.channels);
  if (values == 0) values = track_.channels;
  auto taken = static_cast<size_t>(std::min<uint64_t>(values, left));
  std::vector<uint8_t> payload = Code(track_, position_, taken, settings);
  // Readers skip a chunk of exactly the maximum size.
  while (payload.size() >= max_payload_bytes_ && taken > track_.channels) {
    taken /= 2;
    taken = std::max<size_t>(taken - taken % track_.channels, track_.channels);
    payload = Code(track_, position_, taken, settings);
  }
  position_ += taken;
  return payload;
}

}  // namespace qolm::encoder
