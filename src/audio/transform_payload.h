// SPDX-License-Identifier: MIT
//
// Transform coder payloads.
//
// Payload, little-endian:
//   0   4   the tag "OPUS" (it names no codec here)
//   4   4   sample rate in Hz
//   8   2   channel count, 1 or 2
//   10  2   N, the frame length in samples per channel: 20 ms, at least 64
//   12  4   F, the number of frames: ceil(S / N) + 1 for S samples per channel
//   16  4   number of sample values in the input, all channels
//   20  2   size of stream 1, its low 16 bits
//   22  4   size of stream 2
//   26  2   size of stream 3, its low 16 bits; 0 for one channel
//   28  4   size of stream 4; 0 for one channel
//   32      streams 1, 2 and, for two channels, 3 and 4
// Streams 1 and 3 are plain rANS streams of 16 scale bytes per frame, streams 2 and
// 4 coefficient streams of N levels per frame. Two channels are coded as mid and
// side, halves of sum and difference; streams 1 and 2 belong to mid.
//
// Note that the sizes of streams 1 and 3 overflow their 16-bit fields after a few
// minutes of audio. For one channel the high bits follow from the payload's size. For
// two, stream 1 is decoded with all following bytes as input: it ends where the coder's
// state has returned to its initial value.
#ifndef QOLM_AUDIO_TRANSFORM_PAYLOAD_H_
#define QOLM_AUDIO_TRANSFORM_PAYLOAD_H_

#include <cstddef>
#include <cstdint>
#include <functional>
#include <span>
#include <vector>

#include "audio/sample_sink.h"

namespace qolm::audio {

inline constexpr size_t kTransformHeaderBytes = 32;
inline constexpr uint32_t kTransformTag = 0x5355504F;  // "OPUS", read as a number

// Both directions reject higher rates, which no recording uses: decoding a sample takes
// N products, however few bytes represent it. For the same reason the limit on a
// payload's values is divided by floor(N / 3840) from 384 kHz on.
inline constexpr uint32_t kHighestTransformRate = 768000;  // Hz

// N, not yet checked against its 16-bit field.
uint32_t FrameLengthFor(uint32_t sample_rate);

// Codes `samples`, channels interleaved; an incomplete last sample frame is only
// counted. False, with an empty payload, when there are no samples or too many,
// when the rate is 0 or above kHighestTransformRate, when the channel count is not 1 or
// 2, or once `stop` returns true, which is polled for every batch of frames and of levels.
// Beyond the input it allocates the levels of one channel and their tokens.
[[nodiscard]] bool EncodeAudioTransform(
    std::span<const int16_t> samples, uint32_t sample_rate, uint32_t channels,
    std::vector<uint8_t>& payload, const std::function<bool()>& stop = [] { return false; });

// Appends the payload's samples, a batch of frames at a time; see DecodeAudio.
[[nodiscard]] bool DecodeAudioTransform(std::span<const uint8_t> payload, uint64_t max_values,
                                        SampleSink& sink);

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_TRANSFORM_PAYLOAD_H_
