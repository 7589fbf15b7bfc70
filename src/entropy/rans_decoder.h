// SPDX-License-Identifier: MIT
//
// The decoder of one rANS stream: a table that maps each of the 4096 slots to its value,
// and the reader that the plain and the context decoder share.
#ifndef QOLM_ENTROPY_RANS_DECODER_H_
#define QOLM_ENTROPY_RANS_DECODER_H_

#include <array>
#include <cstddef>
#include <cstdint>
#include <span>

#include "entropy/rans_frequency_table.h"

namespace qolm::entropy {

// One 32-bit word per slot: value (8 bits), frequency - 1 (12 bits) and the
// slot's distance from its value's first slot (12 bits).
using RansSlotTable = std::array<uint32_t, kRansTotal>;

// State and byte position of one stream, small enough for a loop to keep in registers.
struct RansReader {
  uint32_t state = 0;
  const uint8_t* next = nullptr;
  const uint8_t* end = nullptr;
  // While `next` is below it two bytes can be read, and no step needs more: a state of
  // at least 2^16 is at least 16 after a step. Streams whose initial state is smaller
  // never use StepFast.
  const uint8_t* fast_end = nullptr;

  // The number of steps that StepFast can take, each reading at most two bytes.
  size_t FastSteps() const {
    return next < fast_end ? static_cast<size_t>(fast_end - next + 1) / 2 : 0;
  }

  uint8_t StepFast(const RansSlotTable& slots) {
    const uint8_t symbol = Advance(slots);
    // Reads two bytes and shifts out those that are not needed.
    const uint32_t spare = 2 - OneIfBelow(state, kRansLowerBound) - OneIfBelow(state, 256);
    const uint64_t both = uint64_t{state} << 16 | uint64_t{next[0]} << 8 | next[1];
    state = static_cast<uint32_t>(both >> (8 * spare));
    next += 2 - spare;
    return symbol;
  }

  // For any state and any number of bytes left; at the end it stops renormalising.
  uint8_t StepCareful(const RansSlotTable& slots) {
    const uint8_t symbol = Advance(slots);
    while (state < kRansLowerBound && next != end) state = (state << 8) | *next++;
    return symbol;
  }

 private:
  // Cannot overflow: (2^20 - 1) * 4096 + 4095 = 2^32 - 1.
  uint8_t Advance(const RansSlotTable& slots) {
    const uint32_t entry = slots[state % kRansTotal];
    const uint32_t quotient = state >> kRansPrecisionBits;
    state = quotient * ((entry >> 8) % kRansTotal) + quotient + (entry >> 20);
    return static_cast<uint8_t>(entry);
  }
};

// Reads the head of a stream of `expected_count` >= 1 values: fills the slots and
// sets the reader to the first value. False when the stream is malformed.
[[nodiscard]] bool OpenRansStream(std::span<const uint8_t> stream, uint32_t expected_count,
                                  RansSlotTable& slots, RansReader& reader);

// Fills `output` with the next values.
void StepRansValues(const RansSlotTable& slots, RansReader& reader, std::span<uint8_t> output);

// Decodes two streams with interleaved steps: the latency of one dependency chain hides
// that of the other.
void StepInterleavedRansValues(const RansSlotTable& first_slots, RansReader& first,
                               std::span<uint8_t> first_output, const RansSlotTable& second_slots,
                               RansReader& second, std::span<uint8_t> second_output);

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_RANS_DECODER_H_
