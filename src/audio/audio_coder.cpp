// SPDX-License-Identifier: MIT
#include "audio/audio_coder.h"

#include "audio/adpcm_payload.h"
#include "audio/transform_payload.h"
#include "base/byte_order.h"

namespace qolm::audio {

bool EncodeAudio(const PcmView& pcm, AudioCodingMode mode, std::vector<uint8_t>& payload,
                 const std::function<bool()>& stop) {
  payload.clear();
  if (mode == AudioCodingMode::kTransform) {
    return EncodeAudioTransform(pcm.samples, pcm.sample_rate, pcm.channels, payload, stop);
  }
  // A decoder would take this rate for the transform coder's tag.
  if (pcm.sample_rate == kTransformTag) return false;
  return EncodeAdpcmPayload(pcm.samples, pcm.sample_rate, pcm.channels, payload, stop);
}

bool DecodeAudio(std::span<const uint8_t> payload, uint64_t max_values, PcmTrack& track) {
  SampleSink sink(track);
  return DecodeAudio(payload, max_values, sink);
}

bool DecodeAudio(std::span<const uint8_t> payload, uint64_t max_values, SampleSink& sink) {
  if (payload.size() < 4) return false;
  if (LoadLe32(payload.data()) == kTransformTag) {
    return DecodeAudioTransform(payload, max_values, sink);
  }
  return DecodeAdpcmPayload(payload, max_values, sink);
}

uint64_t DeclaredValues(std::span<const uint8_t> head) {
  if (head.size() < kDeclarationBytes) return 0;
  if (LoadLe32(head.data()) == kTransformTag) return LoadLe32(&head[16]);
  const uint16_t channels = LoadLe16(&head[4]);
  return channels == 1 || channels == 2 ? uint64_t{channels} * LoadLe32(&head[6]) : 0;
}

}  // namespace qolm::audio
