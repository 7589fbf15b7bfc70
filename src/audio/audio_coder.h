// SPDX-License-Identifier: MIT
//
// The common interface of the audio coders: a PCM track to a payload and back.
//
// A payload starts either with the ADPCM header, whose first field is the sample
// rate, or with the tag of the transform coder, which identifies the coder.
// Every payload can be decoded independently.
#ifndef QOLM_AUDIO_AUDIO_CODER_H_
#define QOLM_AUDIO_AUDIO_CODER_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "audio/audio_coding_mode.h"
#include "audio/pcm_track.h"
#include "audio/sample_sink.h"

namespace qolm::audio {

// Part of a track, channels interleaved.
struct PcmView {
  uint32_t sample_rate = 0;  // Hz
  uint32_t channels = 0;
  std::span<const int16_t> samples;
};

// Limit on the sample values of one payload, all channels together.
inline constexpr uint64_t kMaxPayloadValues = 0x7FFFFFFF;

// Codes `pcm` as one payload. False, with an empty payload, when the rate or the
// channel count is 0 or there are no samples; in transform mode also for
// channel counts other than 1 and 2, for rates above 768,000 Hz and for 2^31
// values and more (fewer from 384 kHz on); in ADPCM mode also for channel counts from
// 65,536 on, for 2^32 samples per channel and more, and for the one rate that equals the
// transform coder's tag. False also once `stop` returns true; it is polled before each
// batch of frames and during entropy coding.
[[nodiscard]] bool EncodeAudio(
    const PcmView& pcm, AudioCodingMode mode, std::vector<uint8_t>& payload,
    const std::function<bool()>& stop = [] { return false; });

// Decodes a payload and appends its samples to `track`, which takes over rate and
// channel count when it has no samples yet. `max_values` bounds the sample values of
// the track after the call. Beyond the track it allocates only a few batches of
// frames, whatever the payload declares. An incomplete last sample frame is counted by
// the payload but not delivered. False, with the track unchanged, for a malformed
// payload, a channel count other than 1 and 2, a payload that exceeds `max_values`, and
// one whose rate or channel count differs from that of the samples in the track.
[[nodiscard]] bool DecodeAudio(std::span<const uint8_t> payload, uint64_t max_values,
                               PcmTrack& track);

// The same into a sink, for callers that need only the number of values or the cost of
// a rejected payload.
[[nodiscard]] bool DecodeAudio(std::span<const uint8_t> payload, uint64_t max_values,
                               SampleSink& sink);

// The number of sample values that a payload declares in its first kDeclarationBytes;
// 0 when `head` is shorter.
inline constexpr size_t kDeclarationBytes = 20;
uint64_t DeclaredValues(std::span<const uint8_t> head);

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_AUDIO_CODER_H_
