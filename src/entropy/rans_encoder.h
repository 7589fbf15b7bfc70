// The encoder's side of one rANS stream: the coding step and the stream writer
// that the plain coder and the context coder share.
//
// The step is x' = floor(x / f) * 4096 + x mod f + cum. With q = floor(x / f) it
// reads x' = x + cum + q * (4096 - f), and q comes from a multiplication:
//
//   R = ceil(2^36 / f), q = (x * R) >> 36
//
// Exact because R = (2^36 + e) / f with 0 <= e < f, hence
//   x * R / 2^36 = x / f + x * e / (f * 2^36),
// and the fraction of x / f is at most (f - 1) / f, so q is right as long as
// x * e < 2^36. Renormalisation leaves x < f * 2^12, and f, e <= 2^12, so
// x * e < 2^24 * 2^12. The product stays below 2^49.
#ifndef QOLM_ENTROPY_RANS_ENCODER_H_
#define QOLM_ENTROPY_RANS_ENCODER_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "entropy/rans_frequency_table.h"

namespace qolm::entropy {

inline constexpr uint32_t kRansLowerBound = 1u << 16;
inline constexpr uint32_t kRansReciprocalBits = 36;

// What the coding step needs to know about one byte value.
struct RansEncodeSymbol {
  uint64_t reciprocal;  // ceil(2^36 / freq)
  uint32_t limit;       // freq * 4096: the state must be below it
  uint16_t complement;  // 4096 - freq
  uint16_t start;       // cum
};

// `freq` is 1..4096, `start` at most 4096 - freq.
inline RansEncodeSymbol MakeRansEncodeSymbol(uint32_t freq, uint32_t start) {
  RansEncodeSymbol symbol;
  symbol.reciprocal = ((uint64_t{1} << kRansReciprocalBits) + freq - 1) / freq;
  symbol.limit = freq << kRansPrecisionBits;
  symbol.complement = static_cast<uint16_t>(kRansTotal - freq);
  symbol.start = static_cast<uint16_t>(start);
  return symbol;
}

// The coding step for a renormalised `state`, that is one below symbol.limit.
inline uint32_t RansEncodeStep(uint32_t state, const RansEncodeSymbol& symbol) {
  const auto quotient = static_cast<uint32_t>((state * symbol.reciprocal) >> kRansReciprocalBits);
  return state + symbol.start + quotient * symbol.complement;
}

// Appends the plain stream of `input`, whose counts are `counts`. The input is
// not empty and holds fewer than 2^32 bytes.
void AppendRansStream(std::span<const uint8_t> input, const ByteCounts& counts,
                      std::vector<uint8_t>& out);

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_RANS_ENCODER_H_
