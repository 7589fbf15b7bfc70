// SPDX-License-Identifier: MIT
//
// Static order-0 byte coder: range asymmetric numeral systems (J. Duda,
// "Asymmetric numeral systems", 2013) with one 32-bit state, 12-bit
// probabilities and byte-wise renormalisation.
//
// Notes:
// - The coder is a stack. The encoder walks the input from its last byte to its
//   first and writes its bytes from the end of its buffer towards the start, so
//   that the decoder reads both forwards.
// - The state lives in [2^16, 2^24). A value of frequency f multiplies it by
//   about 4096 / f; the encoder first drops low bytes until the state is below
//   f * 4096, which keeps the result below 2^24.
// - The division by f is a multiplication, and yet exact: see rans_encoder.h.
// - The decoder continues when it runs out of bytes: it stops renormalising and returns
//   arbitrary values, which only the caller's checks can detect.
//
// Stream, little-endian:
//   0        4     n, the number of coded bytes
//   4        2+3k  frequency table (rans_frequency_table.h)
//   6 + 3k   4     final encoder state
//   10 + 3k  rest  renormalisation bytes, in the decoder's order
#ifndef QOLM_ENTROPY_RANS_H_
#define QOLM_ENTROPY_RANS_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "entropy/stop_callback.h"

namespace qolm::entropy {

// The stream of `input`; an empty vector for an empty input, and for one of 2^32
// bytes or more, which the format cannot count. Also empty once `stop` returns true.
std::vector<uint8_t> RansEncodeBytes(std::span<const uint8_t> input,
                                     const StopCallback& stop = nullptr);

// Fills `output`, whose size is the expected count. False, with the output
// partly written or untouched, when the stream is shorter than 6 bytes, its count
// differs, its table is invalid, or table or state run past its end. For an empty
// output only the length and the count are checked. Missing or surplus renormalisation
// bytes are not errors.
[[nodiscard]] bool RansDecodeBytes(std::span<const uint8_t> stream, std::span<uint8_t> output);

// The size of a stream of `count` values, at least 1, at the start of `bytes`. After the
// last value the state must be the encoder's initial one, 65536, so missing
// renormalisation bytes are an error here.
[[nodiscard]] bool RansPrefixSize(std::span<const uint8_t> bytes, uint32_t count,
                                  size_t& stream_size);

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_RANS_H_
