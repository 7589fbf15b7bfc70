// SPDX-License-Identifier: MIT
//
// ADPCM payloads.
//
// Payload, little-endian:
//   0   4   sample rate in Hz
//   4   2   channel count
//   6   4   F, the samples per channel
//   10  4   A, the number of ADPCM bytes
//   14  4   S, the size of the stream
//   18  S   the ADPCM bytes as a plain rANS stream
// One channel takes two samples a byte, the earlier one in the low nibble, and
// leaves the last high nibble 0 where F is odd: A = (F + 1) / 2. Two channels
// take one frame a byte, left in the low nibble: A = F. Any other channel count
// is coded like one channel whose samples are the first F interleaved values, which
// the decoder rejects: only mono and stereo can be decoded.
#ifndef QOLM_AUDIO_ADPCM_PAYLOAD_H_
#define QOLM_AUDIO_ADPCM_PAYLOAD_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "audio/sample_sink.h"

namespace qolm::audio {

inline constexpr size_t kAdpcmHeaderBytes = 18;

// False, with an empty payload, when a field is 0 or does not fit the header, when
// there are no samples, or once `stop`, which is polled regularly, returns true. An
// incomplete last frame is dropped.
[[nodiscard]] bool EncodeAdpcmPayload(
    std::span<const int16_t> samples, uint32_t sample_rate, uint32_t channels,
    std::vector<uint8_t>& payload, const std::function<bool()>& stop = [] { return false; });

// Appends the payload's samples; see DecodeAudio.
[[nodiscard]] bool DecodeAdpcmPayload(std::span<const uint8_t> payload, uint64_t max_values,
                                      SampleSink& sink);

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_ADPCM_PAYLOAD_H_
