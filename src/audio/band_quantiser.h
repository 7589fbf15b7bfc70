// SPDX-License-Identifier: MIT
//
// The quantiser of the transform coder: each frame has sixteen bands, each with a
// scale byte that selects the quantiser step.
#ifndef QOLM_AUDIO_BAND_QUANTISER_H_
#define QOLM_AUDIO_BAND_QUANTISER_H_

#include <array>
#include <cstddef>
#include <cstdint>

namespace qolm::audio {

inline constexpr size_t kBandCount = 16;
inline constexpr uint8_t kSilentScale = 0;
inline constexpr uint8_t kMaxScale = 63;
inline constexpr int16_t kMinAudioLevel = -2048;
inline constexpr int16_t kMaxAudioLevel = 2047;

// Factor on the quantiser step of a channel.
inline constexpr float kMainStrength = 1.6F;  // the only channel, and mid
inline constexpr float kSideStrength = 2.0F;

// Band b covers the coefficients edges[b] .. edges[b + 1] - 1.
using BandEdges = std::array<uint32_t, kBandCount + 1>;

// `frame_length` is at least 64, so every band has a coefficient.
BandEdges BandEdgesFor(uint32_t frame_length);

// round(log2(max(loudness, 2)) * 4 + 16), clamped to 1..63. Compares with stored
// powers of two, since the C library's logarithm differs between platforms.
uint8_t ScaleOfLoudness(double loudness);

// max(1, 2^((scale - 16) / 4)) for a scale of 1..63, rounded to float.
float StepOfScale(uint8_t scale);

// Fills the frame's 16 scales and its levels from its coefficients. A band below
// a hundredth of the frame's loudest one, or below 20, becomes silent.
void QuantiseFrame(const BandEdges& edges, float strength, const double* coefficients,
                   uint8_t* scales, int16_t* levels);

// Whether QuantiseFrame could have produced the scales and levels: both in range, and
// all levels of silent bands 0.
bool IsQuantisedFrame(const BandEdges& edges, const uint8_t* scales, const int16_t* levels);

// Coefficients are level times step.
void DequantiseFrame(const BandEdges& edges, const uint8_t* scales, const int16_t* levels,
                     double* coefficients);

}  // namespace qolm::audio

#endif  // QOLM_AUDIO_BAND_QUANTISER_H_
