#include "audio/audio_coder.h"

#include "audio/adpcm_payload.h"
#include "audio/transform_payload.h"
#include "base/byte_order.h"

namespace qolm::audio {
namespace {

// A coded value takes at most 8 + log2(4096 / (4096 - 256)) bits under the
// stream's own table, whose frequencies are at least (4096 - k) / 4096 of exact
// ones for k <= 256 values, and log2(17 / 16) bits for the rounding of a state
// that is at least 16 times the frequency: 8.181 bits, less than 8 * 45 / 44.
// Around them lie a table of at most 256 entries and ten bytes.
uint64_t LargestRansStream(uint64_t bytes) {
  return bytes == 0 ? 0 : 10 + 3 * 256 + bytes + bytes / 44 + 1;
}

// Never more than three tokens a level, and one plain stream where five are not
// smaller.
uint64_t LargestCoefficientStream(uint64_t levels) { return 5 + LargestRansStream(3 * levels); }

}  // namespace

bool EncodeAudio(const PcmView& sound, AudioCodingMode mode, std::vector<uint8_t>& payload) {
  payload.clear();
  if (mode == AudioCodingMode::kTransform) {
    return EncodeAudioTransform(sound.samples, sound.sample_rate, sound.channels, payload);
  }
  // This one rate would read as the transform coder's tag.
  if (sound.sample_rate == kTransformTag) return false;
  return EncodeAdpcmPayload(sound.samples, sound.sample_rate, sound.channels, payload);
}

uint64_t LargestAudioPayload(uint64_t sample_values, uint32_t sample_rate, uint32_t channels,
                             AudioCodingMode mode) {
  const uint64_t per_channel = channels == 0 ? 0 : sample_values / channels;
  if (mode == AudioCodingMode::kAdpcm) {
    return kAdpcmHeaderBytes + LargestRansStream(channels == 2 ? per_channel : per_channel / 2 + 1);
  }
  const uint64_t frame_length = FrameLengthFor(sample_rate);
  const uint64_t frames = per_channel / frame_length + 2;
  return kTransformHeaderBytes + channels * (LargestRansStream(16 * frames) +
                                             LargestCoefficientStream(frames * frame_length));
}

bool DecodeAudio(std::span<const uint8_t> payload, uint64_t max_values, PcmTrack& track) {
  if (payload.size() < 4) return false;
  if (LoadLe32(payload.data()) == kTransformTag) {
    return DecodeAudioTransform(payload, max_values, track);
  }
  return DecodeAdpcmPayload(payload, max_values, track);
}

}  // namespace qolm::audio
