#include "audio/adpcm_payload.h"

#include <limits>

#include "audio/adpcm.h"
#include "audio/track_room.h"
#include "base/byte_order.h"
#include "entropy/rans.h"

namespace qolm::audio {
namespace {

uint64_t AdpcmByteCount(uint64_t frames, uint32_t channels) {
  return channels == 2 ? frames : (frames + 1) / 2;
}

}  // namespace

bool EncodeAdpcmPayload(std::span<const int16_t> samples, uint32_t sample_rate, uint32_t channels,
                        std::vector<uint8_t>& payload) {
  payload.clear();
  if (samples.empty() || sample_rate == 0 || channels == 0) return false;
  if (channels > std::numeric_limits<uint16_t>::max()) return false;
  const uint64_t frames = samples.size() / channels;
  if (frames > std::numeric_limits<uint32_t>::max()) return false;

  const auto frame_count = static_cast<size_t>(frames);
  std::vector<uint8_t> codes(static_cast<size_t>(AdpcmByteCount(frames, channels)));
  if (channels == 2) {
    AdpcmState left, right;
    for (size_t f = 0; f < frame_count; ++f) {
      const uint8_t low = AdpcmEncodeSample(samples[2 * f], left);
      const uint8_t high = AdpcmEncodeSample(samples[2 * f + 1], right);
      codes[f] = static_cast<uint8_t>(low | (high << 4));
    }
  } else {
    AdpcmState state;
    for (size_t f = 0; f < frame_count; ++f) {
      const uint8_t code = AdpcmEncodeSample(samples[f], state);
      codes[f / 2] = static_cast<uint8_t>(codes[f / 2] | (code << (4 * (f % 2))));
    }
  }

  const std::vector<uint8_t> stream = entropy::RansEncodeBytes(codes);
  if (stream.size() > std::numeric_limits<uint32_t>::max()) return false;
  payload.reserve(kAdpcmHeaderBytes + stream.size());
  AppendLe32(payload, sample_rate);
  AppendLe16(payload, static_cast<uint16_t>(channels));
  AppendLe32(payload, static_cast<uint32_t>(frames));
  AppendLe32(payload, static_cast<uint32_t>(codes.size()));
  AppendLe32(payload, static_cast<uint32_t>(stream.size()));
  payload.insert(payload.end(), stream.begin(), stream.end());
  return true;
}

bool DecodeAdpcmPayload(std::span<const uint8_t> payload, uint64_t max_values, PcmTrack& track) {
  if (payload.size() < kAdpcmHeaderBytes) return false;
  const uint32_t sample_rate = LoadLe32(payload.data());
  const uint16_t channels = LoadLe16(payload.data() + 4);
  const uint32_t frames = LoadLe32(payload.data() + 6);
  const uint32_t code_bytes = LoadLe32(payload.data() + 10);
  const uint32_t stream_bytes = LoadLe32(payload.data() + 14);
  if (channels != 1 && channels != 2) return false;
  if (code_bytes != AdpcmByteCount(frames, channels)) return false;
  const std::span<const uint8_t> stream = payload.subspan(kAdpcmHeaderBytes);
  if (stream.size() != stream_bytes) return false;
  const uint64_t values = uint64_t{frames} * channels;
  if (!TrackTakes(track, sample_rate, channels, values, max_values)) return false;

  // Only a stream that claims the right count is worth its memory.
  if (code_bytes == 0 ? !stream.empty()
                      : stream.size() < 4 || LoadLe32(stream.data()) != code_bytes) {
    return false;
  }
  std::vector<uint8_t> codes(code_bytes);
  if (code_bytes > 0 && !entropy::RansDecodeBytes(stream, codes)) return false;

  int16_t* out = ExtendTrack(track, sample_rate, channels, values);
  if (channels == 2) {
    AdpcmState left, right;
    for (const uint8_t code : codes) {
      *out++ = AdpcmDecodeSample(code & 15u, left);
      *out++ = AdpcmDecodeSample(code >> 4, right);
    }
  } else {
    AdpcmState state;
    for (uint32_t f = 0; f < frames; ++f) {
      const uint8_t code = codes[f / 2];
      *out++ = AdpcmDecodeSample(f % 2 == 0 ? code & 15u : code >> 4, state);
    }
  }
  return true;
}

}  // namespace qolm::audio
