// SPDX-License-Identifier: MIT
//
// Positions of audio relative to pictures in exact integers, so that no rounding error
// accumulates.
#ifndef QOLM_EXPORT_TIMELINE_H_
#define QOLM_EXPORT_TIMELINE_H_

#include <cstdint>
#include <limits>

namespace qolm::exporter {

// Frames a second as a fraction; neither part is 0.
struct FrameRate {
  uint32_t numerator = 25;
  uint32_t denominator = 1;
};

// The last sample, counted per channel, that starts no later than frame `frame`
// does: floor(frame * sample_rate * denominator / numerator). A position beyond
// 64 bits returns the largest number.
inline uint64_t SampleAtFrame(uint32_t frame, const FrameRate& rate, uint32_t sample_rate) {
  const uint64_t scaled = uint64_t{frame} * rate.denominator;
  const uint64_t seconds = scaled / rate.numerator;
  const uint64_t rest = scaled % rate.numerator * sample_rate / rate.numerator;
  constexpr uint64_t kMost = std::numeric_limits<uint64_t>::max();
  if (sample_rate != 0 && seconds > (kMost - rest) / sample_rate) return kMost;
  return seconds * sample_rate + rest;
}

}  // namespace qolm::exporter

#endif  // QOLM_EXPORT_TIMELINE_H_
