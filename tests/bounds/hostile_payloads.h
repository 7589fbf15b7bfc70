// SPDX-License-Identifier: MIT
//
// Payloads of a few bytes that stand for much: every stream in them holds one
// value over and over, which costs it no further byte.
#ifndef QOLM_TESTS_BOUNDS_HOSTILE_PAYLOADS_H_
#define QOLM_TESTS_BOUNDS_HOSTILE_PAYLOADS_H_

#include <array>
#include <cstdint>
#include <vector>

namespace qolm::test {

using Bytes = std::vector<uint8_t>;

// 13 bytes: `value`, `count` times.
Bytes OneValueStream(uint8_t value, uint32_t count);

// A value of one of the five contexts and how often it comes.
struct OneValue {
  uint8_t value = 0;
  uint32_t count = 0;
};

// A context stream of `count` bytes with one value in each context.
Bytes FiveOneValueStreams(uint32_t count, const std::array<OneValue, 5>& contexts);

// How levels of 0 are spelt.
enum class Spelling {
  kShort,  // with one token for each block of 64
  kLong,   // with three bytes each, the most that there is
};

// `count` levels of 0, a multiple of 64.
Bytes ZeroLevels(uint32_t count, Spelling spelling);

// A key frame without chroma from luma; its sides are multiples of 16.
Bytes KeyFrame(uint32_t width, uint32_t height, Spelling spelling);
// What shows the anchor again, or the mean of two.
Bytes PredictedFrame(uint32_t width, uint32_t height, Spelling spelling);
Bytes BidirectionalFrame(uint32_t width, uint32_t height, Spelling spelling);

inline constexpr uint32_t kSilenceRate = 3200;  // Hz

// Silence by the transform coder, mono; at other rates than this one 64 must divide
// the samples of 20 ms. With `refused` its scales are none.
Bytes Silence(uint32_t values, Spelling spelling, bool refused = false,
              uint32_t rate = kSilenceRate);

// The same by ADPCM, not quite silent.
Bytes AdpcmAudio(uint32_t values);

}  // namespace qolm::test

#endif  // QOLM_TESTS_BOUNDS_HOSTILE_PAYLOADS_H_
