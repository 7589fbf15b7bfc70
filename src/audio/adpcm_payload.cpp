// SPDX-License-Identifier: MIT
#include "audio/adpcm_payload.h"

#include <algorithm>
#include <array>
#include <limits>

#include "audio/adpcm.h"
#include "base/byte_order.h"
#include "entropy/rans.h"
#include "entropy/rans_stream_reader.h"

namespace qolm::audio {
namespace {

// Sample frames between two polls of `stop`.
constexpr size_t kBatchFrames = size_t{1} << 18;

uint64_t AdpcmByteCount(uint64_t frames, uint32_t channels) {
  return channels == 2 ? frames : (frames + 1) / 2;
}

}  // namespace

bool EncodeAdpcmPayload(std::span<const int16_t> samples, uint32_t sample_rate, uint32_t channels,
                        std::vector<uint8_t>& payload, const std::function<bool()>& stop) {
  payload.clear();
  if (samples.empty() || sample_rate == 0 || channels == 0) return false;
  if (channels > std::numeric_limits<uint16_t>::max()) return false;
  const uint64_t frames = samples.size() / channels;
  if (frames > std::numeric_limits<uint32_t>::max()) return false;

  const auto frame_count = static_cast<size_t>(frames);
  std::vector<uint8_t> codes(static_cast<size_t>(AdpcmByteCount(frames, channels)));
  AdpcmState left, right;
  for (size_t start = 0; start < frame_count; start += kBatchFrames) {
    if (stop()) return false;
    const size_t end = std::min(start + kBatchFrames, frame_count);
    if (channels == 2) {
      for (size_t f = start; f < end; ++f) {
        const uint8_t low = AdpcmEncodeSample(samples[2 * f], left);
        const uint8_t high = AdpcmEncodeSample(samples[2 * f + 1], right);
        codes[f] = static_cast<uint8_t>(low | (high << 4));
      }
    } else {
      for (size_t f = start; f < end; ++f) {
        const uint8_t code = AdpcmEncodeSample(samples[f], left);
        codes[f / 2] = static_cast<uint8_t>(codes[f / 2] | (code << (4 * (f % 2))));
      }
    }
  }
  if (stop()) return false;

  const std::vector<uint8_t> stream = entropy::RansEncodeBytes(codes, stop);
  if (stream.empty() && !codes.empty()) return false;
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

bool DecodeAdpcmPayload(std::span<const uint8_t> payload, uint64_t max_values, SampleSink& sink) {
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
  entropy::RansStreamReader reader;
  if (code_bytes == 0 ? !stream.empty() : !reader.open(stream, code_bytes)) return false;
  const uint64_t values = uint64_t{frames} * channels;
  if (!sink.open(sample_rate, channels, values, max_values)) return false;

  AdpcmState left, right;
  std::array<uint8_t, 4096> codes;
  uint64_t values_left = values;
  while (values_left > 0) {
    // Two values a byte; mono may leave half of the last one unused.
    const auto count = static_cast<size_t>(std::min<uint64_t>(values_left, 2 * codes.size()));
    const std::span<uint8_t> piece = std::span(codes).first((count + 1) / 2);
    reader.read(piece);
    int16_t* out = sink.extend(count);
    AdpcmState& second = channels == 2 ? right : left;
    for (size_t i = 0; i < count; ++i) {
      const uint8_t code = piece[i / 2];
      out[i] =
          i % 2 == 0 ? AdpcmDecodeSample(code & 15u, left) : AdpcmDecodeSample(code >> 4, second);
    }
    values_left -= count;
  }
  sink.commit();
  return true;
}

}  // namespace qolm::audio
