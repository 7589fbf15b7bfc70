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
// No value takes more bytes than an escaped one, so tokens of n values fit in 3 n bytes.
inline constexpr size_t kMaxTokenBytesPerValue = 3;

// The tokens of `values`; empty for no values, and once `stop` says true. `coded`, unless it is
// empty, tells for every block which ones may hold anything but zeros; the values of the others are
// not read.
std::vector<uint8_t> EncodeCoefficientTokens(std::span<const int16_t> values,
                                             std::span<const uint8_t> coded = {},
                                             const StopCallback& stop = nullptr);

// Fills `values`, whose size is the expected count. False, with the values partly
// written, on an unused byte, a cut token, a run of length 0 or one that leaves
// its block or the tail, a block run off a block boundary or past the last whole
// block, an end of block in the tail, values without tokens or tokens without
// values. Longer spellings than the encoder's are read.
[[nodiscard]] bool DecodeCoefficientTokens(std::span<const uint8_t> tokens,
                                           std::span<int16_t> values);

}  // namespace qolm::entropy

#endif  // QOLM_ENTROPY_COEFFICIENT_TOKENS_H_
