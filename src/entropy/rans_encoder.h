// SPDX-License-Identifier: MIT
//
// The encoder of one rANS stream: the coding step and the stream encoder that the plain
// and the context coder share.
//
// The step is x' = floor(x / f) * 4096 + x mod f + cum. With q = floor(x / f) it
// reads x' = x + cum + q * (4096 - f), and q comes from a multiplication:
//
//   R = ceil(2^36 / f), q = (x * R) >> 36
//
// Exact because R = (2^36 + e) / f with 0 <= e < f, hence
//   x * R / 2^36 = x / f + x * e / (f * 2^36),
// and the fraction of x / f is at most (f - 1) / f, so q is right as long as
// x * e < 2^36. Renormalisation leaves x < f * 2^12, and f <= 2^12, e < 2^12, so
// x * e < 2^24 * 2^12. The product stays below 2^49.
#ifndef QOLM_ENTROPY_RANS_ENCODER_H_
#define QOLM_ENTROPY_RANS_ENCODER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>
#include <span>
#include <vector>

#include "entropy/rans_frequency_table.h"
#include "entropy/stop_callback.h"

namespace qolm::entropy {

inline constexpr uint32_t kRansReciprocalBits = 36;

// Precomputed coding step of one byte value.
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

// The coding step for a renormalised `state`, one below symbol.limit.
inline uint32_t RansEncodeStep(uint32_t state, const RansEncodeSymbol& symbol) {
  const auto quotient = static_cast<uint32_t>((state * symbol.reciprocal) >> kRansReciprocalBits);
  return state + symbol.start + quotient * symbol.complement;
}

// Codes one plain stream. The input, which must outlive the encoder, holds fewer
// than 2^32 bytes, and `counts` are its counts.
class RansStreamEncoder {
 public:
  RansStreamEncoder(std::span<const uint8_t> input, const ByteCounts& counts);

  // Codes the remaining input. An empty input gives an empty stream. False, without a
  // stream, once `stop`, which is polled every kStopInterval bytes, returns true.
  [[nodiscard]] bool Run(const StopCallback& stop);

  // Runs both encoders with interleaved steps: the latency of one dependency chain hides
  // that of the other.
  [[nodiscard]] static bool RunInterleaved(RansStreamEncoder& first, RansStreamEncoder& second,
                                           const StopCallback& stop);

  // The finished stream.
  size_t StreamSize() const;
  void AppendTo(std::vector<uint8_t>& out) const;

 private:
  // The part that a loop keeps in registers.
  struct Cursor {
    const uint8_t* input_begin;
    const uint8_t* input_end;  // moves towards input_begin
    uint8_t* position;         // start of the renormalisation bytes so far
    uint32_t state;

    size_t left() const { return static_cast<size_t>(input_end - input_begin); }
    void Step(const RansEncodeSymbol* symbols);
  };

  std::span<const uint8_t> input_;
  RansFrequencyTable table_;
  std::array<RansEncodeSymbol, 256> symbols_;
  std::unique_ptr<uint8_t[]> scratch_;
  uint8_t* scratch_end_ = nullptr;
  Cursor cursor_{};
};

// A lower bound on the size of a stream with these byte counts, in any order: a few per
// cent below the actual size, without a pass over the input. At least one count is not
// zero.
size_t RansStreamSizeLowerBound(const ByteCounts& counts);

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_RANS_ENCODER_H_
