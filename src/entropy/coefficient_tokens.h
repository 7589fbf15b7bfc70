// SPDX-License-Identifier: MIT
//
// Signed 16-bit values, mostly zero, as a stream of byte tokens.
//
// The values are consecutive blocks of 64 and a tail of fewer than 64.
//   0 r         r zeros, r in 1..255
//   1           the rest of this block is zero (blocks only)
//   2 b         b whole blocks of zeros, b in 1..255, at a block boundary only
//   8..248      one value, byte - 128; 128 is not used
//   255 lo hi   one value outside -120..120, two's complement
// The bytes 3..7, 128 and 249..254 never start a token.
#ifndef QOLM_ENTROPY_COEFFICIENT_TOKENS_H_
#define QOLM_ENTROPY_COEFFICIENT_TOKENS_H_

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "entropy/stop_callback.h"

namespace qolm::entropy {

inline constexpr size_t kTokenBlockValues = 64;
// An escaped value is the longest, so the tokens of n values take at most 3 n bytes.
inline constexpr size_t kMaxTokenBytesPerValue = 3;

// The tokens of `values`; empty for no values, and once `stop` returns true. `coded`,
// unless empty, has one flag per block: blocks whose flag is 0 count as all zeros and are
// not read.
std::vector<uint8_t> EncodeCoefficientTokens(std::span<const int16_t> values,
                                             std::span<const uint8_t> coded = {},
                                             const StopCallback& stop = nullptr);

// Fills `values`, whose size is the expected count. False, with the values partly
// written, for an unused token byte, a truncated token, a run of length 0 or beyond its
// block or the tail, a block run that does not start at a block boundary or exceeds the
// whole blocks, an end of block in the tail, or too few or too many tokens. Redundant
// encodings that the encoder does not produce are accepted.
[[nodiscard]] bool DecodeCoefficientTokens(std::span<const uint8_t> tokens,
                                           std::span<int16_t> values);

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_COEFFICIENT_TOKENS_H_
